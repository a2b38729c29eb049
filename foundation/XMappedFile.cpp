// XMappedFile: an exclusive open and a read-only view of the whole file.
#include "foundation/XMappedFile.h"

#include "foundation/XFilePlatform.h"
#include "foundation/XLastError.h"

XMappedFile::~XMappedFile() { CloseMapped(); }

bool XMappedFile::OpenMapped(const XString& name) {
  CloseMapped();
  if (!Open(name, XFileMode::Read, XFileMode::OpenExisting, false, false)) return false;
  bool failed = false;
  int64_t size = Size(&failed);
  if (failed) {
    Close();
    return false;
  }
  if (size == 0) return true;
  view = xfileos::MapReadOnly(handle, uint64_t(size));
  if (!view) {
    Close();
    return false;
  }
  viewSize = uint64_t(size);
  return true;
}

void XMappedFile::CloseMapped() {
  xfileos::Unmap(view, viewSize);
  view = nullptr;
  viewSize = 0;
  Close();
}
