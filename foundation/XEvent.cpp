// XEvent over the shared-memory events of the sdk's C layer.
#include "foundation/XEvent.h"

#include "foundation/XLastError.h"
#include "foundation/XObjectName.h"
#include "sdk/tv_named.h"

XEvent::XEvent(const char16_t* name) { Create(name); }

XEvent::XEvent(const XEvent& other) : alreadyExisted(true) {
  if (other.handle) handle = tv_event_duplicate(other.handle);
}

XEvent::~XEvent() { Close(); }

bool XEvent::Create(const char16_t* name) {
  Close();
  int existed = 0;
  handle = tv_event_create(XObjectNameUtf8(name).c_str(), &existed);
  alreadyExisted = handle && existed;
  XSetCreateResult(handle != nullptr, alreadyExisted);
  return handle != nullptr;
}

XString XEvent::CreateUnique(const char16_t* prefix) {
  XString name = XGuidName(prefix);
  Create(name.CStr());
  return name;
}

XString XEvent::CreateFromTicks(const char16_t* prefix, uint32_t mask) {
  return XCreateFromTicks(prefix, mask, [this](const XString& name) {
    return Create(name.CStr()) ? int(alreadyExisted) : -1;
  });
}

void XEvent::Attach(Handle newHandle) {
  Close();
  handle = newHandle;
  alreadyExisted = true;
}

XEvent::Handle XEvent::Detach() {
  Handle given = handle;
  handle = nullptr;
  return given;
}

void XEvent::Set() const {
  if (handle) tv_event_set(handle);
}

void XEvent::Reset() const {
  if (handle) tv_event_reset(handle);
}

bool XEvent::IsSet() const { return handle && tv_event_is_set(handle) == 1; }

bool XEvent::Toggle() const {
  if (IsSet()) {
    Reset();
    return false;
  }
  Set();
  return true;
}

bool XEvent::Wait(uint32_t milliseconds) const {
  if (!handle) return false;
  int outcome = tv_event_wait(handle, milliseconds);
  if (outcome == 0) XSetLastError(XErrTimeout);
  return outcome == 1;
}

int XEvent::WaitEither(const XEvent& first, const XEvent& second, uint32_t milliseconds) {
  if (!first.handle || !second.handle) {
    XSetLastError(XErrInvalidParameter);
    return -1;
  }
  int outcome = tv_event_wait_either(first.handle, second.handle, milliseconds);
  if (outcome == 0) XSetLastError(XErrTimeout);
  return outcome;
}

void XEvent::Close() {
  if (handle) tv_event_close(handle);
  handle = nullptr;
}
