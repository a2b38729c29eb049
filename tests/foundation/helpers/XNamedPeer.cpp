// A second process for the named-object tests, using the foundation's C++ wrappers.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/XEvent.h"
#include "foundation/XMutex.h"
#include "foundation/XSharedMem.h"
#include "foundation/XTextCodec.h"

// The same commands as the C peer: event-set, event-wait, event-hold, mutex-hold, mutex-try,
// counter-write, counter-read; "existed=0|1" first, "ready" once it holds what it was asked.
namespace {

void Say(const char* text) {
  std::printf("%s\n", text);
  std::fflush(stdout);
}

void Report(bool existed) { Say(existed ? "existed=1" : "existed=0"); }

[[noreturn]] void SleepUntilKilled() {
  for (;;) pause();
}

int EventCommand(const std::string& command, const char16_t* name, uint32_t arg) {
  XEvent event(name);
  if (!event.IsOpen()) return 2;
  Report(event.AlreadyExisted());
  if (command == "event-set") {
    event.Set();
    return 0;
  }
  Say("ready");
  if (command == "event-hold") SleepUntilKilled();
  return event.Wait(arg) ? 0 : 3;
}

int MutexCommand(const std::string& command, const char16_t* name, uint32_t arg) {
  XMutex mutex(name);
  if (!mutex.IsOpen()) return 2;
  Report(mutex.AlreadyExisted());
  if (command == "mutex-hold") {
    mutex.Lock();
    Say("ready");
    SleepUntilKilled();
  }
  return mutex.TryLock(arg) ? 0 : 3;
}

int CounterCommand(const std::string& command, const char16_t* name, const char* arg) {
  XSharedMem share;
  bool existed = false;
  if (!share.Create(name, 8, &existed)) return 2;
  Report(existed);
  uint64_t value = std::strtoull(arg, nullptr, 10);
  if (command == "counter-write") return share.Write(&value) ? 0 : 2;
  value = 0;
  if (!share.Read(&value)) return 2;
  std::printf("value=%llu\n", static_cast<unsigned long long>(value));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s COMMAND NAME [ARG]\n", argv[0]);
    return 2;
  }
  std::string command = argv[1];
  std::u16string name = XUtf8ToUtf16(argv[2]);
  const char* arg = argc > 3 ? argv[3] : "0";
  uint32_t number = uint32_t(std::strtoul(arg, nullptr, 10));
  if (command.rfind("event-", 0) == 0) return EventCommand(command, name.c_str(), number);
  if (command.rfind("mutex-", 0) == 0) return MutexCommand(command, name.c_str(), number);
  if (command.rfind("counter-", 0) == 0) return CounterCommand(command, name.c_str(), arg);
  std::fprintf(stderr, "unknown command %s\n", argv[1]);
  return 2;
}
