// Prints the options this process sees as key=value pairs, for the option list's tests.
#include "foundation/XArgList.h"

#include <cstdio>

int main() {
  XArgList args;
  for (int32_t i = 0; i < args.Count(); ++i)
    std::printf("%s=%s|", args.keys[i].ToUtf8String().c_str(),
                args.values[i].ToUtf8String().c_str());
  std::printf("\n");
  return 0;
}
