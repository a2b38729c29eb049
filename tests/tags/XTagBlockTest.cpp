// Tag blocks in both forms: exact layout, round trips, and malformed blocks of every kind.
#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/XBuffer.h"
#include "tags/XTagPicture.h"
#include "tests/tags/TagTestSupport.h"

namespace {

std::vector<uint8_t> Write(const XTagList& list, bool wide) {
  XBuffer block;
  EXPECT_TRUE(wide ? list.ToBlock(block) : list.ToBlockUtf8(block));
  return std::vector<uint8_t>(block.data, block.data + block.size);
}

// The items read into a list that held one before, which must go.
std::string Read(const void* data, int64_t size, bool wide, bool bytes = false) {
  XTagList list;
  list.Add(u"stale", u"item");
  wide ? list.FromBlock(data, size) : list.FromBlockUtf8(data, size);
  return Describe(list, bytes);
}

// Non-ASCII text, line breaks, several values in one, an empty item, and a picture.
XTagList RichList() {
  XTagList list;
  list.Add(u"Artist", u"\u00c9mile & \u6771\u4eac \U0001F3B5");
  list.Add(u"Comment", u"line one\r\nline two\rthree");
  list.Add(u"", u"");
  list.AddData(PictureKey(1, u"Front Album Cover", u"\u00e4u\u00dfen"), "\x89PNG\0\0", 6);
  list.AddData(u"_cdtoc", "", 0);
  list.Add(u"Genre", u"Rock\rPop\rJazz");
  return list;
}

// Pictures of several megabytes, whose record sizes need more than 16 bits.
XTagList LargeList() {
  std::vector<uint8_t> bytes(5 * 1024 * 1024 + 3);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i * 7 % 251);
  XTagList list;
  list.AddData(PictureKey(1, u"Front Album Cover", u""), bytes.data(), int64_t(bytes.size()));
  list.AddData(PictureKey(2, u"Back Album Cover", u"\u00e4"), bytes.data() + 3, 3 * 1024 * 1024);
  return list;
}

}  // namespace

TEST(XTagBlockTest, LayoutIsByteExactInBothForms) {
  XTagList list;
  for (bool wide : {true, false}) EXPECT_EQ(Write(list, wide), std::vector<uint8_t>(4, 0));
  list.Add(u"Ab", u"\u00e9");
  list.AddData(u"k", "\xff", 1);
  BlockBytes wide = BlockBytes(true).Int(2).Int(4 + 6 + 4).Text("Ab").Raw({0xe9, 0, 0, 0});
  EXPECT_EQ(Write(list, true), wide.Int(4 + 4 + 2 + 1).Text("k").Text("").Raw({0xff}).bytes);
  BlockBytes utf8 = BlockBytes(false).Int(2).Int(4 + 3 + 3).Text("Ab").Raw({0xc3, 0xa9, 0});
  EXPECT_EQ(Write(list, false), utf8.Int(4 + 2 + 1 + 1).Text("k").Text("").Raw({0xff}).bytes);
}

TEST(XTagBlockTest, RoundTripsKeepEveryItemAtAnyAlignment) {
  for (XTagList list : {XTagList(), RichList(), LargeList()}) {
    for (bool wide : {true, false}) {
      std::vector<uint8_t> block = Write(list, wide);
      for (size_t shift = 0; shift < 4; ++shift) {
        std::vector<uint8_t> moved(shift, 0xAA);
        moved.insert(moved.end(), block.begin(), block.end());
        EXPECT_EQ(Read(moved.data() + shift, int64_t(block.size()), wide, true),
                  Describe(list, true))
            << wide << shift;
      }
    }
  }
}

