// Tag list: adding, look-ups, changes, merge priorities, hidden items, number pairs.
#include "tags/XTagList.h"

#include <gtest/gtest.h>

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

TEST(XTagListTest, AddingKeepsOrderDuplicatesAndCopiesOfTheBytes) {
  XTagList list = Sample();
  EXPECT_EQ(list.current, &list.At(2));
  uint8_t bytes[] = {1, 2, 3};
  list.AddData(u"_crc", bytes, 3);
  bytes[0] = 9;
  for (int64_t size : {int64_t(-1), int64_t(0)}) list.AddData(u"x", bytes, size);
  list.AddData(u"x", nullptr, 5);
  XTagItem item(u"Key", u"Value");
  item.binary.AssignData("abc", 3);
  list.AddItem(item);
  list.AddItemMove(item);
  EXPECT_TRUE(item.key.IsEmpty() && item.binary.size == 0);
  EXPECT_EQ(list.At(3).binary.data[0], 1);
  EXPECT_EQ(Describe(list),
            "Artist=A|Title=T|ARTIST=B|_crc=[3]|x=|x=|x=|Key=Value[3]|Key=Value[3]");
  // The log form: a binary payload shows as its bytes in hexadecimal.
  XTagList logged;
  logged.Add(u"Title", u"T");
  logged.AddData(u"_crc", "\x0A\xFF", 2);
  EXPECT_EQ(U8(logged.ToText()), "Title: T\r\n_crc:   [DATA] 0A FF");
}

TEST(XTagListTest, LookUpsFoldAsciiCaseOnlyAndTakeTheFirstMatch) {
  XTagList list = Sample();
  list.Add(u"\u00c9t\u00e9", u"first\rsecond\r");
  list.Add(u"Lead", u"\rafter");
  const std::tuple<const char*, int32_t, const char*, const char*> cases[] = {
      {"artist", 0, "A", "A"},
      {"TITLE", 1, "T", "T"},
      {"\u00c9T\u00e9", 3, "first\rsecond\r", "first"},
      {"lead", 4, "\rafter", ""},
      {"\u00e9t\u00e9", -1, "", ""},
      {"Artis", -1, "", ""},
      {"", -1, "", ""}};
  for (const auto& [key, index, value, firstLine] : cases) {
    EXPECT_EQ(list.Find(X(key)), index < 0 ? nullptr : &list.At(index)) << key;
    EXPECT_EQ(U8(list.GetValue(X(key))) + "|" + U8(list.GetFirstLine(X(key))),
              std::string(value) + "|" + firstLine);
  }
}

TEST(XTagListTest, ChangesTouchTheFirstMatchAndKeepTheOrder) {
  XTagList list = Sample();
  list.Set(u"artist", u"C");
  list.Set(u"Album", u"D");
  XTagItem title(u"TITLE", u"new"), year(u"Year", u"1999");
  title.binary.AssignData("xy", 2);
  list.SetItem(title);
  list.SetItem(year);
  EXPECT_EQ(Describe(list), "Artist=C|TITLE=new[2]|ARTIST=B|Album=D|Year=1999");
  EXPECT_TRUE(list.Remove(u"artist"));
  EXPECT_FALSE(list.Remove(u"Artist"));
  XTagItem* album = list.Find(u"Album");
  for (int32_t index : {-1, 3, 0}) list.RemoveAt(index);
  EXPECT_EQ(list.current, album);
  EXPECT_EQ(U8(list.Take(u"year")), "1999");
  EXPECT_TRUE(list.Take(u"Year").IsEmpty());
  EXPECT_EQ(Describe(list), "Album=D");
  list.RemoveAt(0);
  EXPECT_EQ(list.current, nullptr);
  list.Add(u"k", u"v");
  list.Clear();
  EXPECT_TRUE(list.Count() == 0 && list.current == nullptr);
}

