// Scheduling options: the priority table, nice values read back, and the main thread's processor.
#include "engine/TvPriority.h"
#include "tests/engine/TvTestSupport.h"

#include <sys/resource.h>
#include <sys/syscall.h>

#include <thread>

namespace {

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

}  // namespace
