// System calls of the log: raw writes to descriptors, the terminal test, the environment.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "foundation/XDebugLog.h"
#include "foundation/XTextCodec.h"

namespace {

bool IsClosed(intptr_t handle) { return handle == 0 || handle == -1; }

// A reader that went away must fail the write, not end the process as SIGPIPE would.
void IgnoreBrokenPipes() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction current = {};
    if (sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
      signal(SIGPIPE, SIG_IGN);
    }
  });
}

void WriteAll(intptr_t handle, const void* data, size_t bytes) {
  const char* at = static_cast<const char*>(data);
  while (bytes > 0) {
    ssize_t done = write(static_cast<int>(handle), at, bytes);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return;  // nothing in logging reports a failure
    at += done;
    bytes -= static_cast<size_t>(done);
  }
}

}  // namespace

void XWriteLogFile(intptr_t handle, const char16_t* text, size_t units) {
  if (IsClosed(handle)) return;
  WriteAll(handle, text, units * sizeof(char16_t));
}

void XWriteChannel(intptr_t handle, const char16_t* text, uint32_t units) {
  if (IsClosed(handle) || text == nullptr) return;
  IgnoreBrokenPipes();
  if (isatty(static_cast<int>(handle))) {
    std::string utf8 = XUtf16ToUtf8(std::u16string_view(text, units));
    WriteAll(handle, utf8.data(), utf8.size());
  } else {
    WriteAll(handle, text, units * sizeof(char16_t));
  }
}

bool IsDebugRequested() {
  const char* value = std::getenv("TONVERA_DEBUG");
  return value != nullptr && value[0] != 0;
}
