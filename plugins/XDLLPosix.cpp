// XDLL: loading, lookup and release of shared libraries through the dynamic linker.
#include "plugins/XDLL.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "foundation/XDebugLog.h"

namespace {

bool ReadAt(int file, void* buffer, size_t size, off_t offset) {
  return pread(file, buffer, size, offset) == ssize_t(size);
}

// The dynamic linker maps a library's segments without checking them against the file's size,
// and touching a page past the end raises SIGBUS. A library of our own class whose loaded
// segments run past its end is refused here; anything else is left to the linker to judge.
bool IsCutShort(const char* path) {
  int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  struct stat status {};
  ElfW(Ehdr) header{};
  bool cut = false;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
      ReadAt(file, &header, sizeof header, 0) && memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
      header.e_ident[EI_CLASS] == (sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32) &&
      header.e_phentsize == sizeof(ElfW(Phdr))) {
    uint64_t size = uint64_t(status.st_size);
    std::vector<ElfW(Phdr)> segments(header.e_phnum);
    cut =
        !ReadAt(file, segments.data(), segments.size() * sizeof(ElfW(Phdr)), off_t(header.e_phoff));
    for (size_t i = 0; !cut && i < segments.size(); ++i)
      cut = segments[i].p_type == PT_LOAD && segments[i].p_offset + segments[i].p_filesz > size;
  }
  close(file);
  return cut;
}

// Sanitizer builds keep unloaded libraries mapped, so that a leak found at exit can still name
// the library that made it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kKeepMapped = RTLD_NODELETE;
#else
constexpr int kKeepMapped = 0;
#endif

}  // namespace

bool XDLL::OpenModule(const char16_t* path) {
  XString name(path);
  // A name without a folder would make the linker search the system's library paths; a
  // plug-in is always a file, so such a name is taken in the current folder.
  if (name.FindChar(u'/') == 0) name = XString(u"./") + name;
  const char* why = "file is cut short";
  if (!IsCutShort(name.ToUtf8())) {
    dlerror();
    module = dlopen(name.ToUtf8(), RTLD_NOW | RTLD_LOCAL | kKeepMapped);
    if (module != nullptr) return true;
    why = dlerror();
  }
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
