// Numbers, sizes and durations as text, with punctuation from the user's settings.
#include "foundation/XFormat.h"

#include "foundation/XRegistry.h"
#include "foundation/XString.h"

#include <cmath>
#include <string>

namespace {

constexpr char16_t InternationalKey[] = u"Control Panel\\International";

// Copies at most 5 characters of `text`, or of `fallback` when `text` is empty.
void CopyCut(char16_t (&field)[6], const XString& text, const char16_t* fallback) {
  const char16_t* source = text.Length() > 0 ? text.CStr() : fallback;
  size_t i = 0;
  for (; i < 5 && source[i]; ++i) field[i] = source[i];
  for (; i < 6; ++i) field[i] = 0;
}

XString ReadInternational(const char16_t* name) {
  return XRegistry::ReadString(name, XRegistry::RootCurrentUser, InternationalKey);
}

clLocaleNumberFormat MakeNeutral() {
  clLocaleNumberFormat format{};
  format.leadingZero = 1;
  format.negativePattern = 1;
  format.twoDigitGroups = 0;
  CopyCut(format.negativeSign, XString(), u"-");
  CopyCut(format.positiveSign, XString(), u"");
  CopyCut(format.thousandSeparator, XString(), u",");
  CopyCut(format.decimalSeparator, XString(), u".");
  CopyCut(format.timeSeparator, XString(), u":");
  return format;
}

// Puts the thousand separator between digit groups left of the point; returns how many
// units went in before `point`.
size_t InsertGroupSeparators(std::u16string& text, size_t end, const clLocaleNumberFormat& format) {
  std::u16string_view separator(format.thousandSeparator);
  size_t inserted = 0;
  size_t count = 0;
  size_t group = 3;
  for (size_t i = end; i-- > 0;) {
    if (++count < group) continue;
    count = 0;
    group = format.twoDigitGroups ? 2 : 3;
    if (i == 0 || text[i - 1] == u'-') continue;
    text.insert(i, separator);
    inserted += separator.size();
  }
  return inserted;
}

void ApplySign(std::u16string& text, const clLocaleNumberFormat& format) {
  if (text.empty()) return;
  if (text[0] != u'-') {
    text.insert(0, format.positiveSign);
    return;
  }
  text.erase(0, 1);
  std::u16string sign(format.negativeSign);
  switch (format.negativePattern) {
    case 0:
      text = u"(" + text + u")";
      break;
    case 2:
      text = sign + u" " + text;
      break;
    case 3:
      text += sign;
      break;
    case 4:
      text += u" " + sign;
      break;
    default:
      text = sign + text;
      break;
  }
}

XString Padded(uint64_t value, int digits) {
  XString text = XString::FromUInt64(value);
  while (text.Length() < digits) text.InsertChar(u'0', 1);
  return text;
}

XString Part(uint64_t count, const char16_t* one, const char16_t* many) {
  XString text = XString::FromUInt64(count);
  text += count == 1 ? one : many;
  return text;
}

XString DurationInWords(uint64_t hours, uint64_t minutes, uint64_t seconds, uint64_t millis,
                        bool showMillis, const clLocaleNumberFormat& format) {
  XString text;
  if (hours) {
    text = Part(hours, u" hour", u" hours");
    if (minutes) {
      text += u" ";
      text += Part(minutes, u" minute", u" minutes");
    }
  } else if (minutes) {
    text = Part(minutes, u" minute", u" minutes");
    if (seconds) {
      text += u" ";
      text += Part(seconds, u" second", u" seconds");
    }
  } else if (seconds && millis && showMillis) {
    text = XFormatDouble(double(seconds) + double(millis) * 0.001, 1, false, format);
    text += u" seconds";
  } else if (seconds) {
    text = Part(seconds, u" second", u" seconds");
  } else if (millis && showMillis) {
    text = Part(millis, u" mili-second", u" mili-seconds");
  } else {
    text = u"0";
  }
  return text;
}

XString FullClock(uint64_t hours, uint64_t minutes, uint64_t seconds,
                  const clLocaleNumberFormat& format) {
  XString text = Padded(hours, 2);
  text += format.timeSeparator;
  text += Padded(minutes, 2);
  text += format.timeSeparator;
  text += Padded(seconds, 2);
  return text;
}

}  // namespace

clLocaleNumberFormat XReadUserNumberFormat() {
  clLocaleNumberFormat format{};
  format.leadingZero = ReadInternational(u"iLZero").CharAt(1) != u'0';
  XString pattern = ReadInternational(u"iNegNumber");
  format.negativePattern = pattern.Length() > 0 ? int32_t(pattern.ToInt64()) : 1;
  format.twoDigitGroups = std::u16string_view(ReadInternational(u"sGrouping").CStr()) == u"3;2;0";
  CopyCut(format.negativeSign, ReadInternational(u"sNegativeSign"), u"-");
  CopyCut(format.positiveSign, ReadInternational(u"sPositiveSign"), u"");
  CopyCut(format.thousandSeparator, ReadInternational(u"sThousand"), u"");
  CopyCut(format.decimalSeparator, ReadInternational(u"sDecimal"), u".");
  CopyCut(format.timeSeparator, ReadInternational(u"sTime"), u":");
  return format;
}

