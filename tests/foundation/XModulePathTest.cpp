// Paths of the running program and of loaded libraries.
#include "foundation/XModulePath.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/stat.h>

namespace {

bool IsFile(const XString& path) {
  struct stat info {};
  return stat(path.ToUtf8String().c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

TEST(XModulePathTest, MainModuleAndItsFolderAreThisTestProgram) {
  XString path = ModulePath();
  EXPECT_TRUE(path.EndsWith(u"/foundation_tests"));
  EXPECT_TRUE(IsFile(path));
  EXPECT_EQ(ModulePath(reinterpret_cast<const void*>(&ModuleFolder)), path);
  XString folder = ModuleFolder();
  EXPECT_EQ(folder.CharAt(XString::LastChar), u'/');
  EXPECT_EQ(folder + u"foundation_tests", path);
}

TEST(XModulePathTest, AnAddressInALoadedLibraryNamesThatLibrary) {
  void* library = dlopen("libz.so.1", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr);
  const std::string path = ModulePath(dlsym(library, "zlibVersion")).ToUtf8String();
  EXPECT_NE(path.find("/libz.so"), std::string::npos) << path;
  dlclose(library);
}
