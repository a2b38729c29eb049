// XSharedMem: a named block of bytes shared between processes, guarded by its own mutex.
#pragma once
#include <cstdint>

#include "foundation/XMutex.h"

struct tv_block;

class XSharedMem {
 public:
  XSharedMem();
  XSharedMem(const XSharedMem&) = delete;
  XSharedMem& operator=(const XSharedMem&) = delete;
  ~XSharedMem();

  // Opens "SMutex_<name>" and the block "NSharedData_<name>", creating what is missing.
  // A block that exists keeps its content and size. existed (may be null) tells whether
  // the block was there. True when the block is mapped.
  bool Create(const char16_t* name, uint32_t size, bool* existed = nullptr);

  void Lock();
  void Unlock();
  // Copy exactly the size given to Create, taking the mutex for the copy unless locked.
  bool Write(const void* source);
  bool Read(void* target);
  void Close();

  bool IsOpen() const { return view != nullptr; }
  uint32_t Size() const { return size; }
  bool IsLocked() const { return locked; }

 private:
  tv_block* mapping = nullptr;
  XMutex mutex;
  uint8_t* view = nullptr;
  uint32_t size = 0;
  bool locked = false;
};
