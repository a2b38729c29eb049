// Replacing an existing output when the move cannot happen, which a whole run cannot arrange.
#include "tests/engine/TvTestSupport.h"

namespace {

using TvOutputNameTest = TvRunPhaseTest;

TEST_F(TvOutputNameTest, MoveThatCannotHappenIsReportedAndKeepsNothingHalfDone) {
  WriteBytes(PathOf("out.wav"), "old output");
  Opts().outputFile = X(PathOf("out.wav"));
  TvTransmillTestAccess::ApplyOutputNameRules(*run);
  EXPECT_EQ(U8(Dst().tempOutputName), PathOf("out.wav.tmp.wav"));
  Dst().conversion.info.outputFile = Dst().tempOutputName.CStr();
  // A folder in place of the final name can be neither deleted as a file nor replaced.
  std::filesystem::remove(PathOf("out.wav"));
  std::filesystem::create_directories(PathOf("out.wav/inside"));
  WriteBytes(PathOf("out.wav.tmp.wav"), "new output");
  int32_t tagWord = 1;
  TvTransmillTestAccess::OverwriteOutput(*run, tagWord);
  EXPECT_EQ(Dst().conversion.failed, 1u);
  EXPECT_EQ(tagWord, 0);
  EXPECT_FALSE(std::filesystem::exists(PathOf("out.wav.tmp.wav")));
  EXPECT_TRUE(std::filesystem::is_directory(PathOf("out.wav/inside")));
  EXPECT_NE(Err().find("Error overwriting file (Win:"), std::string::npos) << Err();
  EXPECT_NE(Err().find("'" + PathOf("out.wav") + "'"), std::string::npos) << Err();
}

}  // namespace
