// XDLL: the load sequence shared by the plug-in bindings.
#include "plugins/XDLL.h"

#include "foundation/XDebugLog.h"

XDLL::~XDLL() { FreeModule(); }

bool XDLL::BeginLoad(const char16_t* path) {
  if (module != nullptr) return false;
  complete = true;
  if (path != nullptr && !OpenModule(path)) complete = false;
  return true;
}

void* XDLL::Lookup(const char* name) {
  if (module == nullptr) return nullptr;
  void* address = FindSymbol(module, name);
  if (address == nullptr) {
    Log(XString(u"Plug-in library '") + ModulePath() + u"' lacks the export '" +
            XString(name, true) + u"'",
        "XDLL::Load");
  }
  return address;
}
