// Replacing an existing output when the move cannot happen, which a whole run cannot arrange;
// whole runs refused before they write.
#include "tests/engine/TvTestSupport.h"

namespace {

using TvOutputNameTest = TvRunPhaseTest;

TEST_F(TvOutputNameTest, MoveThatCannotHappenIsReportedAndKeepsNothingHalfDone) {
  WriteBytes(PathOf("out.wav"), "old output");
  Opts().outputFile = X(PathOf("out.wav"));
  TvTransmillTestAccess::ApplyOutputNameRules(*run);
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
  const std::string err = Err();
  EXPECT_EQ(err.rfind("Error overwriting file (Win:", 0), 0u) << err;
  EXPECT_NE(err.find("'" + PathOf("out.wav") + "'"), std::string::npos) << err;
}

// Whole runs that must not write: an output that is the source, or one that another run writes.
using TvOutputClaimTest = ScriptRunTest;

TEST_F(TvOutputClaimTest, OutputThatIsTheSourceIsRefusedAndTheSourceKept) {
  std::filesystem::create_directory_symlink(folder, PathOf("link"));
  std::filesystem::create_symlink(PathOf("in.tvt"), PathOf("symlink.tvt"));
  std::filesystem::create_hard_link(PathOf("in.tvt"), PathOf("hardlink.tvt"));
  for (const std::string& output :
       {PathOf("in.tvt"), folder + "/./in.tvt",
        std::filesystem::relative(PathOf("in.tvt")).string(), PathOf("link/in.tvt"),
        PathOf("symlink.tvt"), PathOf("hardlink.tvt")}) {
    const ChildResult r = Convert(output, {"script.blocks=400E"});
    EXPECT_EQ(r.exitCode, 1) << output;
    EXPECT_EQ(r.err, "Error: Output file '" + output + "' is the input file '" + PathOf("in.tvt") +
                         "'.  [TvTransmill::ClaimOutput]\r\n");
    EXPECT_EQ(ReadBytes(PathOf("in.tvt")), "source") << output;
    EXPECT_TRUE(CallsOf().empty()) << output;  // refused before any plug-in was loaded
  }
}

// The first run is held inside its conversion until the gate file is made; the second, on the
// same output however spelled, is refused at once and leaves the first's files alone.
TEST_F(TvOutputClaimTest, SecondRunOnTheSameOutputIsRefusedAndTouchesNothing) {
  std::filesystem::create_directory_symlink(folder, PathOf("link"));
  ChildRun second(PathOf("second"));
  second.InstallScriptCodecs();
  const struct {
    std::string output, otherSpelling, oldBytes;
  } rows[] = {
      {PathOf("o.wav"), PathOf("o.wav"), "old bytes"},
      {PathOf("o.wav"), PathOf("link/o.wav"), ""},
      // the folder is made by the first run after its claim
      {PathOf("new/o.wav"), std::filesystem::relative(PathOf("link/new/o.wav")).string(), ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.otherSpelling);
    std::filesystem::remove(PathOf("o.wav"));
    std::filesystem::remove(PathOf("gate"));
    if (!row.oldBytes.empty()) WriteBytes(row.output, row.oldBytes);
    Configure({"script.blocks=400,G,400E", "script.gate=" + PathOf("gate")});
    ASSERT_TRUE(child.Start(
        {"-infile=" + PathOf("in.tvt"), "-outfile=" + row.output, "-convert_to=testenc"}));
    const std::string written = row.oldBytes.empty() ? row.output : row.output + ".tmp.wav";
    for (int i = 0; i < 3000 && ReadBytes(written).size() < 400; i++) usleep(10000);
    ASSERT_EQ(ReadBytes(written), StreamBytes(400));

    const ChildResult refused = second.Run(
        {"-infile=" + PathOf("in.tvt"), "-outfile=" + row.otherSpelling, "-convert_to=testenc"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err,
              "Error: Output file '" + row.otherSpelling +
                  "' is being written by another run.  [TvTransmill::ClaimOutput]\r\n");
    EXPECT_EQ(ReadBytes(written), StreamBytes(400));
    EXPECT_EQ(ReadBytes(row.output), row.oldBytes.empty() ? StreamBytes(400) : row.oldBytes);

    WriteBytes(PathOf("gate"), "");
    const ChildResult first = child.Finish();
    EXPECT_EQ(first.exitCode, 0) << first.err;
    EXPECT_EQ(ReadBytes(row.output), StreamBytes(800));
    EXPECT_FALSE(std::filesystem::exists(row.output + ".tmp.wav"));
  }
}

}  // namespace
