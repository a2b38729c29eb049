// Owned block of bytes: resizing with the quiet allocator, copies and moves.
#include "foundation/XBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

XBuffer& XBuffer::operator=(const XBuffer& other) {
  if (this != &other) CopyFrom(other);
  return *this;
}

XBuffer& XBuffer::operator=(XBuffer&& other) noexcept {
  if (this != &other) MoveFrom(other);
  return *this;
}

bool XBuffer::Resize(uint32_t newSize, bool keep, bool zero, uint32_t extra, bool exact) {
  bool fits = capacity != 0 && capacity >= newSize && !(exact && newSize < capacity);
  if (fits) {
    size = newSize;
  } else {
    uint64_t want = std::max<uint64_t>(uint64_t(newSize) + extra, 1);
    uint8_t* block = want > UINT32_MAX ? nullptr : static_cast<uint8_t*>(std::malloc(want));
    if (block && keep && data) std::memcpy(block, data, std::min<uint64_t>(size, want));
    std::free(data);
    data = block;
    capacity = block ? uint32_t(want) : 0;
    size = block ? newSize + extra : 0;
  }
  if (zero && data) std::memset(data, 0, std::min(newSize, size));
  length = std::min(length, size);
  mark = std::min(mark, size);
  return data != nullptr;
}

bool XBuffer::AssignData(const void* source, uint32_t n, uint32_t extraZero, bool zero) {
  if (uint64_t(n) + extraZero > UINT32_MAX) {
    Free();
    return false;
  }
  // A source inside our own block would be freed by a new block, so it is copied first.
  const uint8_t* from = static_cast<const uint8_t*>(source);
  uint8_t* saved = nullptr;
  if (from && data && from >= data && from < data + capacity && n + extraZero > capacity) {
    saved = static_cast<uint8_t*>(std::malloc(n ? n : 1));
    if (saved) std::memcpy(saved, from, n);
    from = saved;
  }
  Resize(n + extraZero, false, false, 0, false);
  if (data && from) std::memmove(data, from, n);
  if (data && zero) std::memset(data + n, 0, extraZero);
  std::free(saved);
  length = data ? n : 0;
  return data != nullptr;
}

bool XBuffer::CopyFrom(const XBuffer& other) {
  if (this == &other) return data != nullptr;
  return AssignData(other.data, other.size, 0, false);
}

void XBuffer::MoveFrom(XBuffer& other, bool lengthIsSize) noexcept {
  if (this == &other) return;
  Free();
  data = other.data;
  size = other.size;
  capacity = other.capacity;
  length = lengthIsSize ? other.size : other.length;
  mark = other.mark;
  other.data = nullptr;
  other.size = other.capacity = other.length = other.mark = 0;
}

void XBuffer::Free() noexcept {
  std::free(data);
  data = nullptr;
  size = capacity = length = mark = 0;
}
