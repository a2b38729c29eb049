// Picture keys and types, picture look-ups and removal with renumbering, summary names.
#include "tags/XTagPicture.h"

#include <gtest/gtest.h>

#include "foundation/XStringList.h"
#include "tests/tags/TagTestSupport.h"

namespace {

XTagList ThreePictures() {
  XTagList list;
  list.Add(u"Artist", u"A");
  list.AddData(u"_albumart_1_Front Album Cover", "one", 3);
  list.AddData(u"_albumart_2_Back Album Cover<subdesc>inner", "two", 3);
  list.AddData(u"_albumart_3_Media", "three", 5);
  list.Add(u"_cdtoc", u"k");
  return list;
}

}  // namespace

TEST(XTagPictureTest, TypeNamesAndIndicesRoundTrip) {
  for (int32_t i : {-1, 0, 21}) EXPECT_TRUE(PictureSuffix(i).IsEmpty()) << i;
  EXPECT_EQ(U8(PictureSuffix(1)) + U8(PictureSuffix(20)), "_32x32 Icon_Publisher Logo");
  for (int32_t i = 1; i <= 20; ++i) EXPECT_EQ(PictureIndex(PictureSuffix(i).From(2).ToUpper()), i);
  for (const char16_t* unknown : {u"nonsense", u"", u"Media "}) EXPECT_EQ(PictureIndex(unknown), 3);
}

TEST(XTagPictureTest, KeysAndTheirPartsRoundTrip) {
  const char* cases[][4] = {
      // number, type, sub-description, key; a key without a type parses to nothing
      {"1", "Media", "", "_albumart_1_Media"},
      {"2", "Back Album Cover", "in", "_albumart_2_Back Album Cover<subdesc>in"},
      {"10", "My_Own Type", "", "_albumart_10_My_Own Type"},
      {"4", "Caf\u00e9 \U0001F3B5", "\u6771<\r\n>",
       "_albumart_4_Caf\u00e9 \U0001F3B5<subdesc>\u6771<\r\n>"},
      {"-3", "\u00e9\u00e9", "s", "_albumart_-3_\u00e9\u00e9<subdesc>s"},
      {"12", "", "", "_albumart_12_"},
      {"", "", "", "_albumart_7"},
      {"", "", "", "_albumart_1_<subdesc>"},
  };
  for (const auto& [number, type, sub, key] : cases) {
    if (*number) {
      EXPECT_EQ(U8(PictureKey(std::stoi(number), X(type), X(sub))), key);
    }
    XString parsedType = u"stale", parsedSub = u"stale";
    ParsePictureKey(X(key), parsedType, parsedSub);
    EXPECT_EQ(U8(parsedType) + "|" + U8(parsedSub), std::string(type) + "|" + sub) << key;
  }
}

TEST(XTagPictureTest, SubDescriptionsAreIgnoredOnlyWhenAskedAndOnlyInPictureKeys) {
  EXPECT_EQ(U8(KeyWithoutSubDesc(u"_AlbumArt_1_Media<subdesc>x", true)), "_AlbumArt_1_Media");
  EXPECT_EQ(U8(KeyWithoutSubDesc(u"_albumart_1_M<subdesc>x", false)), "_albumart_1_M<subdesc>x");
  EXPECT_EQ(U8(KeyWithoutSubDesc(u"Comment<subdesc>x", true)), "Comment<subdesc>x");
  XTagList list, source;
  list.AddData(u"_albumart_1_Media<subdesc>old", "o", 1);
  EXPECT_EQ(list.Find(u"_albumart_1_Media", false), nullptr);
  EXPECT_EQ(list.Find(u"_ALBUMART_1_media", true), &list.At(0));
  EXPECT_EQ(list.Find(u"_albumart_1_Media<subdesc>y", true), &list.At(0));
  EXPECT_EQ(list.Find(u"_albumart_1_Med", true), nullptr);
  source.AddData(u"_albumart_1_Media<subdesc>new", "n", 1);
  XTagList plain = list;
  list.Merge(source, false, true);
  plain.Merge(source, false, false);
  EXPECT_EQ(Describe(list) + " " + std::to_string(plain.Count()),
            "_albumart_1_Media<subdesc>old=[1] 2");
}

TEST(XTagPictureTest, PicturesAreFoundAndTakenByNumber) {
  XTagList list = ThreePictures();
  XString type, sub;
  EXPECT_EQ(list.GetPicture(2, type, sub), &list.At(2));
  EXPECT_EQ(U8(type) + "|" + U8(sub), "Back Album Cover|inner");
  EXPECT_EQ(list.GetPicture(4, type, sub), nullptr);
  EXPECT_TRUE(type.IsEmpty() && sub.IsEmpty());
  EXPECT_TRUE(list.Take(u"_ALBUMART_2_whatever").IsEmpty());
  list.Take(u"_albumart_9_Media");
  EXPECT_EQ(Describe(list),
            "Artist=A|_albumart_1_Front Album Cover=[3]|_albumart_3_Media=[5]|_cdtoc=k");
}

TEST(XTagPictureTest, RemovingPicturesRenumbersTheOthersInOrder) {
  const std::tuple<const char16_t*, const char16_t*, const char*> cases[] = {
      {u"Front Album Cover", u"",
       "Artist=A|_cdtoc=k|_albumart_1_Back Album Cover<subdesc>inner=[3]|_albumart_2_Media=[5]"},
      {u"", u"inner", "Artist=A|_cdtoc=k|_albumart_1_Front Album Cover=[3]|_albumart_2_Media=[5]"},
      {u"", u"INNER", nullptr},
      {u"media", u"", nullptr},
      {u"", u"", nullptr}};
  for (const auto& [type, sub, expected] : cases) {
    XTagList list = ThreePictures();
    EXPECT_EQ(list.RemovePictures(type, sub), expected != nullptr);
    EXPECT_EQ(Describe(list), expected ? expected : Describe(ThreePictures()))
        << U8(type) << U8(sub);
  }
}

TEST(XTagPictureTest, SummaryNamesInFixedOrder) {
  XTagList list = ThreePictures(), second;
  EXPECT_EQ(U8(list.SummaryNames().Join(u",")), "Album Art,CD TOC");
  list.Add(u"REPLAYGAIN_ALBUM_GAIN", u"-3 dB");
  list.Add(u"_crc", u"1");
  EXPECT_EQ(U8(list.SummaryNames().Join(u",")), "Album Art,CD TOC,CRC,ReplayGain");
  second.AddData(u"_albumart_2_Media", "p", 1);
  EXPECT_EQ(second.SummaryNames().Count(), 0);
  second.Add(u"replaygain_track_gain", u"1 dB");
  EXPECT_EQ(U8(second.SummaryNames().Join(u",")), "ReplayGain");
}
