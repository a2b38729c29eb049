// Scheduling options: the priority table, nice values read back, and the main thread's processor.
#include "engine/TvPriority.h"
#include "tests/engine/TvTestSupport.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <filesystem>
#include <fstream>
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

TEST_F(TvPriorityRunTest, PriorityIsAppliedAndToldToTheEncoder) {
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

// Reads one field of a status file in /proc: "" when the file or the field is missing.
std::string StatusField(const std::string& path, const std::string& field) {
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);)
    if (line.rfind(field + ":", 0) == 0)
      return line.substr(line.find_first_not_of(" \t", field.size() + 1));
  return "";
}

using TvProcessorRunTest = ScriptRunTest;

// Only the main thread, where the plug-ins work, is held to the chosen processor; the sign of
// life keeps every processor the run was given.
TEST_F(TvProcessorRunTest, OnlyTheMainThreadIsPinned) {
  const std::string given = StatusField("/proc/thread-self/status", "Cpus_allowed_list");
  cpu_set_t set;
  ASSERT_EQ(sched_getaffinity(0, sizeof set, &set), 0);
  int second = -1;
  for (int cpu = 0, seen = 0; cpu < 32 && second < 0; cpu++)
    if (CPU_ISSET(cpu, &set) && ++seen == 2) second = cpu;
  // With a single processor, pinning to it changes nothing that shows.
  const std::string pinned = second < 0 ? given : std::to_string(second);
  Configure({"script.blocks=N"});
  ASSERT_TRUE(
      child.Start({"-infile=" + PathOf("in.tvt"), "-outfile=" + PathOf("o.wav"),
                   "-convert_to=testenc", "-evtwatchdog=tvtest-pin-" + std::to_string(getpid()),
                   "-processor=" + std::to_string(second < 0 ? 1 : second + 1)}));
  const std::string tasks = "/proc/" + std::to_string(child.Pid()) + "/task/";
  std::string mainList, lifeList;
  for (int i = 0; i < 3000 && (mainList != pinned || lifeList.empty()); i++) {
    usleep(10000);
    mainList = StatusField(tasks + std::to_string(child.Pid()) + "/status", "Cpus_allowed_list");
    for (const auto& task : std::filesystem::directory_iterator(tasks))
      if (ReadBytes(task.path() / "comm") == "tvSignOfLife\n")
        lifeList = StatusField(task.path() / "status", "Cpus_allowed_list");
  }
  EXPECT_EQ(mainList, pinned);
  EXPECT_EQ(lifeList, given);
  kill(child.Pid(), SIGTERM);
  EXPECT_EQ(child.Finish().exitCode, 1);
}

}  // namespace
