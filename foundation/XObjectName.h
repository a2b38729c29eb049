// Helpers shared by the named-object wrappers: names as UTF-8, and the last error of a create.
#pragma once
#include <cstdint>
#include <string>

#include "foundation/XString.h"

// The name as the C layer takes it; an empty text for a null name.
std::string XObjectNameUtf8(const char16_t* name);
std::string XObjectNameUtf8(const char16_t* prefix, const char16_t* name);

// Clears the last error, or sets 183 when the object was there, or maps errno on failure.
void XSetCreateResult(bool created, bool existed);

// Prefix plus the tick count plus retry in decimal, masked.
XString XTickName(const char16_t* prefix, uint32_t retry, uint32_t mask);
// Prefix plus a new GUID text.
XString XGuidName(const char16_t* prefix);

// Tries tick names until create(name) gives a new object; returns the name, or an empty
// string when a create fails or every try found an object there.
template <typename Create>
XString XCreateFromTicks(const char16_t* prefix, uint32_t mask, Create create) {
  constexpr uint32_t maxTries = 10000;
  for (uint32_t retry = 0; retry < maxTries; ++retry) {
    XString name = XTickName(prefix, retry, mask);
    int outcome = create(name);
    if (outcome < 0) break;
    if (outcome == 0) return name;
  }
  return XString();
}
