// The run's tag set: options, source tags, refreshed conversion tags, cleaning and drops.
#include "foundation/XRegistry.h"
#include "tags/XTagList.h"
#include "tests/engine/TvTestSupport.h"

#include <filesystem>

namespace {

class TvTagPrepTest : public TvRunPhaseTest {
 protected:
  void SetUp() override {
    TvRunPhaseTest::SetUp();
    config.emplace("XDG_CONFIG_HOME", folder.c_str());
    Opts().versionFolder = X((folder + "/"));
    Opts().encoderName = u"Wave";
    Opts().inputFile = u"/music/song.flac";
  }

  void Options(const char16_t* text) { run->Parse(text, 1); }

  void SourceTags(std::initializer_list<std::pair<const char16_t*, const char16_t*>> tags) {
    XTagList list;
    for (const auto& [key, value] : tags) list.Add(XString(key), XString(value));
    list.ToBlock(source);
  }

  void Properties(const char16_t* quality) {
    XTagList list;
    list.Add(u"Audio Quality", quality);
    list.ToBlock(properties);
    Src().openInfo.properties = properties.data;
    Src().openInfo.propertiesSize = properties.size;
  }

  void VersionFile(const std::string& relative, const std::string& line) {
    std::filesystem::create_directories(std::filesystem::path(PathOf(relative)).parent_path());
    WriteBytes(PathOf(relative), line + "\r\nsecond line\r\n");
  }

  // Prepares and reads back what the encoder's record gets.
  XTagList Prepare() {
    TvTransmillTestAccess::PrepareTags(*run, source.data, source.size);
    XTagList block;
    block.FromBlock(Dst().tagBytes.data, Dst().tagBytes.size);
    return block;
  }

  static std::string Value(const XTagList& list, const char16_t* key) {
    return U8(list.GetValue(XString(key)));
  }

