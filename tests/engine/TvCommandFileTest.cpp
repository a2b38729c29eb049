// Tests of the command line split and the command files of a host.
#include "tests/engine/TvTestSupport.h"

#include <string>

namespace {

class TvCommandFileTest : public TvRunPhaseTest {
 protected:
  // Every option of the run as "key=value", joined by ";".
  std::u16string All() const {
    std::u16string all;
    XString key, value;
    for (int i = 0; run->GetAt(i, key, value); i++)
      all += (i ? u";" : u"") + std::u16string(key.CStr()) + u"=" + value.CStr();
    return all;
  }
};

// Wide files are UTF-16LE up to the first zero unit, an odd last byte a unit of its own; narrow
// ones UTF-8, whose invalid bytes become replacement characters. A byte-order mark is optional.
TEST_F(TvCommandFileTest, FilesDecodeIntoOptionsAndTurnHostModeOn) {
  const struct {
    std::string bytes;
    bool narrow;
    std::u16string options;
  } rows[] = {
      {Utf16Le("-infile=\"a ü.flac\" -outfile b.mp3", true), false,
       u"infile=a ü.flac;outfile=b.mp3"},
      {"\xEF\xBB\xBF-infile=\"🎵 x.flac\" -convert_to=enc", true, u"infile=🎵 x.flac;convert_to=enc"},
      {Utf16Le("-a=1") + std::string(2, '\0') + Utf16Le(" -b=2"), false, u"a=1"},
      {Utf16Le("-a=1") + "x", false, u"a=1x"},
      {"-a=x\xFF\xFEy -b=\xE2\x82", true, u"a=x\xFFFD\xFFFDy;b=\xFFFD"},
  };
  for (const auto& row : rows) {
    run = TvTransmillTestAccess::Make();
    const std::string path = PathOf(row.narrow ? "cmd.tvcmd8" : "cmd.tvcmd");
    WriteBytes(path, row.bytes);
    ASSERT_TRUE(TvTransmillTestAccess::ReadFile(*run, X(path), row.narrow));
    EXPECT_EQ(All(), row.options) << U8(XString(row.options.c_str()));
    EXPECT_EQ(Opts().hostMode, 1);
  }
}

TEST_F(TvCommandFileTest, FileReplacesTheCommandLineAndWideIsLookedAtFirst) {
  WriteBytes(PathOf("w.tvcmd"), Utf16Le("-from=wide"));
  WriteBytes(PathOf("n.tvcmd8"), "-from=narrow");
  run->Parse(
      X("-tvcmd8=\"" + PathOf("n.tvcmd8") + "\" -infile=old -tvcmd=\"" + PathOf("w.tvcmd") + "\""),
      1);
  ASSERT_TRUE(TvTransmillTestAccess::ReadIfNamed(*run));
  EXPECT_EQ(All(), u"from=wide");
  run = TvTransmillTestAccess::Make();
  run->Parse(u"-infile=a", 1);
  EXPECT_TRUE(TvTransmillTestAccess::ReadIfNamed(*run));
  EXPECT_EQ(Opts().hostMode, 0);
  EXPECT_EQ(All(), u"infile=a");
}

// Each file that cannot be used fails with its own line in the log and leaves host mode off.
TEST_F(TvCommandFileTest, UnusableFilesFailWithTheirLogLines) {
  WriteBytes(PathOf("empty.tvcmd"), "");
  const struct {
    std::string options, log;
  } rows[] = {
      {"-tvcmd=" + PathOf("empty.tvcmd"), "Error TvCmd File is Empty."},
      {"-tvcmd8=" + PathOf("none"), "Error opening TvCmd File."},
      {"-tvcmd8", "Error opening TvCmd File."},
  };
  for (const auto& row : rows) {
    logFile.Close();
    logFile.OpenCreate(X(PathOf("log.txt")));
    run = TvTransmillTestAccess::Make();
    Io().logHandles.logHandle = logFile.Handle();
    run->Parse(X(row.options), 1);
    EXPECT_FALSE(TvTransmillTestAccess::ReadIfNamed(*run)) << row.options;
    EXPECT_EQ(LogText(), row.log) << row.options;
    EXPECT_EQ(Opts().hostMode, 0);
  }
}

}  // namespace
