// The settings store: type rules, create-on-read, subtrees, damaged stores, and many
// processes writing at once.
#include "foundation/XRegistry.h"
#include "foundation/XRegistryStore.h"
#include "tests/foundation/Fixtures.h"

#include <spawn.h>
#include <sys/wait.h>
#include <atomic>
#include <cstring>
#include <thread>
#include <tuple>

extern char** environ;

namespace {

// Value names as the store lists them; the string-list functions are tested on their own.
std::vector<std::u16string> ValueNames(uint32_t root, const char16_t* key) {
  std::vector<std::u16string> names;
  std::vector<uint32_t> types;
  XRegHandle handle = XRegistry::OpenKey(XRegistry::AccessRead, root, key);
  if (handle) XRegStore::ListValues(handle, names, types);
  XRegistry::CloseKey(handle);
  return names;
}

}  // namespace

std::string Text(const XString& value) { return U8(value); }
template <typename Number>
std::string Text(Number value) {
  return std::to_string(value);
}

// A read's value and whether it failed, as "value" or "value failed".
template <typename Read>
std::string Result(Read read) {
  uint8_t failed = 7;
  std::string text = Text(read(&failed));
  return failed ? text + " failed" : text;
}

std::string Dword(const char16_t* name, const char16_t* key = nullptr) {
  return Result([&](uint8_t* f) { return XRegistry::ReadDWORD(name, 0, key, f); });
}
std::string Qword(const char16_t* name) {
  return Result([&](uint8_t* f) { return XRegistry::ReadQWORD(name, 0, nullptr, f); });
}
std::string Float(const char16_t* name) {
  return Result([&](uint8_t* f) { return XRegistry::ReadFloat(name, 0, nullptr, f); });
}
std::string String(const char16_t* name) {
  return Result([&](uint8_t* f) { return XRegistry::ReadString(name, 0, nullptr, f); });
}

using XRegistryTest = XSettingsSandbox;

TEST_F(XRegistryTest, EachReadTakesOnlyItsOwnType) {
  ASSERT_TRUE(XRegistry::WriteDWORD(0xDEADBEEF, u"Level"));
  ASSERT_TRUE(XRegistry::WriteString(u"12", u"AsText"));
  ASSERT_TRUE(XRegistry::WriteQWORD(0x123456789ABCDEF0ull, u"AsQword"));
  ASSERT_TRUE(XRegistry::WriteBinary(u"AsBinary", "\x01\x00\x00\x00", 4));
  ASSERT_TRUE(XRegistry::WriteFloat(-2.75f, u"Gain"));
  ASSERT_TRUE(XRegistry::WriteString(u"%HOME%\\x", u"Expand", 0, nullptr, true));
  EXPECT_EQ(
      Dword(u"Level") + "," + Dword(u"AsText") + "," + Dword(u"AsQword") + "," + Dword(u"AsBinary"),
      "3735928559,0 failed,0 failed,0 failed");
  EXPECT_EQ(Qword(u"AsQword") + "," + Qword(u"Level"), "1311768467463790320,0 failed");
  EXPECT_EQ(Float(u"Gain") + "," + Float(u"AsQword"), "-2.750000,0.000000 failed");
  // A string and an expandable string pass for each other, unexpanded.
  EXPECT_EQ(String(u"AsText") + "," + String(u"Expand") + "," + String(u"Level") + "," +
                String(u"Missing"),
            "12,%HOME%\\x, failed, failed");
  const std::tuple<const char16_t*, uint32_t, uint32_t> kinds[] = {
      {u"AsQword", XRegistry::TypeQword, 8}, {u"Expand", XRegistry::TypeExpandString, 18}};
  for (auto [name, type, size] : kinds) {
    EXPECT_EQ(XRegistry::ValueType(name), type) << U8(name);
    EXPECT_EQ(XRegistry::ValueSize(name), size) << U8(name);
  }
}

