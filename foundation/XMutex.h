// XMutex: a named, recursive mutex shared between processes.
#pragma once
#include <cstdint>

class XString;
struct tv_mutex;

class XMutex {
 public:
  using Handle = tv_mutex*;
  static constexpr uint32_t Infinite = 0xFFFFFFFFu;

  // Creates the mutex or opens the one of that name, not owned; a null or empty name
  // makes a plain lock for this process.
  explicit XMutex(const char16_t* name = nullptr);
  XMutex(const XMutex&) = delete;
  XMutex& operator=(const XMutex&) = delete;
  ~XMutex();

  // Closes what was open, then creates or opens; the last error is 183 when the mutex
  // was there already.
  bool Create(const char16_t* name);
  // Creates a mutex named prefix plus a new GUID text and returns the name.
  XString CreateUnique(const char16_t* prefix);
  // Creates prefix plus the tick count (masked) in decimal, again with tick count plus n at
  // the n-th retry while the name exists; returns the name (empty on failure).
  XString CreateFromTicks(const char16_t* prefix, uint32_t mask = 0xFFFFFFFFu);

  // Waits without limit. A mutex whose holder died counts as got.
  void Lock();
  // True when got within the time; false on time-out (last error 1460) or when closed.
  bool TryLock(uint32_t milliseconds);
  bool TryLock() { return TryLock(0); }
  void Unlock();
  // Unlocks when held, then closes.
  void Close();

  Handle GetHandle() const { return handle; }
  bool IsOpen() const { return handle != nullptr; }
  bool IsHeld() const { return held; }
  bool AlreadyExisted() const { return alreadyExisted; }

 private:
  Handle handle = nullptr;
  bool held = false;
  bool alreadyExisted = false;
};
