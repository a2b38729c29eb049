// XMutex over the shared-memory mutexes of the sdk's C layer.
#include "foundation/XMutex.h"

#include "foundation/XLastError.h"
#include "foundation/XObjectName.h"
#include "sdk/tv_named.h"

XMutex::XMutex(const char16_t* name) { Create(name); }

XMutex::~XMutex() { Close(); }

bool XMutex::Create(const char16_t* name) {
  Close();
  int existed = 0;
  handle = tv_mutex_create(XObjectNameUtf8(name).c_str(), &existed);
  alreadyExisted = handle && existed;
  XSetCreateResult(handle != nullptr, alreadyExisted);
  return handle != nullptr;
}

XString XMutex::CreateUnique(const char16_t* prefix) {
  XString name = XGuidName(prefix);
  Create(name.CStr());
  return name;
}

XString XMutex::CreateFromTicks(const char16_t* prefix, uint32_t mask) {
  return XCreateFromTicks(prefix, mask, [this](const XString& name) {
    return Create(name.CStr()) ? int(alreadyExisted) : -1;
  });
}

void XMutex::Lock() {
  if (handle && tv_mutex_lock(handle, Infinite) == 1) held = true;
}

bool XMutex::TryLock(uint32_t milliseconds) {
  if (!handle) return false;
  int outcome = tv_mutex_lock(handle, milliseconds);
  if (outcome == 0) XSetLastError(XErrTimeout);
  if (outcome == 1) held = true;
  return outcome == 1;
}

void XMutex::Unlock() {
  if (handle) tv_mutex_unlock(handle);
  held = false;
}

void XMutex::Close() {
  if (held) Unlock();
  if (handle) tv_mutex_close(handle);
  handle = nullptr;
  held = false;
}
