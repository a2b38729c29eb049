// XSharedMem: the block "NSharedData_<name>" under the mutex "SMutex_<name>".
#include "foundation/XSharedMem.h"

#include <algorithm>
#include <cstring>

#include "foundation/XLastError.h"
#include "foundation/XObjectName.h"
#include "sdk/tv_named.h"

XSharedMem::XSharedMem() : mutex(nullptr) {}

XSharedMem::~XSharedMem() { Close(); }

bool XSharedMem::Create(const char16_t* name, uint32_t newSize, bool* existed) {
  Close();
  size = newSize;
  locked = false;
  // The mutex comes before the block, so a reader that has the block can always lock it.
  XString mutexName = XString(u"SMutex_") + name;
  mutex.Create(mutexName.CStr());
  int blockExisted = 0;
  mapping = tv_block_create(XObjectNameUtf8(u"NSharedData_", name).c_str(), size, &blockExisted);
  XSetCreateResult(mapping != nullptr, blockExisted != 0);
  if (existed) *existed = mapping && blockExisted;
  if (mapping) view = static_cast<uint8_t*>(tv_block_data(mapping));
  return mapping && view;
}

void XSharedMem::Lock() {
  mutex.Lock();
  locked = mutex.IsHeld();
}

void XSharedMem::Unlock() {
  mutex.Unlock();
  locked = false;
}

bool XSharedMem::Write(const void* source) {
  if (!view) return false;
  bool take = !locked;
  if (take) Lock();
  // A block made smaller by its creator is still reachable up to the end of its last page.
  std::memcpy(view, source, std::min(size, tv_block_size(mapping)));
  if (take) Unlock();
  return true;
}

bool XSharedMem::Read(void* target) {
  if (!view) return false;
  bool take = !locked;
  if (take) Lock();
  std::memcpy(target, view, std::min(size, tv_block_size(mapping)));
  if (take) Unlock();
  return true;
}

void XSharedMem::Close() {
  if (locked) Unlock();
  if (mapping) tv_block_close(mapping);
  mapping = nullptr;
  view = nullptr;
  mutex.Close();
}
