// The stop signals (terminate, interrupt, hang-up) as a quit of the run: held back from every
// thread and taken by one watcher, so that nothing runs inside a signal handler.
#pragma once
#include <functional>
#include <thread>

// Blocks the stop signals in the calling thread; call it before any other thread starts, since
// a thread inherits the mask of the one that starts it. A hang-up the process was started with
// ignored (as under nohup) stays ignored.
void TvHoldStopSignals();

class TvStopSignalWatch {
 public:
  TvStopSignalWatch() = default;
  TvStopSignalWatch(const TvStopSignalWatch&) = delete;
  TvStopSignalWatch& operator=(const TvStopSignalWatch&) = delete;
  ~TvStopSignalWatch() { Stop(); }

  // Calls onStop on a thread of its own for each stop signal, one already pending included.
  bool Start(std::function<void()> onStop);
  void Stop();

 private:
  int signals = -1;  // the signals to read
  int wake = -1;     // set to end the watch
  std::thread watcher;
};
