// CleanPath: turns any text into a path that FAT, NTFS, SMB shares and Linux all accept.
#include "foundation/XPath.h"

#include "foundation/XPathSystem.h"

#include <algorithm>
#include <string>
#include <vector>

using xpath::Str;
using xpath::Text;

namespace {

constexpr char16_t Sep = XPathSeparator;
constexpr size_t MaxComponent = 254;       // units
constexpr size_t MaxComponentBytes = 255;  // the name limit of Linux file systems
constexpr size_t ShortenFrom = 260;

const char16_t defaultMap[] = {u'"',      u'\'', u'>', u'\u00BB', u'<', u'\u00AB', u'?',
                               u'\u00BF', u':',  u';', u'\\',     u'-', u'/',      u'-',
                               u'*',      u'-',  u'|', u'-',      0};

const char16_t* Replacement(const char16_t* map, char16_t c) {
  for (const char16_t* p = map; p[0] && p[1]; p += 2)
    if (p[0] == c) return p + 1;
  return nullptr;
}

size_t Utf8Length(const std::u16string& s) {
  size_t n = 0;
  for (size_t i = 0; i < s.size(); ++i) {
    char16_t c = s[i];
    bool pair =
        c >= 0xD800 && c < 0xDC00 && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] < 0xE000;
    if (pair) {
      n += 4;
      ++i;
    } else {
      n += c < 0x80 ? 1 : c < 0x800 ? 2 : 3;
    }
  }
  return n;
}

// The first n units, one fewer where the cut would split a surrogate pair.
std::u16string Cut(const std::u16string& s, size_t n) {
  if (n >= s.size()) return s;
  if (n > 1 && s[n - 1] >= 0xD800 && s[n - 1] < 0xDC00) --n;
  return s.substr(0, n);
}

bool TooLong(const std::u16string& s) {
  return s.size() > MaxComponent || Utf8Length(s) > MaxComponentBytes;
}

std::u16string FitComponent(const std::u16string& part, bool isLast) {
  if (!TooLong(part)) return part;
  size_t dot = isLast ? part.rfind(u'.') : std::u16string::npos;
  std::u16string ext = dot == std::u16string::npos ? std::u16string() : part.substr(dot);
  std::u16string base = part.substr(0, part.size() - ext.size());
  size_t keep = ext.size() + 1 < MaxComponent ? MaxComponent - ext.size() : 1;
  base = Cut(base, keep);
  while (base.size() > 1 && TooLong(base + ext)) base = Cut(base, base.size() - 1);
  return base + ext;
}

bool IsDeviceName(const std::u16string& s) {
  if (s.size() != 3) return false;
  std::u16string lower;
  for (char16_t c : s) lower += (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c;
  return lower == u"con" || lower == u"aux" || lower == u"prn" || lower == u"nul";
}

void TrimEnd(std::u16string& s, char16_t c, size_t keep) {
  while (s.size() > keep && s.back() == c) s.pop_back();
}

std::u16string CleanComponent(std::u16string part, bool isLast) {
  part = FitComponent(part, isLast);
  if (!isLast) {
    TrimEnd(part, u' ', 0);
    TrimEnd(part, u'.', 0);
    if (IsDeviceName(part)) part += u'_';
  }
  TrimEnd(part, u' ', 1);
  size_t dots = 0;
  while (dots + 1 < part.size() && part[dots] == u'.') ++dots;
  return part.substr(dots);
}

std::u16string ReplaceForbidden(const std::u16string& s, size_t from, const char16_t* map,
                                bool keepSeparators) {
  size_t lastDot = s.rfind(u'.');
  std::u16string out = s.substr(0, from);
  for (size_t i = from; i < s.size(); ++i) {
    char16_t c = s[i];
    if (c == Sep && keepSeparators) {
      out += c;
      continue;
    }
    const char16_t* with = Replacement(map, c);
    if (with && !(c == u'.' && i == lastDot)) {
      if (*with == u'*') continue;
      c = *with;
    }
    out += c < 31 ? u'_' : c;
  }
  return out;
}

// The length of a leading run of "./" and "../", which a relative path keeps as it stands.
size_t RelativeHead(const std::u16string& s) {
  size_t at = 0;
  for (;;) {
    if (s.compare(at, 2, u"./") == 0)
      at += 2;
    else if (s.compare(at, 3, u"../") == 0)
      at += 3;
    else
      return at;
  }
}

std::u16string Rejoin(const std::u16string& s, size_t root) {
  std::vector<std::u16string> parts;
  size_t begin = root;
  for (size_t at = s.find(Sep, begin); at != std::u16string::npos; at = s.find(Sep, begin)) {
    parts.push_back(s.substr(begin, at - begin));
    begin = at + 1;
  }
  parts.push_back(s.substr(begin));
  std::u16string out = s.substr(0, root);
  for (size_t i = 0; i < parts.size(); ++i) {
    if (i) out += Sep;
    out += CleanComponent(parts[i], i + 1 == parts.size());
  }
  return out;
}

void Shorten(std::u16string& s, size_t root) {
  while (s.size() >= ShortenFrom) {
    size_t sep = s.rfind(Sep);
    if (sep == std::u16string::npos) return;
    size_t dot = s.find(u'.', sep + 1) == std::u16string::npos ? s.size() : s.rfind(u'.');
    size_t nameLength = dot - sep - 1;
    // A folder name of one character is kept, so that a relative path never turns absolute.
    bool atRoot = sep < root + 2;
    if (atRoot || nameLength > 60) {
      if (nameLength <= 1) return;
      s.erase(dot - 1, 1);
    } else {
      s.erase(sep - 1, 1);
    }
  }
}

// Replaces each find, which ends in the separator, by the separator alone.
void ReplaceRepeatedly(std::u16string& s, const std::u16string& find, size_t from) {
  for (size_t at = s.find(find, from); at != std::u16string::npos; at = s.find(find, from))
    s.erase(at, find.size() - 1);
}

}  // namespace

XString XPath::CleanPath(const XString& path, bool shorten, const char16_t* invalidMap,
                         bool keepSeparators, bool skipRoot) {
  std::u16string s = Text(path);
  size_t root = (!s.empty() && s[0] == Sep) ? 1 : 0;
  s = ReplaceForbidden(s, skipRoot ? root : 0, invalidMap ? invalidMap : defaultMap,
                       keepSeparators);
  // A relative path's leading "./" and "../" stay: cleaning them would make it absolute.
  root = (!s.empty() && s[0] == Sep) ? 1 : RelativeHead(s);
  s = Rejoin(s, root);
  if (shorten) Shorten(s, root);
  ReplaceRepeatedly(s, u"//", root);
  std::u16string before;
  while (before != s) {
    before = s;
    ReplaceRepeatedly(s, u"./", root);
    ReplaceRepeatedly(s, u" /", root);
  }
  if (s.size() > root && s.back() == Sep) s.pop_back();
  return Str(s);
}
