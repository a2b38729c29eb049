// The plug-in records' layout on this 64-bit build, as C++ and C see it.
#include <gtest/gtest.h>

#include "sdk/tv_plugin.h"

extern "C" const size_t tvPluginLayoutFromC[];
extern "C" const size_t tvPluginLayoutCountFromC;

namespace {

static_assert(sizeof(void*) == 8, "this test pins the 64-bit layout; layout32 pins the 32-bit one");

struct Measure {
  const char* name;
  size_t cpp;
  size_t expected;
};

const Measure layout[] = {
#define TV_SIZE(type, size32, size64) {#type " size", sizeof(type), size64},
#define TV_FIELD(type, field, offset32, offset64) \
  {#type "." #field, offsetof(type, field), offset64},
#include "tests/sdk/support/tv_plugin_layout.def"
};

TEST(TvPluginLayoutTest, CAndCppLayTheRecordsOutAsPinned) {
  ASSERT_EQ(std::size(layout), tvPluginLayoutCountFromC);
  for (size_t i = 0; i < std::size(layout); ++i) {
    EXPECT_EQ(layout[i].expected, layout[i].cpp) << layout[i].name;
    EXPECT_EQ(layout[i].cpp, tvPluginLayoutFromC[i]) << layout[i].name << " in C";
  }
}

}  // namespace
