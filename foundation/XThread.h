// Worker threads with a named quit event; a stop that overruns leaves the thread suspended.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>

class XEvent;
struct XThreadState;

// Thread priorities in the system's numbering; on Linux they become nice offsets of the
// thread, and idle is SCHED_IDLE. Failures (raising without the right) are ignored.
enum : int {
  XThreadPriorityIdle = -15,
  XThreadPriorityLowest = -2,
  XThreadPriorityBelowNormal = -1,
  XThreadPriorityNormal = 0,
  XThreadPriorityAboveNormal = 1,
  XThreadPriorityHighest = 2,
  XThreadPriorityTimeCritical = 15,
};

class XThread {
 public:
  // A body gets its own handle on the quit event and the caller's argument; it should end
  // soon after the event is set.
  using Function = void (*)(XEvent& quit, uintptr_t argument);
  using Callable = std::function<void(XEvent& quit)>;

  XThread();
  XThread(Function function, uintptr_t argument, bool startSuspended, uint32_t stopTimeout);
  ~XThread();
  XThread(const XThread&) = delete;
  XThread& operator=(const XThread&) = delete;

  // Closes any earlier thread, makes a fresh quit event "TRDEVTQ-<tick>" and starts the
  // body, held at a start gate when startSuspended. A stop time-out of 0 waits for ever.
  // Returns whether the thread was created.
  bool Start(Function function, uintptr_t argument, bool startSuspended, uint32_t stopTimeout);
  bool Start(Callable callable, bool startSuspended, uint32_t stopTimeout);

  // Resumes a suspended thread, sets the quit event and, with wait, waits up to the stop
  // time-out; a thread still running then is suspended, never killed.
  void SignalStop(bool wait);
  // SignalStop(true), then lets go of the thread and the event.
  void Close();
  // Lets go of the thread without stopping it.
  void Detach();

  bool IsFinished() const;
  bool WaitFinished(uint32_t milliseconds) const;
  bool IsRunning() const { return state != nullptr; }
  bool IsSuspended() const { return suspended; }
  void SetPriority(int priority);

  // The quit event of the running thread, or null when there is none.
  XEvent* QuitEvent() const { return quitEvent.get(); }

 private:
  bool Launch(Callable callable, bool startSuspended, uint32_t stopTimeout);
  void Resume();
  void Suspend();
  void Release();

  std::unique_ptr<XEvent> quitEvent;
  std::shared_ptr<XThreadState> state;
  uint32_t stopTimeout = 0;
  bool suspended = false;
};

// Fire-and-forget threads that nobody joins, ended together at process exit.
class XThreadList {
 public:
  // Starts a thread, not suspended, with no stop time-out. Once Shutdown has begun, a new
  // thread may not start: the process ends at once with exit code 0.
  static void Spawn(XThread::Callable callable);
  // Waits up to timeout milliseconds for every listed thread; if any is still running then,
  // the process ends at once with exit code 255 (-1).
  static void Shutdown(uint32_t timeout);
};

// Names the calling thread for debuggers and ps (UTF-8, cut to 15 bytes at a character
// boundary). Returns 0 on success, otherwise the error of the system, which callers ignore.
int XSetCurrentThreadName(const char16_t* name);
