// Worker threads on pthreads: a start gate, suspension by a signal that waits on a semaphore.
#include "foundation/XThread.h"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <list>
#include <mutex>
#include <string>

#include "foundation/XEvent.h"
#include "foundation/XLastError.h"
#include "foundation/XTextCodec.h"

// What the object and its thread share; the thread keeps it alive for as long as it runs,
// so an object may let go of a thread that is still running or frozen.
struct XThreadState {
  XThreadState() { sem_init(&resume, 0, 0); }
  ~XThreadState() { sem_destroy(&resume); }

  pthread_t thread{};
  sem_t resume;  // opens the start gate, and ends a suspension after an overrun
  std::mutex lock;
  std::condition_variable done;
  bool finished = false;
  bool gated = false;
  pid_t tid = 0;
  int priority = XThreadPriorityNormal;
  char16_t eventName[100] = {};
  XThread::Callable body;
};

namespace {

thread_local XThreadState* currentState = nullptr;

int SuspendSignal() { return SIGRTMIN + 2; }

void WaitForResume(XThreadState* state) {
  while (sem_wait(&state->resume) != 0 && errno == EINTR) {
  }
}

// The suspended thread sits here until SignalStop posts the semaphore.
void OnSuspendSignal(int) {
  int saved = errno;
  if (currentState != nullptr) WaitForResume(currentState);
  errno = saved;
}

void InstallSuspendHandler() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction action = {};
    action.sa_handler = OnSuspendSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SuspendSignal(), &action, nullptr);
  });
}

// Thread values become nice offsets relative to the process; idle is its own policy.
void ApplyPriority(pid_t tid, int priority) {
  sched_param param = {};
  if (priority <= XThreadPriorityIdle) {
    sched_setscheduler(tid, SCHED_IDLE, &param);
    return;
  }
  if (sched_getscheduler(tid) == SCHED_IDLE) sched_setscheduler(tid, SCHED_OTHER, &param);
  int offset = priority >= XThreadPriorityTimeCritical ? -20 : -5 * priority;
  errno = 0;
  int base = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
  if (errno != 0) base = 0;
  int nice = std::min(19, std::max(-20, base + offset));
  setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nice);  // raising may be refused: ignored
}

void* ThreadMain(void* argument) {
  auto* holder = static_cast<std::shared_ptr<XThreadState>*>(argument);
  std::shared_ptr<XThreadState> state = std::move(*holder);
  delete holder;
  currentState = state.get();
  {
    std::lock_guard<std::mutex> guard(state->lock);
    state->tid = gettid();
    if (state->priority != XThreadPriorityNormal) ApplyPriority(state->tid, state->priority);
  }
  if (state->gated) WaitForResume(state.get());
  {
    XEvent quit(state->eventName);
    state->body(quit);
  }
  state->body = nullptr;
  // A suspension asked for from now on would freeze a thread that has finished its work.
  sigset_t block;
  sigemptyset(&block);
  sigaddset(&block, SuspendSignal());
  pthread_sigmask(SIG_BLOCK, &block, nullptr);
  std::lock_guard<std::mutex> guard(state->lock);
  state->finished = true;
  state->done.notify_all();
  return nullptr;
}

void CopyName(char16_t* target, size_t capacity, const std::u16string& name) {
  size_t n = std::min(name.size(), capacity - 1);
  name.copy(target, n);
  target[n] = 0;
}

std::u16string EventName(uint32_t number) {
  std::string digits = std::to_string(static_cast<int32_t>(number));
  return u"TRDEVTQ-" + std::u16string(digits.begin(), digits.end());
}

}  // namespace

XThread::XThread() = default;

XThread::XThread(Function function, uintptr_t argument, bool startSuspended,
                 uint32_t stopTimeoutMs) {
  Start(function, argument, startSuspended, stopTimeoutMs);
}

XThread::~XThread() { Close(); }

bool XThread::Start(Function function, uintptr_t argument, bool startSuspended,
                    uint32_t stopTimeoutMs) {
  return Launch([function, argument](XEvent& quit) { function(quit, argument); }, startSuspended,
                stopTimeoutMs);
}

bool XThread::Start(Callable callable, bool startSuspended, uint32_t stopTimeoutMs) {
  return Launch(std::move(callable), startSuspended, stopTimeoutMs);
}

