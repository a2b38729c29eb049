// The thread's "last error": one number in the system's own numbering, kept per thread.
#pragma once
#include <cstdint>

// The numbers that callers test and report.
enum : uint32_t {
  XErrNone = 0,
  XErrFileNotFound = 2,
  XErrPathNotFound = 3,
  XErrAccessDenied = 5,
  XErrNotEnoughMemory = 8,
  XErrSharingViolation = 32,
  XErrHandleEof = 38,
  XErrFileExists = 80,
  XErrInvalidParameter = 87,
  XErrBrokenPipe = 109,
  XErrDiskFull = 112,
  XErrDirNotEmpty = 145,
  XErrAlreadyExists = 183,
  XErrCancelled = 1223,
  XErrTimeout = 1460,
};

uint32_t XGetLastError();
void XSetLastError(uint32_t code);

// Maps an errno value to the numbering above; a create-new that met an existing file
// passes createNew so that EEXIST reads as 80 rather than 183.
uint32_t XErrorFromErrno(int err, bool createNew = false);

// Sets the last error from errno and returns it.
uint32_t XSetLastErrorFromErrno(bool createNew = false);

// Milliseconds of the monotonic clock, cut to 32 bits as the tick count is.
uint32_t XTickCount();
uint64_t XTickCount64();
