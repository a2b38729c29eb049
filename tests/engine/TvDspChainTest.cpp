// The DSP chain in whole runs: loading, live effects in the pump, non-live rendering through the
// temporary file, and its failures. The test effect turns each byte b into b * mul + add, so
// the output tells in which order the effects ran.
#include "tests/engine/TvTestSupport.h"

namespace {

class TvDspChainTest : public ScriptRunTest {
 protected:
  // Parameters of an effect: live, and failing every pass.
  const std::string kLive = "get.IsLive=1";
  const std::string kFail = "fail.DSP_PassAudioBlock=1,fail.DSP_PassNonLive=1";
  void SetUp() override {
    ScriptRunTest::SetUp();
    for (const char* name : {"A", "B", "C", "CPU Throttle"}) child.InstallScriptEffect(name);
  }
  // The chain as options: each entry "Name=parameters".
  static std::vector<std::string> Chain(const std::vector<std::string>& entries) {
    std::vector<std::string> args;
    for (size_t i = 0; i < entries.size(); i++)
      args.push_back("-dspeffect" + std::to_string(i + 1) + "=" + entries[i]);
    return args;
  }
  // The test source's bytes (byte i is i) after the effects the function stands for.
  static std::string Expected(size_t count, int (*effects)(int)) {
    std::string bytes(count, '\0');
    for (size_t i = 0; i < count; i++)
      bytes[i] = static_cast<char>(effects(static_cast<int>(i & 0xFF)) & 0xFF);
    return bytes;
  }
  // How many calls of call the log holds from the encoder's start on: effects run in the pump.
  long CountInThePump(const std::string& call) const {
    const std::vector<std::string> all = CallsOf();
    auto is = [](const std::string& c) {
      return [c](const std::string& l) { return IsCall(l, c); };
    };
    return std::count_if(std::find_if(all.begin(), all.end(), is("TestEnc ENC_BeginConversion")),
                         all.end(), is(call));
  }
};

TEST_F(TvDspChainTest, LiveEffectsOnlyRunInThePumpWithoutRendering) {
  const ChildResult r = Convert(PathOf("o.raw"), {"script.blocks=400,400,200E"},
                                Chain({"A=" + kLive + ",mul=3", "B=" + kLive + ",add=1"}));
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), Expected(1000, [](int b) { return b * 3 + 1; }));
  EXPECT_FALSE(Called("DSP_PassNonLive"));
  EXPECT_EQ(CountInThePump("B DSP_PassAudioBlock"), 3);
  EXPECT_EQ(CallsOf("DSP_EndConversion").size(), 2u);
}

TEST_F(TvDspChainTest, LiveNonLiveLiveAllRunOnTheFileInChainOrder) {
  const ChildResult r =
      Convert(PathOf("o.raw"), {"script.blocks=400,e,400,200E"},
              Chain({"A=" + kLive + ",mul=3", "B=add=1", "C=" + kLive + ",mul=5"}));
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), Expected(1000, [](int b) { return (b * 3 + 1) * 5; }));
  // Half a second of the file is 2000 bytes: the whole source is one block, marked as the end.
  const std::vector<std::string> blocks = CallsOf("A DSP_PassAudioBlock");
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].rfind("A DSP_PassAudioBlock bytes=1000 pos=0 eos=1 -> 1", 0), 0u)
      << blocks[0];
  EXPECT_EQ(CountInThePump("DSP_PassAudioBlock"), 0);
  EXPECT_EQ(CallsOf("DSP_EndConversion").size(), 2u);  // the rendered effects end with the run
}

TEST_F(TvDspChainTest, EngineMeasuresTheLengthAndFormatANonLiveEffectLeaves) {
  const ChildResult r =
      Convert(PathOf("o.raw"), {"script.blocks=1000E"}, Chain({"A=cut=600,rate=2000"}));
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), StreamBytes(600));
  EXPECT_EQ(FieldOf("TestEnc ENC_BeginConversion", "format"), "1/2/2000/16/4");
  // 600 bytes at 8000 bytes a second: the pump's blocks tell positions in the new format.
  EXPECT_EQ(EncodedBlocks(), std::vector<std::string>{"bytes=600 pos=0 eos=1"});
}

