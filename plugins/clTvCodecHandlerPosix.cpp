// The codec handler's one system call: whether a path is a regular file.
#include "plugins/clTvCodecHandler.h"

#include <sys/stat.h>

bool clTvCodecHandler::IsLibraryFile(const XString& path) {
  struct stat info {};
  return !path.IsEmpty() && stat(path.ToUtf8(), &info) == 0 && S_ISREG(info.st_mode);
}
