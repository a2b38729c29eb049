// Number, size and duration texts: punctuation from the settings, grouping, signs, rounding.
#include "foundation/XFormat.h"
#include "tests/foundation/Fixtures.h"

#include <cmath>
#include <limits>

namespace {

constexpr char16_t International[] = u"Control Panel\\International";

// The record's fields in one line: leading zero, pattern, groups, then the four texts.
std::string Fields(const clLocaleNumberFormat& f) {
  return std::to_string(f.leadingZero) + std::to_string(f.negativePattern) +
         std::to_string(f.twoDigitGroups) + "|" +
         Joined({f.negativeSign, f.positiveSign, f.thousandSeparator, f.decimalSeparator,
                 f.timeSeparator});
}

void SetText(char16_t (&field)[6], const char16_t* text) {
  std::char_traits<char16_t>::copy(field, text, std::char_traits<char16_t>::length(text) + 1);
}

clLocaleNumberFormat German() {
  clLocaleNumberFormat format = XNeutralNumberFormat();
  SetText(format.thousandSeparator, u".");
  SetText(format.decimalSeparator, u",");
  return format;
}

XString Applied(const char16_t* plain, const clLocaleNumberFormat& format) {
  XString text(plain);
  XApplyNumberFormat(text, format);
  return text;
}

void Store(const char16_t* name, const char16_t* value) {
  ASSERT_TRUE(XRegistry::WriteString(value, name, XRegistry::RootCurrentUser, International));
}

}  // namespace

using XFormatTest = XSettingsSandbox;

TEST_F(XFormatTest, UserRecordReadsTheStoreAndFallsBack) {
  EXPECT_EQ(Fields(XReadUserNumberFormat()), "110|-|||.|:");
  const char16_t* settings[] = {u"iLZero",        u"0",      u"iNegNumber",    u"3",
                                u"sGrouping",     u"3;2;0",  u"sNegativeSign", u"neg",
                                u"sPositiveSign", u"+",      u"sThousand",     u"abcdefg",
                                u"sDecimal",      u"123456", u"sTime",         u"."};
  for (size_t i = 0; i < std::size(settings); i += 2) Store(settings[i], settings[i + 1]);
  EXPECT_EQ(Fields(XReadUserNumberFormat()), "031|neg|+|abcde|12345|.");
}

TEST_F(XFormatTest, NumbersAreGrouped) {
  EXPECT_EQ(
      Joined({XFormatNumber(0, 1), XFormatNumber(999, 1), XFormatNumber(1000, 1),
              XFormatNumber(123456, 1), XFormatNumber(1234567, 1), XFormatNumber(-100, 1),
              XFormatNumber(-100000, 1), XFormatNumber(std::numeric_limits<int64_t>::min(), 1),
              XFormatUnsigned(std::numeric_limits<uint64_t>::max(), 1)}),
      "0|999|1,000|123,456|1,234,567|-100|-100,000|-9,223,372,036,854,775,808|"
      "18,446,744,073,709,551,615");
  clLocaleNumberFormat format = XNeutralNumberFormat();
  format.twoDigitGroups = 1;  // two-digit groups after the first three
  EXPECT_EQ(Joined({Applied(u"1234567", format), Applied(u"12345", format), Applied(u"123", format),
                    Applied(u"-123456.75", format)}),
            "12,34,567|12,345|123|-1,23,456.75");
}

TEST_F(XFormatTest, SignsAndNegativePatterns) {
  clLocaleNumberFormat format = XNeutralNumberFormat();
  const char16_t* expected[] = {u"(1,234.5)", u"-1,234.5",  u"- 1,234.5",
                                u"1,234.5-",  u"1,234.5 -", u"-1,234.5"};
  for (int pattern = 0; pattern <= 5; ++pattern) {
    format.negativePattern = pattern;
    EXPECT_EQ(Applied(u"-1234.5", format), expected[pattern]) << "pattern " << pattern;
  }
  // A positive sign goes in front of zero too.
  format = XNeutralNumberFormat();
  SetText(format.positiveSign, u"+");
  EXPECT_EQ(Joined({Applied(u"5", format), Applied(u"0", format), Applied(u"-5", format),
                    Applied(u"", format)}),
            "+5|+0|-5|");
}

