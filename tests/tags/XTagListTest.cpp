// Tag list: adding, look-ups, changes, merge priorities, hidden items, text form, number pairs.
#include <gtest/gtest.h>

#include "tags/XTagList.h"
#include "tests/tags/TagTestSupport.h"

namespace {

XTagList Sample() {
  XTagList list;
  list.Add(u"Artist", u"A");
  list.Add(u"Title", u"T");
  list.Add(u"ARTIST", u"B");
  return list;
}

}  // namespace

TEST(XTagListTest, AddKeepsOrderAndDuplicateKeys) {
  XTagList list = Sample();
  EXPECT_EQ(Describe(list), "Artist=A|Title=T|ARTIST=B");
  EXPECT_EQ(list.current, &list.At(2));
}

TEST(XTagListTest, AddDataCopiesBytesAndRefusesNegativeSizes) {
  uint8_t bytes[] = {1, 2, 3};
  XTagList list;
  XTagItem* item = list.AddData(u"_crc", bytes, 3);
  bytes[0] = 9;
  ASSERT_EQ(item->binary.size, 3u);
  EXPECT_EQ(item->binary.data[0], 1);
  EXPECT_TRUE(item->value.IsEmpty());
  EXPECT_EQ(list.AddData(u"x", bytes, -1)->binary.size, 0u);
  EXPECT_EQ(list.AddData(u"x", bytes, 0)->binary.size, 0u);
  EXPECT_EQ(list.AddData(u"x", nullptr, 5)->binary.size, 0u);
  EXPECT_EQ(list.Count(), 4);
}

TEST(XTagListTest, AddItemCopiesAndAddItemMoveEmptiesTheSource) {
  XTagItem item(u"Key", u"Value");
  item.binary.AssignData("abc", 3);
  XTagList list;
  list.AddItem(item);
  EXPECT_EQ(U8(item.value), "Value");
  list.AddItemMove(item);
  EXPECT_TRUE(item.key.IsEmpty());
  EXPECT_EQ(item.binary.size, 0u);
  EXPECT_EQ(Describe(list), "Key=Value[3]|Key=Value[3]");
}

TEST(XTagListTest, FindFoldsAsciiCaseOnly) {
  XTagList list = Sample();
  list.Add(u"\u00c9t\u00e9", u"upper");
  EXPECT_EQ(list.Find(u"artist"), &list.At(0));
  EXPECT_EQ(list.Find(u"TITLE"), &list.At(1));
  EXPECT_EQ(list.Find(u"\u00e9t\u00e9"), nullptr);
  EXPECT_NE(list.Find(u"\u00c9T\u00e9"), nullptr);
  EXPECT_EQ(list.Find(u"Artis"), nullptr);
  EXPECT_EQ(list.Find(u""), nullptr);
}

TEST(XTagListTest, GetValueAndFirstLine) {
  XTagList list;
  list.Add(u"Comment", u"first\rsecond\r");
  list.Add(u"Plain", u"one line");
  list.Add(u"Lead", u"\rafter");
  EXPECT_EQ(U8(list.GetValue(u"comment")), "first\rsecond\r");
  EXPECT_EQ(U8(list.GetFirstLine(u"comment")), "first");
  EXPECT_EQ(U8(list.GetFirstLine(u"plain")), "one line");
  EXPECT_EQ(U8(list.GetFirstLine(u"lead")), "");
  EXPECT_TRUE(list.GetValue(u"missing").IsEmpty());
}

TEST(XTagListTest, SetReplacesTheFirstMatchOrAdds) {
  XTagList list = Sample();
  list.Set(u"artist", u"C");
  list.Set(u"Album", u"D");
  EXPECT_EQ(Describe(list), "Artist=C|Title=T|ARTIST=B|Album=D");
}

TEST(XTagListTest, SetItemTakesOverKeyValueAndBinary) {
  XTagList list = Sample();
  XTagItem item(u"TITLE", u"new");
  item.binary.AssignData("xy", 2);
  list.SetItem(item);
  EXPECT_EQ(Describe(list), "Artist=A|TITLE=new[2]|ARTIST=B");
  XTagItem other(u"Year", u"1999");
  list.SetItem(other);
  EXPECT_EQ(Describe(list), "Artist=A|TITLE=new[2]|ARTIST=B|Year=1999");
}

