// Tests of worker threads: start gate, quit event, suspension after an overrun, the list.
#include "foundation/XThread.h"
#include "tests/foundation/Fixtures.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "foundation/XEvent.h"

namespace {

void Pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Waits (bounded) until the condition holds; the bound only guards against a hang.
template <typename Condition>
bool Eventually(Condition condition) {
  for (int i = 0; i < 1000; ++i) {
    if (condition()) return true;
    Pause(5);
  }
  return condition();
}

}  // namespace

TEST(XThreadTest, SuspendedStartRunsNothingUntilStopResumesIt) {
  std::atomic<int> runs{0};
  std::atomic<bool> sawQuit{false};
  XThread thread;
  ASSERT_TRUE(thread.Start(
      [&](XEvent& quit) {
        ++runs;
        sawQuit = quit.Wait(5000);
      },
      true, 0));
  Pause(100);
  EXPECT_EQ(runs, 0);
  thread.SignalStop(true);
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(sawQuit);
  EXPECT_TRUE(thread.IsFinished());
  EXPECT_FALSE(thread.IsSuspended());
}

TEST(XThreadTest, OverrunLeavesTheThreadSuspendedAndTheNextStopResumesIt) {
  std::atomic<long> progress{0};
  std::atomic<bool> release{false};
  XThread thread;
  ASSERT_TRUE(thread.Start(
      [&](XEvent&) {
        while (!release) {  // ignores its quit event on purpose
          ++progress;
          Pause(1);
        }
      },
      false, 100));
  ASSERT_TRUE(Eventually([&] { return progress > 0; }));

  thread.SignalStop(true);
  EXPECT_TRUE(thread.IsSuspended());
  EXPECT_FALSE(thread.IsFinished());
  Pause(30);  // the signal is delivered asynchronously
  long frozen = progress;
  Pause(100);
  EXPECT_EQ(progress, frozen);

  release = true;
  Pause(50);
  EXPECT_EQ(progress, frozen);  // still frozen: nothing but a stop resumes it
  thread.SignalStop(true);
  EXPECT_FALSE(thread.IsSuspended());
  EXPECT_TRUE(thread.IsFinished());
}

TEST(XThreadTest, FunctionFormPassesTheArgument) {
  std::atomic<uintptr_t> seen{0};
  auto body = [](XEvent& quit, uintptr_t argument) {
    reinterpret_cast<std::atomic<uintptr_t>*>(argument)->fetch_add(1);
    quit.Wait(XEvent::Infinite);
  };
  XThread thread(body, reinterpret_cast<uintptr_t>(&seen), false, 0);
  EXPECT_TRUE(Eventually([&] { return seen == 1; }));
}

TEST(XThreadTest, DetachLetsTheThreadRunOnAndLeavesAnEmptyObject) {
  std::atomic<bool> done{false};
  XThread thread;
  ASSERT_TRUE(thread.Start([&](XEvent&) { Pause(50), done = true; }, false, 0));
  thread.Detach();
  EXPECT_EQ(thread.QuitEvent(), nullptr);
  EXPECT_TRUE(Eventually([&] { return done.load(); }));
}

TEST(XThreadTest, LowestPriorityBecomesANiceOffset) {
  errno = 0;
  int base = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
  std::atomic<int> nice{-100};
  XThread lowest;
  ASSERT_TRUE(lowest.Start(
      [&](XEvent& quit) {
        nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
        quit.Wait(XEvent::Infinite);
      },
      true, 0));
  lowest.SetPriority(XThreadPriorityLowest);
  lowest.SignalStop(true);
  EXPECT_EQ(nice, std::min(19, base + 10));
}

// Each case runs in a child process, since the list's shutdown is once per process.
TEST(XThreadTest, ListShutdownWaitsAndEndsTheProcessOnATimeOut) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::atomic<int> done{0};
        for (int i = 0; i < 3; ++i) XThreadList::Spawn([&](XEvent&) { Pause(50), ++done; });
        XThreadList::Shutdown(10000);
        std::_Exit(done == 3 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        XThreadList::Spawn([](XEvent& quit) { quit.Wait(XEvent::Infinite); });
        XThreadList::Shutdown(50);
        std::_Exit(3);
      },
      testing::ExitedWithCode(255), "");
}
