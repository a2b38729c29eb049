// The portable half of process start: composing and splitting the command line.
#include "foundation/XProcessLaunch.h"

namespace {

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

// 2n backslashes before a quote are n backslashes and the quote groups; 2n+1 are n and a
// literal quote; backslashes elsewhere are themselves.
size_t TakeBackslashes(const char16_t* at, std::u16string& arg, bool& quoted) {
  size_t count = 0;
  while (at[count] == u'\\') ++count;
  if (at[count] != u'"') {
    arg.append(count, u'\\');
    return count;
  }
  arg.append(count / 2, u'\\');
  if (count % 2 == 1) {
    arg += u'"';
  } else {
    quoted = !quoted;
  }
  return count + 1;
}

}  // namespace

std::vector<std::u16string> XSplitCommandLine(const char16_t* commandLine) {
  std::vector<std::u16string> args;
  if (commandLine == nullptr) return args;
  const char16_t* at = commandLine;
  while (true) {
    while (IsBlank(*at)) ++at;
    if (*at == 0) break;
    std::u16string arg;
    bool quoted = false;
    while (*at != 0 && (quoted || !IsBlank(*at))) {
      if (*at == u'\\' || *at == u'"') {
        at += TakeBackslashes(at, arg, quoted);
      } else {
        arg += *at++;
      }
    }
    args.push_back(std::move(arg));
  }
  return args;
}
