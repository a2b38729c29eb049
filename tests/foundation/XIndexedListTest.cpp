// The hashed set: CRC-32 of the upper-case UTF-16LE form, and look-ups that use it.
#include "foundation/XIndexedList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

// Bitwise reflected CRC-32 of UTF-16LE units, written apart from the code under test.
uint32_t BitwiseCrc32(const std::u16string& text) {
  uint32_t crc = 0xFFFFFFFFu;
  for (char16_t unit : text) {
    for (unsigned byte : {unsigned(unit & 0xFF), unsigned(unit >> 8)}) {
      crc ^= byte;
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
  }
  return ~crc;
}

}  // namespace

TEST(XIndexedListTest, HashIsTheCrcOfTheUpperCaseUtf16Bytes) {
  EXPECT_EQ(XIndexedList::HashOf(u"a"), BitwiseCrc32(u"A"));
  EXPECT_EQ(XIndexedList::HashOf(u"\u00e9\u20ac"), BitwiseCrc32(u"\u00e9\u20ac"));
  EXPECT_EQ(XIndexedList::HashOf(u""), 0u);
  EXPECT_EQ(BitwiseCrc32(u"\u3231"), 0x4F5344CDu);  // the bytes "12": proves the reference loop
}

TEST(XIndexedListTest, FindHashedFindsWithAndWithoutCase) {
  XIndexedList list;
  list.AddHashed(u"Alpha", 3);
  list.AddHashed(XString(u"beta"));
  list.AddHashed(u"");
  list.AddHashed(u"\u00e9t\u00e9");
  EXPECT_EQ(list.keys[0].Tag(), 3u);
  const struct {
    const char16_t* key;
    bool ignoreCase;
    int32_t at;
  } cases[] = {{u"ALPHA", true, 0},        {u"ALPHA", false, -1},
               {u"beta", false, 1},        {u"", true, 2},
               {u"gamma", true, -1},       {u"\u00c9T\u00c9", true, -1},
               {u"\u00e9T\u00e9", true, 3}};
  for (const auto& c : cases) {
    int32_t at = 99;
    EXPECT_EQ(list.FindHashed(c.key, c.ignoreCase, &at), c.at >= 0);
    EXPECT_EQ(at, c.at);
  }
}
