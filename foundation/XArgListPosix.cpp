// The process's own options: its arguments as the kernel keeps them in /proc/self/cmdline.
#include "foundation/XArgList.h"

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

XArgList::XArgList() {
  // There is no raw command line on Linux: the arguments are read as the program got them.
  std::ifstream in("/proc/self/cmdline", std::ios::binary);
  std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<const char*> argv;
  for (size_t at = 0; at < all.size(); at = all.find('\0', at) + 1)
    argv.push_back(all.c_str() + at);
  ParseArgv(int(argv.size()), argv.data(), 1);
}
