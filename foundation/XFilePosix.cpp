// System calls of the file wrapper: open with sharing by lock, read, write, seek, size, times.
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <strings.h>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "foundation/XFilePlatform.h"
#include "foundation/XLastError.h"

namespace xfileos {
namespace {

// Sharing is told by locks on two bytes far behind any real data: every reader of ours holds
// a read lock on the open mark, and an opener without sharing locks the exclusive mark too.
constexpr off_t kOpenMark = 0x7FFFFFFFFFFFFF00;
constexpr off_t kExclusiveMark = kOpenMark + 1;

bool LockByte(int fd, off_t where, short type) {
  struct flock fl {};
  fl.l_type = type;
  fl.l_whence = SEEK_SET;
  fl.l_start = where;
  fl.l_len = 1;
  return fcntl(fd, F_OFD_SETLK, &fl) == 0;
}

// True when another open file description holds any lock on the byte.
bool OthersHold(int fd, off_t where) {
  struct flock fl {};
  fl.l_type = F_WRLCK;
  fl.l_whence = SEEK_SET;
  fl.l_start = where;
  fl.l_len = 1;
  if (fcntl(fd, F_OFD_GETLK, &fl) != 0) return false;
  return fl.l_type != F_UNLCK;
}

bool TakeSharing(int fd, bool readable, bool writable, bool shareable) {
  if (shareable) {
    if (readable && !LockByte(fd, kOpenMark, F_RDLCK)) return false;
    return !OthersHold(fd, kExclusiveMark);
  }
  short type = writable ? F_WRLCK : F_RDLCK;
  if (!LockByte(fd, kOpenMark, type) || !LockByte(fd, kExclusiveMark, type)) return false;
  return !OthersHold(fd, kOpenMark) && !OthersHold(fd, kExclusiveMark);
}

int OpenFlags(uint32_t access) {
  bool r = access & XFileMode::Read, w = access & XFileMode::Write;
  int mode = (r && w) ? O_RDWR : w ? O_WRONLY : O_RDONLY;
  return mode | O_CLOEXEC;
}

// Opens an existing file or creates one, telling which it was.
int OpenOrCreate(const char* name, int flags, bool* existed) {
  for (int attempt = 0; attempt < 5; ++attempt) {
    int fd = open(name, flags | O_CREAT | O_EXCL, 0666);
    if (fd >= 0 || errno != EEXIST) {
      *existed = false;
      return fd;
    }
    fd = open(name, flags);
    if (fd >= 0 || errno != ENOENT) {
      *existed = true;
      return fd;
    }
  }
  return -1;
}

int OpenByDisposition(const char* name, int flags, uint32_t disposition, bool* existed) {
  *existed = false;
  switch (disposition) {
    case XFileMode::CreateNew:
      return open(name, flags | O_CREAT | O_EXCL, 0666);
    case XFileMode::CreateAlways:
    case XFileMode::OpenAlways:
      return OpenOrCreate(name, flags, existed);
    case XFileMode::OpenExisting:
    case XFileMode::TruncateExisting:
      *existed = true;
      return open(name, flags);
    default:
      errno = EINVAL;
      return -1;
  }
}

uint64_t ToFileTime(int64_t seconds, uint32_t nanoseconds) {
  constexpr int64_t kEpochDifference = 11644473600;  // 1601 to 1970, in seconds
  return uint64_t(seconds + kEpochDifference) * 10000000u + nanoseconds / 100u;
}

}  // namespace

OpenResult Open(const char* name, uint32_t access, uint32_t disposition, bool shareable) {
  OpenResult result;
  int fd = OpenByDisposition(name, OpenFlags(access), disposition, &result.existed);
  if (fd < 0) {
    XSetLastErrorFromErrno(disposition == XFileMode::CreateNew);
    return result;
  }
  struct stat st {};
  fstat(fd, &st);
  if (S_ISDIR(st.st_mode)) {
    close(fd);
    XSetLastError(XErrAccessDenied);
    return result;
  }
  if (S_ISREG(st.st_mode) &&
      !TakeSharing(fd, access & XFileMode::Read, access & XFileMode::Write, shareable)) {
    close(fd);
    XSetLastError(XErrSharingViolation);
    return result;
  }
  bool truncate = disposition == XFileMode::TruncateExisting ||
                  (disposition == XFileMode::CreateAlways && result.existed);
  if (truncate && S_ISREG(st.st_mode) && ftruncate(fd, 0) != 0) {
    XSetLastErrorFromErrno();
    close(fd);
    return result;
  }
  result.handle = fd;
  XSetLastError(result.existed && (disposition == XFileMode::CreateAlways ||
                                   disposition == XFileMode::OpenAlways)
                    ? XErrAlreadyExists
                    : XErrNone);
  return result;
}

void Close(XHandle h) {
  if (h >= 0) close(h);
}

// An abstract socket name: the kernel frees it with its last holder, even one that was killed,
// it leaves no file behind and needs no folder that every user may write to.
XHandle Claim(const char* key) {
  // Two 64-bit FNV-1a sums of different seeds: 128 bits of the key fit any socket name.
  uint64_t sums[2] = {0xcbf29ce484222325ull, 0x84222325cbf29ce4ull};
  for (const char* at = key; *at; ++at)
    for (uint64_t& sum : sums) sum = (sum ^ static_cast<unsigned char>(*at)) * 0x100000001b3ull;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const int length =
      snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "tonvera-claim-%016llx%016llx",
               static_cast<unsigned long long>(sums[0]), static_cast<unsigned long long>(sums[1]));
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    XSetLastErrorFromErrno();
    return XInvalidHandle;
  }
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0) return fd;
  if (errno == EADDRINUSE)
    XSetLastError(XErrSharingViolation);
  else
    XSetLastErrorFromErrno();
  close(fd);
  return XInvalidHandle;
}

