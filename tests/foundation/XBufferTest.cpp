// The byte buffer: when a resize keeps its block, what it copies and clears, copies and moves.
#include "foundation/XBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

void FillCounting(XBuffer& b) {
  for (uint32_t i = 0; i < b.size; ++i) b.data[i] = uint8_t(i + 1);
}

std::string Fields(const XBuffer& b) {
  return std::to_string(b.size) + "/" + std::to_string(b.length) + "/" + std::to_string(b.mark);
}

}  // namespace

TEST(XBufferTest, ResizeKeepsABlockThatIsBigEnoughUnlessAskedForAnExactOne) {
  XBuffer b;
  EXPECT_TRUE(b.Resize(0));  // still a block, of one byte
  EXPECT_NE(b.data, nullptr);
  ASSERT_TRUE(b.Resize(100));
  FillCounting(b);
  uint8_t* block = b.data;
  ASSERT_TRUE(b.Resize(50));
  ASSERT_TRUE(b.Resize(100));
  EXPECT_EQ(b.data, block);
  ASSERT_TRUE(b.Resize(50, true, false, 0, true));
  EXPECT_NE(b.data, block);
  EXPECT_EQ(b.size, 50u);
  EXPECT_EQ(b.data[49], 50);
}

TEST(XBufferTest, KeepCopiesAndZeroClears) {
  XBuffer b;
  ASSERT_TRUE(b.Resize(10));
  FillCounting(b);
  ASSERT_TRUE(b.Resize(1000, true));
  for (uint32_t i = 0; i < 10; ++i) EXPECT_EQ(b.data[i], i + 1);
  ASSERT_TRUE(b.Resize(64));
  FillCounting(b);
  ASSERT_TRUE(b.Resize(32, false, true));
  for (uint32_t i = 0; i < 32; ++i) ASSERT_EQ(b.data[i], 0) << i;
  EXPECT_EQ(b.data[32], 33);  // behind the size, the old bytes stay
}

TEST(XBufferTest, LengthAndMarkAreCutToTheSize) {
  XBuffer b;
  ASSERT_TRUE(b.Resize(100));
  b.length = 80;
  b.mark = 20;
  b.Resize(30);
  EXPECT_EQ(Fields(b), "30/30/20");
  b.Resize(10);
  EXPECT_EQ(Fields(b), "10/10/10");
}

TEST(XBufferTest, OversizedRequestFailsQuietly) {
  XBuffer b;
  ASSERT_TRUE(b.Resize(16));
  b.length = 4;
  EXPECT_FALSE(b.Resize(UINT32_MAX, true, true, 10));
  EXPECT_EQ(b.data, nullptr);
  EXPECT_EQ(Fields(b), "0/0/0");
}

TEST(XBufferTest, AssignDataCopiesSizesAndClearsTheExtra) {
  XBuffer b;
  ASSERT_TRUE(b.Resize(32));
  std::memset(b.data, 0xEE, 32);
  ASSERT_TRUE(b.AssignData("abc", 3, 2, true));
  EXPECT_EQ(Fields(b), "5/3/0");
  EXPECT_EQ(std::memcmp(b.data, "abc\0\0", 5), 0);
  ASSERT_TRUE(b.AssignData("xyz", 3, 2, false));
  EXPECT_EQ(b.data[3], 0);  // not cleared, so the zeros from before remain
  XBuffer sized;
  ASSERT_TRUE(sized.AssignData(nullptr, 8));
  EXPECT_EQ(Fields(sized), "8/8/0");
}

TEST(XBufferTest, CopyMoveAndFree) {
  XBuffer a;
  ASSERT_TRUE(a.AssignData("hello", 5));
  XBuffer b;
  ASSERT_TRUE(b.CopyFrom(a));
  EXPECT_EQ(Fields(b), "5/5/0");

  ASSERT_TRUE(a.Resize(20));
  a.length = 3;
  a.mark = 2;
  uint8_t* block = a.data;
  b.MoveFrom(a);
  EXPECT_EQ(b.data, block);
  EXPECT_EQ(Fields(b), "20/3/2");
  EXPECT_EQ(Fields(a), "0/0/0");
  b.Free();
  EXPECT_EQ(Fields(b) + (b.data ? "" : "/null"), "0/0/0/null");
}
