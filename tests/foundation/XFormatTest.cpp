// Number, size and duration texts: punctuation from the settings, grouping, signs, rounding.
#include "foundation/XFormat.h"
#include "foundation/XRegistry.h"
#include "foundation/XString.h"
#include "tests/foundation/Fixtures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace {

constexpr char16_t International[] = u"Control Panel\\International";

std::u16string Text(const XString& text) { return std::u16string(text.CStr()); }

void SetText(char16_t (&field)[6], const char16_t* text) {
  size_t i = 0;
  for (; text[i]; ++i) field[i] = text[i];
  field[i] = 0;
}

clLocaleNumberFormat German() {
  clLocaleNumberFormat format = XNeutralNumberFormat();
  SetText(format.thousandSeparator, u".");
  SetText(format.decimalSeparator, u",");
  return format;
}

std::u16string Applied(const char16_t* plain, const clLocaleNumberFormat& format) {
  XString text(plain);
  XApplyNumberFormat(text, format);
  return Text(text);
}

void Store(const char16_t* name, const char16_t* value) {
  ASSERT_TRUE(XRegistry::WriteString(value, name, HKEY_CURRENT_USER, International));
}

}  // namespace

using XFormatTest = XSettingsSandbox;

TEST_F(XFormatTest, NeutralRecordHasFixedPunctuation) {
  const clLocaleNumberFormat& format = XNeutralNumberFormat();
  EXPECT_EQ(format.leadingZero, 1);
  EXPECT_EQ(format.negativePattern, 1);
  EXPECT_EQ(format.twoDigitGroups, 0);
  EXPECT_EQ(std::u16string(format.negativeSign), u"-");
  EXPECT_EQ(std::u16string(format.positiveSign), u"");
  EXPECT_EQ(std::u16string(format.thousandSeparator), u",");
  EXPECT_EQ(std::u16string(format.decimalSeparator), u".");
  EXPECT_EQ(std::u16string(format.timeSeparator), u":");
}

TEST_F(XFormatTest, UserRecordFallsBackWhenValuesAreMissing) {
  clLocaleNumberFormat format = XReadUserNumberFormat();
  EXPECT_EQ(format.leadingZero, 1);
  EXPECT_EQ(format.negativePattern, 1);
  EXPECT_EQ(format.twoDigitGroups, 0);
  EXPECT_EQ(std::u16string(format.negativeSign), u"-");
  EXPECT_EQ(std::u16string(format.positiveSign), u"");
  EXPECT_EQ(std::u16string(format.thousandSeparator), u"");
  EXPECT_EQ(std::u16string(format.decimalSeparator), u".");
  EXPECT_EQ(std::u16string(format.timeSeparator), u":");
}

TEST_F(XFormatTest, UserRecordReadsTheStoredValues) {
  Store(u"iLZero", u"0");
  Store(u"iNegNumber", u"3");
  Store(u"sGrouping", u"3;2;0");
  Store(u"sNegativeSign", u"neg");
  Store(u"sPositiveSign", u"+");
  Store(u"sThousand", u"abcdefg");
  Store(u"sDecimal", u"123456");
  Store(u"sTime", u".");
  clLocaleNumberFormat format = XReadUserNumberFormat();
  EXPECT_EQ(format.leadingZero, 0);
  EXPECT_EQ(format.negativePattern, 3);
  EXPECT_EQ(format.twoDigitGroups, 1);
  EXPECT_EQ(std::u16string(format.negativeSign), u"neg");
  EXPECT_EQ(std::u16string(format.positiveSign), u"+");
  EXPECT_EQ(std::u16string(format.thousandSeparator), u"abcde");
  EXPECT_EQ(std::u16string(format.decimalSeparator), u"12345");
  EXPECT_EQ(std::u16string(format.timeSeparator), u".");
}

