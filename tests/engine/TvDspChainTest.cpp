// The DSP chain in whole runs: loading, live effects in the pump, non-live rendering through the
// temporary file, and its failures. The scripted effect turns each byte b into b * mul + add, so
// the output tells in which order the effects ran.
#include "tests/engine/TvTestSupport.h"

namespace {

class TvDspChainTest : public ScriptRunTest {
 protected:
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
  // The scripted source's bytes (byte i is i) after the effects the function stands for.
  static std::string Expected(size_t count, int (*effects)(int)) {
    std::string bytes(count, '\0');
    for (size_t i = 0; i < count; i++)
      bytes[i] = static_cast<char>(effects(static_cast<int>(i & 0xFF)) & 0xFF);
    return bytes;
  }
  // The calls in the log from the first that starts with prefix on.
  std::vector<std::string> CallsAfter(const std::string& prefix) const {
    std::vector<std::string> all = CallsOf(), rest;
    auto at = std::find_if(all.begin(), all.end(),
                           [&](const std::string& l) { return l.rfind(prefix, 0) == 0; });
    rest.assign(at, all.end());
    return rest;
  }
  static size_t CountOf(const std::vector<std::string>& lines, const std::string& prefix) {
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(prefix, 0) == 0; }));
  }
};

TEST_F(TvDspChainTest, LiveEffectsOnlyRunInThePumpWithoutRendering) {
  const ChildResult r = Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=400,400,200E"},
                                Chain({"A=live,mul=3", "B=live,add=1"}));
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), Expected(1000, [](int b) { return b * 3 + 1; }));
  EXPECT_FALSE(Called("DSP_PassNonLive"));
  const std::vector<std::string> pump = CallsAfter("ENC_BeginConversion");
  EXPECT_EQ(CountOf(pump, "DSP_PassAudioBlock A"), 3u);
  EXPECT_EQ(CountOf(pump, "DSP_PassAudioBlock B"), 3u);
  EXPECT_EQ(CallsOf("DSP_EndConversion").size(), 2u);
}

TEST_F(TvDspChainTest, LiveNonLiveLiveAllRunOnTheFileInChainOrder) {
  const ChildResult r = Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=400,e,400,200E"},
                                Chain({"A=live,mul=3", "B=add=1", "C=live,mul=5"}));
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), Expected(1000, [](int b) { return (b * 3 + 1) * 5; }));
  std::vector<std::string> order;
  for (const std::string& line : CallsOf())
    if (line.rfind("DSP_BeginConversion", 0) == 0 || line.rfind("DSP_PassNonLive", 0) == 0 ||
        line.rfind("ENC_BeginConversion", 0) == 0)
      order.push_back(line.substr(0, line.find(' ', line.find(' ') + 1)));
  const std::vector<std::string> expected = {"DSP_BeginConversion A", "DSP_PassNonLive B",
                                             "DSP_BeginConversion C",
                                             "ENC_BeginConversion " + PathOf("o.raw")};
  EXPECT_EQ(order, expected);
  // Half a second of the file is 2000 bytes: the whole source is one block, marked as the end.
  EXPECT_EQ(CallsOf("DSP_PassAudioBlock A"),
            std::vector<std::string>{"DSP_PassAudioBlock A 1000 end 1"});
  EXPECT_EQ(CountOf(CallsAfter("ENC_BeginConversion"), "DSP_PassAudioBlock"), 0u);
  EXPECT_EQ(CallsOf("DSP_EndConversion").size(), 2u);  // the rendered effects end with the run
}

