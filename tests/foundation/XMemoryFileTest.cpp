// Tests of XMemoryFile: file behaviour over a buffer, growth, gaps and the end.
#include "foundation/XMemoryFile.h"
#include "tests/foundation/Fixtures.h"

#include "foundation/XBuffer.h"

class XMemoryFileTest : public testing::Test {
 protected:
  std::string Bytes() const {
    return std::string(reinterpret_cast<char*>(buffer.data), buffer.length);
  }
  XBuffer buffer;
  XMemoryFile file{buffer};
};

TEST_F(XMemoryFileTest, WritesGrowTheBuffer) {
  ASSERT_TRUE(file.Write("abcdef", 6));
  EXPECT_EQ(file.Position(), 6);
  ASSERT_TRUE(file.Write("XY", 2, XSeekStart));
  EXPECT_EQ(Bytes(), "XYcdef");
  ASSERT_TRUE(file.Write("!", 1, XSeekEnd));
  EXPECT_EQ(file.Size(), 7);
}

TEST_F(XMemoryFileTest, ReadsStopAtTheLength) {
  char out[8] = {};
  bool failed = true;
  EXPECT_EQ(file.Read(out, 4, XSeekCurrent, &failed), 0u);
  EXPECT_FALSE(failed);
  ASSERT_TRUE(file.Write("12345", 5));
  EXPECT_EQ(
      (Ints{file.Read(out, 4, XSeekStart, &failed), file.Read(out, 4), out[0], file.Read(out, 4)}),
      (Ints{4, 1, '5', 0}));
}

TEST_F(XMemoryFileTest, WriteBehindTheEndLeavesZeros) {
  ASSERT_TRUE(file.Write("ab", 2));
  ASSERT_TRUE(file.Seek(3, XSeekEnd));
  ASSERT_TRUE(file.Write("z", 1));
  EXPECT_EQ(Bytes(), std::string("ab\0\0\0z", 6));
}

TEST_F(XMemoryFileTest, BadSeeksAndNullWrites) {
  EXPECT_FALSE(file.Seek(-1, XSeekStart));
  EXPECT_EQ(file.Position(), 0);
  EXPECT_TRUE(file.Write(nullptr, 0));
  EXPECT_FALSE(file.Write(nullptr, 3));
  uint32_t written = 9;
  ASSERT_TRUE(file.Write("q", 1, XSeekCurrent, &written));
  EXPECT_EQ(written, 1u);
}