TEST(XTagListTest, RemoveTakesEveryItemOfTheKey) {
  XTagList list = Sample();
  list.Add(u"artist", u"C");
  EXPECT_TRUE(list.Remove(u"Artist"));
  EXPECT_EQ(Describe(list), "Title=T");
  EXPECT_FALSE(list.Remove(u"Artist"));
}

TEST(XTagListTest, RemoveAtOutOfRangeDoesNothingAndClearsCurrent) {
  XTagList list = Sample();
  list.RemoveAt(-1);
  list.RemoveAt(3);
  EXPECT_EQ(list.Count(), 3);
  XTagItem* title = list.Find(u"Title");
  list.RemoveAt(0);
  EXPECT_EQ(list.current, title);
  list.RemoveAt(0);
  EXPECT_EQ(list.current, nullptr);
  EXPECT_EQ(Describe(list), "ARTIST=B");
}

TEST(XTagListTest, TakeGivesTheFirstValueAndRemovesAll) {
  XTagList list = Sample();
  EXPECT_EQ(U8(list.Take(u"ARTIST")), "A");
  EXPECT_EQ(Describe(list), "Title=T");
  EXPECT_TRUE(list.Take(u"Artist").IsEmpty());
}

TEST(XTagListTest, ClearEmptiesAndResets) {
  XTagList list = Sample();
  for (int i = 0; i < 40; ++i) list.Add(u"k", u"v");
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.current, nullptr);
  EXPECT_TRUE(list.items.IsInline());
}

TEST(XTagListTest, MergeWithoutOverwriteKeepsPresentValuesAndFirstOfSource) {
  XTagList target;
  target.Add(u"Artist", u"from option");
  XTagList source;
  source.Add(u"ARTIST", u"from file");
  source.Add(u"Genre", u"first");
  source.Add(u"genre", u"second");
  source.AddData(u"_cdtoc", "toc", 3);
  target.Merge(source, false, false);
  EXPECT_EQ(Describe(target), "Artist=from option|Genre=first|_cdtoc=[3]");
  EXPECT_EQ(source.Count(), 4);
}

TEST(XTagListTest, MergeWithOverwriteTakesTheLastOfSource) {
  XTagList target;
  target.Add(u"Artist", u"old");
  XTagList source;
  source.Add(u"artist", u"new");
  source.Add(u"Genre", u"first");
  source.Add(u"GENRE", u"second");
  target.Merge(source, true, false);
  EXPECT_EQ(Describe(target), "artist=new|GENRE=second");
}

TEST(XTagListTest, MergeMoveTakesTheBuffersAndClearsTheSource) {
  XTagList target;
  XTagList source;
  source.AddData(u"_crc", "1234", 4);
  const uint8_t* bytes = source.At(0).binary.data;
  target.MergeMove(source, false, false);
  EXPECT_EQ(source.Count(), 0);
  ASSERT_EQ(target.Count(), 1);
  EXPECT_EQ(target.At(0).binary.data, bytes);
}

TEST(XTagListTest, MergeIntoItselfChangesNothingWithoutOverwrite) {
  XTagList list = Sample();
  list.Merge(list, false, false);
  list.MergeMove(list, false, false);
  EXPECT_EQ(Describe(list), "Artist=A|Title=T|ARTIST=B");
}

TEST(XTagListTest, AssignCopiesAndAssignMoveEmptiesTheSource) {
  XTagList source = Sample();
  XTagList copy;
  copy.Add(u"gone", u"x");
  copy.Assign(source);
  copy.At(0).value = u"changed";
  EXPECT_EQ(U8(source.At(0).value), "A");
  XTagList moved;
  moved.AssignMove(source);
  EXPECT_EQ(source.Count(), 0);
  EXPECT_EQ(Describe(moved), "Artist=A|Title=T|ARTIST=B");
  EXPECT_EQ(Describe(copy), "Artist=changed|Title=T|ARTIST=B");
}

