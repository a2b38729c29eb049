// System calls under the path functions: files, folders, randomness and the XDG folders.
#include "foundation/XPath.h"

#include "foundation/XLastError.h"
#include "foundation/XPathSystem.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Windows reports a folder where a file was meant as access denied.
uint32_t SetErrorFromErrno(bool createNew = false) {
  if (errno == EISDIR) {
    XSetLastError(XErrAccessDenied);
    return XErrAccessDenied;
  }
  return XSetLastErrorFromErrno(createNew);
}

// XFile gives an open without sharing a lock on this byte, far behind any real data; moving
// or deleting such a file is a sharing violation, as it is for a Windows handle.
constexpr off_t exclusiveMark = 0x7FFFFFFFFFFFFF01;

bool IsHeld(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat st {};
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = exclusiveMark;
  lock.l_len = 1;
  bool held = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && fcntl(fd, F_OFD_GETLK, &lock) == 0 &&
              lock.l_type != F_UNLCK;
  close(fd);
  return held;
}

bool FailHeld() {
  XSetLastError(XErrSharingViolation);
  return false;
}

bool CopyBytes(int from, int to) {
  char buffer[65536];
  for (;;) {
    ssize_t got = read(from, buffer, sizeof buffer);
    if (got == 0) return true;
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    for (ssize_t done = 0; done < got;) {
      ssize_t put = write(to, buffer + done, size_t(got - done));
      if (put < 0 && errno == EINTR) continue;
      if (put <= 0) return false;
      done += put;
    }
  }
}

// Copies a regular file with its permissions and last write time.
bool CopyFileTo(const std::string& source, const std::string& target, bool failIfExists) {
  int from = open(source.c_str(), O_RDONLY | O_CLOEXEC);
  if (from < 0) return SetErrorFromErrno(), false;
  struct stat st {};
  if (fstat(from, &st) != 0 || S_ISDIR(st.st_mode)) {
    if (S_ISDIR(st.st_mode)) errno = EISDIR;
    SetErrorFromErrno();
    close(from);
    return false;
  }
  int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (failIfExists ? O_EXCL : O_TRUNC);
  int to = open(target.c_str(), flags, st.st_mode & 07777);
  if (to < 0) {
    SetErrorFromErrno(failIfExists);
    close(from);
    return false;
  }
  bool ok = CopyBytes(from, to);
  if (!ok) SetErrorFromErrno();
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  futimens(to, times);
  if (close(to) != 0 && ok) ok = (SetErrorFromErrno(), false);
  close(from);
  if (!ok) unlink(target.c_str());
  return ok;
}

XString HomeFolder() {
  const char* home = getenv("HOME");
  if (home && *home) return xpath::FromSystem(home);
  struct passwd* pw = getpwuid(getuid());
  return (pw && pw->pw_dir) ? xpath::FromSystem(pw->pw_dir) : XString();
}

// An XDG base folder from its variable, which counts only when absolute.
std::string BaseFolder(const char* variable, const char* underHome) {
  const char* value = getenv(variable);
  if (value && value[0] == '/') return value;
  std::string home = xpath::ToSystem(HomeFolder());
  return home.empty() ? std::string() : home + "/" + underHome;
}

