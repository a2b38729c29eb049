// InfoPeek: follows a growing UTF-16LE debug log and prints it as UTF-8 while its event exists.
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "foundation/XEvent.h"
#include "foundation/XTextCodec.h"

namespace {

constexpr useconds_t IdlePause = 100000;

struct Options {
  std::string watch;
  std::string file;
};

// "-Key=value", key ignoring case; quotes around the value are dropped if the shell kept them.
bool TakeOption(const char* arg, const char* key, std::string& value) {
  size_t length = std::char_traits<char>::length(key);
  if (strncasecmp(arg, key, length) != 0 || arg[length] != '=') return false;
  value = arg + length + 1;
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
    value = value.substr(1, value.size() - 2);
  }
  return true;
}

bool ParseOptions(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    if (!TakeOption(argv[i], "-DebugWatch", options.watch) &&
        !TakeOption(argv[i], "-DebugFile", options.file)) {
      return false;
    }
  }
  return !options.watch.empty() && !options.file.empty();
}

// Opening an event creates it when it is gone, so the probe closes it again at once: a name
// that nobody else holds disappears with our handle.
bool EventExists(const std::string& name) {
  std::u16string wide = XUtf8ToUtf16(name);
  XEvent probe;
  bool existed = probe.Create(wide.c_str()) && probe.AlreadyExisted();
  probe.Close();
  return existed;
}

void WriteOut(const std::string& text) {
  const char* at = text.data();
  size_t left = text.size();
  while (left > 0) {
    ssize_t done = write(STDOUT_FILENO, at, left);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return;
    at += done;
    left -= static_cast<size_t>(done);
  }
}

// Turns bytes of UTF-16LE into UTF-8 lines with LF ends. An odd byte, a high surrogate
// waiting for its partner and a CR waiting for its LF stay behind for the next piece.
class LogDecoder {
 public:
  std::string Feed(const char* bytes, size_t count, bool last) {
    pending.append(bytes, count);
    std::u16string units = held;
    held.clear();
    size_t whole = pending.size() / 2 * 2;
    for (size_t i = 0; i < whole; i += 2) {
      units += static_cast<char16_t>(static_cast<unsigned char>(pending[i]) |
                                     static_cast<unsigned char>(pending[i + 1]) << 8);
    }
    pending.erase(0, whole);
    if (!last && !units.empty() && (units.back() == u'\r' || IsHighSurrogate(units.back()))) {
      held = units.back();
      units.pop_back();
    }
    std::u16string lines;
    for (size_t i = 0; i < units.size(); ++i) {
      if (units[i] == u'\r' && i + 1 < units.size() && units[i + 1] == u'\n') continue;
      lines += units[i];
    }
    return XUtf16ToUtf8(lines);
  }

 private:
  static bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
  std::string pending;
  std::u16string held;
};

// Copies what the file holds now; returns whether anything came.
bool Drain(int file, LogDecoder& decoder, bool last) {
  char buffer[65536];
  bool any = false;
  while (true) {
    ssize_t got = read(file, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    any = true;
    WriteOut(decoder.Feed(buffer, static_cast<size_t>(got), false));
  }
  if (last) WriteOut(decoder.Feed(nullptr, 0, true));
  return any;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) {
    std::fprintf(stderr, "Usage: InfoPeek -DebugWatch=<event name> -DebugFile=<log file>\n");
    return 1;
  }
  int file = -1;
  while ((file = open(options.file.c_str(), O_RDONLY | O_CLOEXEC)) < 0) {
    if (!EventExists(options.watch)) {
      std::fprintf(stderr, "InfoPeek: cannot open %s\n", options.file.c_str());
      return 1;
    }
    usleep(IdlePause);
  }
  LogDecoder decoder;
  while (true) {
    if (Drain(file, decoder, false)) continue;
    if (!EventExists(options.watch)) break;
    usleep(IdlePause);
  }
  // The writer may have added a last piece between our read and its end.
  Drain(file, decoder, true);
  close(file);
  return 0;
}
