// Scheduling options: the priority table, nice values read back, and the main thread's processor.
#include "engine/TvPriority.h"
#include "tests/engine/TvTestSupport.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <cstdio>
#include <thread>

namespace {

struct ProbeResult {
  int start = 99, main = 99, other = 99, idle = -1;
};

ProbeResult RunProbe(const char* word) {
  ProbeResult r;
  const std::string command = std::string(TV_TEST_BIN_DIR "/tv_priority_probe ") + word;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return r;
  if (std::fscanf(pipe, "start %d main %d other %d idle %d", &r.start, &r.main, &r.other,
                  &r.idle) != 4)
    r = ProbeResult();
  pclose(pipe);
  return r;
}

TEST(TvPriorityTest, WordsMapToThreadPriorityAndClass) {
  EXPECT_EQ(TvPriorityOf(u"LOW").threadPriority, -1);
  EXPECT_EQ(TvPriorityOf(u"low").priorityClass, 32u);
  EXPECT_EQ(TvPriorityOf(u"Idle").threadPriority, -15);
  EXPECT_EQ(TvPriorityOf(u"idle").priorityClass, 64u);
  EXPECT_EQ(TvPriorityOf(u"high").threadPriority, 1);
  EXPECT_EQ(TvPriorityOf(u"high").priorityClass, 32u);
  EXPECT_EQ(TvPriorityOf(u"highest").threadPriority, 0);
  EXPECT_EQ(TvPriorityOf(u"").priorityClass, 32u);
  EXPECT_EQ(TvPriorityOf(nullptr).threadPriority, 0);
}

TEST(TvPriorityTest, ProcessorNumbersMakeOneBitMasks) {
  EXPECT_EQ(TvProcessorMask(-3), 1u);
  EXPECT_EQ(TvProcessorMask(0), 1u);
  EXPECT_EQ(TvProcessorMask(1), 1u);
  EXPECT_EQ(TvProcessorMask(2), 2u);
  EXPECT_EQ(TvProcessorMask(32), 0x80000000u);
  EXPECT_EQ(TvProcessorMask(33), 0u);
}

TEST(TvPriorityTest, LowMakesTheMainThreadNicerThanTheOthers) {
  const ProbeResult r = RunProbe("low");
  ASSERT_NE(r.idle, -1);
  EXPECT_EQ(r.main, std::min(19, r.start + 5));
  EXPECT_EQ(r.other, r.start);
  EXPECT_EQ(r.idle, 0);
}

TEST(TvPriorityTest, IdleMakesTheProcessNicestAndTheMainThreadIdle) {
  const ProbeResult r = RunProbe("IDLE");
  ASSERT_NE(r.idle, -1);
  EXPECT_EQ(r.other, 19);
  EXPECT_EQ(r.idle, 1);
}

TEST(TvPriorityTest, AnUnknownWordLeavesEverythingNormal) {
  const ProbeResult r = RunProbe("turbo");
  ASSERT_NE(r.idle, -1);
  EXPECT_EQ(r.main, r.start);
  EXPECT_EQ(r.other, r.start);
  EXPECT_EQ(r.idle, 0);
}

using TvPriorityRunTest = TvRunPhaseTest;

TEST_F(TvPriorityRunTest, PriorityIsLoggedAppliedAndToldToTheEncoder) {
  ASSERT_TRUE(ParseText("-infile=a -outfile=b -convert_to=c -priority=Low"));
  XString told;
  int calls = 0;
  int niceBefore = 0, niceAfter = 0;
  // On a thread of its own, so the test process keeps its scheduling.
  std::thread main([&] {
    niceBefore = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
    run->SetConversionPriority([&](const char16_t* key, TvPluginValue* value) {
      calls++;
      if (XString::SameText(key, u"Priority")) told = value->text1;
      return 0;  // a refusal changes nothing
    });
    niceAfter = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
  });
  main.join();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(U8(told), "Low");
  EXPECT_EQ(niceAfter, std::min(19, niceBefore + 5));
  EXPECT_EQ(LogText(), "Setting Priority: Low  [TvTransmill::SetConversionPriority]\r\n");
}

TEST_F(TvPriorityRunTest, WithoutPriorityNothingHappens) {
  ASSERT_TRUE(ParseText("-infile=a -outfile=b -convert_to=c"));
  int calls = 0;
  run->SetConversionPriority([&](const char16_t*, TvPluginValue*) { return ++calls; });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(LogText(), "");
}

// The set of processors the calling thread may run on, as a mask of the first 32.
uint32_t CurrentMask() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 0;
  uint32_t mask = 0;
  for (int cpu = 0; cpu < 32; cpu++)
    if (CPU_ISSET(cpu, &set)) mask |= uint32_t(1) << cpu;
  return mask;
}

TEST_F(TvPriorityRunTest, ProcessorPinsTheParsingThreadOnly) {
  const uint32_t allowed = CurrentMask();
  int highest = 31;
  while (highest > 0 && !(allowed & (uint32_t(1) << highest))) highest--;
  if (highest == 0 || allowed == (uint32_t(1) << highest))
    GTEST_SKIP() << "needs two processors among the first 32";
  const std::string option = "-processor=" + std::to_string(highest + 1);
  uint32_t pinned = 0, afterZero = 0, afterRefusal = 0;
  std::thread main([&] {
    const std::string text = "-infile=a -outfile=b -convert_to=c " + option;
    ASSERT_TRUE(ParseText(text));
    pinned = CurrentMask();
    run->ApplyProcessor(XString(u"33"));  // mask 0: refused, and nobody notices
    afterRefusal = CurrentMask();
    run->ApplyProcessor(XString(u"0"));
    afterZero = CurrentMask();
  });
  main.join();
  EXPECT_EQ(pinned, uint32_t(1) << highest);
  EXPECT_EQ(afterRefusal, pinned);
  EXPECT_EQ(afterZero, (allowed & 1u) ? 1u : pinned);
  EXPECT_EQ(CurrentMask(), allowed);
  EXPECT_NE(LogText().find("Allying to Processor " + std::to_string(highest + 1) + "\r\n"),
            std::string::npos)
      << LogText();
  EXPECT_NE(LogText().find("Allying to Processor 33\r\n"), std::string::npos);
}

}  // namespace
