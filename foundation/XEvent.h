// XEvent: a named, manual-reset event shared between processes.
#pragma once
#include <cstdint>

class XString;
struct tv_event;

class XEvent {
 public:
  using Handle = tv_event*;
  static constexpr uint32_t Infinite = 0xFFFFFFFFu;

  // Creates the event or opens the one of that name; a null or empty name makes an
  // anonymous event for this process alone.
  explicit XEvent(const char16_t* name = nullptr);
  // Opens a second handle on the same event; already existed is set.
  XEvent(const XEvent& other);
  XEvent& operator=(const XEvent&) = delete;
  ~XEvent();

  // Closes what was open, then creates or opens; the last error is 183 when the event
  // was there already.
  bool Create(const char16_t* name);
  // Creates an event named prefix plus a new GUID text and returns the name.
  XString CreateUnique(const char16_t* prefix);
  // Creates prefix plus the tick count in decimal, again with tick count plus n at the
  // n-th retry while the name exists; returns the name (empty on failure).
  XString CreateFromTicks(const char16_t* prefix, uint32_t mask = 0xFFFFFFFFu);

  // Takes ownership of a handle; already existed is set.
  void Attach(Handle handle);
  // Gives up the handle without closing it.
  Handle Detach();
  Handle GetHandle() const { return handle; }
  bool IsOpen() const { return handle != nullptr; }
  bool AlreadyExisted() const { return alreadyExisted; }

  void Set() const;
  void Reset() const;
  bool IsSet() const;
  // When set, resets and gives false; otherwise sets and gives true.
  bool Toggle() const;
  // True when signalled within the time; the last error is 1460 on time-out.
  bool Wait(uint32_t milliseconds) const;
  // 1 for the first, 2 for the second, 0 on time-out, -1 on any other outcome.
  static int WaitEither(const XEvent& first, const XEvent& second, uint32_t milliseconds);

  void Close();

 private:
  Handle handle = nullptr;
  bool alreadyExisted = false;
};
