// Tests of the output names, the replacing of an existing output and the output size check.
#include "tests/engine/TvTestSupport.h"

#include <sys/stat.h>

namespace {

class TvOutputNameTest : public TvRunPhaseTest {
 protected:
  void SetOutput(const std::string& name) { run->outputFile = XString(PathOf(name).c_str(), true); }
  bool Has(const std::string& name) const { return std::filesystem::exists(PathOf(name)); }
};

TEST_F(TvOutputNameTest, FailedFlagLiesDirectlyBehindTheConversionRecord) {
  const char* record = reinterpret_cast<const char*>(&run->conversionRecord);
  EXPECT_EQ(reinterpret_cast<const char*>(&run->failed), record + sizeof(TvConversionInfo));
}

TEST_F(TvOutputNameTest, NewOutputIsWrittenDirectlyAndItsFoldersAreMade) {
  SetOutput("a/b/c/out.flac");
  TvTransmillTestAccess::ApplyOutputNameRules(*run);
  EXPECT_EQ(run->tempOutputName.Length(), 0);
  EXPECT_TRUE(std::filesystem::is_directory(PathOf("a/b/c")));
  EXPECT_EQ(run->writeTags, 1u);
}

TEST_F(TvOutputNameTest, ExistingOutputGetsATemporaryNameBesideIt) {
  WriteBytes(PathOf("out.flac"), "old");
  SetOutput("out.flac");
  TvTransmillTestAccess::ApplyOutputNameRules(*run);
  EXPECT_EQ(Utf8(run->tempOutputName), PathOf("out.flac.tmp.flac"));
}

TEST_F(TvOutputNameTest, IgnoreExtensionMakesNoFolderAndWritesNoTags) {
  for (const char* name : {"x/out.IGNORE", "y/out.ignore", "z/out.IgNoRe"}) {
    SetOutput(name);
    run->writeTags = 1;
    TvTransmillTestAccess::ApplyOutputNameRules(*run);
    EXPECT_EQ(run->writeTags, 0u) << name;
    EXPECT_EQ(run->tempOutputName.Length(), 0) << name;
    EXPECT_FALSE(Has(std::string(name).substr(0, 1))) << name;
  }
}

TEST_F(TvOutputNameTest, ExistingIgnoreOutputIsStillNotReplacedByATemporaryName) {
  WriteBytes(PathOf("out.IGNORE"), "x");
  SetOutput("out.IGNORE");
  TvTransmillTestAccess::ApplyOutputNameRules(*run);
  EXPECT_EQ(run->tempOutputName.Length(), 0);
}

class TvOverwriteTest : public TvOutputNameTest {
 protected:
  void SetUp() override {
    TvOutputNameTest::SetUp();
    WriteBytes(PathOf("out.wav"), "old output");
    SetOutput("out.wav");
    TvTransmillTestAccess::ApplyOutputNameRules(*run);
    run->conversionRecord.outputFile = run->tempOutputName.CStr();
  }
  void Overwrite() { TvTransmillTestAccess::OverwriteOutput(*run, tagWord); }
  int32_t tagWord = 1;
};

TEST_F(TvOverwriteTest, CompleteConversionReplacesTheOldOutput) {
  WriteBytes(PathOf("out.wav.tmp.wav"), "new output");
  Overwrite();
  EXPECT_EQ(ReadBytes(PathOf("out.wav")), "new output");
  EXPECT_FALSE(Has("out.wav.tmp.wav"));
  EXPECT_EQ(tagWord, 1);
  EXPECT_EQ(run->failed, 0u);
  EXPECT_EQ(std::u16string(run->conversionRecord.outputFile),
            std::u16string(run->outputFile.CStr()));
}

TEST_F(TvOverwriteTest, FailedConversionLeavesTheOldOutputAndDeletesTheTemporary) {
  WriteBytes(PathOf("out.wav.tmp.wav"), "partial");
  run->failed = 1;
  Overwrite();
  EXPECT_EQ(ReadBytes(PathOf("out.wav")), "old output");
  EXPECT_FALSE(Has("out.wav.tmp.wav"));
  EXPECT_EQ(tagWord, 0);
}

TEST_F(TvOverwriteTest, EmptyOrMissingTemporaryLeavesTheOldOutputWithoutError) {
  WriteBytes(PathOf("out.wav.tmp.wav"), "");
  Overwrite();
  EXPECT_EQ(ReadBytes(PathOf("out.wav")), "old output");
  EXPECT_FALSE(Has("out.wav.tmp.wav"));
  EXPECT_EQ(tagWord, 0);
  tagWord = 1;
  Overwrite();
  EXPECT_EQ(ReadBytes(PathOf("out.wav")), "old output");
  EXPECT_EQ(tagWord, 0);
  EXPECT_EQ(run->failed, 0u);
  EXPECT_EQ(Err(), "");
}

TEST_F(TvOverwriteTest, MoveThatCannotHappenIsReportedAndKeepsNothingHalfDone) {
  // A folder in place of the final name can be neither deleted as a file nor replaced.
  std::filesystem::remove(PathOf("out.wav"));
  std::filesystem::create_directories(PathOf("out.wav/inside"));
  WriteBytes(PathOf("out.wav.tmp.wav"), "new output");
  Overwrite();
  EXPECT_EQ(run->failed, 1u);
  EXPECT_EQ(tagWord, 0);
  EXPECT_FALSE(Has("out.wav.tmp.wav"));
  EXPECT_TRUE(std::filesystem::is_directory(PathOf("out.wav/inside")));
  EXPECT_NE(Err().find("Error overwriting file (Win:"), std::string::npos) << Err();
  EXPECT_NE(Err().find("'" + PathOf("out.wav") + "'"), std::string::npos) << Err();
}

TEST_F(TvOutputNameTest, SizeCheckNamesEachKindOfMissingOutput) {
  SetOutput("none.wav");
  TvTransmillTestAccess::CheckOutputSize(*run);
  EXPECT_NE(Err().find("Encoder output file does not exist: " + PathOf("none.wav")),
            std::string::npos);

  WriteBytes(PathOf("blank.wav"), "");
  SetOutput("blank.wav");
  TvTransmillTestAccess::CheckOutputSize(*run);
  EXPECT_NE(Err().find("Encoder created a blank file: " + PathOf("blank.wav")), std::string::npos);

  WriteBytes(PathOf("locked.wav"), "data");
  chmod(PathOf("locked.wav").c_str(), 0);
  SetOutput("locked.wav");
  if (access(PathOf("locked.wav").c_str(), R_OK) != 0) {  // root reads anything
    TvTransmillTestAccess::CheckOutputSize(*run);
    EXPECT_NE(Err().find("Encoder wrote inaccessible file: " + PathOf("locked.wav")),
              std::string::npos);
  }
}

TEST_F(TvOutputNameTest, SizeCheckIsQuietForAFileWithDataAndForIgnore) {
  WriteBytes(PathOf("good.wav"), "data");
  SetOutput("good.wav");
  TvTransmillTestAccess::CheckOutputSize(*run);
  SetOutput("nothing.Ignore");
  TvTransmillTestAccess::CheckOutputSize(*run);
  EXPECT_EQ(Err(), "");
}

}  // namespace
