// XDLL: loading, lookup and release of shared libraries through the dynamic linker.
#include "XDLL.h"

#include <dlfcn.h>
#include <link.h>

#include "XDebugLog.h"

bool XDLL::OpenModule(const char16_t* path) {
  XString name(path);
  // A name without a folder would make the linker search the system's library paths; a
  // plug-in is always a file, so such a name is taken in the current folder.
  if (name.FindChar(u'/') == 0) name = XString(u"./") + name;
  dlerror();
  module = dlopen(name.ToUtf8(), RTLD_NOW | RTLD_LOCAL);
  if (module != nullptr) return true;
  const char* why = dlerror();
  Log(XString(u"Cannot load plug-in library '") + name + u"': " +
          XString(why != nullptr ? why : "unknown reason", true),
      "XDLL::Load");
  return false;
}

void* XDLL::FindSymbol(void* library, const char* name) {
  dlerror();
  return dlsym(library, name);
}

void XDLL::FreeModule() {
  if (module != nullptr) dlclose(module);
  module = nullptr;
}

XString XDLL::ModulePath() const {
  link_map* map = nullptr;
  if (module == nullptr || dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr)
    return XString();
  return XString::FromUtf8(map->l_name);
}
