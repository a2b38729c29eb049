// The idtags file: read whole into a buffer the caller keeps, then parsed as a UTF-16 tag block.
#include "tags/XIdTagsFile.h"

#include "foundation/XDebugLog.h"
#include "foundation/XFile.h"
#include "tags/XTagList.h"

namespace {

bool ReadWhole(const XString& path, XBuffer& bytes) {
  XFile file;
  if (!file.Open(path, XFileMode::Read, XFileMode::OpenExisting, false)) return false;
  bool failed = false;
  int64_t size = file.Size(&failed);
  if (failed || size <= 0 || size >= int64_t(UINT32_MAX) + 1) return false;
  if (!bytes.Resize(uint32_t(size), false, false, 0, true)) return false;
  uint32_t done = 0;
  while (done < bytes.size) {
    uint32_t got = file.Read(bytes.data + done, bytes.size - done, XSeekCurrent, &failed);
    if (failed || got == 0) return false;
    done += got;
  }
  bytes.length = done;
  return true;
}

}  // namespace

bool ReadIdTagsFile(const XString& path, XBuffer& bytes) {
  Log(u"Reading StdIn Tmp File IDTags: ", "ReadIdTagsFile", false);
  bytes.Free();
  bool ok = ReadWhole(path, bytes);
  if (!ok) bytes.Free();
  Log(u"Read", "ReadIdTagsFile", true);
  return ok;
}

bool LoadIdTagsFile(const XString& path, XTagList& list) {
  XBuffer bytes;
  list.Clear();
  if (!ReadIdTagsFile(path, bytes)) return false;
  list.FromBlock(bytes.data, bytes.size);
  return true;
}