  std::optional<ScopedEnv> config;
  XBuffer source;
  XBuffer properties;
};

TEST_F(TvTagPrepTest, OptionsWinOverSourceAndMalformedOnesArePassedOver) {
  Options(
      u"-tag=\"Artist=A\" -tag=\"=x\" -tag=noequals -tag=\"Comment={qt}hi{qt}\" "
      u"-TAG=\"Genre=g1\" -tag=\"Genre=g2\"");
  SourceTags({{u"Artist", u"B"}, {u"Album", u"first"}, {u"Album", u"second"}});
  const XTagList tags = Prepare();
  EXPECT_EQ(Value(tags, u"Artist"), "A");
  EXPECT_EQ(Value(tags, u"Comment"), "\"hi\"");
  ASSERT_EQ(tags.Count(), 6);  // Artist, Comment, Genre twice, Album twice
  EXPECT_EQ(U8(tags.At(2).value), "g1");
  EXPECT_EQ(U8(tags.At(3).value), "g2");
  EXPECT_EQ(U8(tags.At(4).value), "first");
  EXPECT_EQ(U8(tags.At(5).value), "second");
}

TEST_F(TvTagPrepTest, ConversionTagsAreRefreshedOnlyWhenPresent) {
  VersionFile("Versions/tVH.txt", "2.5");
  VersionFile("Versions/Compression/Wave.txt", "Release 17.2 (Abc encoder 1.3)");
  Dst().encoderSettings = u"  -q 5  ";
  Properties(u"Lossless");
  SourceTags({{u"Source", u"CD"},
              {u"Encoded By", u"x"},
              {u"Encoder", u"y"},
              {u"Encoder Settings", u"z"},
              {u"Encoding Tool", u"t"},
              {u"Title", u"T"}});
  XTagList tags = Prepare();
  EXPECT_EQ(Value(tags, u"Source"), "CD >> Lossless [flac]");
  EXPECT_EQ(Value(tags, u"Encoded By"), "Tonvera 2.5");
  EXPECT_EQ(Value(tags, u"Encoder"), "Abc encoder 1.3");
  EXPECT_EQ(Value(tags, u"Encoder Settings"), "-q 5");
  EXPECT_EQ(tags.Find(XString(u"Encoding Tool")), nullptr);
  EXPECT_EQ(U8(tags.At(tags.Count() - 1).key), "Encoder Settings");  // re-added at the end
}

TEST_F(TvTagPrepTest, VersionFileFormsAndFallbacks) {
  SourceTags({{u"Encoder", u"y"}, {u"Encoded By", u"x"}});
  EXPECT_EQ(Value(Prepare(), u"Encoder"), "Wave");  // no file at all
  EXPECT_EQ(Value(Dst().tagList, u"Encoded By"), "Tonvera");
  for (const auto& [line, expected] : {std::pair<std::string, std::string>{"Release 5", "Wave"},
                                       {"Fast encoder 2", "Fast encoder 2"},
                                       {"RELEASE 1.0 [Lib 3]", "Lib 3"}}) {
    VersionFile("Versions/Compression/Wave.txt", line);
    Dst().tagList.Clear();
    EXPECT_EQ(Value(Prepare(), u"Encoder"), expected) << line;
  }
}

TEST_F(TvTagPrepTest, SourceTagGainsTheQualityAndExtensionBehindItsValue) {
  struct Row {
    const char16_t* present;  // null: no Source item
    const char16_t* quality;
    const char16_t* input;
    const char* expected;  // null: still no Source item
  } rows[] = {
      {u"CD", u"Lossless", u"/music/song.flac", "CD >> Lossless [flac]"},
      {u"", u"Lossless", u"/music/song.flac", "Lossless [flac]"},
      {u"Lossless", u"Lossless", u"/music/song.flac", "Lossless"},
      {u"lossless", u"Lossless", u"/music/song.flac", "lossless >> Lossless [flac]"},
      {u"CD", u"", u"/music/song.flac", "CD"},
      {u"CD", u"Lossy", u"/music/a.IGNORE", "CD >> Lossy"},
      {u"CD", u"Lossy", u"/music/noext", "CD >> Lossy []"},
      {nullptr, u"Lossless", u"/music/song.flac", nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(U8(XString(row.present ? row.present : u"(none)")) + " " + U8(XString(row.input)));
    Dst().tagList.Clear();
    if (row.present)
      SourceTags({{u"Source", row.present}});
    else
      SourceTags({{u"Title", u"T"}});
    Properties(row.quality);
    Opts().inputFile = row.input;
    const XTagList tags = Prepare();
    if (!row.expected) {
      EXPECT_EQ(tags.Find(XString(u"Source")), nullptr);
      continue;
    }
    EXPECT_EQ(Value(tags, u"Source"), row.expected);
  }
}

TEST_F(TvTagPrepTest, PseudoEncodersAndTheSwitchLeaveConversionTags) {
  SourceTags({{u"Encoder", u"y"}, {u"Encoding Tool", u"t"}});
  Opts().encoderName = u"[ID Tag Update]";
  const XTagList tags = Prepare();
  EXPECT_EQ(Value(tags, u"Encoder"), "y");
  EXPECT_EQ(Value(tags, u"Encoding Tool"), "t");
  Dst().tagList.Clear();
  Opts().encoderName = u"[id tag update]";  // the pseudo-encoders' names are exact
  EXPECT_EQ(Value(Prepare(), u"Encoder"), "[id tag update]");
  Dst().tagList.Clear();
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"tVHNoUpdateEncoderTags"));
  EXPECT_EQ(Value(Prepare(), u"Encoder"), "y");
}

TEST_F(TvTagPrepTest, SpacesAreCleanedUnlessSwitchedOff) {
  SourceTags({{u"A", u"\u00A0x\u2003y\u3000"}, {u"B", u"   "}, {u"C", u"\u2000z\u2001"}});
  XTagList tags = Prepare();
  EXPECT_EQ(Value(tags, u"A"), "x y");
  EXPECT_NE(tags.Find(XString(u"B")), nullptr);
  EXPECT_EQ(Value(tags, u"C"), "\u2000z\u2001");
  Dst().tagList.Clear();
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"tVHNoTagDropSpaces"));
  EXPECT_EQ(Value(Prepare(), u"B"), "   ");
}

TEST_F(TvTagPrepTest, ReplayGainGoesUnlessKeptAndSmpbAlwaysGoes) {
  SourceTags({{u"replaygain_track_gain", u"1"},
              {u"replaygain_album_peak", u"1"},
              {u"iTunNORM", u"1"},
              {u"ITUNSMPB", u"1"},
              {u"Title", u"T"}});
  EXPECT_EQ(Prepare().Count(), 1);
  Dst().tagList.Clear();
  Opts().keepReplayGainTags = 1;
  XTagList tags = Prepare();
  EXPECT_EQ(tags.Count(), 4);
  EXPECT_EQ(tags.Find(XString(u"ITUNSMPB")), nullptr);
  Dst().tagList.Clear();
  Opts().keepReplayGainTags = 0;
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"tVHNoDropRPGainTags"));
  EXPECT_EQ(Prepare().Count(), 4);
}

}  // namespace
