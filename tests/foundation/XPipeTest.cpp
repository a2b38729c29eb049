// Tests of XPipe: the three answers of a stream (bytes now, ended, none yet) and the drain.
#include "foundation/XPipe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/foundation/Fixtures.h"

class XPipeTest : public XFileTestFolder {
 protected:
  // Both answers of one call: what is there, then "open" or "ended". The flag starts at the
  // opposite of the last answer, so a call that leaves it alone is seen.
  std::string Available(XPipe& stream) {
    broken = !broken;
    uint32_t count = stream.Available(&broken);
    return std::to_string(count) + (broken ? "/ended" : "/open");
  }
  std::string Drained(XPipe& stream) {
    broken = !broken;
    XBuffer& buffer = stream.ReadAvailable(&broken);
    return std::string(reinterpret_cast<char*>(buffer.data), stream.receivedCount) +
           (broken ? "/ended" : "/open");
  }
  // Attaches a read end opened on a path to the fixture's pipe.
  void AttachRead(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    pipe.Attach(fd, XInvalidHandle);
  }
  XPipe pipe;
  bool broken = false;
};

TEST_F(XPipeTest, BytesNowThenNoneYetThenEndedWhenTheWriterCloses) {
  ASSERT_TRUE(pipe.Create(false));
  EXPECT_EQ(Available(pipe), "0/open");
  ASSERT_TRUE(pipe.Write("hello", 5));
  EXPECT_EQ(Available(pipe), "5/open");
  EXPECT_EQ(Drained(pipe), "hello/open");
  EXPECT_EQ(Available(pipe), "0/open");

  ASSERT_TRUE(pipe.Write("bye", 3));
  close(pipe.TakeWrite());
  EXPECT_EQ(Available(pipe), "3/open");
  EXPECT_EQ(Drained(pipe), "bye/ended");
  EXPECT_EQ(Available(pipe), "0/ended");
}

TEST_F(XPipeTest, ReadLinesCutsUtf16AtCrLf) {
  ASSERT_TRUE(pipe.Create(false));
  std::u16string text = u"first\r\nsecond \u00E9\r\nthird";
  ASSERT_TRUE(pipe.Write(text.data(), uint32_t(text.size() * 2)));
  XStringList list;
  ASSERT_TRUE(pipe.ReadLines(list));
  EXPECT_EQ(Listed(list), "3:first|second \u00E9|third");
  EXPECT_FALSE(pipe.ReadLines(list));
  EXPECT_EQ(Listed(list), "0:");
}

TEST_F(XPipeTest, InheritanceFollowsTheRequest) {
  XPipe closedOnExec, inherited;
  ASSERT_TRUE(closedOnExec.Create(false));
  ASSERT_TRUE(inherited.Create(true));
  EXPECT_TRUE(fcntl(closedOnExec.readHandle, F_GETFD) & FD_CLOEXEC);
  EXPECT_FALSE(fcntl(inherited.readHandle, F_GETFD) & FD_CLOEXEC);
  int taken = closedOnExec.TakeRead();
  ASSERT_GE(taken, 0);
  EXPECT_FALSE(fcntl(taken, F_GETFD) & FD_CLOEXEC);
  EXPECT_EQ(closedOnExec.readHandle, XInvalidHandle);
  close(taken);
}

TEST_F(XPipeTest, WriteWithTheReaderGoneFailsWithoutEndingTheProcess) {
  ASSERT_TRUE(pipe.Create(false));
  close(pipe.TakeRead());
  EXPECT_FALSE(pipe.Write("x", 1));
  EXPECT_EQ(XGetLastError(), XErrBrokenPipe);
}

TEST_F(XPipeTest, RegularFileAsInputEndsWhenRead) {
  Put("f", "abcdef");
  AttachRead(Native("f"));
  int fd = pipe.readHandle;
  EXPECT_EQ(Available(pipe), "6/open");
  EXPECT_EQ(Drained(pipe).substr(0, 6), "abcdef");
  EXPECT_EQ(Available(pipe), "0/ended");
  pipe.Close();
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

// A device can only tell by a read; the byte read to tell is kept for the drain.
TEST_F(XPipeTest, DeviceInputIsToldByAReadWhoseByteIsKept) {
  AttachRead("/dev/null");
  EXPECT_EQ(Available(pipe), "0/ended");
  AttachRead("/dev/zero");
  EXPECT_EQ(Available(pipe), "1/open");
  EXPECT_EQ(Available(pipe), "1/open");
  EXPECT_EQ(Drained(pipe), std::string(1, '\0') + "/open");
}