TEST_F(TvDspChainTest, CpuThrottleWorksOnTheFileAndInThePumpButOnlyByItsExactName) {
  Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=1000E"}, Chain({"A=add=1", "CPU Throttle=live,mul=3"}));
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), Expected(1000, [](int b) { return ((b + 1) * 3) * 3; }));
  EXPECT_EQ(CallsOf("DSP_PassNonLive CPU Throttle").size(), 1u);
  EXPECT_EQ(CountOf(CallsAfter("ENC_BeginConversion"), "DSP_PassAudioBlock CPU Throttle"), 1u);

  std::filesystem::remove(PathOf("app/DSPs/CPU Throttle.so"));
  child.InstallScriptEffect("cpu throttle");
  Convert(PathOf("p.raw"), {"TVTEST_BLOCKS=1000E"}, Chain({"A=add=1", "cpu throttle=live,mul=3"}));
  EXPECT_EQ(ReadBytes(PathOf("p.raw")), Expected(1000, [](int b) { return (b + 1) * 3; }));
  EXPECT_FALSE(Called("DSP_PassNonLive cpu throttle"));
  EXPECT_EQ(CountOf(CallsAfter("ENC_BeginConversion"), "DSP_PassAudioBlock"), 0u);
}

TEST_F(TvDspChainTest, EmptySourceGivesAnEmptyFileAndALiveEffectNoBlock) {
  Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=e,E"}, Chain({"A=add=1", "B=live,mul=3"}));
  const std::vector<std::string> passes = CallsOf("DSP_PassNonLive A");
  ASSERT_EQ(passes.size(), 1u);
  EXPECT_EQ(passes[0].rfind("DSP_PassNonLive A 0 ", 0), 0u) << passes[0];
  EXPECT_TRUE(Called("DSP_BeginConversion B"));
  EXPECT_FALSE(Called("DSP_PassAudioBlock"));
}

TEST_F(TvDspChainTest, EngineMeasuresTheLengthAndFormatANonLiveEffectLeaves) {
  const ChildResult r =
      Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=1000E"}, Chain({"A=cut=600,rate=2000"}));
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), Expected(600, [](int b) { return b; }));
  EXPECT_EQ(CallsOf("Format"), std::vector<std::string>{"Format 1 2 2000 16 4"});
  // 600 bytes at 8000 bytes a second: the pump's blocks tell positions in the new format.
  EXPECT_EQ(CallsOf("ENC_EncodeBlock"), std::vector<std::string>{"ENC_EncodeBlock 600 at 0 end 1"});
}

TEST_F(TvDspChainTest, QuitWhileRenderingOrBetweenEffectsSkipsTheRestAndThePump) {
  const std::string quit =
      "-evtquit=tvtest-dspquit-" + std::filesystem::path(folder).filename().string();
  Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=400,Q,400E"}, {"-dspeffect1=A=add=1", quit});
  EXPECT_EQ(CountOf(CallsOf(), "DecodeBlock"), 2u);
  EXPECT_FALSE(Called("DSP_PassNonLive"));
  EXPECT_FALSE(Called("ENC_EncodeBlock"));
  EXPECT_TRUE(Called("ENC_EndConversion"));

  Convert(PathOf("p.raw"), {"TVTEST_BLOCKS=1000E"},
          {"-dspeffect1=A=quit", "-dspeffect2=B=add=1", quit});
  EXPECT_TRUE(Called("DSP_PassNonLive A"));
  EXPECT_FALSE(Called("DSP_PassNonLive B"));
  EXPECT_FALSE(Called("ENC_EncodeBlock"));
}

TEST_F(TvDspChainTest, FailingEffectFailsTheRunButTheFinishStillRuns) {
  const ChildResult r =
      Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=1000E"}, Chain({"A=add=1,fail", "B=live,mul=3"}));
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_FALSE(Called("DSP_PassAudioBlock B"));  // the chain stops at the failure
  EXPECT_FALSE(Called("ENC_EncodeBlock"));
  EXPECT_TRUE(Called("ENC_EndConversion"));
  EXPECT_EQ(CallsOf("DSP_AfterConversion A"),
            std::vector<std::string>{"DSP_AfterConversion A failed 1"});

  // Live effects that fail to begin, on the rendered file or in the pump.
  for (const std::vector<std::string>& chain :
       {Chain({"A=add=1", "B=live,beginfail"}), Chain({"A=add=1", "B=live,fail"}),
        Chain({"B=live,fail"})}) {
    const ChildResult live = Convert(PathOf("p.raw"), {"TVTEST_BLOCKS=1000E"}, chain);
    EXPECT_EQ(live.exitCode, 1) << chain.back();
  }
}

