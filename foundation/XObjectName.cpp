// Names of named objects: UTF-8 for the C layer, names from the clock and from GUIDs.
#include "foundation/XObjectName.h"

#include <cerrno>

#include "foundation/XLastError.h"
#include "foundation/XPath.h"
#include "foundation/XTextCodec.h"

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

XString XGuidName(const char16_t* prefix) { return XString(prefix) + XPath::NewGuidText(); }
