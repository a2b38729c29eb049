// XMappedFile: a whole file held exclusively and mapped read-only into memory.
#pragma once
#include <cstdint>

#include "foundation/XFile.h"

class XMappedFile : public XFile {
 public:
  ~XMappedFile() override;

  // An empty file succeeds with no view (view null, viewSize 0).
  bool OpenMapped(const XString& path);
  void CloseMapped();

  const uint8_t* view = nullptr;
  uint64_t viewSize = 0;
};