TEST(XTagListTest, RemoveHiddenKeepsWhatEachFlagNames) {
  XTagList list;
  for (const char16_t* key : {u"Artist", u"_RIFF_ISFT", u"_CDTOC", u"_albumart_1_Media", u"_crc",
                              u"_encoder", u"_cdtocx", u"_"})
    list.Add(key, u"v");
  XTagList copy = list;
  copy.RemoveHidden(0);
  EXPECT_EQ(Describe(copy), "Artist=v");
  const std::pair<uint32_t, const char*> cases[] = {
      {XTagKeepRiff, "Artist=v|_RIFF_ISFT=v"},
      {XTagKeepCdToc, "Artist=v|_CDTOC=v"},
      {XTagKeepPictures, "Artist=v|_albumart_1_Media=v"},
      {XTagKeepCrc, "Artist=v|_crc=v"},
      {XTagKeepRiff | XTagKeepCdToc | XTagKeepCrc, "Artist=v|_RIFF_ISFT=v|_CDTOC=v|_crc=v"},
  };
  for (const auto& [flags, expected] : cases) {
    copy = list;
    copy.RemoveHidden(flags);
    EXPECT_EQ(Describe(copy), expected) << flags;
  }
}

TEST(XTagListTest, RemoveBinaryItemsLeavesTextItems) {
  XTagList list = Sample();
  list.AddData(u"_albumart_1_Media", "img", 3);
  list.AddData(u"Empty", "", 0);
  list.RemoveBinaryItems();
  EXPECT_EQ(Describe(list), "Artist=A|Title=T|ARTIST=B|Empty=");
}

TEST(XTagListTest, RemoveLargerCountsTwoBytesPerUnitPlusBinary) {
  XTagList list;
  list.Add(u"ab", u"cde");             // 10 bytes
  list.AddData(u"k", "123456789", 9);  // 11 bytes
  list.RemoveLarger(11);
  EXPECT_EQ(list.Count(), 2);
  list.RemoveLarger(10);
  EXPECT_EQ(Describe(list), "ab=cde");
  list.RemoveLarger(9);
  EXPECT_EQ(list.Count(), 0);
}

TEST(XTagListTest, ToTextShowsValuesAndAtMostHundredBytesOfData) {
  XTagList list;
  EXPECT_TRUE(list.ToText().IsEmpty());
  list.Add(u"Artist", u"A");
  list.AddData(u"_crc", "\x0a\xff", 2);
  EXPECT_EQ(U8(list.ToText()), "Artist: A\r\n_crc:   [DATA] 0A FF");
  for (int size : {100, 101}) {
    std::string bytes(size_t(size), '\x1f');
    XTagList data;
    data.AddData(u"k", bytes.data(), size);
    std::string text = U8(data.ToText());
    EXPECT_EQ(text.size(), std::string("k:   [DATA]").size() + 3 * 100) << size;
    EXPECT_EQ(text.substr(text.size() - 3), " 1F");
  }
}

TEST(XTagListTest, ParseNumberPairReadsNumberAndTotal) {
  int64_t number = -1;
  int64_t total = -1;
  ParseNumberPair(u"3", number, total);
  EXPECT_EQ(number, 3);
  EXPECT_EQ(total, 0);
  ParseNumberPair(u" 7 /  12 ", number, total);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(total, 12);
  ParseNumberPair(u"/5", number, total);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(total, 5);
  ParseNumberPair(u"4/", number, total);
  EXPECT_EQ(total, 0);
  ParseNumberPair(u"x", number, total);
  EXPECT_EQ(number, 0);
}

TEST(XTagListTest, NumberPairTextPadsSingleDigits) {
  XTagList list;
  const std::pair<const char16_t*, const char*> cases[] = {
      {u"1", "01"}, {u"9/9", "09/09"}, {u"10/12", "10/12"}, {u"3/10", "03/10"},   {u"0/12", ""},
      {u"", ""},    {u"12", "12"},     {u"5/0", "05"},      {u" 2 / 3", "02/03"}, {u"-3", "-3"},
  };
  for (const auto& [value, expected] : cases) {
    list.Set(u"Track", value);
    EXPECT_EQ(U8(list.NumberPairText(u"track")), expected) << U8(value);
  }
  EXPECT_TRUE(list.NumberPairText(u"Disc").IsEmpty());
}
