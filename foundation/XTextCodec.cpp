// UTF-8 and US-ASCII conversion to and from UTF-16, with the two-call sizing contract.
#include "foundation/XTextCodec.h"

#include "foundation/XLastError.h"

#include <cstring>

namespace {

constexpr uint32_t kErrInsufficientBuffer = 122;
constexpr char32_t kReplacement = 0xFFFD;

// Writes into dst while there is room and counts everything, so one routine serves both the
// sizing call and the converting call.
template <typename Unit>
struct Sink {
  Unit* dst;
  int room;
  long long count = 0;
  bool overflow = false;

  void Put(Unit u) {
    if (dst) {
      if (count < room)
        dst[count] = u;
      else
        overflow = true;
    }
    ++count;
  }
};

// Decodes one code point; an invalid or truncated sequence yields U+FFFD and consumes its
// maximal valid prefix (at least one byte).
char32_t DecodeUtf8(const unsigned char*& p, const unsigned char* end) {
  unsigned lead = *p++;
  if (lead < 0x80) return lead;
  int need;
  char32_t cp;
  unsigned lo = 0x80, hi = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    need = 1;
    cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    need = 2;
    cp = lead & 0x0F;
    if (lead == 0xE0) lo = 0xA0;  // overlong
    if (lead == 0xED) hi = 0x9F;  // surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    need = 3;
    cp = lead & 0x07;
    if (lead == 0xF0) lo = 0x90;  // overlong
    if (lead == 0xF4) hi = 0x8F;  // above U+10FFFF
  } else {
    return kReplacement;
  }
  for (int i = 0; i < need; ++i) {
    if (p == end || *p < lo || *p > hi) return kReplacement;
    cp = (cp << 6) | (*p++ & 0x3F);
    lo = 0x80;
    hi = 0xBF;
  }
  return cp;
}

void PutUtf16(Sink<char16_t>& out, char32_t cp) {
  if (cp >= 0x10000) {
    cp -= 0x10000;
    out.Put(char16_t(0xD800 + (cp >> 10)));
    out.Put(char16_t(0xDC00 + (cp & 0x3FF)));
  } else {
    out.Put(char16_t(cp));
  }
}

void PutUtf8(Sink<char>& out, char32_t cp) {
  if (cp < 0x80) {
    out.Put(char(cp));
  } else if (cp < 0x800) {
    out.Put(char(0xC0 | (cp >> 6)));
    out.Put(char(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.Put(char(0xE0 | (cp >> 12)));
    out.Put(char(0x80 | ((cp >> 6) & 0x3F)));
    out.Put(char(0x80 | (cp & 0x3F)));
  } else {
    out.Put(char(0xF0 | (cp >> 18)));
    out.Put(char(0x80 | ((cp >> 12) & 0x3F)));
    out.Put(char(0x80 | ((cp >> 6) & 0x3F)));
    out.Put(char(0x80 | (cp & 0x3F)));
  }
}

void DecodeAll(unsigned codePage, const unsigned char* p, const unsigned char* end,
               Sink<char16_t>& out) {
  while (p < end) {
    if (codePage == XCodePageAscii) {
      unsigned b = *p++;
      out.Put(b < 0x80 ? char16_t(b) : char16_t(kReplacement));
    } else {
      PutUtf16(out, DecodeUtf8(p, end));
    }
  }
}

void EncodeAll(unsigned codePage, const char16_t* p, const char16_t* end, Sink<char>& out) {
  while (p < end) {
    char32_t u = *p++;
    if (codePage == XCodePageAscii) {
      out.Put(u < 0x80 ? char(u) : '?');
      continue;
    }
    if (u >= 0xD800 && u <= 0xDBFF && p < end && *p >= 0xDC00 && *p <= 0xDFFF) {
      u = 0x10000 + ((u - 0xD800) << 10) + (*p++ - 0xDC00);
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      u = kReplacement;
    }
    PutUtf8(out, u);
  }
}

bool KnownCodePage(unsigned codePage) {
  return codePage == XCodePageAnsi || codePage == XCodePageUtf8 || codePage == XCodePageAscii;
}

// Checks the arguments common to both directions; sets the last error when they are bad.
bool ArgumentsValid(unsigned codePage, const void* src, int srcLen, const void* dst, int dstLen) {
  if (!KnownCodePage(codePage) || !src || srcLen == 0 || srcLen < -1 || dstLen < 0 ||
      (!dst && dstLen > 0)) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  return true;
}

template <typename Unit>
int Finish(const Sink<Unit>& out) {
  if (out.overflow) {
    XSetLastError(kErrInsufficientBuffer);
    return 0;
  }
  if (out.count > 0x7FFFFFFF) {
    XSetLastError(XErrInvalidParameter);
    return 0;
  }
  return int(out.count);
}

size_t Length16(const char16_t* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

}  // namespace

int XMultiByteToWideChar(unsigned codePage, const char* src, int srcBytes, char16_t* dst,
                         int dstUnits) {
  if (!ArgumentsValid(codePage, src, srcBytes, dst, dstUnits)) return 0;
  size_t n = srcBytes == -1 ? std::strlen(src) + 1 : size_t(srcBytes);
  const auto* p = reinterpret_cast<const unsigned char*>(src);
  Sink<char16_t> out{dstUnits > 0 ? dst : nullptr, dstUnits};
  DecodeAll(codePage, p, p + n, out);
  return Finish(out);
}

int XWideCharToMultiByte(unsigned codePage, const char16_t* src, int srcUnits, char* dst,
                         int dstBytes) {
  if (!ArgumentsValid(codePage, src, srcUnits, dst, dstBytes)) return 0;
  size_t n = srcUnits == -1 ? Length16(src) + 1 : size_t(srcUnits);
  Sink<char> out{dstBytes > 0 ? dst : nullptr, dstBytes};
  EncodeAll(codePage, src, src + n, out);
  return Finish(out);
}

std::u16string XUtf8ToUtf16(std::string_view utf8) {
  const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
  Sink<char16_t> counter{nullptr, 0};
  DecodeAll(XCodePageUtf8, p, p + utf8.size(), counter);
  std::u16string result(size_t(counter.count), u'\0');
  Sink<char16_t> out{result.data(), int(result.size())};
  DecodeAll(XCodePageUtf8, p, p + utf8.size(), out);
  return result;
}

std::string XUtf16ToUtf8(std::u16string_view utf16) {
  const char16_t* p = utf16.data();
  Sink<char> counter{nullptr, 0};
  EncodeAll(XCodePageUtf8, p, p + utf16.size(), counter);
  std::string result(size_t(counter.count), '\0');
  Sink<char> out{result.data(), int(result.size())};
  EncodeAll(XCodePageUtf8, p, p + utf16.size(), out);
  return result;
}
