// Picture keys and types, picture look-ups and removal with renumbering, summary names.
#include <gtest/gtest.h>

#include "foundation/XStringList.h"
#include "tags/XTagPicture.h"
#include "tests/tags/TagTestSupport.h"

namespace {

XTagList ThreePictures() {
  XTagList list;
  list.Add(u"Artist", u"A");
  list.AddData(u"_albumart_1_Front Album Cover", "one", 3);
  list.AddData(u"_albumart_2_Back Album Cover<subdesc>inner", "two", 3);
  list.AddData(u"_albumart_3_Media", "three", 5);
  return list;
}

}  // namespace

TEST(XTagPictureTest, SuffixCoversIndicesOneToTwenty) {
  EXPECT_TRUE(PictureSuffix(0).IsEmpty());
  EXPECT_TRUE(PictureSuffix(21).IsEmpty());
  EXPECT_TRUE(PictureSuffix(-1).IsEmpty());
  EXPECT_EQ(U8(PictureSuffix(1)), "_32x32 Icon");
  EXPECT_EQ(U8(PictureSuffix(17)), "_A Bright Coloured Fish");
  EXPECT_EQ(U8(PictureSuffix(20)), "_Publisher Logo");
}

TEST(XTagPictureTest, IndexOfEveryNameRoundTripsAndUnknownIsFrontCover) {
  for (int32_t i = 1; i <= 20; ++i) EXPECT_EQ(PictureIndex(PictureSuffix(i).From(2).ToUpper()), i);
  EXPECT_EQ(PictureIndex(u"front album cover"), 3);
  EXPECT_EQ(PictureIndex(u"a bright coloured fish"), 17);
  EXPECT_EQ(PictureIndex(u"nonsense"), 3);
  EXPECT_EQ(PictureIndex(u""), 3);
  EXPECT_EQ(PictureIndex(u"Media "), 3);
}

TEST(XTagPictureTest, KeyAddsSubDescriptionOnlyWhenGiven) {
  EXPECT_EQ(U8(PictureKey(1, u"Media", u"")), "_albumart_1_Media");
  EXPECT_EQ(U8(PictureKey(2, u"Back Album Cover", u"inner sleeve")),
            "_albumart_2_Back Album Cover<subdesc>inner sleeve");
  EXPECT_EQ(U8(PictureKey(12, u"", u"")), "_albumart_12_");
}

TEST(XTagPictureTest, ParseSplitsTypeAndSubDescription) {
  XString type = u"stale";
  XString sub = u"stale";
  ParsePictureKey(u"_albumart_2_Back Album Cover<subdesc>inner sleeve", type, sub);
  EXPECT_EQ(U8(type), "Back Album Cover");
  EXPECT_EQ(U8(sub), "inner sleeve");
  ParsePictureKey(u"_albumart_10_My_Own Type", type, sub);
  EXPECT_EQ(U8(type), "My_Own Type");
  EXPECT_TRUE(sub.IsEmpty());
  ParsePictureKey(u"_albumart_7", type, sub);
  EXPECT_TRUE(type.IsEmpty());
  ParsePictureKey(u"_albumart_", type, sub);
  EXPECT_TRUE(type.IsEmpty());
  ParsePictureKey(u"_albumart_1_<subdesc>", type, sub);
  EXPECT_TRUE(type.IsEmpty());
  EXPECT_TRUE(sub.IsEmpty());
}

TEST(XTagPictureTest, ParseAndKeyRoundTripNonAsciiText) {
  XString key = PictureKey(4, u"Caf\u00e9 \U0001F3B5", u"\u6771\u4eac<\r\n>");
  XString type;
  XString sub;
  ParsePictureKey(key, type, sub);
  EXPECT_EQ(type, XString(u"Caf\u00e9 \U0001F3B5"));
  EXPECT_EQ(sub, XString(u"\u6771\u4eac<\r\n>"));
}

TEST(XTagPictureTest, KeyWithoutSubDescStripsPictureKeysOnly) {
  EXPECT_EQ(U8(KeyWithoutSubDesc(u"_AlbumArt_1_Media<subdesc>x", true)), "_AlbumArt_1_Media");
  EXPECT_EQ(U8(KeyWithoutSubDesc(u"_albumart_1_Media<subdesc>x", false)),
            "_albumart_1_Media<subdesc>x");
  EXPECT_EQ(U8(KeyWithoutSubDesc(u"Comment<subdesc>x", true)), "Comment<subdesc>x");
  EXPECT_EQ(U8(KeyWithoutSubDesc(u"_albumart_1_Media", true)), "_albumart_1_Media");
}

