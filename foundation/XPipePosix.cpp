// System calls of the pipe: creation and the three answers of a stream (bytes, ended, none yet).
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/XFilePlatform.h"
#include "foundation/XLastError.h"

namespace xfileos {
namespace {

constexpr int64_t kCountLimit = 1 << 30;

uint32_t Clamped(int64_t n) { return uint32_t(n < 0 ? 0 : n > kCountLimit ? kCountLimit : n); }

// A regular file has ended when nothing is left behind the position.
uint32_t FileWaiting(XHandle h, const struct stat& st, bool* outEnded) {
  off_t at = lseek(h, 0, SEEK_CUR);
  int64_t left = at < 0 ? 0 : int64_t(st.st_size) - at;
  *outEnded = left <= 0;
  return Clamped(left);
}

}  // namespace

bool CreatePipe(bool inheritable, XHandle* outRead, XHandle* outWrite) {
  int fds[2] = {-1, -1};
  if (pipe2(fds, inheritable ? 0 : O_CLOEXEC) != 0) {
    XSetLastErrorFromErrno();
    return false;
  }
  *outRead = fds[0];
  *outWrite = fds[1];
  return true;
}

uint32_t StreamWaiting(XHandle h, bool* outEnded, int* outByte) {
  *outEnded = false;
  *outByte = -1;
  struct stat st {};
  if (fstat(h, &st) != 0) {
    XSetLastErrorFromErrno();
    *outEnded = true;
    return 0;
  }
  if (S_ISREG(st.st_mode)) return FileWaiting(h, st, outEnded);
  int count = 0;
  if (ioctl(h, FIONREAD, &count) == 0 && count > 0) return Clamped(count);

  pollfd p{h, POLLIN | POLLRDHUP, 0};
  int r = poll(&p, 1, 0);
  if (r < 0 && errno == EINTR) return 0;
  if (r < 0 || (p.revents & (POLLHUP | POLLRDHUP | POLLERR | POLLNVAL))) {
    XSetLastError(XErrBrokenPipe);
    *outEnded = true;
    return 0;
  }
  if (!(p.revents & POLLIN)) return 0;
  // Readable with nothing counted: a terminal's end of file, or a device; only a read tells.
  unsigned char byte = 0;
  ssize_t got;
  do {
    got = read(h, &byte, 1);
  } while (got < 0 && errno == EINTR);
  if (got == 1) {
    *outByte = byte;
    return 1;
  }
  if (got < 0 && errno == EAGAIN) return 0;
  XSetLastError(got == 0 ? XErrBrokenPipe : XErrorFromErrno(errno));
  *outEnded = true;
  return 0;
}

}  // namespace xfileos
