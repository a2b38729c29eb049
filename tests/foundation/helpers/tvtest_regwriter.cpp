// Test helper: one of many processes writing the settings store at once.
// Usage: tvtest_regwriter <index> <count>. Exits 1 if any write or read back failed.
#include "foundation/XRegistry.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::u16string Wide(const std::string& text) { return std::u16string(text.begin(), text.end()); }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: tvtest_regwriter <index> <count>\n");
    return 2;
  }
  int index = atoi(argv[1]);
  int count = atoi(argv[2]);
  XRegistry::SetDefaultKey(XRegistry::RootCurrentUser, u"Software\\Stress");
  int failures = 0;
  for (int i = 0; i < count; ++i) {
    uint32_t value = uint32_t(index * 1000 + i);
    std::u16string name = Wide("W" + std::to_string(index) + "_" + std::to_string(i));
    failures += !XRegistry::WriteDWORD(value, name.c_str());
    failures += XRegistry::ReadDWORD(name.c_str()) != value;
  }
  if (failures) fprintf(stderr, "tvtest_regwriter %d: %d failures\n", index, failures);
  return failures ? 1 : 0;
}