TEST_F(XFormatTest, UserRecordGroupingNeedsTheExactText) {
  Store(u"sGrouping", u"3;2");
  Store(u"iLZero", u"1");
  EXPECT_EQ(XReadUserNumberFormat().twoDigitGroups, 0);
  EXPECT_EQ(XReadUserNumberFormat().leadingZero, 1);
  Store(u"sGrouping", u"3;2;0 ");
  EXPECT_EQ(XReadUserNumberFormat().twoDigitGroups, 0);
}

TEST_F(XFormatTest, MissingPatternAndSignWithCommaThousands) {
  Store(u"sThousand", u",");
  XString text = XString::FromInt64(-1234);
  XApplyNumberFormat(text, XReadUserNumberFormat());
  EXPECT_EQ(Text(text), u"-1,234");
}

TEST_F(XFormatTest, GroupsOfThreeAtEveryLength) {
  EXPECT_EQ(Text(XFormatNumber(0, 1)), u"0");
  EXPECT_EQ(Text(XFormatNumber(999, 1)), u"999");
  EXPECT_EQ(Text(XFormatNumber(1000, 1)), u"1,000");
  EXPECT_EQ(Text(XFormatNumber(123456, 1)), u"123,456");
  EXPECT_EQ(Text(XFormatNumber(1234567, 1)), u"1,234,567");
  EXPECT_EQ(Text(XFormatNumber(-100, 1)), u"-100");
  EXPECT_EQ(Text(XFormatNumber(-100000, 1)), u"-100,000");
  EXPECT_EQ(Text(XFormatNumber(std::numeric_limits<int64_t>::min(), 1)),
            u"-9,223,372,036,854,775,808");
  EXPECT_EQ(Text(XFormatUnsigned(std::numeric_limits<uint64_t>::max(), 1)),
            u"18,446,744,073,709,551,615");
}

TEST_F(XFormatTest, TwoDigitGroupsAfterTheFirstThree) {
  clLocaleNumberFormat format = XNeutralNumberFormat();
  format.twoDigitGroups = 1;
  EXPECT_EQ(Applied(u"1234567", format), u"12,34,567");
  EXPECT_EQ(Applied(u"12345", format), u"12,345");
  EXPECT_EQ(Applied(u"123", format), u"123");
  EXPECT_EQ(Applied(u"-123456.75", format), u"-1,23,456.75");
}

TEST_F(XFormatTest, SeparatorsOfSeveralCharactersAndNone) {
  clLocaleNumberFormat format = XNeutralNumberFormat();
  SetText(format.thousandSeparator, u"'_'");
  SetText(format.decimalSeparator, u" dot ");
  EXPECT_EQ(Applied(u"1234567.5", format), u"1'_'234'_'567 dot 5");
  SetText(format.thousandSeparator, u"");
  EXPECT_EQ(Applied(u"1234567.5", format), u"1234567 dot 5");
}

TEST_F(XFormatTest, OnlyTheDecimalPointBecomesTheDecimalSeparator) {
  EXPECT_EQ(Applied(u"1234567.25", German()), u"1.234.567,25");
  EXPECT_EQ(Applied(u"-1000.5", German()), u"-1.000,5");
  EXPECT_EQ(Applied(u"0.5", German()), u"0,5");
}

TEST_F(XFormatTest, NegativePatterns) {
  clLocaleNumberFormat format = XNeutralNumberFormat();
  const std::u16string expected[] = {u"(1,234.5)", u"-1,234.5",  u"- 1,234.5",
                                     u"1,234.5-",  u"1,234.5 -", u"-1,234.5"};
  for (int pattern = 0; pattern <= 5; ++pattern) {
    format.negativePattern = pattern;
    EXPECT_EQ(Applied(u"-1234.5", format), expected[pattern]) << "pattern " << pattern;
  }
  format.negativePattern = 4;
  SetText(format.negativeSign, u"minus");
  EXPECT_EQ(Applied(u"-7", format), u"7 minus");
  format.negativePattern = -1;
  EXPECT_EQ(Applied(u"-7", format), u"minus7");
}