bool XThread::Launch(Callable callable, bool startSuspended, uint32_t stopTimeoutMs) {
  Close();
  suspended = startSuspended;
  stopTimeout = stopTimeoutMs;
  auto fresh = std::make_shared<XThreadState>();
  fresh->body = std::move(callable);
  fresh->gated = startSuspended;

  // Two threads started within one tick must not share a quit event.
  quitEvent = std::make_unique<XEvent>();
  std::u16string name = EventName(XTickCount());
  for (uint32_t retry = 1; quitEvent->Create(name.c_str()) && quitEvent->AlreadyExisted();
       ++retry) {
    name = EventName(XTickCount() + retry);
  }
  CopyName(fresh->eventName, std::size(fresh->eventName), name);

  InstallSuspendHandler();
  auto* holder = new std::shared_ptr<XThreadState>(fresh);
  if (pthread_create(&fresh->thread, nullptr, ThreadMain, holder) != 0) {
    delete holder;
    suspended = false;
    return false;
  }
  state = std::move(fresh);
  return true;
}

void XThread::Resume() {
  sem_post(&state->resume);
  suspended = false;
}

void XThread::Suspend() {
  std::lock_guard<std::mutex> guard(state->lock);
  if (!state->finished) pthread_kill(state->thread, SuspendSignal());
  suspended = true;
}

void XThread::SignalStop(bool wait) {
  if (!state) return;
  if (suspended) Resume();
  if (quitEvent) quitEvent->Set();
  if (!wait) return;
  if (stopTimeout == 0) {
    WaitFinished(0xFFFFFFFFu);
  } else if (!WaitFinished(stopTimeout)) {
    Suspend();
  }
}

void XThread::Close() {
  if (!state) return;
  SignalStop(true);
  Release();
}

void XThread::Detach() {
  if (!state) return;
  Release();
  suspended = false;
}

// A finished thread is joined; one still running (or frozen) goes on alone.
void XThread::Release() {
  if (IsFinished()) {
    pthread_join(state->thread, nullptr);
  } else {
    pthread_detach(state->thread);
  }
  state.reset();
  quitEvent.reset();
}

bool XThread::IsFinished() const { return WaitFinished(0); }

bool XThread::WaitFinished(uint32_t milliseconds) const {
  if (!state) return true;
  std::unique_lock<std::mutex> guard(state->lock);
  auto finished = [this] { return state->finished; };
  if (milliseconds == 0xFFFFFFFFu) {
    state->done.wait(guard, finished);
    return true;
  }
  return state->done.wait_for(guard, std::chrono::milliseconds(milliseconds), finished);
}

void XThread::SetPriority(int priority) {
  if (!state) return;
  std::lock_guard<std::mutex> guard(state->lock);
  state->priority = priority;
  if (state->tid != 0 && !state->finished) ApplyPriority(state->tid, priority);
}

namespace {

struct ThreadList {
  std::mutex lock;
  std::list<std::shared_ptr<XThread>> threads;
  bool closing = false;

  void RemoveFinished() {
    threads.remove_if([](const std::shared_ptr<XThread>& t) { return t->IsFinished(); });
  }
};

// Never destroyed: threads may still be listed when the process exits.
ThreadList& Threads() {
  static ThreadList* list = new ThreadList;
  return *list;
}

[[noreturn]] void EndProcess(int code) {
  std::fflush(nullptr);
  _exit(code);
}

}  // namespace

void XThreadList::Spawn(XThread::Callable callable) {
  ThreadList& list = Threads();
  std::lock_guard<std::mutex> guard(list.lock);
  if (list.closing) EndProcess(0);
  list.RemoveFinished();
  auto thread = std::make_shared<XThread>();
  thread->Start(std::move(callable), false, 0);
  list.threads.push_back(std::move(thread));
}

void XThreadList::Shutdown(uint32_t timeout) {
  ThreadList& list = Threads();
  std::list<std::shared_ptr<XThread>> left;
  {
    std::lock_guard<std::mutex> guard(list.lock);
    list.closing = true;
    list.RemoveFinished();
    left = list.threads;
  }
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
  for (const auto& thread : left) {
    if (timeout == 0xFFFFFFFFu) {
      thread->WaitFinished(timeout);
      continue;
    }
    auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (!thread->WaitFinished(static_cast<uint32_t>(std::max<int64_t>(0, rest.count())))) {
      EndProcess(255);
    }
  }
}

int XSetCurrentThreadName(const char16_t* name) {
  std::string utf8 = XUtf16ToUtf8(name != nullptr ? std::u16string_view(name) : u"");
  // The kernel keeps 15 bytes; cut before a continuation byte so the name stays valid UTF-8.
  size_t n = std::min<size_t>(utf8.size(), 15);
  while (n > 0 && n < utf8.size() && (static_cast<unsigned char>(utf8[n]) & 0xC0) == 0x80) --n;
  utf8.resize(n);
  return pthread_setname_np(pthread_self(), utf8.c_str());
}
