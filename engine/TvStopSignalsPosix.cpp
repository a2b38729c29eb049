// The stop signals read through a descriptor by a watcher thread, which a second descriptor
// wakes to end it.
#include "engine/TvStopSignals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>

namespace {

// A hang-up ignored from the start (under nohup) stays ignored. An interrupt is taken even so:
// a shell starts its background jobs with it ignored, and their user still means to stop them.
sigset_t StopSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  struct sigaction hangUp {};
  if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN)
    sigaddset(&set, SIGHUP);
  return set;
}

}  // namespace

void TvHoldStopSignals() {
  const sigset_t set = StopSignals();
  // Linux keeps a blocked signal pending even where its action is to ignore it.
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool TvStopSignalWatch::Start(std::function<void()> onStop) {
  Stop();
  const sigset_t set = StopSignals();
  signals = signalfd(-1, &set, SFD_CLOEXEC);
  wake = eventfd(0, EFD_CLOEXEC);
  if (signals < 0 || wake < 0) {
    Stop();
    return false;
  }
  watcher = std::thread([this, onStop = std::move(onStop)] {
    pollfd both[2] = {{signals, POLLIN, 0}, {wake, POLLIN, 0}};
    for (;;) {
      const int ready = poll(both, 2, -1);
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0 || both[1].revents != 0) return;
      signalfd_siginfo info;
      if (read(signals, &info, sizeof info) == sizeof info) onStop();
    }
  });
  return true;
}

void TvStopSignalWatch::Stop() {
  if (watcher.joinable()) {
    const uint64_t one = 1;
    while (write(wake, &one, sizeof one) < 0 && errno == EINTR) {
    }
    watcher.join();
  }
  for (int* fd : {&signals, &wake}) {
    if (*fd >= 0) close(*fd);
    *fd = -1;
  }
}
