// The last error is per thread, and errno values map to the system's numbering.
#include "foundation/XLastError.h"

#include <cerrno>
#include <thread>
#include "tests/foundation/Fixtures.h"

TEST(XLastErrorTest, IsKeptPerThread) {
  XSetLastError(XErrAccessDenied);
  uint32_t seenByOther = 99;
  std::thread([&] { seenByOther = XGetLastError(); }).join();
  EXPECT_EQ(seenByOther, 0u);
  EXPECT_EQ(XGetLastError(), 5u);
}

TEST(XLastErrorTest, MapsErrnoToSystemNumbers) {
  EXPECT_EQ((std::vector<uint32_t>{XErrorFromErrno(ENOENT), XErrorFromErrno(ENOTDIR),
                                   XErrorFromErrno(EROFS), XErrorFromErrno(ETXTBSY),
                                   XErrorFromErrno(EEXIST), XErrorFromErrno(EEXIST, true),
                                   XErrorFromErrno(ENOTEMPTY), XErrorFromErrno(ENOSPC)}),
            (std::vector<uint32_t>{2, 3, 5, 32, 183, 80, 145, 112}));
}
