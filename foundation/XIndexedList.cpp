// A set of strings with a CRC-32 per string: hashed adds and look-ups.
#include "foundation/XIndexedList.h"

#include <zlib.h>
#include <vector>

uint32_t XIndexedList::HashOf(const char16_t* text) {
  XString upper = XString(text).ToUpper();
  std::vector<unsigned char> bytes;
  bytes.reserve(size_t(upper.Length()) * 2);
  for (char16_t unit : upper.View()) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  uLong crc = crc32(0L, Z_NULL, 0);
  crc = crc32(crc, bytes.data(), uInt(bytes.size()));
  return uint32_t(crc);
}

void XIndexedList::AddHashed(const char16_t* text, uint32_t tag) {
  hashes.Push(HashOf(text));
  keys.Add(text, tag);
}

bool XIndexedList::FindHashed(const char16_t* text, bool ignoreCase, int32_t* outIndex) const {
  if (outIndex) *outIndex = -1;
  if (hashes.Count() != keys.Count()) return false;
  XPtrArray::Word hash = HashOf(text);
  for (int32_t i = 0; i < hashes.Count(); ++i) {
    if (hashes[i] == hash && XString::Compare(keys[i].CStr(), text, 0, ignoreCase) == 0) {
      if (outIndex) *outIndex = i;
      return true;
    }
  }
  return false;
}

void XIndexedList::RemoveAt(int32_t index) {
  keys.RemoveAt(index);
  hashes.RemoveAt(index);
}

void XIndexedList::Clear() {
  keys.Clear();
  hashes.Reset();
}
