// Names of named objects: UTF-8 for the C layer, names from the clock and from GUIDs.
#include "XObjectName.h"

#include <sys/random.h>

#include <cerrno>

#include "XLastError.h"
#include "XTextCodec.h"

std::string XObjectNameUtf8(const char16_t* name) {
  return name ? XUtf16ToUtf8(name) : std::string();
}

std::string XObjectNameUtf8(const char16_t* prefix, const char16_t* name) {
  return XObjectNameUtf8(prefix) + XObjectNameUtf8(name);
}

void XSetCreateResult(bool created, bool existed) {
  if (!created)
    XSetLastErrorFromErrno();
  else
    XSetLastError(existed ? XErrAlreadyExists : XErrNone);
}

XString XTickName(const char16_t* prefix, uint32_t retry, uint32_t mask) {
  return XString(prefix) + XString::FromUInt64((XTickCount() + retry) & mask);
}

XString XGuidText() {
  uint8_t bytes[16] = {};
  size_t got = 0;
  while (got < sizeof bytes) {
    ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
    if (n > 0) got += size_t(n);
    else if (errno != EINTR) break;
  }
  bytes[6] = uint8_t((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = uint8_t((bytes[8] & 0x3F) | 0x80);  // variant 1
  return XString::HexBytes(bytes, sizeof bytes);
}

XString XGuidName(const char16_t* prefix) { return XString(prefix) + XGuidText(); }