TEST(XTagPictureTest, FindIgnoringSubDescMatchesThePictureKey) {
  XTagList list;
  list.AddData(u"_albumart_1_Media<subdesc>x", "p", 1);
  EXPECT_EQ(list.Find(u"_albumart_1_Media", false), nullptr);
  EXPECT_EQ(list.Find(u"_ALBUMART_1_media", true), &list.At(0));
  EXPECT_EQ(list.Find(u"_albumart_1_Media<subdesc>y", true), &list.At(0));
  EXPECT_EQ(list.Find(u"_albumart_1_Med", true), nullptr);
}

TEST(XTagPictureTest, MergeIgnoringSubDescKeepsThePresentPicture) {
  XTagList target;
  target.AddData(u"_albumart_1_Media<subdesc>old", "o", 1);
  XTagList source;
  source.AddData(u"_albumart_1_Media<subdesc>new", "n", 1);
  XTagList plain = target;
  target.Merge(source, false, true);
  EXPECT_EQ(Describe(target), "_albumart_1_Media<subdesc>old=[1]");
  plain.Merge(source, false, false);
  EXPECT_EQ(plain.Count(), 2);
}

TEST(XTagPictureTest, TakePictureRemovesFirstOfThatNumberWhateverItsType) {
  XTagList list = ThreePictures();
  EXPECT_TRUE(list.Take(u"_ALBUMART_2_whatever").IsEmpty());
  EXPECT_EQ(Describe(list), "Artist=A|_albumart_1_Front Album Cover=[3]|_albumart_3_Media=[5]");
  list.Take(u"_albumart_3");
  EXPECT_EQ(list.Count(), 2);
  list.Take(u"_albumart_9_Media");
  EXPECT_EQ(list.Count(), 2);
}

TEST(XTagPictureTest, GetPictureFindsByNumberPrefix) {
  XTagList list = ThreePictures();
  XString type;
  XString sub;
  XTagItem* item = list.GetPicture(2, type, sub);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->binary.size, 3u);
  EXPECT_EQ(U8(type), "Back Album Cover");
  EXPECT_EQ(U8(sub), "inner");
  EXPECT_EQ(list.GetPicture(4, type, sub), nullptr);
  EXPECT_TRUE(type.IsEmpty());
  EXPECT_TRUE(sub.IsEmpty());
}

TEST(XTagPictureTest, RemovingOnePictureRenumbersTheOthersInOrder) {
  XTagList list = ThreePictures();
  list.Add(u"_encoder", u"gone too");
  list.Add(u"_cdtoc", u"kept");
  EXPECT_TRUE(list.RemovePictures(u"Front Album Cover", u""));
  EXPECT_EQ(Describe(list),
            "Artist=A|_cdtoc=kept|_albumart_1_Back Album Cover<subdesc>inner=[3]|"
            "_albumart_2_Media=[5]");
  EXPECT_EQ(U8(list.Find(u"_albumart_2_Media")->value), "");
}

TEST(XTagPictureTest, RemovePicturesBySubDescriptionIsCaseSensitive) {
  XTagList list = ThreePictures();
  EXPECT_FALSE(list.RemovePictures(u"", u"INNER"));
  EXPECT_FALSE(list.RemovePictures(u"media", u""));
  EXPECT_TRUE(SameItems(list, ThreePictures()));
  EXPECT_TRUE(list.RemovePictures(u"", u"inner"));
  EXPECT_EQ(Describe(list), "Artist=A|_albumart_1_Front Album Cover=[3]|_albumart_2_Media=[5]");
}

TEST(XTagPictureTest, RemovePicturesWithEmptyCriteriaRemovesNothing) {
  XTagList list = ThreePictures();
  EXPECT_FALSE(list.RemovePictures(u"", u""));
  EXPECT_EQ(list.Count(), 4);
}

TEST(XTagPictureTest, SummaryNamesInFixedOrder) {
  XTagList list;
  list.Add(u"Artist", u"A");
  EXPECT_EQ(list.SummaryNames().Count(), 0);
  list.Add(u"REPLAYGAIN_ALBUM_GAIN", u"-3 dB");
  list.Add(u"_crc", u"1");
  list.Add(u"_CDTOC", u"1");
  list.AddData(u"_albumart_1_Media", "p", 1);
  EXPECT_EQ(U8(list.SummaryNames().Join(u",")), "Album Art,CD TOC,CRC,ReplayGain");
  XTagList second;
  second.AddData(u"_albumart_2_Media", "p", 1);
  second.Add(u"replaygain_track_gain", u"1 dB");
  EXPECT_EQ(U8(second.SummaryNames().Join(u",")), "ReplayGain");
}

TEST(XTagPictureTest, LongTypesAndNegativeNumbersMakeWholeKeys) {
  XString type(std::u16string(5000, u'\u00e9'));
  XString key = PictureKey(-3, type, u"s");
  EXPECT_EQ(key.Length(), 10 + 2 + 1 + 5000 + 9 + 1);
  XString parsedType;
  XString sub;
  ParsePictureKey(key, parsedType, sub);
  EXPECT_EQ(parsedType, type);
  EXPECT_EQ(U8(sub), "s");
}
