// Tag blocks in both forms: exact layout, round trips, and malformed blocks of every kind.
#include <gtest/gtest.h>

#include <random>

#include "foundation/XBuffer.h"
#include "tags/XTagPicture.h"
#include "tests/tags/TagTestSupport.h"

namespace {

enum class Form { Wide, Utf8 };

std::vector<uint8_t> Write(const XTagList& list, Form form) {
  XBuffer block;
  bool ok = form == Form::Wide ? list.ToBlock(block) : list.ToBlockUtf8(block);
  EXPECT_TRUE(ok);
  return std::vector<uint8_t>(block.data, block.data + block.size);
}

XTagList Read(const void* data, int64_t size, Form form) {
  XTagList list;
  list.Add(u"stale", u"item");
  if (form == Form::Wide)
    list.FromBlock(data, size);
  else
    list.FromBlockUtf8(data, size);
  return list;
}

XTagList Read(const BlockBytes& block, Form form) { return Read(block.Data(), block.Size(), form); }

XTagList RichList() {
  XTagList list;
  list.Add(u"Artist", u"\u00c9mile & \u6771\u4eac \U0001F3B5");
  list.Add(u"Comment", u"line one\r\nline two\rthree");
  list.Add(u"Genre", u"Rock\rPop\rJazz");
  list.Add(u"", u"");
  list.Add(u"\u00fcber", u"");
  list.AddData(PictureKey(1, u"Front Album Cover", u"\u00e4u\u00dfen"), "\x89PNG\0\0", 6);
  list.AddData(u"_cdtoc", "", 0);
  return list;
}

// One block of each form with text, a picture and an empty record, for cutting.
XTagList CutList() {
  XTagList list;
  list.Add(u"Artist", u"\u00c9");
  list.AddData(u"_albumart_1_Media", "\1\2\3\0\5", 5);
  list.Add(u"", u"");
  list.Add(u"Title", u"T\r2");
  return list;
}

class XTagBlockFormTest : public ::testing::TestWithParam<Form> {};

}  // namespace

TEST(XTagBlockTest, EmptyListIsFourZeroBytes) {
  XTagList empty;
  for (Form form : {Form::Wide, Form::Utf8}) {
    std::vector<uint8_t> block = Write(empty, form);
    EXPECT_EQ(block, std::vector<uint8_t>(4, 0));
    EXPECT_EQ(Read(block.data(), 4, form).Count(), 0);
  }
}

TEST(XTagBlockTest, WideLayoutIsByteExact) {
  XTagList list;
  list.Add(u"Ab", u"\u00e9");
  list.AddData(u"k", "\xff", 1);
  BlockBytes expected;
  expected.Int(2).Int(4 + 6 + 4).Wide("Ab").Raw({0xe9, 0, 0, 0});
  expected.Int(4 + 4 + 2 + 1).Wide("k").Wide("").Raw({0xff});
  EXPECT_EQ(Write(list, Form::Wide), expected.bytes);
}

TEST(XTagBlockTest, Utf8LayoutIsByteExact) {
  XTagList list;
  list.Add(u"Ab", u"\u00e9");
  list.AddData(u"k", "\xff", 1);
  BlockBytes expected;
  expected.Int(2).Int(4 + 3 + 3).Narrow("Ab").Raw({0xc3, 0xa9, 0});
  expected.Int(4 + 2 + 1 + 1).Narrow("k").Narrow("").Raw({0xff});
  EXPECT_EQ(Write(list, Form::Utf8), expected.bytes);
}

TEST_P(XTagBlockFormTest, RoundTripKeepsTextLineBreaksAndBinary) {
  XTagList list = RichList();
  std::vector<uint8_t> block = Write(list, GetParam());
  XTagList back = Read(block.data(), int64_t(block.size()), GetParam());
  EXPECT_TRUE(SameItems(list, back)) << Describe(back);
}

TEST_P(XTagBlockFormTest, RoundTripOfSeveralMegabytePictures) {
  std::mt19937 random(7);
  std::vector<uint8_t> front(5 * 1024 * 1024 + 3);
  std::vector<uint8_t> back(3 * 1024 * 1024);
  for (auto& b : front) b = uint8_t(random());
  for (auto& b : back) b = uint8_t(random());
  XTagList list;
  list.Add(u"Artist", u"A");
  list.AddData(PictureKey(1, u"Front Album Cover", u""), front.data(), int64_t(front.size()));
  list.AddData(PictureKey(2, u"Back Album Cover", u"\u00e4"), back.data(), int64_t(back.size()));
  std::vector<uint8_t> block = Write(list, GetParam());
  XTagList read = Read(block.data(), int64_t(block.size()), GetParam());
  EXPECT_TRUE(SameItems(list, read)) << Describe(read);
}