TEST_F(XFormatTest, PositiveSignGoesInFrontOfZeroToo) {
  clLocaleNumberFormat format = XNeutralNumberFormat();
  SetText(format.positiveSign, u"+");
  EXPECT_EQ(Applied(u"5", format), u"+5");
  EXPECT_EQ(Applied(u"0", format), u"+0");
  EXPECT_EQ(Applied(u"-5", format), u"-5");
  EXPECT_EQ(Applied(u"", format), u"");
}

TEST_F(XFormatTest, DoublesRoundOnceAndThenGetPunctuation) {
  EXPECT_EQ(Text(XFormatDouble(9.96, 1, false, 1)), u"10");
  EXPECT_EQ(Text(XFormatDouble(1234.5678, 2, true, 1)), u"1,234.57");
  EXPECT_EQ(Text(XFormatDouble(1234.5, 2, true, 1)), u"1,234.50");
  EXPECT_EQ(Text(XFormatDouble(1234.5, 2, false, 1)), u"1,234.5");
  EXPECT_EQ(Text(XFormatDouble(-0.25, 1, false, 1)), u"-0.3");
  EXPECT_EQ(Text(XFormatDouble(1e120, 2, false, 1)), u"NaN");
  EXPECT_EQ(Text(XFormatDouble(std::nan(""), 2, false, 1)), u"NAN");
  EXPECT_EQ(Text(XFormatDouble(1234.5, 1, false, German())), u"1.234,5");
}

TEST_F(XFormatTest, UserPunctuationIsUsedForNonNeutralCalls) {
  // The store is empty here, so the user record is the fallback: no thousand separator.
  EXPECT_EQ(Text(XFormatNumber(1234567, 0)), u"1234567");
  EXPECT_EQ(Text(XFormatDouble(1234.25, 2, false, 0)), u"1234.25");
}

TEST_F(XFormatTest, BytesBelowAKilobyteArePlain) {
  EXPECT_EQ(Text(XFormatBytes(0, false, 1)), u"0 bytes");
  EXPECT_EQ(Text(XFormatBytes(1, false, 1)), u"1 byte");
  EXPECT_EQ(Text(XFormatBytes(2, false, 1)), u"2 bytes");
  EXPECT_EQ(Text(XFormatBytes(1023, false, 1)), u"1023 bytes");
}

TEST_F(XFormatTest, KilobytesRoundUpUnlessUnderAHundredth) {
  EXPECT_EQ(Text(XFormatBytes(1024, false, 1)), u"1 KB");
  EXPECT_EQ(Text(XFormatBytes(1025, false, 1)), u"1 KB");
  EXPECT_EQ(Text(XFormatBytes(1100, false, 1)), u"2 KB");
  EXPECT_EQ(Text(XFormatBytes(1048575, false, 1)), u"1,024 KB");
  EXPECT_EQ(Text(XFormatBytes(100, true, 1)), u"1 KB");
  EXPECT_EQ(Text(XFormatBytes(0, true, 1)), u"0 KB");
  EXPECT_EQ(Text(XFormatBytes(3 * (int64_t(1) << 30), true, 1)), u"3,145,728 KB");
}

TEST_F(XFormatTest, LargerUnitsShowUpToTwoDecimals) {
  EXPECT_EQ(Text(XFormatBytes(1048576, false, 1)), u"1 MB");
  EXPECT_EQ(Text(XFormatBytes(1572864, false, 1)), u"1.5 MB");
  EXPECT_EQ(Text(XFormatBytes((int64_t(1) << 30) - 1, false, 1)), u"1,024 MB");
  EXPECT_EQ(Text(XFormatBytes(3 * (int64_t(1) << 30), false, 1)), u"3 GB");
  EXPECT_EQ(Text(XFormatBytes((int64_t(1) << 40) + (int64_t(1) << 38), false, 1)), u"1.25 TB");
  EXPECT_EQ(Text(XFormatBytes(int64_t(2048) << 40, false, 1)), u"2,048 TB");
  EXPECT_EQ(Text(XFormatBytes(1572864, false, German())), u"1,5 MB");
}

