// Tests of the command line split and the command files of a host.
#include "tests/engine/TvTestSupport.h"

#include <string>

namespace {

class TvCommandFileTest : public TvRunPhaseTest {
 protected:
  bool ReadWide(const std::string& bytes) {
    WriteBytes(PathOf("cmd.tvcmd"), bytes);
    return TvTransmillTestAccess::ReadFile(*run, X(PathOf("cmd.tvcmd")), false);
  }
  bool ReadNarrow(const std::string& bytes) {
    WriteBytes(PathOf("cmd.tvcmd8"), bytes);
    return TvTransmillTestAccess::ReadFile(*run, X(PathOf("cmd.tvcmd8")), true);
  }
  std::string Value(const char16_t* key) const {
    XString value;
    run->Get(key, value, true);
    return U8(value);
  }
  // Makes a sparse file of the given size; false when the file system can't.
  bool MakeSparse(const std::string& path, uint64_t size, const std::string& head) {
    WriteBytes(path, head);
    return truncate(path.c_str(), static_cast<off_t>(size)) == 0;
  }
};

TEST_F(TvCommandFileTest, ArgumentsFromIndexOneBecomeOptions) {
  const char* argv[] = {"/opt/tv/transmill", "-infile", "a b.flac", "-outfile=x y.mp3", "-silent"};
  TvTransmillTestAccess::Split(*run, 5, argv);
  ASSERT_EQ(run->Count(), 3);
  EXPECT_EQ(Value(u"infile"), "a b.flac");
  EXPECT_EQ(Value(u"outfile"), "x y.mp3");
  EXPECT_TRUE(run->Has(u"silent", true));
}

TEST_F(TvCommandFileTest, DashAloneAsArgumentIsStandardInput) {
  const char* argv[] = {"transmill", "-infile=-", "-outfile", "o.wav", "-convert_to", "enc"};
  TvTransmillTestAccess::Split(*run, 6, argv);
  ASSERT_TRUE(TvTransmillTestAccess::Parse(*run));
  EXPECT_EQ(Opts().inputIsStdin, 1u);
}

TEST_F(TvCommandFileTest, Utf16WithAndWithoutByteOrderMark) {
  for (bool bom : {true, false}) {
    ASSERT_TRUE(ReadWide(Utf16Le("-infile=\"a ü.flac\" -outfile b.mp3", bom))) << bom;
    EXPECT_EQ(run->Count(), 2);
    EXPECT_EQ(Value(u"infile"), "a ü.flac");
    EXPECT_EQ(Value(u"outfile"), "b.mp3");
    EXPECT_EQ(Opts().hostMode, 1);
  }
}

TEST_F(TvCommandFileTest, Utf8WithByteOrderMarkAndEmoji) {
  ASSERT_TRUE(ReadNarrow("\xEF\xBB\xBF-infile=\"🎵 x.flac\" -convert_to=enc"));
  EXPECT_EQ(Value(u"infile"), "🎵 x.flac");
  EXPECT_EQ(Value(u"convert_to"), "enc");
}

TEST_F(TvCommandFileTest, FileReplacesTheCommandLine) {
  run->Parse(u"-tvcmd8=x -infile=old.wav", 1);
  ASSERT_TRUE(ReadNarrow("-outfile=new.mp3"));
  EXPECT_FALSE(run->Has(u"infile", true));
  EXPECT_FALSE(run->Has(u"tvcmd8", true));
  EXPECT_EQ(Value(u"outfile"), "new.mp3");
}

TEST_F(TvCommandFileTest, Utf16TextEndsAtTheFirstZeroUnit) {
  std::string bytes = Utf16Le("-a=1", false) + std::string(2, '\0') + Utf16Le(" -b=2");
  ASSERT_TRUE(ReadWide(bytes));
  EXPECT_EQ(run->Count(), 1);
  EXPECT_EQ(Value(u"a"), "1");
}

TEST_F(TvCommandFileTest, OddLastByteOfUtf16FileIsAUnitOfItsOwn) {
  ASSERT_TRUE(ReadWide(Utf16Le("-a=1") + "x"));
  EXPECT_EQ(Value(u"a"), "1x");
}

TEST_F(TvCommandFileTest, LoneSurrogatesPassThroughUnchanged) {
  std::string bytes =
      Utf16Le("-a=") + std::string("\x00\xD8", 2) + Utf16Le(" -b=") + std::string("\x00\xDC", 2);
  ASSERT_TRUE(ReadWide(bytes));
  XString a, b;
  ASSERT_TRUE(run->Get(u"a", a, true));
  ASSERT_TRUE(run->Get(u"b", b, true));
  EXPECT_EQ(a.Length(), 1);
  EXPECT_EQ(a.CharAt(1), 0xD800);
  EXPECT_EQ(b.CharAt(1), 0xDC00);
}

TEST_F(TvCommandFileTest, InvalidUtf8BecomesReplacementCharacters) {
  ASSERT_TRUE(ReadNarrow("-a=x\xFF\xFEy -b=\xE2\x82"));
  EXPECT_EQ(Value(u"a"), "x\uFFFD\uFFFDy");
  XString b;
  ASSERT_TRUE(run->Get(u"b", b, true));
  EXPECT_GE(b.Length(), 1);
  for (int i = 1; i <= b.Length(); i++) EXPECT_EQ(b.CharAt(i), 0xFFFD);
}

TEST_F(TvCommandFileTest, WideFileIsLookedAtBeforeNarrow) {
  WriteBytes(PathOf("w.tvcmd"), Utf16Le("-from=wide"));
  WriteBytes(PathOf("n.tvcmd8"), "-from=narrow");
  run->Parse(X("-tvcmd8=\"" + PathOf("n.tvcmd8") + "\" -tvcmd=\"" + PathOf("w.tvcmd") + "\""), 1);
  ASSERT_TRUE(TvTransmillTestAccess::ReadIfNamed(*run));
  EXPECT_EQ(Value(u"from"), "wide");
}

TEST_F(TvCommandFileTest, WithoutACommandFileNothingChanges) {
  run->Parse(u"-infile=a", 1);
  EXPECT_TRUE(TvTransmillTestAccess::ReadIfNamed(*run));
  EXPECT_EQ(Opts().hostMode, 0);
  EXPECT_EQ(Value(u"infile"), "a");
}

// Each file that cannot be used fails with its own line in the log and leaves host mode off.
TEST_F(TvCommandFileTest, UnusableFilesFailWithTheirLogLines) {
  WriteBytes(PathOf("empty.tvcmd"), "");
  const bool sparse = MakeSparse(PathOf("huge.tvcmd8"), 0x100000000ull + 10, "-a=1") &&
                      MakeSparse(PathOf("wide.tvcmd"), 0xFFFFFFFDull, "-");
  const struct {
    std::string options, log;
  } rows[] = {
      {"-tvcmd=" + PathOf("empty.tvcmd"), "Error TvCmd File is Empty."},
      {"-tvcmd8=" + PathOf("none"), "Error opening TvCmd File."},
      {"-tvcmd8", "Error opening TvCmd File."},
      {"-tvcmd8=" + PathOf("huge.tvcmd8"), "Error reading TvCmd File."},
      {"-tvcmd=" + PathOf("wide.tvcmd"), "Error allocating TvCmd File Buffer."},
  };
  for (const auto& row : rows) {
    if (!sparse && (row.log.find("reading") != std::string::npos ||
                    row.log.find("allocating") != std::string::npos))
      continue;
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
