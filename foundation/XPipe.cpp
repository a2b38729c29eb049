// XPipe: two XFile ends of one pipe and the drain of what is waiting in it.
#include "foundation/XPipe.h"

#include "foundation/XFilePlatform.h"
#include "foundation/XLastError.h"
#include "foundation/XStringList.h"

namespace {
// One drain stops after this much, so that a fast writer or a large file cannot keep it going.
constexpr uint32_t kDrainLimit = 1u << 20;
}  // namespace

XPipe::~XPipe() { Close(); }

bool XPipe::Create(bool inheritable) {
  Close();
  XHandle readEnd = XInvalidHandle, writeEnd = XInvalidHandle;
  if (!xfileos::CreatePipe(inheritable, &readEnd, &writeEnd)) return false;
  Attach(readEnd, writeEnd);
  return true;
}

void XPipe::Attach(XHandle read, XHandle write) {
  Close();
  readHandle = read < 0 ? XInvalidHandle : read;
  writeHandle = write < 0 ? XInvalidHandle : write;
  reader.AttachHandle(readHandle);
  writer.AttachHandle(writeHandle);
}

static XHandle TakeEnd(XHandle& raw, XFile& end) {
  if (raw < 0) return XInvalidHandle;
  XHandle copy = xfileos::Duplicate(raw, true);
  xfileos::Close(raw);
  raw = XInvalidHandle;
  end.AttachHandle(XInvalidHandle);
  return copy;
}

XHandle XPipe::TakeRead() {
  peeked = -1;
  return TakeEnd(readHandle, reader);
}

XHandle XPipe::TakeWrite() { return TakeEnd(writeHandle, writer); }

uint32_t XPipe::Available(bool* outBroken) {
  bool ended = true;
  uint32_t count = 0;
  if (reader.handle < 0) {
    XSetLastError(XErrInvalidParameter);
  } else {
    int byte = -1;
    count = xfileos::StreamWaiting(reader.handle, &ended, &byte);
    if (byte >= 0) peeked = byte;
  }
  if (peeked >= 0 && count == 0) {
    count = 1;  // the byte held back is there to read, whatever the stream says now
    ended = false;
  }
  if (outBroken) *outBroken = ended;
  return count;
}

XBuffer& XPipe::ReadAvailable(bool* outBroken) {
  receivedCount = 0;
  bool broken = false;
  while (receivedCount < kDrainLimit) {
    uint32_t n = Available(&broken);
    if (n == 0 || broken) break;
    if (n > kDrainLimit - receivedCount) n = kDrainLimit - receivedCount;
    if (!received.Resize(receivedCount + n, true, false, 2 * n)) {
      broken = true;
      break;
    }
    uint32_t got = 0;
    bool uncounted = peeked >= 0 && n == 1;
    if (peeked >= 0) {
      received.data[receivedCount] = uint8_t(peeked);
      peeked = -1;
      got = 1;
    }
    bool failed = false;
    if (got < n)
      got += reader.Read(received.data + receivedCount + got, n - got, XSeekCurrent, &failed);
    receivedCount += got;
    if (receivedCount > received.size) receivedCount = received.size;
    if (failed || got == 0) {
      broken = failed;
      break;
    }
    // A stream that cannot count its bytes gives one per drain: another peek could block.
    if (uncounted) break;
  }
  if (outBroken) *outBroken = broken;
  return received;
}

bool XPipe::ReadLines(XStringList& list) {
  bool broken = false;
  ReadAvailable(&broken);
  if (receivedCount < 2) {
    list.Clear();
    return false;
  }
  XString text = XString::FromWideBytes(received.data, int(receivedCount & ~1u));
  list.Split(text.CStr(), u"\r\n");
  return receivedCount > 0;
}

bool XPipe::Write(const void* data, uint32_t count) { return writer.Write(data, count); }

void XPipe::Close() {
  reader.Close();
  writer.Close();
  xfileos::Close(readHandle);
  xfileos::Close(writeHandle);
  readHandle = XInvalidHandle;
  writeHandle = XInvalidHandle;
  peeked = -1;
}