XHandle Duplicate(XHandle h, bool inheritable) {
  if (h < 0) {
    XSetLastError(XErrInvalidParameter);
    return XInvalidHandle;
  }
  int fd = fcntl(h, inheritable ? F_DUPFD : F_DUPFD_CLOEXEC, 0);
  if (fd < 0) XSetLastErrorFromErrno();
  return fd;
}

bool Read(XHandle h, void* buffer, uint32_t count, uint32_t* outGot) {
  constexpr uint32_t kChunk = 1u << 30;
  uint32_t got = 0;
  while (got < count) {
    uint32_t ask = count - got < kChunk ? count - got : kChunk;
    ssize_t r = read(h, static_cast<char*>(buffer) + got, ask);
    if (r < 0 && errno == EINTR) continue;
    if (r < 0) {
      *outGot = got;
      XSetLastErrorFromErrno();
      return false;
    }
    got += uint32_t(r);
    if (uint32_t(r) < ask) break;
  }
  *outGot = got;
  return true;
}

bool Write(XHandle h, const void* buffer, uint32_t count, uint32_t* outWritten) {
  // A reader that has gone must give a failed write, not end the process: SIGPIPE is held
  // back for this thread, and one raised here is taken away again.
  sigset_t pipeSet, oldSet;
  sigemptyset(&pipeSet);
  sigaddset(&pipeSet, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSet, &oldSet);
  sigset_t pending;
  sigpending(&pending);
  bool pipeWasPending = sigismember(&pending, SIGPIPE) == 1;

  uint32_t done = 0;
  bool ok = true;
  while (done < count) {
    ssize_t r = write(h, static_cast<const char*>(buffer) + done, count - done);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) {
      if (r == 0) errno = ENOSPC;
      XSetLastErrorFromErrno();
      if (errno == EPIPE && !pipeWasPending) {
        timespec zero{};
        sigtimedwait(&pipeSet, nullptr, &zero);
      }
      ok = false;
      break;
    }
    done += uint32_t(r);
  }
  pthread_sigmask(SIG_SETMASK, &oldSet, nullptr);
  *outWritten = done;
  return ok;
}

bool Seek(XHandle h, int64_t offset, uint32_t origin, int64_t* outPosition) {
  int whence = origin == XSeekStart ? SEEK_SET : origin == XSeekEnd ? SEEK_END : SEEK_CUR;
  off_t at = lseek(h, offset, whence);
  if (at < 0) {
    XSetLastErrorFromErrno();
    return false;
  }
  if (outPosition) *outPosition = at;
  return true;
}

int64_t Size(XHandle h) {
  struct stat st {};
  if (fstat(h, &st) != 0) {
    XSetLastErrorFromErrno();
    return -1;
  }
  return st.st_size;
}

bool EndFileAt(XHandle h, int64_t size) {
  if (ftruncate(h, size) == 0) return true;
  XSetLastErrorFromErrno();
  return false;
}

bool FileTime(XHandle h, const char* name, TimeKind kind, uint64_t* outTime) {
  struct statx sx {};
  int r = h >= 0 ? statx(h, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &sx)
                 : statx(AT_FDCWD, name, 0, STATX_BASIC_STATS | STATX_BTIME, &sx);
  *outTime = 0;
  if (r != 0) {
    XSetLastErrorFromErrno();
    return false;
  }
  // File systems without a birth time give the last write time as the creation time.
  const statx_timestamp* t = &sx.stx_mtime;
  if (kind == TimeKind::LastAccess) t = &sx.stx_atime;
  if (kind == TimeKind::Creation && (sx.stx_mask & STATX_BTIME)) t = &sx.stx_btime;
  *outTime = ToFileTime(t->tv_sec, t->tv_nsec);
  return true;
}

const uint8_t* MapReadOnly(XHandle h, uint64_t size) {
  void* view = mmap(nullptr, size, PROT_READ, MAP_SHARED, h, 0);
  if (view != MAP_FAILED) return static_cast<const uint8_t*>(view);
  XSetLastErrorFromErrno();
  return nullptr;
}

void Unmap(const uint8_t* view, uint64_t size) {
  if (view) munmap(const_cast<uint8_t*>(view), size);
}

void DeleteFilesEndingWith(const char* folder, const char* suffix) {
  DIR* dir = opendir(folder);
  if (!dir) return;
  size_t suffixLength = strlen(suffix);
  std::string base(folder);
  if (!base.empty() && base.back() != '/') base += '/';
  while (dirent* entry = readdir(dir)) {
    size_t n = strlen(entry->d_name);
    if (n < suffixLength || strcasecmp(entry->d_name + n - suffixLength, suffix) != 0) continue;
    std::string full = base + entry->d_name;
    struct stat st {};
    if (lstat(full.c_str(), &st) == 0 && S_ISREG(st.st_mode)) unlink(full.c_str());
  }
  closedir(dir);
}

bool Delete(const char* name) {
  if (unlink(name) == 0) return true;
  XSetLastErrorFromErrno();
  return false;
}

bool Replace(const char* from, const char* to) {
  if (rename(from, to) == 0) return true;
  XSetLastErrorFromErrno();
  return false;
}

uint32_t ProcessId() { return uint32_t(getpid()); }

void SleepMs(uint32_t ms) {
  timespec ts{time_t(ms / 1000), long(ms % 1000) * 1000000L};
  while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
  }
}

}  // namespace xfileos
