// Text codec: the sizing contract, UTF-8 edges, lone surrogates and US-ASCII.
#include "foundation/XTextCodec.h"
#include "tests/foundation/Fixtures.h"

#include <tuple>

namespace {

std::u16string Decode(const std::string& bytes, unsigned codePage = XCodePageUtf8) {
  int need = XMultiByteToWideChar(codePage, bytes.data(), int(bytes.size()), nullptr, 0);
  std::u16string out(size_t(need), u'\0');
  EXPECT_EQ(XMultiByteToWideChar(codePage, bytes.data(), int(bytes.size()), out.data(), need),
            need);
  return out;
}

std::string Encode(const std::u16string& units, unsigned codePage = XCodePageUtf8) {
  int need = XWideCharToMultiByte(codePage, units.data(), int(units.size()), nullptr, 0);
  std::string out(size_t(need), '\0');
  EXPECT_EQ(XWideCharToMultiByte(codePage, units.data(), int(units.size()), out.data(), need),
            need);
  return out;
}

}  // namespace

TEST(XTextCodecTest, TerminatedSourceCountsTheTerminator) {
  EXPECT_EQ(XMultiByteToWideChar(0, "abc", -1, nullptr, 0), 4);
  char16_t wide[8] = {u'x', u'x', u'x', u'x', u'x'};
  EXPECT_EQ(XMultiByteToWideChar(0, "abc", -1, wide, 8), 4);
  EXPECT_EQ(std::u16string(wide), u"abc");
  char narrow[8];
  EXPECT_EQ(XWideCharToMultiByte(65001, u"\u00e9", -1, narrow, 8), 3);
  EXPECT_STREQ(narrow, "\xc3\xa9");
}

TEST(XTextCodecTest, TooSmallTargetFailsWithInsufficientBuffer) {
  char16_t wide[3];
  XSetLastError(0);
  EXPECT_EQ(XMultiByteToWideChar(0, "abc", -1, wide, 3), 0);
  EXPECT_EQ(XGetLastError(), 122u);
  char narrow[2];
  XSetLastError(0);
  EXPECT_EQ(XWideCharToMultiByte(0, u"\u00e9", -1, narrow, 2), 0);
  EXPECT_EQ(XGetLastError(), 122u);
}

TEST(XTextCodecTest, BadArgumentsFailWithInvalidParameter) {
  char16_t wide[4];
  char narrow[4];
  EXPECT_EQ(XMultiByteToWideChar(1252, "a", -1, wide, 4), 0);
  EXPECT_EQ(XMultiByteToWideChar(0, nullptr, -1, wide, 4), 0);
  EXPECT_EQ(XMultiByteToWideChar(0, "a", 0, wide, 4), 0);
  EXPECT_EQ(XMultiByteToWideChar(0, "a", -1, nullptr, 4), 0);
  XSetLastError(0);
  EXPECT_EQ(XWideCharToMultiByte(437, u"a", -1, narrow, 4), 0);
  EXPECT_EQ(XGetLastError(), 87u);
}

// A cut sequence is one replacement; a bad byte or a bad form is one replacement a byte.
TEST(XTextCodecTest, Utf8DecodingAtTheLengthBoundariesAndOnBrokenInput) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"\xc2\x80", u"\u0080"},
      {"\xe0\xa0\x80", u"\u0800"},
      {"\xf0\x90\x80\x80", u"\U00010000"},
      {"\xf4\x8f\xbf\xbf", u"\U0010FFFF"},
      {"\xe2\x82\x61", u"\uFFFDa"},
      {"\xf0\x9f\x8e", u"\uFFFD"},
      {"a\xc3", u"a\uFFFD"},
      {"\x80", u"\uFFFD"},
      {"\xff\xfe", u"\uFFFD\uFFFD"},
      {"\xc0\x80", u"\uFFFD\uFFFD"},                      // overlong zero
      {"\xe0\x80\xaf", u"\uFFFD\uFFFD\uFFFD"},            // overlong "/"
      {"\xed\xa0\x80", u"\uFFFD\uFFFD\uFFFD"},            // encoded surrogate
      {"\xf4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
  };
  for (const auto& [bytes, units] : cases) EXPECT_EQ(Decode(bytes), units) << bytes;
  // A terminated source ends the sequence at the terminator.
  char16_t wide[8];
  EXPECT_EQ(XMultiByteToWideChar(0, "\xe2\x82", -1, wide, 8), 2);
  EXPECT_EQ(std::u16string(wide, 2), std::u16string(u"\uFFFD\0", 2));
}

TEST(XTextCodecTest, EncodingReplacesLoneSurrogatesAndUnitsAbove127ForAscii) {
  const std::string bad = "\xef\xbf\xbd";
  const std::tuple<std::u16string, unsigned, std::string> cases[] = {
      {u"\u007f\u0080\u07ff\u0800\uffff", XCodePageUtf8,
       "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
      {u"\U00010000", XCodePageUtf8, "\xf0\x90\x80\x80"},
      {std::u16string(1, char16_t(0xD800)), XCodePageUtf8, bad},
      {std::u16string{char16_t(0xDC00), char16_t(0xD800)}, XCodePageUtf8, bad + bad},
      {u"a\u007f\u0080\u00e9z", XCodePageAscii, "a\x7f??z"},
      {u"\U0001F3B5", XCodePageAscii, "??"},  // each unit of the pair
  };
  for (const auto& [units, page, bytes] : cases) EXPECT_EQ(Encode(units, page), bytes) << bytes;
  // A high surrogate whose pair would lie past the given length stays alone.
  const char16_t pair[] = {0xD83C, 0xDFB5, 0};
  char narrow[8];
  EXPECT_EQ(XWideCharToMultiByte(0, pair, 1, narrow, 8), 3);
  EXPECT_EQ(Decode("a\x7f\x80\xff", XCodePageAscii), u"a\u007f\uFFFD\uFFFD");
}

TEST(XTextCodecTest, StringHelpersKeepEmbeddedZeros) {
  EXPECT_EQ(XUtf8ToUtf16(std::string_view("a\0b", 3)), std::u16string(u"a\0b", 3));
  EXPECT_EQ(XUtf16ToUtf8(u"\u00e9\U0001F3B5"), "\xc3\xa9\xf0\x9f\x8e\xb5");
}
