// Helpers of the tag tests: lists as one line of text, and blocks built by hand.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tags/XTagList.h"
#include "tests/support/TestText.h"

// "key=value[n bytes]" per item, joined by "|"; with bytes, a hash of the binary as well, for
// comparing two lists in full.
inline std::string Describe(const XTagList& list, bool bytes = false) {
  std::string out;
  for (int32_t i = 0; i < list.Count(); ++i) {
    const XTagItem& item = list.At(i);
    out += (i ? "|" : "") + U8(item.key) + "=" + U8(item.value);
    std::string_view binary(reinterpret_cast<const char*>(item.binary.data), item.binary.size);
    if (item.binary.size) out += "[" + std::to_string(item.binary.size) + "]";
    if (bytes && item.binary.size) out += std::to_string(std::hash<std::string_view>()(binary));
  }
  return out;
}

// Builds blocks byte by byte, independently of the writer under test.
struct BlockBytes {
  explicit BlockBytes(bool wideText = true) : wide(wideText) {}
  std::vector<uint8_t> bytes;
  bool wide;  // UTF-16LE text with two-byte terminators, or UTF-8 with one

  BlockBytes& Int(int32_t v) {
    for (int i = 0; i < 4; ++i) bytes.push_back(uint8_t(uint32_t(v) >> (8 * i)));
    return *this;
  }
  // ASCII text in the block's form, with its terminator unless told otherwise.
  BlockBytes& Text(const std::string& ascii, bool terminated = true) {
    for (char c : ascii + (terminated ? std::string(1, '\0') : "")) {
      bytes.push_back(uint8_t(c));
      if (wide) bytes.push_back(0);
    }
    return *this;
  }
  BlockBytes& Raw(std::initializer_list<uint8_t> raw) {
    bytes.insert(bytes.end(), raw.begin(), raw.end());
    return *this;
  }
  // A whole well-formed record of ASCII key and value.
  BlockBytes& Record(const std::string& key, const std::string& value) {
    return Int(int32_t(4 + (wide ? 2 : 1) * (key.size() + value.size() + 2))).Text(key).Text(value);
  }
};
