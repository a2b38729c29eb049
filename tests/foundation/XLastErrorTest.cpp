// The last error is per thread, and errno values map to the system's numbering.
#include "foundation/XLastError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

TEST(XLastErrorTest, IsKeptPerThread) {
  XSetLastError(XErrAccessDenied);
  uint32_t seenByOther = 99;
  std::thread([&] { seenByOther = XGetLastError(); }).join();
  EXPECT_EQ(seenByOther, 0u);
  EXPECT_EQ(XGetLastError(), 5u);
}

TEST(XLastErrorTest, MapsErrnoToSystemNumbers) {
  EXPECT_EQ(XErrorFromErrno(ENOENT), 2u);
  EXPECT_EQ(XErrorFromErrno(ENOTDIR), 3u);
  EXPECT_EQ(XErrorFromErrno(EROFS), 5u);
  EXPECT_EQ(XErrorFromErrno(ETXTBSY), 32u);
  EXPECT_EQ(XErrorFromErrno(EEXIST), 183u);
  EXPECT_EQ(XErrorFromErrno(EEXIST, true), 80u);
  EXPECT_EQ(XErrorFromErrno(ENOTEMPTY), 145u);
  EXPECT_EQ(XErrorFromErrno(ENOSPC), 112u);
}

TEST(XLastErrorTest, TickCountIsTheLow32BitsOfTheLongOne) {
  uint64_t wide = XTickCount64();
  uint32_t narrow = XTickCount();
  EXPECT_LE(uint32_t(narrow - uint32_t(wide)), 1000u);
}
