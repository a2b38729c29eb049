// Text, host messages and option words shared by the codec plug-ins.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/ExportGuard.h"
#include "sdk/tv_text.h"

#include <unistd.h>
#include <cerrno>
#include <cstring>

namespace codec {

namespace {

char16_t FoldAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

// One token from pos on: a run of non-blanks, with double-quoted parts kept whole.
std::u16string NextToken(std::u16string_view line, size_t& pos) {
  while (pos < line.size() && IsBlank(line[pos])) ++pos;
  std::u16string token;
  bool quoted = false;
  for (; pos < line.size(); ++pos) {
    char16_t c = line[pos];
    if (c == u'"') {
      quoted = !quoted;
    } else if (IsBlank(c) && !quoted) {
      break;
    } else {
      token += c;
    }
  }
  return token;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  std::string out(tv_utf16_to_utf8(text.data(), text.size(), nullptr, 0, TV_TEXT_REPLACE), '\0');
  tv_utf16_to_utf8(text.data(), text.size(), out.data(), out.size(), TV_TEXT_REPLACE);
  return out;
}

std::u16string FromUtf8(std::string_view text) {
  std::u16string out(tv_utf8_to_utf16(text.data(), text.size(), nullptr, 0, TV_TEXT_REPLACE),
                     u'\0');
  tv_utf8_to_utf16(text.data(), text.size(), out.data(), out.size(), TV_TEXT_REPLACE);
  return out;
}

std::u16string_view View(const char16_t* text) {
  return text ? std::u16string_view(text) : std::u16string_view();
}

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  return true;
}

void ReportError(const TvHostContext& host, std::u16string_view text) {
  int fd = int(host.errorHandle);
  if (host.errorHandle == 0 || host.errorHandle == -1) return;
  std::vector<uint8_t> bytes;
  std::u16string line(text);
  line += u"\r\n";
  for (char16_t c : line) {
    bytes.push_back(uint8_t(c));
    bytes.push_back(uint8_t(c >> 8));
  }
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    done += size_t(n);
  }
}

void ReportEscape(const TvHostContext* host, const char* exportName, const char* what) noexcept {
  if (!host) return;
  try {
    ReportError(*host, FromUtf8(std::string("Error: The plug-in's ") + exportName +
                                " call failed: " + (what ? what : "")));
  } catch (...) {
    // Out of memory for the message as well: the zero result must tell it alone.
  }
}

TextPairs ParseOptions(std::u16string_view line) {
  TextPairs options;
  size_t pos = 0;
  while (true) {
    std::u16string token = NextToken(line, pos);
    if (token.empty()) {
      if (pos >= line.size()) break;
      continue;
    }
    if (token[0] != u'-' || token.size() == 1) continue;  // stray words are not options
    size_t equals = token.find(u'=');
    if (equals != std::u16string::npos) {
      options.emplace_back(token.substr(1, equals - 1), token.substr(equals + 1));
      continue;
    }
    // "-key value": the next word is the value unless it is an option itself.
    size_t save = pos;
    std::u16string next = NextToken(line, pos);
    if (next.empty() || next[0] == u'-') {
      pos = save;
      next.clear();
    }
    options.emplace_back(token.substr(1), next);
  }
  return options;
}

std::u16string OptionValue(const TextPairs& options, std::u16string_view key, bool* found) {
  if (found) *found = false;
  std::u16string value;
  for (const TextPair& option : options) {
    if (!EqualsNoCase(option.first, key)) continue;
    value = option.second;
    if (found) *found = true;
  }
  return value;
}

}  // namespace codec
