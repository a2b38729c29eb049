// Text conversions that tests use to write expectations in plain UTF-8 literals.
#pragma once
#include "foundation/XString.h"

#include <string>

inline std::string U8(const XString& text) { return text.ToUtf8String(); }
inline XString X(const std::string& text) { return XString::FromUtf8(text.c_str()); }

// UTF-16LE bytes of a UTF-8 text, with a byte-order mark when asked: what hosts and editors write.
inline std::string Utf16Le(const std::string& utf8, bool bom = false) {
  const XString text = X(utf8);
  std::string bytes = bom ? std::string("\xFF\xFE", 2) : std::string();
  for (int i = 0; i < text.Length(); i++) {
    bytes.push_back(static_cast<char>(text.CStr()[i] & 0xFF));
    bytes.push_back(static_cast<char>(text.CStr()[i] >> 8));
  }
  return bytes;
}

// UTF-16LE bytes as UTF-8 text; an odd last byte is left out.
inline std::string FromUtf16Le(const std::string& bytes) {
  std::u16string units;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2)
    units.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                          static_cast<unsigned char>(bytes[i + 1]) << 8));
  return U8(XString(units.c_str()));
}
