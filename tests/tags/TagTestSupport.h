// Helpers of the tag tests: readable text of strings and lists, and hand-built blocks.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/XString.h"
#include "tags/XTagList.h"

inline std::string U8(const XString& s) { return s.ToUtf8String(); }

// "key=value[n bytes]" per item, joined by "|", for comparing whole lists in one line.
inline std::string Describe(const XTagList& list) {
  std::string out;
  for (int32_t i = 0; i < list.Count(); ++i) {
    const XTagItem& item = list.At(i);
    if (i) out += "|";
    out += U8(item.key) + "=" + U8(item.value);
    if (item.binary.size) out += "[" + std::to_string(item.binary.size) + "]";
  }
  return out;
}

inline bool SameItems(const XTagList& a, const XTagList& b) {
  if (a.Count() != b.Count()) return false;
  for (int32_t i = 0; i < a.Count(); ++i) {
    const XTagItem& x = a.At(i);
    const XTagItem& y = b.At(i);
    if (x.key != y.key || x.value != y.value || x.binary.size != y.binary.size) return false;
    if (x.binary.size && std::vector<uint8_t>(x.binary.data, x.binary.data + x.binary.size) !=
                             std::vector<uint8_t>(y.binary.data, y.binary.data + y.binary.size))
      return false;
  }
  return true;
}

// Builds blocks byte by byte, independently of the writer under test.
struct BlockBytes {
  std::vector<uint8_t> bytes;

  BlockBytes& Int(int32_t v) {
    for (int i = 0; i < 4; ++i) bytes.push_back(uint8_t(uint32_t(v) >> (8 * i)));
    return *this;
  }
  // UTF-16LE units of ASCII text, with the terminator unless told otherwise.
  BlockBytes& Wide(const std::string& ascii, bool terminated = true) {
    for (char c : ascii) {
      bytes.push_back(uint8_t(c));
      bytes.push_back(0);
    }
    if (terminated) Raw({0, 0});
    return *this;
  }
  BlockBytes& Narrow(const std::string& text, bool terminated = true) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    if (terminated) bytes.push_back(0);
    return *this;
  }
  BlockBytes& Raw(std::initializer_list<uint8_t> raw) {
    bytes.insert(bytes.end(), raw.begin(), raw.end());
    return *this;
  }
  // A whole well-formed UTF-16 record of ASCII key and value.
  BlockBytes& WideRecord(const std::string& key, const std::string& value) {
    return Int(int32_t(4 + 2 * (key.size() + 1) + 2 * (value.size() + 1))).Wide(key).Wide(value);
  }
  BlockBytes& NarrowRecord(const std::string& key, const std::string& value) {
    return Int(int32_t(4 + key.size() + 1 + value.size() + 1)).Narrow(key).Narrow(value);
  }
  int64_t Size() const { return int64_t(bytes.size()); }
  const uint8_t* Data() const { return bytes.data(); }
};
