// The host's controls: events and the shared counter named in the options, and the sign of life.
#include "sdk/tv_named.h"
#include "tests/engine/TvTestSupport.h"

#include <csignal>
#include <cstring>
#include <string>

namespace {

using TvWatchdogTest = TvRunPhaseTest;
using TvStopSignalTest = ScriptRunTest;

TEST_F(TvWatchdogTest, CounterIsEightLittleEndianBytes) {
  const std::string name = "tvwd-" + std::to_string(getpid()) + "-bytes";
  ASSERT_TRUE(ParseText("-infile=a -outfile=b -convert_to=c -shrbytesencoded=" + name));
  tv_counter* hostCounter = tv_counter_create(name.c_str(), nullptr);
  ASSERT_NE(hostCounter, nullptr);
  run->PublishBytesEncoded(0x0102030405060708ull);
  uint64_t value = 0;
  EXPECT_EQ(tv_counter_read(hostCounter, &value), 1);
  EXPECT_EQ(value, 0x0102030405060708ull);
  tv_counter_close(hostCounter);
}

TEST_F(TvWatchdogTest, WithoutOptionsNothingIsOpenAndNothingHappens) {
  ASSERT_TRUE(ParseText("-infile=a -outfile=b -convert_to=c -evtquit="));
  EXPECT_FALSE(Io().quitEvent.IsOpen());
  EXPECT_FALSE(run->QuitRequested());
  run->StartSignOfLife();
  EXPECT_FALSE(Io().signOfLifeThread.IsRunning());
}

// A stop signal is the run's quit: the end calls are made, the old output stays as it was and
// the temporary output goes. A quit event of the host's is left alone: other runs may share it.
TEST_F(TvStopSignalTest, StopSignalsEndTheRunAsAQuit) {
  const std::string quitName = "tvwd-" + std::to_string(getpid()) + "-signal-quit";
  tv_event* hostQuit = tv_event_create(quitName.c_str(), nullptr);
  ASSERT_NE(hostQuit, nullptr);
  // A shell starts its background jobs with interrupt ignored: the run takes it all the same.
  const struct {
    int number;
    void (*atStart)(int);
    std::string options;
  } rows[] = {
      {SIGTERM, SIG_DFL, ""}, {SIGINT, SIG_IGN, ""}, {SIGHUP, SIG_DFL, " -evtquit=" + quitName}};
  for (const auto& row : rows) {
    SCOPED_TRACE(strsignal(row.number));
    signal(row.number, row.atStart);
    WriteBytes(PathOf("o.wav"), "old bytes");
    WriteBytes(PathOf("job.tvcmd8"), "-infile=\"" + PathOf("in.tvt") + "\" -outfile=\"" +
                                         PathOf("o.wav") + "\" -convert_to=testenc" + row.options);
    Configure({"script.blocks=400@100,400@500,N"});
    ASSERT_TRUE(child.Start({"-tvcmd8=" + PathOf("job.tvcmd8")}));
    ASSERT_TRUE(child.WaitForLine("MSGTO: tVH: PCDone: 50 %", 30000));
    ASSERT_TRUE(Has("o.wav.tmp.wav"));
    ASSERT_EQ(kill(child.Pid(), row.number), 0);
    // A run that went on waiting would be killed by the harness, with no exit code of its own.
    EXPECT_EQ(child.Finish().exitCode, 1);
    EXPECT_TRUE(Called("TestEnc ENC_EndConversion"));
    EXPECT_EQ(ReadBytes(PathOf("o.wav")), "old bytes");
    EXPECT_FALSE(Has("o.wav.tmp.wav"));
    EXPECT_EQ(tv_event_is_set(hostQuit), 0);
  }
  signal(SIGINT, SIG_DFL);
  tv_event_close(hostQuit);
}

}  // namespace
