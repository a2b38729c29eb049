// Option words, tag blocks and text conversion inside the PCM plug-ins.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/TagItemBlock.h"

#include <gtest/gtest.h>

using namespace codec;

namespace {

TEST(CodecSupportTest, OptionsTakeEqualsSpaceAndBareForms) {
  TextPairs options =
      ParseOptions(u"-bits=24  -type aiff -float -out \"a b\" stray -x=\"q r\" -last");
  ASSERT_EQ(options.size(), 6u);
  EXPECT_EQ(options[0], TextPair(u"bits", u"24"));
  EXPECT_EQ(options[1], TextPair(u"type", u"aiff"));
  EXPECT_EQ(options[2], TextPair(u"float", u""));
  EXPECT_EQ(options[3], TextPair(u"out", u"a b"));
  EXPECT_EQ(options[4], TextPair(u"x", u"q r"));
  EXPECT_EQ(options[5], TextPair(u"last", u""));
}

TEST(CodecSupportTest, OptionsFromEmptyOrBlankLinesAreNone) {
  EXPECT_TRUE(ParseOptions(u"").empty());
  EXPECT_TRUE(ParseOptions(u"   \t ").empty());
  EXPECT_TRUE(ParseOptions(u"- -- ").size() == 1);  // "-" alone is no option, "--" is the key "-"
}

TEST(CodecSupportTest, LastOptionWinsAndKeysIgnoreCase) {
  TextPairs options = ParseOptions(u"-Bits=16 -BITS=32");
  bool found = false;
  EXPECT_EQ(OptionValue(options, u"bits", &found), u"32");
  EXPECT_TRUE(found);
  EXPECT_EQ(OptionValue(options, u"type", &found), u"");
  EXPECT_FALSE(found);
}

TEST(CodecSupportTest, TagBlockRoundTripsAndKeepsOrder) {
  TagItems items = {{u"Title", u"\u00e9t\u00e9", {}}, {u"Artist", u"", {}}, {u"", u"v", {}}};
  std::vector<uint8_t> block = MakeTagItemBlock(items);
  EXPECT_EQ(block.size(), 4u + (4 + 12 + 8) + (4 + 14 + 2) + (4 + 2 + 4));
  EXPECT_EQ(ReadTagItemBlock(block.data(), uint32_t(block.size())), items);
  EXPECT_EQ(MakeTagItemBlock({}), std::vector<uint8_t>({0, 0, 0, 0}));
}

TEST(CodecSupportTest, DamagedTagBlocksKeepWhatCameBefore) {
  std::vector<uint8_t> block = MakeTagItemBlock({{u"A", u"1", {}}, {u"B", u"2", {}}});
  EXPECT_TRUE(ReadTagItemBlock(nullptr, 10).empty());
  EXPECT_TRUE(ReadTagItemBlock(block.data(), 4).empty());
  // The second record cut short by one byte: only the first survives.
  EXPECT_EQ(ReadTagItemBlock(block.data(), uint32_t(block.size() - 1)).size(), 1u);
  // A count of 1 reads one record although two are there.
  block[0] = 1;
  EXPECT_EQ(ReadTagItemBlock(block.data(), uint32_t(block.size())).size(), 1u);
  // A negative record size ends the reading.
  block[0] = 2;
  block[4] = 0xFF, block[5] = 0xFF, block[6] = 0xFF, block[7] = 0xFF;
  EXPECT_TRUE(ReadTagItemBlock(block.data(), uint32_t(block.size())).empty());
}

TEST(CodecSupportTest, Utf8ConversionHandlesSurrogatesAndBrokenInput) {
  EXPECT_EQ(ToUtf8(u"a\u00e9\u20ac\U0001F600"), "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
  EXPECT_EQ(FromUtf8("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"), u"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(ToUtf8(std::u16string(1, char16_t(0xD800))), "\xef\xbf\xbd");
  EXPECT_EQ(FromUtf8("\xc3"), u"\ufffd");                      // cut short
  EXPECT_EQ(FromUtf8("\xc0\xaf"), u"\ufffd\ufffd");            // over-long
  EXPECT_EQ(FromUtf8("\xed\xa0\x80"), u"\ufffd\ufffd\ufffd");  // an encoded surrogate
  EXPECT_EQ(View(nullptr), u"");
}

}  // namespace