const clLocaleNumberFormat& XUserNumberFormat() {
  static const clLocaleNumberFormat format = XReadUserNumberFormat();
  return format;
}

const clLocaleNumberFormat& XNeutralNumberFormat() {
  static const clLocaleNumberFormat format = MakeNeutral();
  return format;
}

const clLocaleNumberFormat& XNumberFormatFor(int neutral) {
  return neutral ? XNeutralNumberFormat() : XUserNumberFormat();
}

void XApplyNumberFormat(XString& text, const clLocaleNumberFormat& format) {
  std::u16string work(text.CStr());
  size_t point = work.find(u'.');
  size_t end = point == std::u16string::npos ? work.size() : point;
  size_t inserted = InsertGroupSeparators(work, end, format);
  // The point is replaced where it stands, so a thousand separator that is itself a "."
  // is not mistaken for it.
  if (point != std::u16string::npos) work.replace(point + inserted, 1, format.decimalSeparator);
  ApplySign(work, format);
  text.Assign(work.c_str(), int(work.size() + 1));
}

void XApplyNumberFormat(XString& text, int neutral) {
  XApplyNumberFormat(text, XNumberFormatFor(neutral));
}

XString XFormatNumber(int64_t value, const clLocaleNumberFormat& format) {
  XString text = XString::FromInt64(value);
  XApplyNumberFormat(text, format);
  return text;
}

XString XFormatNumber(int64_t value, int neutral) {
  return XFormatNumber(value, XNumberFormatFor(neutral));
}

XString XFormatUnsigned(uint64_t value, const clLocaleNumberFormat& format) {
  XString text = XString::FromUInt64(value);
  XApplyNumberFormat(text, format);
  return text;
}

XString XFormatUnsigned(uint64_t value, int neutral) {
  return XFormatUnsigned(value, XNumberFormatFor(neutral));
}

XString XFormatDouble(double value, int32_t decimals, bool keepZeros,
                      const clLocaleNumberFormat& format) {
  XString text = XString::FromDouble(value, decimals, keepZeros);
  XApplyNumberFormat(text, format);
  return text;
}

XString XFormatDouble(double value, int32_t decimals, bool keepZeros, int neutral) {
  return XFormatDouble(value, decimals, keepZeros, XNumberFormatFor(neutral));
}

XString XFormatBytes(int64_t count, bool forceKilobytes, const clLocaleNumberFormat& format) {
  const double c = double(count);
  struct Scale {
    double factor;
    const char16_t* unit;
  };
  static const Scale scales[] = {{std::ldexp(1.0, -40), u" TB"},
                                 {std::ldexp(1.0, -30), u" GB"},
                                 {std::ldexp(1.0, -20), u" MB"}};
  if (!forceKilobytes) {
    for (const Scale& scale : scales) {
      if (std::trunc(c * scale.factor) == 0) continue;
      XString text = XFormatDouble(c * scale.factor, 2, false, format);
      text += scale.unit;
      return text;
    }
  }
  if (forceKilobytes || std::trunc(c * std::ldexp(1.0, -10)) != 0) {
    // Rounded up unless less than a hundredth of a kilobyte is over.
    int64_t kilobytes = count == 0 ? 0 : int64_t(std::trunc(c / 1024.0 + 0.99));
    XString text = XFormatNumber(kilobytes, format);
    text += u" KB";
    return text;
  }
  XString text = XString::FromInt64(count);
  text += count == 1 ? u" byte" : u" bytes";
  return text;
}

XString XFormatBytes(int64_t count, bool forceKilobytes, int neutral) {
  return XFormatBytes(count, forceKilobytes, XNumberFormatFor(neutral));
}

XString XFormatDuration(uint64_t milliseconds, uint32_t style, const clLocaleNumberFormat& format) {
  if (style > 4) return XString();
  uint64_t hours = milliseconds / 3600000;
  uint64_t rest = milliseconds % 3600000;
  uint64_t minutes = rest / 60000;
  rest %= 60000;
  uint64_t seconds = rest / 1000;
  uint64_t millis = rest % 1000;
  if (style == 0 || style == 4) {
    return DurationInWords(hours, minutes, seconds, millis, style == 0, format);
  }
  if (style == 1) {
    XString text;
    if (hours) {
      text = XString::FromUInt64(hours);
      text += format.timeSeparator;
      text += Padded(minutes, 2);
    } else {
      text = XString::FromUInt64(minutes);
    }
    text += format.timeSeparator;
    text += Padded(seconds, 2);
    return text;
  }
  XString text = FullClock(hours, minutes, seconds, format);
  if (style == 3) {
    text += format.decimalSeparator;
    text += Padded(millis, 3);
  }
  return text;
}

XString XFormatDuration(uint64_t milliseconds, uint32_t style) {
  return XFormatDuration(milliseconds, style, XUserNumberFormat());
}
