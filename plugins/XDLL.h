// XDLL: a plug-in library bound by export names, the base of the three plug-in bindings.
#pragma once
#include <cstdint>

#include "foundation/XString.h"

// Owns one loaded library and tells whether every export a child needs was found. A load
// that fails and an export that is missing both leave the flag false; the debug log says which.
class XDLL {
 public:
  XDLL() = default;
  // Frees the library, if one is loaded.
  virtual ~XDLL();
  XDLL(const XDLL&) = delete;
  XDLL& operator=(const XDLL&) = delete;

  // Loads the library at path (null: bind nothing) and binds every export; true only if all
  // were found. On a binding that already holds a library, returns the stored flag at once.
  virtual bool Load(const char16_t* path) = 0;

  // A library is loaded (the flag may still be false).
  bool IsBound() const { return module != nullptr; }
  // The last Load found the library and all its exports.
  bool IsComplete() const { return complete; }
  // The path the library was loaded from, as the system resolved it; empty when none.
  XString ModulePath() const;

 protected:
  // The first step of every child's Load: false when a library is held already (the child then
  // returns the flag). Otherwise sets the flag, loads path unless it is null, and clears the
  // flag when that fails.
  bool BeginLoad(const char16_t* path);
  // Looks up one export and stores it in slot; null (no library, or no such export) clears the
  // flag. A missing export is logged with the library's path.
  template <typename Fn>
  void Bind(Fn& slot, const char* name) {
    slot = reinterpret_cast<Fn>(Lookup(name));
    if (slot == nullptr) complete = false;
  }
  // Unloads the library; the handle is null afterwards. Bound pointers are the child's to clear.
  void FreeModule();

 private:
  // The export's address, or null; logs a missing export.
  void* Lookup(const char* name);
  // Loads the library into module; logs why it could not be loaded.
  bool OpenModule(const char16_t* path);
  static void* FindSymbol(void* library, const char* name);

  void* module = nullptr;
  bool complete = false;
};