TEST_F(TvDspChainTest, QuitWhileRenderingOrBetweenEffectsSkipsTheRestAndThePump) {
  const std::string quit =
      "-evtquit=tvtest-dspquit-" + std::filesystem::path(folder).filename().string();
  Convert(PathOf("o.raw"), {"script.blocks=400,Q,400E"}, {"-dspeffect1=A=add=1", quit});
  EXPECT_EQ(CallsOf("script DecodeBlock").size(), 2u);
  EXPECT_FALSE(Called("ENC_EncodeBlock"));
  EXPECT_TRUE(Called("ENC_EndConversion"));
  Convert(PathOf("p.raw"), {"script.blocks=1000E"},
          {"-dspeffect1=A=quit", "-dspeffect2=B=add=1", quit});
  EXPECT_FALSE(Called("B DSP_PassNonLive"));
}

TEST_F(TvDspChainTest, FailingEffectFailsTheRunButTheFinishStillRuns) {
  const ChildResult r = Convert(PathOf("o.raw"), {"script.blocks=1000E"},
                                Chain({"A=add=1," + kFail, "B=" + kLive + ",mul=3"}));
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_FALSE(Called("B DSP_PassAudioBlock"));  // the chain stops at the failure
  EXPECT_FALSE(Called("ENC_EncodeBlock"));
  EXPECT_TRUE(Called("ENC_EndConversion"));
  EXPECT_EQ(FieldOf("A DSP_AfterConversion", "failed"), "1");

  // Live effects that fail to begin, on the rendered file or in the pump.
  for (const std::vector<std::string>& chain :
       {Chain({"A=add=1", "B=" + kLive + ",fail.DSP_BeginConversion=1"}),
        Chain({"A=add=1", "B=" + kLive + "," + kFail}), Chain({"B=" + kLive + "," + kFail})}) {
    const ChildResult live = Convert(PathOf("p.raw"), {"script.blocks=1000E"}, chain);
    EXPECT_EQ(live.exitCode, 1) << chain.back();
  }
}

// The temporary folder is made when it does not exist yet.
TEST_F(TvDspChainTest, HostHearsOfTheRenderingAndTheFileGoesToTheTemporaryFolderGiven) {
  const ChildResult r = HostConvert(PathOf("o.raw"), {"script.blocks=1000E"},
                                    "-dspeffect1=A=add=1 -tmpfolder=\"" + PathOf("tmp/new") + "\"");
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("MSGTO: tVH: Action: Running DSP Effect A\r\nMSGTO: tVH: Action: \r\n"),
            std::string::npos)
      << r.out;
  EXPECT_EQ(FieldOf("A DSP_PassNonLive", "bytes"), "1000");
  const std::string file = FieldOf("A DSP_PassNonLive", "file");
  EXPECT_EQ(file.rfind(PathOf("tmp/new/DSP"), 0), 0u) << file;
  EXPECT_FALSE(std::filesystem::exists(file));  // deleted at the end of the run

  // A folder that cannot be made, below a file, is named with the option.
  WriteBytes(PathOf("file"), "x");
  const ChildResult bad = Convert(PathOf("p.raw"), {"script.blocks=1000E"},
                                  {"-dspeffect1=A=add=1", "-tmpfolder=" + PathOf("file/tmp")});
  EXPECT_EQ(bad.exitCode, 1);
  const std::string line = "Error: Unable to create the folder '" + PathOf("file/tmp/") +
                           "' of -tmpfolder for a temporary file.";
  EXPECT_EQ(bad.err.rfind(line, 0), 0u) << bad.err;
}

}  // namespace
