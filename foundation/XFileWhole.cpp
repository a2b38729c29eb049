// Whole-file helpers: files to and from memory, lines of a text file, shifting a file's tail.
#include <algorithm>

#include "foundation/XBuffer.h"
#include "foundation/XFile.h"
#include "foundation/XFilePlatform.h"
#include "foundation/XLastError.h"
#include "foundation/XRewriteFile.h"
#include "foundation/XStringList.h"

namespace {

constexpr uint32_t kMemoryBlock = 262144;
constexpr uint32_t kShiftBlock = 65536;

bool ReadBlocks(XFile& file, uint8_t* out, uint32_t size) {
  for (uint32_t done = 0; done < size;) {
    uint32_t n = std::min(kMemoryBlock, size - done);
    bool failed = false;
    uint32_t got = file.Read(out + done, n, XSeekCurrent, &failed);
    if (failed || got == 0) return false;
    done += got;
  }
  return true;
}

bool WriteBlocks(XFile& file, const uint8_t* data, uint32_t size) {
  for (uint32_t done = 0; done < size;) {
    uint32_t n = std::min(kMemoryBlock, size - done);
    if (!file.Write(data + done, n)) return false;
    done += n;
  }
  return true;
}

// Copies count bytes from one offset of the file to another.
bool CopyBlock(XFile& file, uint8_t* scratch, int64_t from, int64_t to, uint32_t count) {
  return file.Seek(from, XSeekStart) && file.Read(scratch, count) == count &&
         file.Seek(to, XSeekStart) && file.Write(scratch, count);
}

}  // namespace

bool XFileWhole::ReadAllBytes(const XString& path, XBuffer& buffer) {
  XFile file;
  if (!file.OpenRead(path)) return false;
  bool failed = false;
  int64_t size = file.Size(&failed);
  if (failed) return false;
  if (size >= int64_t(UINT32_MAX)) {
    XSetLastError(XErrNotEnoughMemory);
    return false;
  }
  if (!buffer.Resize(uint32_t(size), false, false, 0, true)) {
    XSetLastError(XErrNotEnoughMemory);
    return false;
  }
  buffer.length = uint32_t(size);
  return ReadBlocks(file, buffer.data, uint32_t(size));
}

bool XFileWhole::ReadAllBytesWithRetry(const XString& path, XBuffer& buffer) {
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (attempt) xfileos::SleepMs(50);
    if (XFileWhole::ReadAllBytes(path, buffer)) return true;
  }
  return false;
}

bool XFileWhole::ReadAllLines(const XString& path, XStringList& list) {
  list.Clear();
  XFile file;
  if (!file.OpenRead(path)) return false;
  bool wide = file.HasUtf16Bom();
  bool utf8 = !wide;
  XString line;
  while (file.ReadLine(line, wide, utf8)) list.AddMove(line);
  return true;
}

bool XFileWhole::WriteAllBytes(const XString& path, const void* data, uint32_t size) {
  if (!data && size) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  XFile file;
  return file.OpenCreate(path) && WriteBlocks(file, static_cast<const uint8_t*>(data), size);
}

bool XFileWhole::WriteAllBytesSafely(const XString& path, const void* data, uint32_t size) {
  if (!data && size) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  XRewriteFile file;
  if (!file.OpenRewrite(path)) return false;
  file.commit = WriteBlocks(file, static_cast<const uint8_t*>(data), size);
  return file.Finish();
}

bool XFileWhole::ShiftContents(XFile& file, int64_t offset, int64_t delta, bool zeroGap) {
  bool failed = false;
  int64_t size = file.Size(&failed);
  if (failed) return false;
  if (offset < 0 || offset > size || offset + delta < 0) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  if (delta == 0) return true;
  static thread_local uint8_t scratch[kShiftBlock];
  if (delta > 0) {
    // Growing: from the end backwards, so that no byte is overwritten before it has moved.
    for (int64_t at = size; at > offset;) {
      uint32_t n = uint32_t(std::min<int64_t>(kShiftBlock, at - offset));
      at -= n;
      if (!CopyBlock(file, scratch, at, at + delta, n)) return false;
    }
    if (zeroGap) {
      std::fill(scratch, scratch + kShiftBlock, 0);
      if (!file.Seek(offset, XSeekStart)) return false;
      for (int64_t left = std::min(delta, size - offset); left > 0;) {
        uint32_t n = uint32_t(std::min<int64_t>(kShiftBlock, left));
        if (!file.Write(scratch, n)) return false;
        left -= n;
      }
    }
  } else {
    for (int64_t at = offset; at < size;) {
      uint32_t n = uint32_t(std::min<int64_t>(kShiftBlock, size - at));
      if (!CopyBlock(file, scratch, at, at + delta, n)) return false;
      at += n;
    }
  }
  return file.SetSize(size + delta);
}
