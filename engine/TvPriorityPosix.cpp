// Nice values, scheduling policy and affinity of the run's threads through the system.
#include "engine/TvPriority.h"

#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

constexpr int kIdleNice = 19;

int NiceOf(pid_t tid) {
  errno = 0;
  const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(tid));
  return errno != 0 ? 0 : nice;
}

// The nice value of the main thread when first asked: what "normal" means for this run.
int StartingNice() {
  static const int nice = NiceOf(getpid());
  return nice;
}

void SetNiceOfAllThreads(int nice) {
  DIR* tasks = opendir("/proc/self/task");
  if (tasks == nullptr) return;
  while (const dirent* entry = readdir(tasks)) {
    const long tid = std::strtol(entry->d_name, nullptr, 10);
    if (tid > 0) setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nice);
  }
  closedir(tasks);
}

}  // namespace

void TvApplyPriority(int threadPriority, uint32_t priorityClass) {
  const int classNice = priorityClass == TvIdlePriorityClass ? kIdleNice : StartingNice();
  SetNiceOfAllThreads(classNice);
  const pid_t self = static_cast<pid_t>(syscall(SYS_gettid));
  sched_param param = {};
  if (threadPriority <= -15) {
    sched_setscheduler(self, SCHED_IDLE, &param);
    return;
  }
  if (sched_getscheduler(self) == SCHED_IDLE) sched_setscheduler(self, SCHED_OTHER, &param);
  const int nice = std::clamp(classNice - 5 * threadPriority, -20, 19);
  setpriority(PRIO_PROCESS, static_cast<id_t>(self), nice);
}

bool TvPinCurrentThread(uint32_t mask) {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (int cpu = 0; cpu < 32; cpu++)
    if (mask & (uint32_t(1) << cpu)) CPU_SET(cpu, &set);
  return pthread_setaffinity_np(pthread_self(), sizeof set, &set) == 0;
}
