// The thread's last error, its mapping from errno, and the tick count.
#include "foundation/XLastError.h"

#include <cerrno>
#include <ctime>

namespace {
thread_local uint32_t lastError = 0;
}

uint32_t XGetLastError() { return lastError; }

void XSetLastError(uint32_t code) { lastError = code; }

uint32_t XErrorFromErrno(int err, bool createNew) {
  switch (err) {
    case 0:
      return XErrNone;
    case ENOENT:
      return XErrFileNotFound;
    case ENOTDIR:
      return XErrPathNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
      return XErrAccessDenied;
    case EBUSY:
    case ETXTBSY:
      return XErrSharingViolation;
    case EEXIST:
      return createNew ? XErrFileExists : XErrAlreadyExists;
    case ENOTEMPTY:
      return XErrDirNotEmpty;
    case ENOSPC:
      return XErrDiskFull;
    case ENOMEM:
      return XErrNotEnoughMemory;
    case EPIPE:
      return XErrBrokenPipe;
    case ETIMEDOUT:
      return XErrTimeout;
    case ECANCELED:
      return XErrCancelled;
    default:
      return XErrInvalidParameter;
  }
}

uint32_t XSetLastErrorFromErrno(bool createNew) {
  lastError = XErrorFromErrno(errno, createNew);
  return lastError;
}

uint64_t XTickCount64() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return uint64_t(ts.tv_sec) * 1000u + uint64_t(ts.tv_nsec) / 1000000u;
}

uint32_t XTickCount() { return uint32_t(XTickCount64()); }