TEST(XTagListTest, MergesCopiesAndMoves) {
  XTagList source, kept = Sample(), overwritten = Sample(), copy, moved;
  source.Add(u"ARTIST", u"file");
  source.Add(u"Genre", u"1");
  source.Add(u"genre", u"2");
  source.AddData(u"_crc", "1234", 4);
  kept.Merge(source, false, false);
  kept.Merge(kept, false, false);
  kept.MergeMove(kept, false, false);
  EXPECT_EQ(Describe(kept), "Artist=A|Title=T|ARTIST=B|Genre=1|_crc=[4]");
  overwritten.Merge(source, true, false);
  EXPECT_EQ(Describe(overwritten), "ARTIST=file|Title=T|ARTIST=B|genre=2|_crc=[4]");
  copy.Add(u"gone", u"x");
  copy.Assign(source);
  copy.At(0).value = u"changed";
  const uint8_t* bytes = source.At(3).binary.data;
  moved.MergeMove(source, false, false);
  EXPECT_EQ(source.Count(), 0);
  EXPECT_EQ(moved.At(2).binary.data, bytes);
  source.AssignMove(moved);
  EXPECT_EQ(moved.Count(), 0);
  EXPECT_EQ(Describe(source), "ARTIST=file|Genre=1|_crc=[4]");
  EXPECT_EQ(Describe(copy), "ARTIST=changed|Genre=1|genre=2|_crc=[4]");
}

TEST(XTagListTest, RemovalsByKindAndSize) {
  XTagList list;
  for (const char16_t* key : {u"_encoder", u"Artist", u"_RIFF_ISFT", u"_CDTOC",
                              u"_albumart_1_Media", u"_crc", u"_cdtocx", u"_"})
    list.Add(key, u"v");
  const std::pair<uint32_t, const char*> cases[] = {
      {0, "Artist=v"},
      {XTagKeepRiff, "Artist=v|_RIFF_ISFT=v"},
      {XTagKeepCdToc, "Artist=v|_CDTOC=v"},
      {XTagKeepPictures, "Artist=v|_albumart_1_Media=v"},
      {XTagKeepCrc | XTagKeepRiff, "Artist=v|_RIFF_ISFT=v|_crc=v"},
  };
  XTagList copy;
  for (const auto& [flags, expected] : cases) {
    copy = list;
    copy.RemoveHidden(flags);
    EXPECT_EQ(Describe(copy), expected) << flags;
  }
  list.Clear();
  list.Add(u"ab", u"cde");             // 10 bytes
  list.AddData(u"k", "123456789", 9);  // 11 bytes
  list.AddData(u"", "", 0);
  list.RemoveBinaryItems();
  EXPECT_EQ(Describe(list), "ab=cde|=");
  list.AddData(u"k", "123456789", 9);
  for (auto [limit, expected] : {std::pair{11, "ab=cde|=|k=[9]"}, {10, "ab=cde|="}, {9, "="}}) {
    list.RemoveLarger(limit);
    EXPECT_EQ(Describe(list), expected) << limit;
  }
}

TEST(XTagListTest, NumberPairsParseAndPadSingleDigits) {
  // The text, then the number and total it parses to and the padded text.
  const char* cases[][2] = {
      {"3", "3/0 03"},   {" 7 /  12 ", "7/12 07/12"}, {"/5", "0/5 "},          {"4/", "4/0 04"},
      {"x", "0/0 "},     {"9/9", "9/9 09/09"},        {"0/12", "0/12 "},       {"", "0/0 "},
      {"5/0", "5/0 05"}, {"-3", "-3/0 -3"},           {"10/12", "10/12 10/12"}};
  XTagList list;
  EXPECT_TRUE(list.NumberPairText(u"Disc").IsEmpty());
  for (const auto& [text, expected] : cases) {
    int64_t number = -1, total = -1;
    ParseNumberPair(X(text), number, total);
    list.Set(u"Track", X(text));
    EXPECT_EQ(std::to_string(number) + "/" + std::to_string(total) + " " +
                  U8(list.NumberPairText(u"track")),
              expected);
  }
}
