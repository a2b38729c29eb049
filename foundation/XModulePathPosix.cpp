// Where the executable and loaded libraries live: /proc/self/exe and the dynamic loader.
#include "foundation/XModulePath.h"

#include "foundation/XPath.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <string>

namespace {

std::string ExecutablePath() {
  std::string path(1024, '\0');
  for (;;) {
    ssize_t n = readlink("/proc/self/exe", path.data(), path.size());
    if (n < 0) return std::string();
    if (size_t(n) < path.size()) {
      path.resize(size_t(n));
      return path;
    }
    path.resize(path.size() * 2);
  }
}

// Whether `address` lies in a loaded segment of the main program, which the loader lists first.
bool InMainProgram(const void* address) {
  struct Search {
    uintptr_t address;
    bool found;
  } search{reinterpret_cast<uintptr_t>(address), false};
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        auto* s = static_cast<Search*>(data);
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const ElfW(Phdr)& ph = info->dlpi_phdr[i];
          uintptr_t start = info->dlpi_addr + ph.p_vaddr;
          if (ph.p_type == PT_LOAD && s->address >= start && s->address < start + ph.p_memsz)
            s->found = true;
        }
        return 1;  // the first object is the program itself
      },
      &search);
  return search.found;
}

std::string LibraryPath(const void* address) {
  // The loader names the main program by its argv[0], which may be relative.
  if (InMainProgram(address)) return ExecutablePath();
  Dl_info info{};
  if (dladdr(address, &info) == 0 || !info.dli_fname) return std::string();
  return info.dli_fname;
}

}  // namespace

XString ModulePath(const void* module) {
  XString path = XString::FromUtf8(module ? LibraryPath(module) : ExecutablePath());
  // A path that comes quoted loses its quotes, as command lines give it.
  if (path.CharAt(1) == u'"') {
    int close = path.FindChar(u'"', 2);
    path = close ? path.Mid(2, close - 1) : path.From(2);
  }
  return path;
}

XString ModuleFolder(const void* module) { return XPath::FolderOf(ModulePath(module)); }
