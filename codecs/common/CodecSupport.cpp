// Text, host messages, option words and tag blocks shared by the codec plug-ins.
#include "codecs/common/CodecSupport.h"

#include <unistd.h>
#include <cerrno>
#include <cstring>

namespace codec {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += char(c);
  } else if (c < 0x800) {
    out += char(0xC0 | (c >> 6));
    out += char(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += char(0xE0 | (c >> 12));
    out += char(0x80 | ((c >> 6) & 0x3F));
    out += char(0x80 | (c & 0x3F));
  } else {
    out += char(0xF0 | (c >> 18));
    out += char(0x80 | ((c >> 12) & 0x3F));
    out += char(0x80 | ((c >> 6) & 0x3F));
    out += char(0x80 | (c & 0x3F));
  }
}

void AppendUtf16(std::u16string& out, char32_t c) {
  if (c < 0x10000) {
    out += char16_t(c);
  } else {
    c -= 0x10000;
    out += char16_t(0xD800 + (c >> 10));
    out += char16_t(0xDC00 + (c & 0x3FF));
  }
}

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

void PutU32(std::vector<uint8_t>& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(uint8_t(v >> (8 * i)));
}

void PutText(std::vector<uint8_t>& out, const std::u16string& text) {
  for (char16_t c : text) {
    out.push_back(uint8_t(c));
    out.push_back(uint8_t(c >> 8));
  }
  out.push_back(0);
  out.push_back(0);
}

uint32_t GetU32(const uint8_t* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (uint32_t(p[3]) << 24);
}

// A zero-terminated text within [p, p + size); consumed tells how many bytes it took.
std::u16string GetText(const uint8_t* p, size_t size, size_t& consumed) {
  consumed = 0;
  std::u16string text;
  for (size_t i = 0; i + 1 < size; i += 2) {
    char16_t c = char16_t(p[i] | (p[i + 1] << 8));
    if (c == 0) {
      consumed = i + 2;
      return text;
    }
    text += c;
  }
  return {};  // no terminator: an empty text, nothing consumed
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = kReplacement;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::u16string FromUtf8(std::string_view text) {
  std::u16string out;
  size_t i = 0;
  while (i < text.size()) {
    unsigned char lead = text[i];
    int extra = lead < 0x80         ? 0
                : (lead >> 5) == 6  ? 1
                : (lead >> 4) == 14 ? 2
                : (lead >> 3) == 30 ? 3
                                    : -1;
    char32_t c = extra == 0   ? lead
                 : extra == 1 ? (lead & 0x1F)
                 : extra == 2 ? (lead & 0x0F)
                              : (lead & 0x07);
    bool ok = extra >= 0;
    for (int k = 1; ok && k <= extra; ++k) {
      if (i + k >= text.size() || (static_cast<unsigned char>(text[i + k]) >> 6) != 2)
        ok = false;
      else
        c = (c << 6) | (text[i + k] & 0x3F);
    }
    static const char32_t least[] = {0, 0x80, 0x800, 0x10000};
    if (!ok || c < least[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
      AppendUtf16(out, kReplacement);
      ++i;
      continue;
    }
    AppendUtf16(out, c);
    i += extra + 1;
  }
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

std::vector<uint8_t> MakeTagBlock(const TextPairs& items) {
  std::vector<uint8_t> block;
  PutU32(block, uint32_t(items.size()));
  for (const TextPair& item : items) {
    PutU32(block, uint32_t(4 + 2 * (item.first.size() + 1) + 2 * (item.second.size() + 1)));
    PutText(block, item.first);
    PutText(block, item.second);
  }
  return block;
}

TextPairs ReadTagBlock(const void* data, uint32_t size) {
  TextPairs items;
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  if (!bytes || size <= 4) return items;
  int32_t count = int32_t(GetU32(bytes));
  size_t pos = 4;
  while (count > 0 && int32_t(items.size()) < count && pos + 4 <= size) {
    int32_t recordSize = int32_t(GetU32(bytes + pos));
    if (recordSize < 4 || pos + size_t(recordSize) > size) break;
    size_t left = size_t(recordSize) - 4, used = 0;
    const uint8_t* p = bytes + pos + 4;
    std::u16string key = GetText(p, left, used);
    size_t valueUsed = 0;
    std::u16string value = GetText(p + used, left - used, valueUsed);
    items.emplace_back(std::move(key), std::move(value));
    pos += size_t(recordSize);
  }
  return items;
}

}  // namespace codec