TEST_F(XRegistryTest, BinaryIsDeliveredWholeOrNotAtAll) {
  const uint8_t data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_TRUE(XRegistry::WriteBinary(u"Blob", data, sizeof data));
  ASSERT_TRUE(XRegistry::WriteString(u"text", u"Text"));
  // A larger buffer keeps its tail; a failed read clears the whole buffer.
  const std::tuple<const char16_t*, uint32_t, bool> reads[] = {
      {u"Blob", 8, true}, {u"Blob", 9, true}, {u"Blob", 7, false}, {u"Text", 16, false}};
  for (auto [name, size, ok] : reads) {
    std::vector<uint8_t> buffer(size, 0xAA), expected(size, ok ? 0xAA : 0);
    if (ok) std::copy(data, data + 8, expected.begin());
    EXPECT_EQ(XRegistry::ReadBinary(name, buffer.data(), size), ok) << size;
    EXPECT_EQ(buffer, expected) << size;
  }
  ASSERT_TRUE(XRegistry::WriteBinary(u"Nothing", nullptr, 0));
  EXPECT_EQ(XRegistry::ValueSize(u"Nothing"), 0u);
  EXPECT_TRUE(XRegistry::ValueExists(u"Nothing"));
}

TEST_F(XRegistryTest, KeysAndNamesIgnoreCase) {
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"Volume", 0, u"Software\\Mixed\\Case"));
  EXPECT_EQ(XRegistry::ReadDWORD(u"VOLUME", 0, u"SOFTWARE\\mixed\\CASE"), 1u);
  ASSERT_TRUE(XRegistry::WriteDWORD(2, u"vOLUME", 0, u"software\\MIXED\\case"));
  EXPECT_EQ(XRegistry::ReadDWORD(u"volume", 0, u"Software\\Mixed\\Case"), 2u);
}

TEST_F(XRegistryTest, NoDefaultAndNoKeyLeavesTheStoreUntouched) {
  XRegistry::SetDefaultKey(0, nullptr);
  EXPECT_EQ(Dword(u"Level"), "0 failed");
  EXPECT_FALSE(XRegistry::WriteDWORD(1, u"Level"));
  EXPECT_FALSE(XRegistry::ValueExists(u"Level"));
  EXPECT_EQ(XRegistry::OpenKey(XRegistry::AccessRead), nullptr);
  EXPECT_FALSE(std::filesystem::exists(folder + "/Morlane"));
}

TEST_F(XRegistryTest, DeleteKeyRemovesTheWholeSubtree) {
  const char16_t* parent = u"Software\\Test";
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"V", 0, u"Software\\Test\\A\\B\\C"));
  ASSERT_TRUE(XRegistry::WriteDWORD(2, u"V", 0, u"Software\\Test\\A\\B"));
  ASSERT_TRUE(XRegistry::WriteDWORD(3, u"V", 0, u"Software\\Test\\A\\D"));
  ASSERT_TRUE(XRegistry::WriteDWORD(4, u"V", 0, u"Software\\Test\\Ab"));
  ASSERT_TRUE(XRegistry::WriteDWORD(5, u"V", 0, parent));
  XRegistry::DeleteKey(XRegistry::RootCurrentUser, parent, u"a");
  for (const char16_t* gone :
       {u"Software\\Test\\A", u"Software\\Test\\A\\B\\C", u"Software\\Test\\A\\D", u""})
    EXPECT_FALSE(XRegistry::KeyExists(XRegistry::RootCurrentUser, gone)) << U8(gone);
  EXPECT_EQ(XRegistry::ReadDWORD(u"V", 0, u"Software\\Test\\Ab"), 4u);
  EXPECT_EQ(XRegistry::ReadDWORD(u"V", 0, parent), 5u);
}

TEST_F(XRegistryTest, OpenKeyGivesAHandleThatReadsAndWritesAsAsked) {
  XRegHandle reader = XRegistry::OpenKey(XRegistry::AccessQuery);
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(XRegStore::Set(reader, u"X", XRegistry::TypeDword, "\1\0\0\0", 4),
            XRegStore::AccessDenied);
  XRegistry::CloseKey(reader);
  XRegHandle writer = XRegistry::OpenKey(XRegistry::AccessAll, 0, u"Software\\Fresh");
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(XRegStore::Set(writer, u"X", XRegistry::TypeDword, "\1\0\0\0", 4), XRegStore::Ok);
  XRegistry::CloseKey(writer);
  EXPECT_EQ(XRegistry::ReadDWORD(u"X", 0, u"Software\\Fresh"), 1u);
}

