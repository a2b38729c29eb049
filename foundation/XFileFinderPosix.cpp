// The finder's system calls: a folder stream, and statx for each entry.
#include "foundation/XFileFinder.h"

#include "foundation/XLastError.h"
#include "foundation/XPath.h"
#include "foundation/XPathSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <string>
#include <string_view>

namespace {

uint64_t FileTime(const statx_timestamp& t) {
  constexpr int64_t secondsFrom1601 = 11644473600;
  return uint64_t((int64_t(t.tv_sec) + secondsFrom1601) * 10000000 + t.tv_nsec / 100);
}

// Fills data from the entry name in the folder dirFd (or AT_FDCWD with a full path).
bool Describe(int dirFd, const char* name, XFindData& data) {
  struct statx link {};
  if (statx(dirFd, name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &link) != 0)
    return false;
  struct statx target = link;
  bool isLink = S_ISLNK(link.stx_mode);
  // A link counts as what it points at; a dangling one as a file.
  if (isLink && statx(dirFd, name, 0, STATX_BASIC_STATS | STATX_BTIME, &target) != 0) target = link;
  uint32_t attributes = 0;
  if (S_ISDIR(target.stx_mode))
    attributes |= XAttrFolder;
  else if (!(target.stx_mode & S_IWUSR))
    attributes |= XAttrReadOnly;
  if (isLink) attributes |= XAttrLink;
  if (attributes == 0) attributes = XAttrNormal;
  data.attributes = attributes;
  data.size = S_ISDIR(target.stx_mode) ? 0 : target.stx_size;
  data.lastWriteTime = FileTime(target.stx_mtime);
  data.lastAccessTime = FileTime(target.stx_atime);
  data.creationTime =
      FileTime((target.stx_mask & STATX_BTIME) ? target.stx_btime : target.stx_mtime);
  return true;
}

bool HasWildcard(const XString& name) {
  std::u16string_view text(name.CStr());
  return text.find_first_of(u"*?") != std::u16string_view::npos;
}

}  // namespace

bool XFileFinder::First() {
  XString search = pattern;
  bool hasFolder = std::u16string_view(search.CStr()).find(XPathSeparator) != std::u16string::npos;
  pattern = hasFolder ? XPath::FolderOf(search) : XString();
  wildcard = XPath::FileNameOf(search);
  if (wildcard.Length() == 0) {
    XSetLastError(XErrFileNotFound);
    return false;
  }
  if (!HasWildcard(wildcard)) {
    single = true;
    if (!Describe(AT_FDCWD, xpath::ToSystem(search).c_str(), data)) {
      XSetLastErrorFromErrno();
      return false;
    }
    data.name = wildcard;
    return true;
  }
  std::string folder = pattern.Length() ? xpath::ToSystem(pattern) : std::string(".");
  DIR* dir = opendir(folder.c_str());
  if (!dir) {
    XSetLastError(errno == ENOENT ? XErrPathNotFound : XErrorFromErrno(errno));
    return false;
  }
  handle = dir;
  if (ReadEntry()) return true;
  XSetLastError(XErrFileNotFound);
  return false;
}

bool XFileFinder::ReadEntry() {
  if (single || !handle) return false;
  DIR* dir = static_cast<DIR*>(handle);
  while (dirent* entry = readdir(dir)) {
    XString name = xpath::FromSystem(entry->d_name);
    if (!Matches(name)) continue;
    if (!Describe(dirfd(dir), entry->d_name, data)) continue;  // gone since it was listed
    data.name = name;
    return true;
  }
  return false;
}

void XFileFinder::Close() {
  if (handle) closedir(static_cast<DIR*>(handle));
  handle = nullptr;
}