TEST(XTagBlockTest, MalformedBlocksGiveTheItemsBeforeTheFault) {
  std::vector<std::pair<BlockBytes, std::string>> cases;
  for (bool wide : {true, false}) {
    auto three = [wide](int32_t count) {
      return BlockBytes(wide).Int(count).Record("a", "v").Record("b", "v").Record("c", "v");
    };
    const int32_t counts[] = {0, -1, INT32_MIN, 1, 3, 4, INT32_MAX};
    const char* items[] = {"", "", "", "a=v", "a=v|b=v|c=v", "a=v|b=v|c=v", "a=v|b=v|c=v"};
    for (size_t i = 0; i < std::size(counts); ++i) cases.push_back({three(counts[i]), items[i]});
    // A record size past the end or negative ends the parse; one below its own field gives
    // one empty item.
    for (int32_t size : {-1, INT32_MIN, INT32_MAX, 1000})
      cases.push_back(
          {BlockBytes(wide).Int(3).Record("a", "v").Int(size).Text("b").Text("v"), "a=v"});
    for (int32_t size : {0, 1, 3, 4})
      cases.push_back({BlockBytes(wide).Int(3).Int(size).Record("b", "v"), "="});
  }
  const std::pair<BlockBytes, std::string> shapes[] = {
      {BlockBytes(true).Int(2).Int(4 + 4).Text("k").Record("next", "v"), "k="},
      {BlockBytes(true).Int(2).Int(4 + 4).Text("ab", false).Record("next", "v"), "=[4]|next=v"},
      {BlockBytes(true).Int(1).Int(4 + 3).Raw({'A', 0, 0}), "=[3]"},  // no whole terminator
      {BlockBytes(true).Int(1).Int(4 + 4 + 1).Text("k").Raw({7}), "k=[1]"},
      {BlockBytes(true).Int(2).Int(4 + 4 + 3).Text("k").Raw({'v', 0, 'w'}).Record("n", ""),
       "k=[3]|n="},
      {BlockBytes(true).Int(1).Int(4 + 6 + 2).Raw({0x3d, 0xd8, 0x00, 0xdc, 0, 0, 0, 0}),
       "\U0001F400="},
      {BlockBytes(false).Int(2).Int(4 + 3).Text("abc", false).Record("n", "v"), "="},
      {BlockBytes(false).Int(2).Int(4 + 2).Text("k").Record("n", "v"), "k="},
      {BlockBytes(false).Int(2).Int(4 + 2 + 2).Text("k").Text("vw", false).Record("n", "v"), "k="},
      {BlockBytes(false).Int(1).Int(4 + 3 + 2).Raw({'a', 0xff, 0, 0xc3, 0}), "a\ufffd=\ufffd"},
  };
  cases.insert(cases.end(), std::begin(shapes), std::end(shapes));
  for (const auto& [block, expected] : cases)
    EXPECT_EQ(Read(block.bytes.data(), int64_t(block.bytes.size()), block.wide), expected)
        << testing::PrintToString(block.bytes);
}

TEST(XTagBlockTest, CutsAndBadSizesKeepOnlyTheWholeRecordsBeforeThem) {
  for (bool wide : {true, false}) {
    XTagList list = RichList(), prefix;
    std::vector<uint8_t> block = Write(list, wide);
    EXPECT_EQ(Read(nullptr, int64_t(block.size()), wide), "");
    for (int64_t size : {int64_t(-1), INT64_MIN}) EXPECT_EQ(Read(block.data(), size, wide), "");
    std::vector<size_t> ends;              // where each record ends
    std::vector<std::string> kept = {""};  // the items wholly before each end
    for (size_t pos = 4; ends.size() < size_t(list.Count());) {
      ends.push_back(pos += size_t(block[pos] | block[pos + 1] << 8));
      prefix.AddItem(list.At(int32_t(ends.size() - 1)));
      kept.push_back(Describe(prefix, true));
    }
    for (size_t cut = 0; cut <= block.size(); ++cut) {
      size_t whole = size_t(std::upper_bound(ends.begin(), ends.end(), cut) - ends.begin());
      EXPECT_EQ(Read(block.data(), int64_t(cut), wide, true), kept[whole]) << wide << " " << cut;
    }
  }
}

TEST(XTagBlockTest, BlockInsideTheListsOwnPayloadIsReadBeforeTheOldItemsGo) {
  std::vector<uint8_t> block = Write(RichList(), true);
  XTagList list;
  XTagItem* holder = list.AddData(u"_block", block.data(), int64_t(block.size()));
  list.FromBlock(holder->binary.data, holder->binary.size);
  EXPECT_EQ(Describe(list, true), Describe(RichList(), true));
}
