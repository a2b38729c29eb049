// Number, size and duration texts: punctuation from the settings, grouping, signs, rounding.
#include "foundation/XFormat.h"
#include "tests/foundation/Fixtures.h"

#include <cmath>

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
  auto n = [](int64_t value) { return XFormatNumber(value, 1); };
  EXPECT_EQ(Joined({n(0), n(999), n(1000), n(123456), n(1234567), n(-100), n(-100000), n(INT64_MIN),
                    XFormatUnsigned(UINT64_MAX, 1)}),
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
  auto b = [](int64_t count, bool kilobytes = false) { return XFormatBytes(count, kilobytes, 1); };
  // Kilobytes round up unless under a hundredth; larger units show up to two decimals.
  EXPECT_EQ(Joined({b(0), b(1), b(1023), b(1024), b(1025), b(1100), b(1048575), b(100, true),
                    b(0, true), b(3 * giga, true)}),
            "0 bytes|1 byte|1023 bytes|1 KB|1 KB|2 KB|1,024 KB|1 KB|0 KB|3,145,728 KB");
  EXPECT_EQ(Joined({b(1048576), b(1572864), b(giga - 1), b(3 * giga), b(tera + (tera >> 2)),
                    b(2048 * tera), XFormatBytes(1572864, false, German())}),
            "1 MB|1.5 MB|1,024 MB|3 GB|1.25 TB|2,048 TB|1,5 MB");
}

// Style 0 is in words, 4 in words without the milliseconds, 1 to 3 are clocks.
TEST_F(XFormatTest, Durations) {
  auto d = [](uint64_t ms, uint32_t style, const clLocaleNumberFormat& f = XNeutralNumberFormat()) {
    return XFormatDuration(ms, style, f);
  };
  const clLocaleNumberFormat g = German();
  EXPECT_EQ(Joined({d(0, 0), d(1, 0), d(999, 0), d(1000, 0), d(1040, 0), d(1500, 0), d(59999, 0),
                    d(60000, 0), d(61500, 0), d(3600000, 0), d(3661000, 0), d(7205000, 0),
                    d(1500, 0, g)}),
            "0|1 mili-second|999 mili-seconds|1 second|1 seconds|1.5 seconds|60 seconds|1 minute|"
            "1 minute 1 second|1 hour|1 hour 1 minute|2 hours|1,5 seconds");
  EXPECT_EQ(Joined({d(999, 4), d(1500, 4), d(2999, 4), d(3661999, 4)}),
            "0|1 second|2 seconds|1 hour 1 minute");
  EXPECT_EQ(Joined({d(60000, 1, g), d(65000, 1, g), d(999, 1, g), d(3725000, 1, g),
                    d(3725000, 2, g), d(360000000, 2, g), d(3725007, 3, g), d(0, 3, g),
                    d(3725000, 5, g), XFormatDuration(3725000, 0xFFFFFFFFu)}),
            "1:00|1:05|0:00|1:02:05|01:02:05|100:00:00|01:02:05,007|00:00:00,000||");
}
