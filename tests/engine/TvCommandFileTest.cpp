// Tests of the command line split and the command files of a host.
#include "tests/engine/TvTestSupport.h"

#include <string>

namespace {

class TvCommandFileTest : public TvRunPhaseTest {
 protected:
  bool ReadWide(const std::string& bytes) {
    WriteBytes(PathOf("cmd.tvcmd"), bytes);
    return TvTransmillTestAccess::ReadFile(*run, XString(PathOf("cmd.tvcmd").c_str(), true), false);
  }
  bool ReadNarrow(const std::string& bytes) {
    WriteBytes(PathOf("cmd.tvcmd8"), bytes);
    return TvTransmillTestAccess::ReadFile(*run, XString(PathOf("cmd.tvcmd8").c_str(), true), true);
  }
  std::string Value(const char16_t* key) const {
    XString value;
    run->Get(key, value, true);
    return Utf8(value);
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
  EXPECT_NE(LogText().find("Splitting Command Line:"), std::string::npos);
  EXPECT_NE(LogText().find("-infile \"a b.flac\" -outfile=\"x y.mp3\" -silent"), std::string::npos);
}

TEST_F(TvCommandFileTest, DashAloneAsArgumentIsStandardInput) {
  const char* argv[] = {"transmill", "-infile=-", "-outfile", "o.wav", "-convert_to", "enc"};
  TvTransmillTestAccess::Split(*run, 6, argv);
  ASSERT_TRUE(TvTransmillTestAccess::Parse(*run));
  EXPECT_EQ(run->inputIsStdin, 1u);
}

TEST_F(TvCommandFileTest, Utf16WithAndWithoutByteOrderMark) {
  for (bool bom : {true, false}) {
    ASSERT_TRUE(ReadWide(Utf16Bytes("-infile=\"a ü.flac\" -outfile b.mp3", bom))) << bom;
    EXPECT_EQ(run->Count(), 2);
    EXPECT_EQ(Value(u"infile"), "a ü.flac");
    EXPECT_EQ(Value(u"outfile"), "b.mp3");
    EXPECT_EQ(run->hostMode, 1);
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

TEST_F(TvCommandFileTest, EmptyFileFailsWithItsLogLine) {
  EXPECT_FALSE(ReadWide(""));
  EXPECT_EQ(LogText(), "Error TvCmd File is Empty.");
  EXPECT_EQ(run->hostMode, 0);
  EXPECT_EQ(Err(), "");
}

TEST_F(TvCommandFileTest, MissingFileFailsWithItsLogLine) {
  EXPECT_FALSE(TvTransmillTestAccess::ReadFile(*run, XString(PathOf("none").c_str(), true), true));
  EXPECT_EQ(LogText(), "Error opening TvCmd File.");
}

TEST_F(TvCommandFileTest, SizeOfFourGigabytesOrMoreFailsAsRead) {
  const std::string path = PathOf("huge.tvcmd8");
  if (!MakeSparse(path, 0x100000000ull + 10, "-a=1")) GTEST_SKIP() << "no sparse files here";
  EXPECT_FALSE(TvTransmillTestAccess::ReadFile(*run, XString(path.c_str(), true), true));
  EXPECT_EQ(LogText(), "Error reading TvCmd File.");
}

TEST_F(TvCommandFileTest, BufferSizeBeyondThirtyTwoBitsFailsAsAllocation) {
  const std::string path = PathOf("wide.tvcmd");
  if (!MakeSparse(path, 0xFFFFFFFDull, "-")) GTEST_SKIP() << "no sparse files here";
  EXPECT_FALSE(TvTransmillTestAccess::ReadFile(*run, XString(path.c_str(), true), false));
  EXPECT_EQ(LogText(), "Error allocating TvCmd File Buffer.");
}

TEST_F(TvCommandFileTest, Utf16TextEndsAtTheFirstZeroUnit) {
  std::string bytes = Utf16Bytes("-a=1", false) + std::string(2, '\0') + Utf16Bytes(" -b=2", false);
  ASSERT_TRUE(ReadWide(bytes));
  EXPECT_EQ(run->Count(), 1);
  EXPECT_EQ(Value(u"a"), "1");
}

TEST_F(TvCommandFileTest, OddLastByteOfUtf16FileIsAUnitOfItsOwn) {
  ASSERT_TRUE(ReadWide(Utf16Bytes("-a=1", false) + "x"));
  EXPECT_EQ(Value(u"a"), "1x");
}

TEST_F(TvCommandFileTest, LoneSurrogatesPassThroughUnchanged) {
  std::string bytes = Utf16Bytes("-a=", false) + std::string("\x00\xD8", 2) +
                      Utf16Bytes(" -b=", false) + std::string("\x00\xDC", 2);
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

TEST_F(TvCommandFileTest, BinaryFileIsReadWithoutHarm) {
  std::string bytes;
  for (int i = 0; i < 65536; i++) bytes.push_back(static_cast<char>((i * 7919 + 13) % 251 + 1));
  EXPECT_TRUE(ReadWide(bytes));
  EXPECT_TRUE(ReadNarrow(bytes));
  EXPECT_EQ(run->hostMode, 1);
}

TEST_F(TvCommandFileTest, TenMegabyteFileKeepsItsLastOption) {
  std::string text = "-first=1" + std::string(10 * 1024 * 1024, ' ') + "-last=\"end\"";
  ASSERT_TRUE(ReadNarrow(text));
  EXPECT_EQ(run->Count(), 2);
  EXPECT_EQ(Value(u"last"), "end");
}

TEST_F(TvCommandFileTest, ThousandsOfOptionsKeepTheirOrder) {
  std::string text;
  for (int i = 0; i < 5000; i++)
    text += " -opt" + std::to_string(i) + "=\"v " + std::to_string(i) + "\"";
  ASSERT_TRUE(ReadWide(Utf16Bytes(text, true)));
  ASSERT_EQ(run->Count(), 5000);
  XString key, value;
  ASSERT_TRUE(run->GetAt(4999, key, value));
  EXPECT_EQ(Utf8(key), "opt4999");
  EXPECT_EQ(Utf8(value), "v 4999");
}

TEST_F(TvCommandFileTest, WideFileIsLookedAtBeforeNarrow) {
  WriteBytes(PathOf("w.tvcmd"), Utf16Bytes("-from=wide", false));
  WriteBytes(PathOf("n.tvcmd8"), "-from=narrow");
  const XString wide(PathOf("w.tvcmd").c_str(), true), narrow(PathOf("n.tvcmd8").c_str(), true);
  run->Parse(XString(u"-tvcmd8=\"") + narrow + u"\" -tvcmd=\"" + wide + u"\"", 1);
  ASSERT_TRUE(TvTransmillTestAccess::ReadIfNamed(*run));
  EXPECT_EQ(Value(u"from"), "wide");
}

TEST_F(TvCommandFileTest, WithoutACommandFileNothingChanges) {
  run->Parse(u"-infile=a", 1);
  EXPECT_TRUE(TvTransmillTestAccess::ReadIfNamed(*run));
  EXPECT_EQ(run->hostMode, 0);
  EXPECT_EQ(Value(u"infile"), "a");
}

TEST_F(TvCommandFileTest, NamedButEmptyPathFails) {
  run->Parse(u"-tvcmd8", 1);
  EXPECT_FALSE(TvTransmillTestAccess::ReadIfNamed(*run));
  EXPECT_EQ(LogText(), "Error opening TvCmd File.");
}

}  // namespace
