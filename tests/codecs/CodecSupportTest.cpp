// Option words and text conversion shared by the codec plug-ins.
#include "codecs/common/CodecSupport.h"

#include <gtest/gtest.h>

using namespace codec;

namespace {

TEST(CodecSupportTest, OptionsTakeEqualsSpaceAndBareFormsAndTheLastWins) {
  EXPECT_EQ(ParseOptions(u"-bits=24  -type aiff -float -out \"a b\" stray -x=\"q r\" -last"),
            TextPairs({{u"bits", u"24"},
                       {u"type", u"aiff"},
                       {u"float", u""},
                       {u"out", u"a b"},
                       {u"x", u"q r"},
                       {u"last", u""}}));
  EXPECT_TRUE(ParseOptions(u"   \t ").empty());
  // "-" alone is no option, "--" is the key "-".
  EXPECT_EQ(ParseOptions(u"- -- "), TextPairs({{u"-", u""}}));
  // The last of a key wins, and keys match in any case.
  TextPairs options = ParseOptions(u"-Bits=16 -BITS=32");
  bool found = false;
  EXPECT_EQ(OptionValue(options, u"bits", &found), u"32");
  EXPECT_TRUE(found);
  EXPECT_EQ(OptionValue(options, u"type", &found), u"");
  EXPECT_FALSE(found);
}

TEST(CodecSupportTest, Utf8ConversionHandlesSurrogatesAndBrokenInput) {
  EXPECT_EQ(FromUtf8("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"), u"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(ToUtf8(std::u16string(1, char16_t(0xD800))), "\xef\xbf\xbd");
  EXPECT_EQ(FromUtf8("\xc3"), u"\ufffd");                      // cut short
  EXPECT_EQ(FromUtf8("\xc0\xaf"), u"\ufffd\ufffd");            // over-long
  EXPECT_EQ(FromUtf8("\xed\xa0\x80"), u"\ufffd\ufffd\ufffd");  // an encoded surrogate
  EXPECT_EQ(View(nullptr), u"");
}

}  // namespace