TEST_F(TvDspChainTest, EffectsLoadTwiceFromTheLastAndASecondLoadThatFailsDropsTheEntry) {
  const ChildResult r =
      Convert(PathOf("o.raw"), {"TVTEST_BLOCKS=1000E", "TVTEST_DSP_CREATE_FAIL=B:2"},
              Chain({"A=live,mul=3", "B=live,add=1"}));
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(ReadBytes(PathOf("o.raw")), Expected(1000, [](int b) { return b * 3; }));
  std::vector<std::string> creates = CallsOf("DSP_Create");
  const std::vector<std::string> expected = {"DSP_Create B -> 1", "DSP_Create B -> 0",
                                             "DSP_Create A -> 1", "DSP_Create A -> 1"};
  EXPECT_EQ(creates, expected);
  EXPECT_FALSE(Called("DSP_BeginConversion B"));
}

TEST_F(TvDspChainTest, AnEffectThatKeepsReplayGainKeepsTheTags) {
  const std::vector<std::string> env = {"TVTEST_BLOCKS=1000E", "TVTEST_WRITE_TAGS=1",
                                        "TVTEST_TAG_BLOCK=" + PathOf("tags.bin")};
  const std::string rg = Utf16Le("replaygain_track_gain");
  // The tags are written through the decoder of the output's type, which the test decoder is.
  Convert(PathOf("o.wav"), env,
          {"-dspeffect1=A=live", "-tag=replaygain_track_gain=-3 dB", "-tag=Title=x"});
  EXPECT_NE(ReadBytes(PathOf("tags.bin")).find(Utf16Le("Title")), std::string::npos);
  EXPECT_EQ(ReadBytes(PathOf("tags.bin")).find(rg), std::string::npos);
  Convert(PathOf("p.wav"), env,
          {"-dspeffect1=A=live,rg", "-tag=replaygain_track_gain=-3 dB", "-tag=Title=x"});
  EXPECT_NE(ReadBytes(PathOf("tags.bin")).find(rg), std::string::npos);
}

TEST_F(TvDspChainTest, HostHearsOfTheRenderingAndTheFileGoesToTheTemporaryFolderGiven) {
  std::filesystem::create_directories(PathOf("tmp"));
  const ChildResult r = HostConvert(PathOf("o.raw"), {"TVTEST_BLOCKS=1000E"},
                                    "-dspeffect1=A=add=1 -tmpfolder=\"" + PathOf("tmp") + "\"");
  EXPECT_EQ(r.exitCode, 0) << r.err;
  const size_t rendering = r.out.find("MSGTO: tVH: Action: Rendering For DSPs...\r\n");
  const size_t running = r.out.find("MSGTO: tVH: Action: Running DSP Effect A\r\n");
  const size_t cleared = r.out.find("MSGTO: tVH: Action: \r\n");
  ASSERT_NE(rendering, std::string::npos) << r.out;
  EXPECT_LT(rendering, running);
  EXPECT_LT(running, cleared);
  const std::vector<std::string> passes = CallsOf("DSP_PassNonLive A 1000 ");
  ASSERT_EQ(passes.size(), 1u);
  const std::string file = passes[0].substr(std::string("DSP_PassNonLive A 1000 ").size());
  EXPECT_EQ(file.rfind(PathOf("tmp/DSP"), 0), 0u) << file;
  EXPECT_EQ(file.substr(file.size() - 4), ".tmp");
  EXPECT_FALSE(std::filesystem::exists(file));  // deleted at the end of the run
}

}  // namespace
