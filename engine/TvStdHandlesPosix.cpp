// Standard descriptor checks through the system.
#include "TvStdHandles.h"

#include <fcntl.h>

bool TvIsOpenDescriptor(int fd) { return fcntl(fd, F_GETFD) != -1; }