TEST_P(XTagBlockFormTest, ReadsAtAnyAlignment) {
  std::vector<uint8_t> block = Write(RichList(), GetParam());
  for (size_t shift = 1; shift < 4; ++shift) {
    std::vector<uint8_t> moved(shift, 0xAA);
    moved.insert(moved.end(), block.begin(), block.end());
    EXPECT_TRUE(
        SameItems(Read(moved.data() + shift, int64_t(block.size()), GetParam()), RichList()));
  }
}

TEST_P(XTagBlockFormTest, NullShortOrNegativeSizesGiveAnEmptyList) {
  std::vector<uint8_t> block = Write(RichList(), GetParam());
  EXPECT_EQ(Read(nullptr, int64_t(block.size()), GetParam()).Count(), 0);
  for (int64_t size : {int64_t(-1), int64_t(INT64_MIN), int64_t(0), int64_t(1), int64_t(4)})
    EXPECT_EQ(Read(block.data(), size, GetParam()).Count(), 0) << size;
}

TEST_P(XTagBlockFormTest, CountsThatLie) {
  Form form = GetParam();
  auto withCount = [form](int32_t count) {
    BlockBytes b;
    b.Int(count);
    for (const char* key : {"a", "b", "c"})
      form == Form::Wide ? b.WideRecord(key, "v") : b.NarrowRecord(key, "v");
    return Read(b, form);
  };
  EXPECT_EQ(withCount(0).Count(), 0);
  EXPECT_EQ(withCount(-1).Count(), 0);
  EXPECT_EQ(withCount(INT32_MIN).Count(), 0);
  EXPECT_EQ(Describe(withCount(1)), "a=v");
  EXPECT_EQ(Describe(withCount(3)), "a=v|b=v|c=v");
  EXPECT_EQ(Describe(withCount(4)), "a=v|b=v|c=v");
  EXPECT_EQ(Describe(withCount(INT32_MAX)), "a=v|b=v|c=v");
}

TEST_P(XTagBlockFormTest, RecordSizesThatLieEndTheParseKeepingEarlierItems) {
  Form form = GetParam();
  for (int32_t size : {-1, INT32_MIN, INT32_MAX, 1000}) {
    BlockBytes b;
    b.Int(3);
    form == Form::Wide ? b.WideRecord("a", "v") : b.NarrowRecord("a", "v");
    b.Int(size).Raw({'b', 0, 0, 0, 'v', 0, 0, 0});
    EXPECT_EQ(Describe(Read(b, form)), "a=v") << size;
  }
}

TEST_P(XTagBlockFormTest, RecordSizesBelowTheFieldEndWithOneEmptyItem) {
  Form form = GetParam();
  for (int32_t size : {0, 1, 3, 4}) {
    BlockBytes b;
    b.Int(3).Int(size);
    form == Form::Wide ? b.WideRecord("b", "v") : b.NarrowRecord("b", "v");
    EXPECT_EQ(Describe(Read(b, form)), "=") << size;
  }
}

