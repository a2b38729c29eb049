// XMemoryFile: an XBuffer read, written and sought like an XFile; its length is the file's.
#pragma once
#include <cstdint>

#include "foundation/XFile.h"

class XBuffer;

class XMemoryFile {
 public:
  explicit XMemoryFile(XBuffer& target) : buffer(target) {}

  uint32_t Read(void* out, uint32_t count, uint32_t origin = XSeekCurrent,
                bool* outFailed = nullptr);
  // Grows the buffer, with an extra of two-thirds of the new size, when writing past its end.
  bool Write(const void* data, uint32_t count, uint32_t origin = XSeekCurrent,
             uint32_t* outWritten = nullptr);
  bool Seek(int64_t offset, uint32_t origin);
  int64_t Position() const { return position; }
  int64_t Size() const;

  XBuffer& buffer;
  int64_t position = 0;
};