TEST_F(XRegistryTest, OtherRootsReadTheSystemStoreAndAreNeverWritten) {
  // Make a system store by writing one as a user whose folder is the system folder.
  setenv("XDG_CONFIG_HOME", (folder + "/system").c_str(), 1);
  ASSERT_TRUE(XRegistry::WriteDWORD(42, u"V", XRegistry::RootCurrentUser, u"Software\\Sys"));
  setenv("XDG_CONFIG_HOME", folder.c_str(), 1);

  EXPECT_EQ(XRegistry::ReadDWORD(u"v", XRegistry::RootLocalMachine, u"software\\sys"), 42u);
  EXPECT_EQ(XRegistry::ReadDWORD(u"V", XRegistry::RootCurrentUser, u"Software\\Sys"), 0u);
  EXPECT_FALSE(XRegistry::WriteDWORD(1, u"V", XRegistry::RootLocalMachine, u"Software\\Sys"));
  EXPECT_TRUE(XRegistry::KeyExists(XRegistry::RootLocalMachine, u"Software\\Sys"));
}

TEST_F(XRegistryTest, WithoutXdgConfigHomeTheStoreIsUnderHome) {
  const std::string underHome = folder + "/.config/Morlane/Tonvera/settings.db";
  ScopedEnv home("HOME", folder.c_str());
  ScopedEnv unset("XDG_CONFIG_HOME", nullptr);
  EXPECT_EQ(XRegStore::UserStorePath(), underHome);
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"V"));
  EXPECT_TRUE(std::filesystem::exists(underHome));
}

TEST_F(XRegistryTest, DamagedStoresGiveDefaultsAndAreLeftAlone) {
  const std::string garbage(8192, '\x5a');
  for (int damage = 0; damage < 3; ++damage) {
    std::filesystem::remove_all(folder + "/Morlane");
    if (damage == 0) {
      std::filesystem::create_directories(StoreFolder());
      std::ofstream(StoreFile(), std::ios::binary) << garbage;
    }
    if (damage == 1) std::filesystem::create_directories(StoreFile());  // a folder in the way
    if (damage == 2) std::ofstream(folder + "/Morlane") << "a file where the folder should be";
    EXPECT_EQ(Dword(u"V") + "," + Qword(u"V") + "," + U8(XRegistry::ReadString(u"S")),
              "0 failed,0 failed,")
        << damage;
    EXPECT_FALSE(XRegistry::WriteDWORD(1, u"V")) << damage;
    EXPECT_FALSE(XRegistry::ValueExists(u"V")) << damage;
    EXPECT_FALSE(XRegistry::KeyExists(XRegistry::RootCurrentUser, u"Software")) << damage;
    EXPECT_EQ(XRegistry::OpenKey(XRegistry::AccessRead), nullptr) << damage;
    XRegistry::DeleteKey(XRegistry::RootCurrentUser, u"Software", u"Test");
  }
  std::filesystem::remove_all(folder + "/Morlane");
  std::filesystem::create_directories(StoreFolder());
  std::ofstream(StoreFile(), std::ios::binary) << garbage;
  XRegistry::WriteDWORD(1, u"V");
  XRegistry::DeleteKey(XRegistry::RootCurrentUser, u"Software", u"Test");
  std::ifstream in(StoreFile(), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), garbage);
}

TEST_F(XRegistryTest, TwentyProcessesWritingAtOnceLoseNothing) {
  constexpr int processes = 20;
  constexpr int writes = 40;
  const std::string helper = std::string(TV_TEST_BIN_DIR) + "/tvtest_regwriter";
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    std::string index = std::to_string(i);
    std::string count = std::to_string(writes);
    char* argv[] = {const_cast<char*>(helper.c_str()), index.data(), count.data(), nullptr};
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, helper.c_str(), nullptr, nullptr, argv, environ), 0);
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "writer failed: " << status;
  }
  const char16_t* shared = u"Software\\Stress";
  EXPECT_EQ(ValueNames(XRegistry::RootCurrentUser, shared).size(), size_t(processes * writes));
  // Each writer read its values back; here, that none was lost to a later writer.
  EXPECT_EQ(XRegistry::ReadDWORD(u"W19_39", XRegistry::RootCurrentUser, shared), 19039u);
}