// The value of key in user-dirs.dirs: "$HOME/..." or an absolute path, in double quotes.
std::string UserDirsEntry(const char* key) {
  std::string config = BaseFolder("XDG_CONFIG_HOME", ".config");
  if (config.empty()) return {};
  FILE* file = fopen((config + "/user-dirs.dirs").c_str(), "re");
  if (!file) return {};
  std::string result;
  char line[4096];
  size_t keyLength = strlen(key);
  while (fgets(line, sizeof line, file)) {
    const char* p = line + strspn(line, " \t");
    if (strncmp(p, key, keyLength) != 0 || p[keyLength] != '=' || p[keyLength + 1] != '"') continue;
    std::string value(p + keyLength + 2);
    size_t end = value.find('"');
    if (end == std::string::npos) continue;
    value.resize(end);
    if (value.compare(0, 5, "$HOME") == 0 && (value.size() == 5 || value[5] == '/'))
      value = xpath::ToSystem(HomeFolder()) + value.substr(5);
    if (!value.empty() && value[0] == '/') result = value;
  }
  fclose(file);
  while (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

std::string UserDir(const char* key, const char* standard) {
  std::string found = UserDirsEntry(key);
  if (!found.empty()) return found;
  std::string home = xpath::ToSystem(HomeFolder());
  return home.empty() ? std::string() : home + "/" + standard;
}

}  // namespace

namespace xpath {

std::string ToSystem(const XString& path) {
  XString copy(path);
  return copy.ToUtf8();
}

XString FromSystem(const char* path) { return XString(path, true); }

bool CreateFolder(const XString& path) {
  if (mkdir(ToSystem(path).c_str(), 0777) == 0) return true;
  SetErrorFromErrno();
  return false;
}

bool RemoveFolder(const XString& path) {
  if (rmdir(ToSystem(path).c_str()) == 0) return true;
  SetErrorFromErrno();
  return false;
}

bool CreateNewFile(const XString& path) {
  int fd = open(ToSystem(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) return SetErrorFromErrno(true), false;
  close(fd);
  return true;
}

bool RandomBytes(void* data, size_t size) {
  auto* bytes = static_cast<unsigned char*>(data);
  size_t done = 0;
  while (done < size) {
    ssize_t got = getrandom(bytes + done, size - done, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += size_t(got);
  }
  return true;
}

XString UserFolder(int id) {
  std::string folder;
  switch (id) {
    case XFolderAppData:
      folder = BaseFolder("XDG_DATA_HOME", ".local/share");
      break;
    case XFolderDocuments:
      folder = UserDir("XDG_DOCUMENTS_DIR", "Documents");
      break;
    case XFolderMusic:
      folder = UserDir("XDG_MUSIC_DIR", "Music");
      break;
    case XFolderPictures:
      folder = UserDir("XDG_PICTURES_DIR", "Pictures");
      break;
    case XFolderVideo:
      folder = UserDir("XDG_VIDEOS_DIR", "Videos");
      break;
    case XFolderDesktop:
      folder = UserDir("XDG_DESKTOP_DIR", "Desktop");
      break;
    default:
      break;
  }
  return FromSystem(folder.c_str());
}

XString SystemTempFolder() {
  const char* folder = getenv("TMPDIR");
  return FromSystem(folder && *folder ? folder : "");
}

}  // namespace xpath

using xpath::ToSystem;

bool XPath::SetAttributes(const XString& path, uint32_t setMask, uint32_t clearMask) {
  std::string p = ToSystem(path);
  struct stat st {};
  if (stat(p.c_str(), &st) != 0) return SetErrorFromErrno(), false;
  uint32_t old = (st.st_mode & S_IWUSR) ? 0u : uint32_t(XAttrReadOnly);
  uint32_t now = (old | setMask) & ~clearMask;
  mode_t mode = st.st_mode & 07777;
  if (now & XAttrReadOnly)
    mode &= mode_t(~(S_IWUSR | S_IWGRP | S_IWOTH));
  else if (old & XAttrReadOnly)
    mode |= S_IWUSR;
  if (mode != (st.st_mode & 07777) && chmod(p.c_str(), mode) != 0)
    return SetErrorFromErrno(), false;
  return true;
}

uint64_t XPath::SizeOf(const XString& path, bool* outFailed) {
  int fd = open(ToSystem(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  struct stat st {};
  bool ok = fd >= 0 && fstat(fd, &st) == 0 && !S_ISDIR(st.st_mode);
  if (!ok) {
    if (fd >= 0 && S_ISDIR(st.st_mode)) errno = EISDIR;
    SetErrorFromErrno();
  }
  if (fd >= 0) close(fd);
  if (outFailed) *outFailed = !ok;
  return ok ? uint64_t(st.st_size) : 0;
}

XString XPath::ResolvedPath(const XString& path) {
  std::string text = ToSystem(path);
  if (text.empty()) return path;
  if (text[0] != '/') {
    char* here = getcwd(nullptr, 0);
    if (here == nullptr) return path;
    text = std::string(here) + "/" + text;
    free(here);
  }
  // The folder is resolved as far as it exists; the name itself is not followed, since the
  // entry in the folder is what a writer replaces.
  size_t cut = text.rfind('/');
  std::string folder = text.substr(0, cut), rest = text.substr(cut);
  for (;;) {
    char* real = realpath(folder.empty() ? "/" : folder.c_str(), nullptr);
    if (real != nullptr) {
      folder = real;
      free(real);
      break;
    }
    cut = folder.rfind('/');
    if (cut == std::string::npos) break;
    rest = folder.substr(cut) + rest;
    folder.erase(cut);
  }
  if (folder == "/") folder.clear();
  return xpath::FromSystem((folder + rest).c_str());
}

bool XPath::SameFile(const XString& first, const XString& second) {
  struct stat a {
  }, b{};
  if (stat(ToSystem(first).c_str(), &a) == 0 && stat(ToSystem(second).c_str(), &b) == 0)
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
  return ResolvedPath(first) == ResolvedPath(second);
}

bool XPath::DeleteFile(const XString& path) {
  XSetLastError(XErrNone);
  std::string p = ToSystem(path);
  if (IsHeld(p)) return FailHeld();
  if (unlink(p.c_str()) == 0) return true;
  bool folder = errno == EISDIR;
  if (SetErrorFromErrno() != XErrAccessDenied || folder) return false;
  XPath::SetAttributes(path, 0, XAttrReadOnly);
  XSetLastError(XErrNone);
  if (unlink(p.c_str()) == 0) return true;
  SetErrorFromErrno();
  return false;
}

bool XPath::Move(const XString& source, const XString& target, bool replace) {
  std::string from = ToSystem(source);
  std::string to = ToSystem(target);
  if (IsHeld(from) || (replace && IsHeld(to))) return FailHeld();
  unsigned flags = replace ? 0u : unsigned(RENAME_NOREPLACE);
  int result = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags);
  if (result != 0 && errno == EINVAL && !replace) {
    // A file system without the no-replace flag: test first, then rename.
    struct stat st {};
    if (lstat(to.c_str(), &st) == 0) {
      XSetLastError(XErrAlreadyExists);
      return false;
    }
    result = rename(from.c_str(), to.c_str());
  }
  if (result == 0) return true;
  if (errno != EXDEV) return SetErrorFromErrno(), false;
  // Another file system: a file is copied and the source removed, as mv does.
  struct stat st {};
  if (lstat(from.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    XSetLastError(XErrAccessDenied);
    return false;
  }
  if (!replace && lstat(to.c_str(), &st) == 0) {
    XSetLastError(XErrAlreadyExists);
    return false;
  }
  if (!CopyFileTo(from, to, false)) return false;
  if (unlink(from.c_str()) != 0) {
    SetErrorFromErrno();
    unlink(to.c_str());
    return false;
  }
  return true;
}

bool XPath::Copy(const XString& source, const XString& target, bool failIfExists) {
  return CopyFileTo(ToSystem(source), ToSystem(target), failIfExists);
}
