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
  // Prepares from a fresh tag list; every item as "key=value", joined by ";".
  std::string Joined() {
    Dst().tagList.Clear();
    const XTagList tags = Prepare();
    std::string all;
    for (int32_t i = 0; i < tags.Count(); i++)
      all += (i ? ";" : "") + U8(tags.At(i).key) + "=" + U8(tags.At(i).value);
    return all;
  }

  std::optional<ScopedEnv> config;
  XBuffer source;
  XBuffer properties;
};

TEST_F(TvTagPrepTest, OptionsWinOverSourceAndMalformedOnesArePassedOver) {
  Options(
      u"-tag=\"Artist=A\" -tag=\"=x\" -tag=noequals -tag=\"Comment={qt}hi{qt}\" "
      u"-TAG=\"Genre=g1\" -tag=\"Genre=g2\" -tag=\"B=\"");
  SourceTags({{u"Artist", u"B"}, {u"Album", u"first"}, {u"Album", u"second"}});
  EXPECT_EQ(Joined(), "Artist=A;Comment=\"hi\";Genre=g1;Genre=g2;B=;Album=first;Album=second");
}

TEST_F(TvTagPrepTest, ConversionTagsAreRefreshedOnlyWhenPresent) {
  VersionFile("Versions/tVH.txt", "2.5");
  VersionFile("Versions/Compression/Wave.txt", "Release 17.2 (Abc encoder 1.3)");
  Dst().encoderSettings = u"  -q 5  ";
  SourceTags({{u"Encoder Settings", u"z"},
              {u"Encoded By", u"x"},
              {u"Encoder", u"y"},
              {u"Encoding Tool", u"t"},
              {u"Title", u"T"}});
  // Refreshed tags are taken out and added again at the end.
  EXPECT_EQ(Joined(),
            "Title=T;Encoded By=Tonvera 2.5;Encoder=Abc encoder 1.3;Encoder Settings=-q 5");
}

TEST_F(TvTagPrepTest, VersionFileFormsAndFallbacks) {
  SourceTags({{u"Encoder", u"y"}, {u"Encoded By", u"x"}});
  EXPECT_EQ(Joined(), "Encoded By=Tonvera;Encoder=Wave");  // no file at all
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
    const char* expected;
  } rows[] = {
      {u"CD", u"Lossless", u"/music/song.flac", "Source=CD >> Lossless [flac]"},
      {u"", u"Lossless", u"/music/song.flac", "Source=Lossless [flac]"},
      {u"Lossless", u"Lossless", u"/music/song.flac", "Source=Lossless"},
      {u"lossless", u"Lossless", u"/music/song.flac", "Source=lossless >> Lossless [flac]"},
      {u"CD", u"", u"/music/song.flac", "Source=CD"},
      {u"CD", u"Lossy", u"/music/a.IGNORE", "Source=CD >> Lossy"},
      {u"CD", u"Lossy", u"/music/noext", "Source=CD >> Lossy []"},
      {nullptr, u"Lossless", u"/music/song.flac", "Title=T"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.expected);
    SourceTags({{row.present ? u"Source" : u"Title", row.present ? row.present : u"T"}});
    Properties(row.quality);
    Opts().inputFile = row.input;
    EXPECT_EQ(Joined(), row.expected);
  }
}

TEST_F(TvTagPrepTest, PseudoEncodersAndTheSwitchLeaveConversionTags) {
  SourceTags({{u"Encoder", u"y"}, {u"Encoding Tool", u"t"}});
  Opts().encoderName = u"[ID Tag Update]";
  EXPECT_EQ(Joined(), "Encoder=y;Encoding Tool=t");
  Opts().encoderName = u"[id tag update]";  // the pseudo-encoders' names are exact
  EXPECT_EQ(Joined(), "Encoder=[id tag update]");
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"tVHNoUpdateEncoderTags"));
  EXPECT_EQ(Joined(), "Encoder=y;Encoding Tool=t");
}

TEST_F(TvTagPrepTest, SpacesAreCleanedUnlessSwitchedOff) {
  SourceTags({{u"A", u"\u00A0x\u2003y\u3000"}, {u"B", u"   "}, {u"C", u"\u2000z\u2001"}});
  EXPECT_EQ(Joined(), "A=x y;B=;C=\u2000z\u2001");
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"tVHNoTagDropSpaces"));
  EXPECT_EQ(Joined(), "A=\u00A0x\u2003y\u3000;B=   ;C=\u2000z\u2001");
}

TEST_F(TvTagPrepTest, ReplayGainGoesUnlessKeptAndSmpbAlwaysGoes) {
  SourceTags({{u"replaygain_track_gain", u"1"},
              {u"replaygain_album_peak", u"1"},
              {u"iTunNORM", u"1"},
              {u"ITUNSMPB", u"1"},
              {u"Title", u"T"}});
  EXPECT_EQ(Joined(), "Title=T");
  const std::string kept = "replaygain_track_gain=1;replaygain_album_peak=1;iTunNORM=1;Title=T";
  Opts().keepReplayGainTags = 1;
  EXPECT_EQ(Joined(), kept);
  Opts().keepReplayGainTags = 0;
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"tVHNoDropRPGainTags"));
  EXPECT_EQ(Joined(), kept);
}

}  // namespace
