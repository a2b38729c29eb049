// The hashed set: CRC-32 of the upper-case UTF-16LE form, and look-ups that use it.
#include "foundation/XIndexedList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

// Bitwise reflected CRC-32, written apart from the code under test.
uint32_t BitwiseCrc32(const std::string& bytes) {
  uint32_t crc = 0xFFFFFFFFu;
  for (unsigned char byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

uint32_t BitwiseCrc32(const std::u16string& text) {
  std::string bytes;
  for (char16_t unit : text) {
    bytes += char(unit & 0xFF);
    bytes += char(unit >> 8);
  }
  return BitwiseCrc32(bytes);
}

}  // namespace

TEST(XIndexedListTest, HashIsTheCrcOfTheUpperCaseUtf16Bytes) {
  EXPECT_EQ(XIndexedList::HashOf(u"A"), BitwiseCrc32(u"A"));
  EXPECT_EQ(XIndexedList::HashOf(u"a"), BitwiseCrc32(u"A"));
  EXPECT_EQ(XIndexedList::HashOf(u"Input.wav"), BitwiseCrc32(u"INPUT.WAV"));
  EXPECT_EQ(XIndexedList::HashOf(u"\u00e9\u20ac"), BitwiseCrc32(u"\u00e9\u20ac"));
  EXPECT_EQ(XIndexedList::HashOf(u""), 0u);
  // The catalogue check value of CRC-32 proves the reference loop itself.
  EXPECT_EQ(BitwiseCrc32(std::string("123456789")), 0xCBF43926u);
}

TEST(XIndexedListTest, FindHashedFindsWithAndWithoutCase) {
  XIndexedList list;
  list.AddHashed(u"Alpha", 3);
  list.AddHashed(XString(u"beta"));
  list.AddHashed(u"");
  int32_t at = 99;
  EXPECT_TRUE(list.FindHashed(u"ALPHA", true, &at));
  EXPECT_EQ(at, 0);
  EXPECT_EQ(list.keys[0].Tag(), 3u);
  EXPECT_FALSE(list.FindHashed(u"ALPHA", false, &at));
  EXPECT_EQ(at, -1);
  EXPECT_TRUE(list.FindHashed(u"beta", false, &at));
  EXPECT_EQ(at, 1);
  EXPECT_TRUE(list.FindHashed(u"", true, &at));
  EXPECT_EQ(at, 2);
  EXPECT_FALSE(list.FindHashed(u"gamma"));
}

TEST(XIndexedListTest, NonAsciiCaseIsNotFolded) {
  XIndexedList list;
  list.AddHashed(u"\u00e9t\u00e9");
  EXPECT_FALSE(list.FindHashed(u"\u00c9T\u00c9", true));
  EXPECT_TRUE(list.FindHashed(u"\u00e9T\u00e9", true));
}

TEST(XIndexedListTest, HashesOutOfStepFindNothing) {
  XIndexedList list;
  list.AddHashed(u"one");
  list.keys.Add(u"two");
  EXPECT_FALSE(list.FindHashed(u"one"));
  list.RemoveAt(1);
  EXPECT_TRUE(list.FindHashed(u"one"));
  list.hashes.Push(0);
  EXPECT_FALSE(list.FindHashed(u"one"));
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_FALSE(list.FindHashed(u"one"));
}

TEST(XIndexedListTest, ManyItemsStayInStep) {
  XIndexedList list;
  for (int i = 0; i < 3000; ++i) list.AddHashed(XString::Formatted(u"Item%d", i));
  int32_t at = -1;
  EXPECT_TRUE(list.FindHashed(u"ITEM2999", true, &at));
  EXPECT_EQ(at, 2999);
  list.RemoveAt(0);
  EXPECT_TRUE(list.FindHashed(u"item1", true, &at));
  EXPECT_EQ(at, 0);
}
