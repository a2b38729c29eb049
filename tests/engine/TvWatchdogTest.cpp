// The host's controls: events and the shared counter named in the options, and the sign of life.
#include "sdk/tv_named.h"
#include "tests/engine/TvTestSupport.h"

#include <csignal>
#include <cstring>
#include <string>

namespace {

using TvWatchdogTest = TvRunPhaseTest;
using TvStopSignalTest = ScriptRunTest;

TEST_F(TvWatchdogTest, WithoutOptionsNothingIsOpenAndNothingHappens) {
  ASSERT_TRUE(ParseText("-infile=a -outfile=b -convert_to=c -evtquit="));
  EXPECT_FALSE(Io().quitEvent.IsOpen());
  EXPECT_FALSE(run->QuitRequested());
  run->StartSignOfLife();
  EXPECT_FALSE(Io().signOfLifeThread.IsRunning());
}

// A stop signal is the run's quit, as is the host's quit event: the end calls are made, the old
// output stays as it was and the temporary output goes. A signal leaves the host's quit event
// alone: other runs may share it. While the run waits, it keeps the host's byte counter and its
// sign of life going, and it makes the events the host did not make.
TEST_F(TvStopSignalTest, HostQuitOrAStopSignalEndsAWaitingRunAsAQuit) {
  const std::string names = "tvwd-" + std::to_string(getpid()) + "-";
  tv_event* hostQuit = tv_event_create((names + "quit").c_str(), nullptr);
  ASSERT_NE(hostQuit, nullptr);
  // A shell starts its background jobs with interrupt ignored: the run takes it all the same.
  const struct {
    int number;  // 0: the host sets its quit event instead, last as it stays set
    void (*atStart)(int);
    std::string options;
  } rows[] = {{SIGTERM, SIG_DFL, ""},
              {SIGINT, SIG_IGN, ""},
              {SIGHUP, SIG_DFL, " -evtquit=" + names + "quit"},
              {0, SIG_DFL, " -evtquit=" + names + "quit"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.number);
    const std::string tag = names + std::to_string(row.number);
    tv_counter* bytes = tv_counter_create((tag + "bytes").c_str(), nullptr);
    ASSERT_NE(bytes, nullptr);
    if (row.number) signal(row.number, row.atStart);
    WriteBytes(PathOf("o.wav"), "old bytes");
    WriteBytes(PathOf("job.tvcmd8"), "-infile=\"" + PathOf("in.tvt") + "\" -outfile=\"" +
                                         PathOf("o.wav") +
                                         "\" -convert_to=testenc -evtwatchdog=" + tag +
                                         "alive -shrbytesencoded=" + tag + "bytes" + row.options);
    Configure({"script.blocks=400@100,400@500,N"});
    ASSERT_TRUE(child.Start({"-tvcmd8=" + PathOf("job.tvcmd8")}));
    ASSERT_TRUE(child.WaitForLine("MSGTO: tVH: PCDone: 50 %", 30000));
    ASSERT_TRUE(Has("o.wav.tmp.wav"));
    uint64_t seen = 0;
    for (int i = 0; i < 1000 && (tv_counter_read(bytes, &seen) != 1 || seen != 800); i++)
      usleep(10000);
    EXPECT_EQ(seen, 800u);
    int existed = 0;
    tv_event* alive = tv_event_create((tag + "alive").c_str(), &existed);
    EXPECT_EQ(existed, 1);
    tv_event_reset(alive);
    EXPECT_EQ(tv_event_wait(alive, 10000), 1);
    if (row.number)
      ASSERT_EQ(kill(child.Pid(), row.number), 0);
    else
      tv_event_set(hostQuit);
    const ChildResult r = child.Finish();
    // A run that went on waiting would be killed by the harness, with no exit code of its own.
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out,
              "MSGTO: tVH: msLen: 1000\r\nMSGTO: tVH: Action: Encoding 'o'\r\n"
              "MSGTO: tVH: PCDone: 10 %\r\nMSGTO: tVH: PCDone: 50 %\r\n");
    EXPECT_TRUE(Called("TestEnc ENC_EndConversion"));
    EXPECT_EQ(ReadBytes(PathOf("o.wav")), "old bytes");
    EXPECT_FALSE(Has("o.wav.tmp.wav"));
    EXPECT_EQ(tv_event_is_set(hostQuit), row.number == 0 ? 1 : 0);
    tv_event_close(alive);
    tv_counter_close(bytes);
  }
  signal(SIGINT, SIG_DFL);
  tv_event_close(hostQuit);
}

}  // namespace
