// A set of strings with a CRC-32 per string, for look-ups that compare integers first.
#pragma once
#include "foundation/XPtrArray.h"
#include "foundation/XStringList.h"

#include <cstdint>

// The hash is the CRC-32 of the UTF-16LE bytes of the string's upper-case form, so it serves
// look-ups with and without ASCII case. Non-ASCII case differences give another hash.
class XIndexedList {
 public:
  // Adds the string and its hash.
  void AddHashed(const char16_t* text, uint32_t tag = 0);
  void AddHashed(const XString& text, uint32_t tag = 0) { AddHashed(text.CStr(), tag); }
  // False at once when the hashes are not in step with the strings.
  bool FindHashed(const char16_t* text, bool ignoreCase = true, int32_t* outIndex = nullptr) const;
  bool FindHashed(const XString& text, bool ignoreCase = true, int32_t* outIndex = nullptr) const {
    return FindHashed(text.CStr(), ignoreCase, outIndex);
  }
  int32_t Count() const { return keys.Count(); }
  void RemoveAt(int32_t index);
  void Clear();

  // CRC-32 of the UTF-16LE bytes of ToUpper(text), terminator excluded.
  static uint32_t HashOf(const char16_t* text);

  XStringList keys;
  XPtrArray hashes;
};
