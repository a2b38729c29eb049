// Applies a `priority` word in a process of its own and prints the nice values and policy read
// back: "start <n> main <n> other <n> idle <0|1>". Usage: tv_priority_probe <word>.
#include "engine/TvPriority.h"
#include "foundation/XString.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

namespace {
int NiceOf(pid_t tid) { return getpriority(PRIO_PROCESS, static_cast<id_t>(tid)); }
pid_t Tid() { return static_cast<pid_t>(syscall(SYS_gettid)); }
}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const int start = NiceOf(Tid());
  std::atomic<pid_t> otherTid{0};
  std::atomic<bool> done{false};
  std::thread other([&] {
    otherTid = Tid();
    while (!done) usleep(1000);
  });
  while (otherTid == 0) usleep(1000);

  const XString word(argv[1], true);
  const TvPriorityChoice choice = TvPriorityOf(word.CStr());
  TvApplyPriority(choice.threadPriority, choice.priorityClass);
  std::printf("start %d main %d other %d idle %d\n", start, NiceOf(Tid()), NiceOf(otherTid),
              sched_getscheduler(0) == SCHED_IDLE ? 1 : 0);
  done = true;
  other.join();
  return 0;
}
