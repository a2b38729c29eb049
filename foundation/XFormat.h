// Numbers, sizes and durations as a person reads them, with the user's punctuation.
#pragma once
#include <cstdint>

class XString;

// Number punctuation. Texts hold at most 5 characters and a terminator.
struct clLocaleNumberFormat {
  int32_t leadingZero;      // kept for completeness; nothing here looks at it
  int32_t negativePattern;  // 0 (1.1), 1 -1.1, 2 - 1.1, 3 1.1-, 4 1.1 -
  int32_t twoDigitGroups;   // groups of 3 then 2, 2, ... instead of 3, 3, ...
  char16_t negativeSign[6];
  char16_t positiveSign[6];
  char16_t thousandSeparator[6];
  char16_t decimalSeparator[6];
  char16_t timeSeparator[6];
};

// The user's record, read once per process from the current user's
// "Control Panel\International" values; absent values give the fallbacks.
const clLocaleNumberFormat& XUserNumberFormat();
// The fixed record: "-", "," and "." and ":", groups of three.
const clLocaleNumberFormat& XNeutralNumberFormat();
// Reads the user's record from the store now, without keeping it.
clLocaleNumberFormat XReadUserNumberFormat();
// The record for a `neutral` argument: the neutral one when non-zero, else the user's.
const clLocaleNumberFormat& XNumberFormatFor(int neutral);

// Rewrites a plain number text ("-1234.5") with grouping, decimal separator and sign.
void XApplyNumberFormat(XString& text, int neutral);
void XApplyNumberFormat(XString& text, const clLocaleNumberFormat& format);

// Each function with a `neutral` argument has a twin that takes the record itself.
XString XFormatNumber(int64_t value, int neutral);
XString XFormatNumber(int64_t value, const clLocaleNumberFormat& format);
XString XFormatUnsigned(uint64_t value, int neutral);
XString XFormatUnsigned(uint64_t value, const clLocaleNumberFormat& format);
XString XFormatDouble(double value, int32_t decimals, bool keepZeros, int neutral);
XString XFormatDouble(double value, int32_t decimals, bool keepZeros,
                      const clLocaleNumberFormat& format);

// "1 byte", "12 bytes", "3 KB", "1.5 MB", "2 GB", "1.25 TB"; with forceKilobytes the count
// is always shown in whole kilobytes, at least 1 for a non-zero count.
XString XFormatBytes(int64_t count, bool forceKilobytes, int neutral);
XString XFormatBytes(int64_t count, bool forceKilobytes, const clLocaleNumberFormat& format);

// Styles: 0 words ("1 hour 5 minutes"), 1 short clock ("1:05"), 2 full clock ("00:01:05"),
// 3 full clock with milliseconds ("00:01:05.250"), 4 words without milliseconds. Any other
// style gives an empty text. Uses the user's record.
XString XFormatDuration(uint64_t milliseconds, uint32_t style);
XString XFormatDuration(uint64_t milliseconds, uint32_t style, const clLocaleNumberFormat& format);
