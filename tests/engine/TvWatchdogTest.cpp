// The host's controls: events and the shared counter named in the options, and the sign of life.
#include "sdk/tv_named.h"
#include "tests/engine/TvTestSupport.h"

#include <atomic>
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

}  // namespace