TEST_P(XTagBlockFormTest, CutAtEveryOffsetKeepsTheWholeRecordsBeforeIt) {
  XTagList list = CutList();
  std::vector<uint8_t> block = Write(list, GetParam());
  // Where each record ends, to know which items a cut must keep intact.
  std::vector<size_t> ends;
  size_t pos = 4;
  for (int32_t i = 0; i < list.Count(); ++i) {
    int32_t recordSize = int32_t(block[pos] | block[pos + 1] << 8);
    pos += size_t(recordSize);
    ends.push_back(pos);
  }
  for (size_t cut = 0; cut <= block.size(); ++cut) {
    std::vector<uint8_t> part(block.begin(), block.begin() + long(cut));
    XTagList read = Read(part.data(), int64_t(cut), GetParam());
    int32_t whole = 0;
    while (whole < int32_t(ends.size()) && ends[size_t(whole)] <= cut) ++whole;
    ASSERT_EQ(read.Count(), whole) << "cut " << cut;
    for (int32_t i = 0; i < whole; ++i) {
      EXPECT_EQ(read.At(i).key, list.At(i).key) << "cut " << cut;
      EXPECT_EQ(read.At(i).binary.size, list.At(i).binary.size) << "cut " << cut;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(BothForms, XTagBlockFormTest, ::testing::Values(Form::Wide, Form::Utf8),
                         [](const auto& param) {
                           return param.param == Form::Wide ? "Wide" : "Utf8";
                         });

TEST(XTagBlockTest, WideKeyWithoutRoomForValueEndsTheParse) {
  BlockBytes b;
  b.Int(2).Int(4 + 4).Wide("k").WideRecord("next", "v");
  EXPECT_EQ(Describe(Read(b, Form::Wide)), "k=");
}

TEST(XTagBlockTest, WideFieldsWithoutTerminatorReadEmptyAndBecomeBinary) {
  BlockBytes b;
  b.Int(2).Int(4 + 4).Wide("ab", false).WideRecord("next", "v");
  EXPECT_EQ(Describe(Read(b, Form::Wide)), "=[4]|next=v");
}

TEST(XTagBlockTest, WideOddLengthsLeaveTheOddByteAsBinary) {
  BlockBytes oddKey;  // "A" and a half unit: no whole terminator in reach
  oddKey.Int(1).Int(4 + 3).Raw({'A', 0, 0});
  EXPECT_EQ(Describe(Read(oddKey, Form::Wide)), "=[3]");
  BlockBytes oddTail;  // key, then one byte: too short for a value
  oddTail.Int(1).Int(4 + 4 + 1).Wide("k").Raw({7});
  XTagList read = Read(oddTail, Form::Wide);
  EXPECT_EQ(Describe(read), "k=[1]");
  BlockBytes oddValue;  // value of three bytes without terminator
  oddValue.Int(2).Int(4 + 4 + 3).Wide("k").Raw({'v', 0, 'w'}).WideRecord("n", "");
  EXPECT_EQ(Describe(Read(oddValue, Form::Wide)), "k=[3]|n=");
}

TEST(XTagBlockTest, WideUnitsAboveAsciiAndLoneSurrogatesSurvive) {
  BlockBytes b;
  b.Int(1).Int(4 + 6 + 2).Raw({0x3d, 0xd8, 0x00, 0xdc, 0, 0}).Raw({0, 0});
  XTagList read = Read(b, Form::Wide);
  ASSERT_EQ(read.Count(), 1);
  EXPECT_EQ(read.At(0).key, XString(u"\U0001F400"));
  BlockBytes lone;
  lone.Int(1).Int(4 + 4 + 2).Raw({0x00, 0xd8, 0, 0}).Raw({0, 0});
  EXPECT_EQ(Read(lone, Form::Wide).At(0).key.CharAt(1), 0xd800);
}

TEST(XTagBlockTest, Utf8KeyWithoutTerminatorOrValueRoomEndsTheParse) {
  BlockBytes noZero;
  noZero.Int(2).Int(4 + 3).Narrow("abc", false).NarrowRecord("n", "v");
  EXPECT_EQ(Describe(Read(noZero, Form::Utf8)), "=");
  BlockBytes noValue;
  noValue.Int(2).Int(4 + 2).Narrow("k").NarrowRecord("n", "v");
  EXPECT_EQ(Describe(Read(noValue, Form::Utf8)), "k=");
  BlockBytes openValue;
  openValue.Int(2).Int(4 + 2 + 2).Narrow("k").Narrow("vw", false).NarrowRecord("n", "v");
  EXPECT_EQ(Describe(Read(openValue, Form::Utf8)), "k=");
}

TEST(XTagBlockTest, Utf8InvalidSequencesBecomeReplacementCharacters) {
  BlockBytes b;
  b.Int(1).Int(4 + 3 + 2).Raw({'a', 0xff, 0}).Raw({0xc3, 0});
  XTagList read = Read(b, Form::Utf8);
  ASSERT_EQ(read.Count(), 1);
  EXPECT_EQ(read.At(0).key, XString(u"a\ufffd"));
  EXPECT_EQ(read.At(0).value, XString(u"\ufffd"));
}

TEST(XTagBlockTest, BlockInsideTheListsOwnPayloadIsReadBeforeTheOldItemsGo) {
  XTagList inner = RichList();
  std::vector<uint8_t> block = Write(inner, Form::Wide);
  XTagList list;
  XTagItem* holder = list.AddData(u"_block", block.data(), int64_t(block.size()));
  list.FromBlock(holder->binary.data, holder->binary.size);
  EXPECT_TRUE(SameItems(list, inner)) << Describe(list);
}
