// Platform primitives under the path functions; the Posix source holds their system calls.
#pragma once
#include "foundation/XPath.h"
#include "foundation/XString.h"

#include <cstddef>
#include <string>

namespace xpath {

inline std::u16string Text(const XString& s) {
  return std::u16string(s.CStr(), size_t(s.Length()));
}
inline XString Str(const std::u16string& s) { return XString(s.c_str()); }

// The path with exactly one trailing separator added when missing, and with all removed.
inline std::u16string Ensure(std::u16string s) {
  if (s.empty() || s.back() != XPathSeparator) s += XPathSeparator;
  return s;
}
inline std::u16string Trim(std::u16string s) {
  while (!s.empty() && s.back() == XPathSeparator) s.pop_back();
  return s;
}

// UTF-8 form for system calls, and back.
std::string ToSystem(const XString& path);
XString FromSystem(const char* path);

bool CreateFolder(const XString& path);   // one level; an existing one fails with 183
bool RemoveFolder(const XString& path);   // an empty folder
bool CreateNewFile(const XString& path);  // create-new, then closed; 80 if it exists
bool RandomBytes(void* data, size_t size);
// The folder of an XDG id without trailing "/", or empty when the system has none.
XString UserFolder(int id);
// The environment's temporary folder, or empty.
XString SystemTempFolder();

}  // namespace xpath
