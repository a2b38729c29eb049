// The host's controls: events and the shared counter named in the options, and the sign of life.
#include "sdk/tv_named.h"
#include "tests/engine/TvTestSupport.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <string>

namespace {

class TvWatchdogTest : public TvRunPhaseTest {
 protected:
  // Names no other test process uses.
  static std::string Unique(const char* tag) {
    static std::atomic<int> counter{0};
    return "tvwd-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + "-" + tag;
  }
  bool ParseWithNames() {
    const std::string text = "-infile=a -outfile=b -convert_to=c -evtquit=" + quit +
                             " -evtafterconvseterror=" + afterError + " -evtwatchdog=" + watchdog +
                             " -shrbytesencoded=" + counter;
    return ParseText(text);
  }
  std::string quit = Unique("quit"), afterError = Unique("err"), watchdog = Unique("wd"),
              counter = Unique("bytes");
};

using TvStopSignalTest = ScriptRunTest;

TEST_F(TvWatchdogTest, EventsTheHostDidNotMakeAreCreatedByTheRun) {
  ASSERT_TRUE(ParseWithNames());
  int existed = 0;
  tv_event* late = tv_event_create(watchdog.c_str(), &existed);
  ASSERT_NE(late, nullptr);
  EXPECT_EQ(existed, 1);
  run->SignOfLife();
  EXPECT_EQ(tv_event_is_set(late), 1);
  tv_event_close(late);
}

TEST_F(TvWatchdogTest, CounterIsEightLittleEndianBytes) {
  ASSERT_TRUE(ParseWithNames());
  tv_counter* hostCounter = tv_counter_create(counter.c_str(), nullptr);
  ASSERT_NE(hostCounter, nullptr);
  run->PublishBytesEncoded(0x0102030405060708ull);
  uint64_t value = 0;
  ASSERT_EQ(tv_counter_read(hostCounter, &value), 1);
  EXPECT_EQ(value, 0x0102030405060708ull);
  // Only ever written: a lower total replaces a higher one.
  run->PublishBytesEncoded(5);
  ASSERT_EQ(tv_counter_read(hostCounter, &value), 1);
  EXPECT_EQ(value, 5u);
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
    const auto sent = std::chrono::steady_clock::now();
    ASSERT_EQ(kill(child.Pid(), row.number), 0);
    const ChildResult r = child.Finish();
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::steady_clock::now() - sent)
                          .count();
    std::cout << strsignal(row.number) << ": the run ended " << took << " ms after the signal\n";
    EXPECT_LT(took, 10000);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Called("TestEnc ENC_EndConversion"));
    EXPECT_EQ(ReadBytes(PathOf("o.wav")), "old bytes");
    EXPECT_FALSE(Has("o.wav.tmp.wav"));
    EXPECT_EQ(tv_event_is_set(hostQuit), 0);
  }
  signal(SIGINT, SIG_DFL);
  tv_event_close(hostQuit);
}

}  // namespace
