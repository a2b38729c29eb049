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

TEST(TvPriorityTest, WordsMapToThreadPriorityAndClassAndNumbersToMasks) {
  const struct {
    const char16_t* word;
    int thread;
    uint32_t priorityClass;
  } words[] = {{u"LOW", -1, 32},    {u"Idle", -15, 64}, {u"high", 1, 32},
               {u"highest", 0, 32}, {u"", 0, 32},       {nullptr, 0, 32}};
  for (const auto& w : words) {
    EXPECT_EQ(TvPriorityOf(w.word).threadPriority, w.thread) << w.thread;
    EXPECT_EQ(TvPriorityOf(w.word).priorityClass, w.priorityClass) << w.thread;
  }
  const std::pair<int, uint32_t> masks[] = {{-3, 1},           {0, 1}, {1, 1}, {2, 2},
                                            {32, 0x80000000u}, {33, 0}};
  for (const auto& [number, mask] : masks) EXPECT_EQ(TvProcessorMask(number), mask) << number;
}

// Low makes the main thread nicer than the others; idle makes the process nicest and the main
// thread idle; an unknown word leaves everything normal.
TEST(TvPriorityTest, WordsSetNiceValuesSeenFromAnotherProcess) {
  for (const char* word : {"low", "IDLE", "turbo"}) {
    const ProbeResult r = RunProbe(word);
    ASSERT_NE(r.idle, -1) << word;
    const bool low = word[0] == 'l', idle = word[0] == 'I';
    if (!idle) EXPECT_EQ(r.main, low ? std::min(19, r.start + 5) : r.start) << word;
    EXPECT_EQ(r.other, idle ? 19 : r.start) << word;
    EXPECT_EQ(r.idle, idle ? 1 : 0) << word;
  }
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
}

TEST_F(TvPriorityRunTest, WithoutPriorityNothingHappens) {
  ASSERT_TRUE(ParseText("-infile=a -outfile=b -convert_to=c"));
  int calls = 0;
  run->SetConversionPriority([&](const char16_t*, TvPluginValue*) { return ++calls; });
  EXPECT_EQ(calls, 0);
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
}

}  // namespace