TEST_F(XFormatTest, DurationInWords) {
  const clLocaleNumberFormat& format = XNeutralNumberFormat();
  EXPECT_EQ(Text(XFormatDuration(0, 0, format)), u"0");
  EXPECT_EQ(Text(XFormatDuration(1, 0, format)), u"1 mili-second");
  EXPECT_EQ(Text(XFormatDuration(999, 0, format)), u"999 mili-seconds");
  EXPECT_EQ(Text(XFormatDuration(1000, 0, format)), u"1 second");
  EXPECT_EQ(Text(XFormatDuration(1040, 0, format)), u"1 seconds");
  EXPECT_EQ(Text(XFormatDuration(1500, 0, format)), u"1.5 seconds");
  EXPECT_EQ(Text(XFormatDuration(59999, 0, format)), u"60 seconds");
  EXPECT_EQ(Text(XFormatDuration(60000, 0, format)), u"1 minute");
  EXPECT_EQ(Text(XFormatDuration(61500, 0, format)), u"1 minute 1 second");
  EXPECT_EQ(Text(XFormatDuration(125000, 0, format)), u"2 minutes 5 seconds");
  EXPECT_EQ(Text(XFormatDuration(3600000, 0, format)), u"1 hour");
  EXPECT_EQ(Text(XFormatDuration(3661000, 0, format)), u"1 hour 1 minute");
  EXPECT_EQ(Text(XFormatDuration(7205000, 0, format)), u"2 hours");
  EXPECT_EQ(Text(XFormatDuration(360000000, 0, format)), u"100 hours");
  EXPECT_EQ(Text(XFormatDuration(1500, 0, German())), u"1,5 seconds");
}

TEST_F(XFormatTest, DurationInWordsWithoutMilliseconds) {
  const clLocaleNumberFormat& format = XNeutralNumberFormat();
  EXPECT_EQ(Text(XFormatDuration(999, 4, format)), u"0");
  EXPECT_EQ(Text(XFormatDuration(1500, 4, format)), u"1 second");
  EXPECT_EQ(Text(XFormatDuration(2999, 4, format)), u"2 seconds");
  EXPECT_EQ(Text(XFormatDuration(3661999, 4, format)), u"1 hour 1 minute");
}

TEST_F(XFormatTest, DurationClocks) {
  clLocaleNumberFormat format = German();
  EXPECT_EQ(Text(XFormatDuration(60000, 1, format)), u"1:00");
  EXPECT_EQ(Text(XFormatDuration(65000, 1, format)), u"1:05");
  EXPECT_EQ(Text(XFormatDuration(999, 1, format)), u"0:00");
  EXPECT_EQ(Text(XFormatDuration(3725000, 1, format)), u"1:02:05");
  EXPECT_EQ(Text(XFormatDuration(3725000, 2, format)), u"01:02:05");
  EXPECT_EQ(Text(XFormatDuration(360000000, 2, format)), u"100:00:00");
  EXPECT_EQ(Text(XFormatDuration(3725007, 3, format)), u"01:02:05,007");
  EXPECT_EQ(Text(XFormatDuration(0, 3, format)), u"00:00:00,000");
  SetText(format.timeSeparator, u"h");
  EXPECT_EQ(Text(XFormatDuration(3725000, 2, format)), u"01h02h05");
}

TEST_F(XFormatTest, DurationStylesAboveFourAreEmpty) {
  EXPECT_EQ(Text(XFormatDuration(3725000, 5, XNeutralNumberFormat())), u"");
  EXPECT_EQ(Text(XFormatDuration(3725000, 0xFFFFFFFFu)), u"");
}

TEST_F(XFormatTest, DurationUsesTheUserRecord) {
  // An empty store gives the fallback punctuation: "." and ":".
  EXPECT_EQ(Text(XFormatDuration(1500, 0)), u"1.5 seconds");
  EXPECT_EQ(Text(XFormatDuration(3725250, 3)), u"01:02:05.250");
}
