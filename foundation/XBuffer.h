// Owned block of bytes for binary payloads; its allocation may fail quietly.
#pragma once
#include <cstdint>

// `data` is null when nothing is held, and may be null after any resize: callers test it.
// `length` and `mark` are two positions for the owner; they never exceed `size`.
class XBuffer {
 public:
  XBuffer() = default;
  XBuffer(const XBuffer& other) { CopyFrom(other); }
  XBuffer(XBuffer&& other) noexcept { MoveFrom(other); }
  XBuffer& operator=(const XBuffer& other);
  XBuffer& operator=(XBuffer&& other) noexcept;
  ~XBuffer() { Free(); }

  // Keeps the block when it is big enough (and, with `exact`, not bigger); otherwise
  // replaces it by one of `size + extra` bytes. Returns whether `data` is set.
  bool Resize(uint32_t newSize, bool keep = false, bool zero = false, uint32_t extra = 0,
              bool exact = false);
  // Holds a copy of `n` bytes, followed by `extraZero` bytes (cleared with `zero`).
  bool AssignData(const void* source, uint32_t n, uint32_t extraZero = 0, bool zero = false);
  bool CopyFrom(const XBuffer& other);
  // Takes all of other's fields and leaves it empty.
  void MoveFrom(XBuffer& other, bool lengthIsSize = false) noexcept;
  void Free() noexcept;

  uint8_t* data = nullptr;
  uint32_t size = 0;
  uint32_t capacity = 0;
  uint32_t length = 0;
  uint32_t mark = 0;
};