TEST_F(XFormatTest, DoublesRoundOnceAndThenGetPunctuation) {
  EXPECT_EQ(
      Joined({XFormatDouble(9.96, 1, false, 1), XFormatDouble(1234.5678, 2, true, 1),
              XFormatDouble(1234.5, 2, true, 1), XFormatDouble(1234.5, 2, false, 1),
              XFormatDouble(-0.25, 1, false, 1), XFormatDouble(1e120, 2, false, 1),
              XFormatDouble(std::nan(""), 2, false, 1), XFormatDouble(1234.5, 1, false, German())}),
      "10|1,234.57|1,234.50|1,234.5|-0.3|NaN|NAN|1.234,5");
  // The store is empty here, so the user record is the fallback: no thousand separator.
  EXPECT_EQ(Joined({XFormatNumber(1234567, 0), XFormatDouble(1234.25, 2, false, 0)}),
            "1234567|1234.25");
}

TEST_F(XFormatTest, ByteCounts) {
  const int64_t giga = int64_t(1) << 30, tera = int64_t(1) << 40;
  // Kilobytes round up unless under a hundredth; larger units show up to two decimals.
  EXPECT_EQ(Joined({XFormatBytes(0, false, 1), XFormatBytes(1, false, 1), XFormatBytes(2, false, 1),
                    XFormatBytes(1023, false, 1), XFormatBytes(1024, false, 1),
                    XFormatBytes(1025, false, 1), XFormatBytes(1100, false, 1),
                    XFormatBytes(1048575, false, 1), XFormatBytes(100, true, 1),
                    XFormatBytes(0, true, 1), XFormatBytes(3 * giga, true, 1)}),
            "0 bytes|1 byte|2 bytes|1023 bytes|1 KB|1 KB|2 KB|1,024 KB|1 KB|0 KB|3,145,728 KB");
  EXPECT_EQ(Joined({XFormatBytes(1048576, false, 1), XFormatBytes(1572864, false, 1),
                    XFormatBytes(giga - 1, false, 1), XFormatBytes(3 * giga, false, 1),
                    XFormatBytes(tera + (tera >> 2), false, 1), XFormatBytes(2048 * tera, false, 1),
                    XFormatBytes(1572864, false, German())}),
            "1 MB|1.5 MB|1,024 MB|3 GB|1.25 TB|2,048 TB|1,5 MB");
}

TEST_F(XFormatTest, DurationInWords) {
  const clLocaleNumberFormat& f = XNeutralNumberFormat();
  EXPECT_EQ(Joined({XFormatDuration(0, 0, f), XFormatDuration(1, 0, f), XFormatDuration(999, 0, f),
                    XFormatDuration(1000, 0, f), XFormatDuration(1040, 0, f),
                    XFormatDuration(1500, 0, f), XFormatDuration(59999, 0, f),
                    XFormatDuration(60000, 0, f), XFormatDuration(61500, 0, f),
                    XFormatDuration(125000, 0, f), XFormatDuration(3600000, 0, f),
                    XFormatDuration(3661000, 0, f), XFormatDuration(7205000, 0, f),
                    XFormatDuration(360000000, 0, f), XFormatDuration(1500, 0, German())}),
            "0|1 mili-second|999 mili-seconds|1 second|1 seconds|1.5 seconds|60 seconds|"
            "1 minute|1 minute 1 second|2 minutes 5 seconds|1 hour|1 hour 1 minute|2 hours|"
            "100 hours|1,5 seconds");
  // Style 4 leaves the milliseconds out.
  EXPECT_EQ(Joined({XFormatDuration(999, 4, f), XFormatDuration(1500, 4, f),
                    XFormatDuration(2999, 4, f), XFormatDuration(3661999, 4, f)}),
            "0|1 second|2 seconds|1 hour 1 minute");
}

TEST_F(XFormatTest, DurationClocks) {
  clLocaleNumberFormat g = German();
  EXPECT_EQ(Joined({XFormatDuration(60000, 1, g), XFormatDuration(65000, 1, g),
                    XFormatDuration(999, 1, g), XFormatDuration(3725000, 1, g),
                    XFormatDuration(3725000, 2, g), XFormatDuration(360000000, 2, g),
                    XFormatDuration(3725007, 3, g), XFormatDuration(0, 3, g),
                    XFormatDuration(3725000, 5, g), XFormatDuration(3725000, 0xFFFFFFFFu)}),
            "1:00|1:05|0:00|1:02:05|01:02:05|100:00:00|01:02:05,007|00:00:00,000||");
}
