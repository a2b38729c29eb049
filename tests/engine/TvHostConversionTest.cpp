// A host drives whole conversions of the real transmill with scripted plug-ins: it follows the
// progress lines, watches the watchdog while the run waits, reads the counter and stops the run.
#include "sdk/tv_named.h"
#include "tests/engine/TvTestHost.h"

namespace {

class TvHostConversionTest : public TvTempFolderTest {
 protected:
  void SetUp() override {
    TvTempFolderTest::SetUp();
    app = PathOf("app");
    for (const char* sub : {"decoder", "encoder", "DSPs"})
      std::filesystem::create_directories(app + "/" + sub);
    std::filesystem::copy_file(TV_BIN_DIR "/transmill", app + "/transmill");
    std::filesystem::copy_file(TV_TEST_PLUGIN_DIR "/TvScriptDecoder.so",
                               app + "/decoder/script.so");
    std::filesystem::copy_file(TV_TEST_PLUGIN_DIR "/TvScriptEncoder.so",
                               app + "/encoder/TestEnc.so");
    WriteBytes(PathOf("in.tvt"), "source");
    quit = tv_event_create(Name("quit").c_str(), nullptr);
    alive = tv_event_create(Name("alive").c_str(), nullptr);
    bytes = tv_counter_create(Name("bytes").c_str(), nullptr);
  }
  void TearDown() override {
    tv_event_close(quit);
    tv_event_close(alive);
    tv_counter_close(bytes);
    TvTempFolderTest::TearDown();
  }

  std::string Name(const char* what) const {
    return "tvhostrun-" + std::filesystem::path(folder).filename().string() + "-" + what;
  }
  // Starts a host-mode conversion of in.tvt to o.wav through a UTF-16LE command file.
  bool StartConversion(const std::vector<std::string>& script) {
    const std::string options = "-infile=\"" + PathOf("in.tvt") + "\" -outfile=\"" +
                                PathOf("o.wav") + "\" -convert_to=testenc -evtquit=\"" +
                                Name("quit") + "\" -evtwatchdog=\"" + Name("alive") +
                                "\" -shrbytesencoded=\"" + Name("bytes") + "\"";
    WriteBytes(PathOf("job.tvcmd"), Utf16Bytes(options, true));
    return host.Start(app + "/transmill", "-tvcmd=" + PathOf("job.tvcmd"), folder, script);
  }
  // The counter once it shows the value, or what it shows at the time limit.
  uint64_t CounterReaching(uint64_t value) {
    uint64_t seen = 0;
    for (int i = 0; i < 1000 && seen != value; i++) {
      if (tv_counter_read(bytes, &seen) != 1) seen = 0;
      if (seen != value) usleep(10000);
    }
    return seen;
  }

  std::string app;
  TvTestHost host;
  tv_event* quit = nullptr;
  tv_event* alive = nullptr;
  tv_counter* bytes = nullptr;
};

TEST_F(TvHostConversionTest, CompleteRunSendsItsLinesAndEndsWithZero) {
  ASSERT_TRUE(quit && alive && bytes);
  ASSERT_TRUE(StartConversion({"TVTEST_LENGTH_MS=1000", "TVTEST_BLOCKS=400@250,400@1000,E"}));
  EXPECT_EQ(host.Finish(), 0) << TvTestHost::Decode(host.ErrBytes());
  EXPECT_EQ(host.OutLines(),
            (std::vector<std::string>{"MSGTO: tVH: msLen: 1000", "MSGTO: tVH: Action: Encoding 'o'",
                                      "MSGTO: tVH: PCDone: 25 %", "MSGTO: tVH: PCDone: 100 %"}));
  EXPECT_EQ(host.ErrBytes(), "");
  EXPECT_EQ(CounterReaching(800), 800u);
  EXPECT_EQ(tv_event_is_set(alive), 1);
  EXPECT_EQ(tv_event_is_set(quit), 0);
}

TEST_F(TvHostConversionTest, HostWatchesAWaitingRunAndStopsIt) {
  ASSERT_TRUE(quit && alive && bytes);
  // Two blocks, then a source that has no data yet, for ever.
  ASSERT_TRUE(StartConversion({"TVTEST_LENGTH_MS=1000", "TVTEST_BLOCKS=400@100,400@500,N"}));
  ASSERT_TRUE(host.WaitForLine("MSGTO: tVH: PCDone: 50 %", 30000))
      << TvTestHost::Decode(host.OutBytes());
  EXPECT_EQ(CounterReaching(800), 800u);
  for (int beat = 0; beat < 3; beat++) {
    tv_event_reset(alive);
    EXPECT_EQ(tv_event_wait(alive, 10000), 1) << "beat " << beat;
  }
  tv_event_set(quit);
  EXPECT_EQ(host.Finish(), 1);
  EXPECT_EQ(host.OutLines(),
            (std::vector<std::string>{"MSGTO: tVH: msLen: 1000", "MSGTO: tVH: Action: Encoding 'o'",
                                      "MSGTO: tVH: PCDone: 10 %", "MSGTO: tVH: PCDone: 50 %"}));
  EXPECT_EQ(host.ErrBytes(), "");  // a quit reports nothing
}

}  // namespace
