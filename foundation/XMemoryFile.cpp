// XMemoryFile: file reads, writes and seeks over the bytes of an XBuffer.
#include "foundation/XMemoryFile.h"

#include <cstring>

#include "foundation/XBuffer.h"
#include "foundation/XLastError.h"

uint32_t XMemoryFile::Read(void* out, uint32_t count, uint32_t origin, bool* outFailed) {
  bool ok = origin == XSeekCurrent || Seek(0, origin);
  uint32_t got = 0;
  if (ok && buffer.data && position < int64_t(buffer.length)) {
    int64_t left = int64_t(buffer.length) - position;
    got = left < count ? uint32_t(left) : count;
    memcpy(out, buffer.data + position, got);
    position += got;
  }
  if (outFailed) *outFailed = !ok;
  return got;
}

bool XMemoryFile::Write(const void* data, uint32_t count, uint32_t origin, uint32_t* outWritten) {
  if (outWritten) *outWritten = 0;
  if (!data) {
    if (count == 0) return true;
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  if (origin != XSeekCurrent && !Seek(0, origin)) return false;
  int64_t end = position + count;
  if (end > int64_t(UINT32_MAX)) {
    XSetLastError(XErrNotEnoughMemory);
    return false;
  }
  if (end > int64_t(buffer.size) || !buffer.data) {
    uint32_t extra = uint32_t(end * 2 / 3 < UINT32_MAX - end ? end * 2 / 3 : UINT32_MAX - end);
    if (!buffer.Resize(uint32_t(end), true, false, extra)) {
      XSetLastError(XErrNotEnoughMemory);
      return false;
    }
  }
  // A write behind the end leaves zeros in between, as a file does.
  if (position > int64_t(buffer.length))
    memset(buffer.data + buffer.length, 0, size_t(position - buffer.length));
  memcpy(buffer.data + position, data, count);
  position = end;
  if (end > int64_t(buffer.length)) buffer.length = uint32_t(end);
  if (outWritten) *outWritten = count;
  return true;
}

bool XMemoryFile::Seek(int64_t offset, uint32_t origin) {
  int64_t base = origin == XSeekStart ? 0 : origin == XSeekEnd ? Size() : position;
  if (base + offset < 0) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  position = base + offset;
  return true;
}

int64_t XMemoryFile::Size() const { return buffer.length; }
