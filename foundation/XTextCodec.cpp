// UTF-8 and US-ASCII conversion to and from UTF-16, with the two-call sizing contract.
#include "foundation/XTextCodec.h"

#include "foundation/XLastError.h"
#include "sdk/tv_text.h"

#include <cstring>

namespace {

constexpr uint32_t kErrInsufficientBuffer = 122;

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

// US-ASCII maps one unit to one unit, writing those that fit and counting them all.
template <typename From, typename To>
size_t MapAscii(const From* src, size_t n, To* dst, size_t room, To unknown) {
  for (size_t i = 0; i < n && i < room; ++i)
    dst[i] = uint32_t(src[i]) < 0x80 ? To(src[i]) : unknown;
  return n;
}

// The result of a call given how many units the whole text takes and how many fitted.
int Finish(size_t count, bool writing, size_t room) {
  if (writing && count > room) {
    XSetLastError(kErrInsufficientBuffer);
    return 0;
  }
  if (count > 0x7FFFFFFF) {
    XSetLastError(XErrInvalidParameter);
    return 0;
  }
  return int(count);
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
  size_t room = dstUnits > 0 ? size_t(dstUnits) : 0;
  size_t count =
      codePage == XCodePageAscii
          ? MapAscii(reinterpret_cast<const unsigned char*>(src), n, dst, room, char16_t(0xFFFD))
          : tv_utf8_to_utf16(src, n, room ? dst : nullptr, room, TV_TEXT_REPLACE);
  return Finish(count, room > 0, room);
}

int XWideCharToMultiByte(unsigned codePage, const char16_t* src, int srcUnits, char* dst,
                         int dstBytes) {
  if (!ArgumentsValid(codePage, src, srcUnits, dst, dstBytes)) return 0;
  size_t n = srcUnits == -1 ? Length16(src) + 1 : size_t(srcUnits);
  size_t room = dstBytes > 0 ? size_t(dstBytes) : 0;
  size_t count = codePage == XCodePageAscii
                     ? MapAscii(src, n, dst, room, '?')
                     : tv_utf16_to_utf8(src, n, room ? dst : nullptr, room, TV_TEXT_REPLACE);
  return Finish(count, room > 0, room);
}

std::u16string XUtf8ToUtf16(std::string_view utf8) {
  std::u16string result(tv_utf8_to_utf16(utf8.data(), utf8.size(), nullptr, 0, TV_TEXT_REPLACE),
                        u'\0');
  tv_utf8_to_utf16(utf8.data(), utf8.size(), result.data(), result.size(), TV_TEXT_REPLACE);
  return result;
}

std::string XUtf16ToUtf8(std::u16string_view utf16) {
  std::string result(tv_utf16_to_utf8(utf16.data(), utf16.size(), nullptr, 0, TV_TEXT_REPLACE),
                     '\0');
  tv_utf16_to_utf8(utf16.data(), utf16.size(), result.data(), result.size(), TV_TEXT_REPLACE);
  return result;
}
