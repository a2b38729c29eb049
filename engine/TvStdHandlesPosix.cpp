// Standard descriptor checks through the system.
#include "engine/TvStdHandles.h"

#include <fcntl.h>
#include <unistd.h>

bool TvIsOpenDescriptor(int fd) { return fcntl(fd, F_GETFD) != -1; }

bool TvIsTerminal(int fd) { return fd >= 0 && isatty(fd) == 1; }

void TvKeepFromChildren(int fd) {
  if (fd < 0) return;
  const int flags = fcntl(fd, F_GETFD);
  if (flags != -1) fcntl(fd, F_SETFD, flags | FD_CLOEXEC);
}
