// Helpers shared by the foundation tests: many results on one line, a scratch folder for file
// tests, and a private settings store.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "foundation/XLastError.h"
#include "foundation/XRegistry.h"
#include "foundation/XString.h"
#include "foundation/XStringList.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestText.h"

// The error a call left when it failed, 0 when it succeeded.
inline uint32_t FailedWith(bool ok) { return ok ? 0 : XGetLastError(); }

// Shows strings as UTF-8 in failure messages.
inline void PrintTo(const XString& s, std::ostream* os) { *os << '"' << U8(s) << '"'; }

using Ints = std::vector<int64_t>;

// Results joined by '|', so that one expectation checks a whole row of cases.
inline std::string Joined(std::initializer_list<XString> items) {
  std::string out;
  for (const XString& item : items)
    out += (out.empty() && &item == items.begin() ? "" : "|") + U8(item);
  return out;
}

// A list's count, then its items: "2:a|b"; an empty list is "0:" and one empty item "1:".
inline std::string Listed(const XStringList& list) {
  std::string out = std::to_string(list.Count()) + ":";
  for (int32_t i = 0; i < list.Count(); ++i) out += (i ? "|" : "") + U8(list[i]);
  return out;
}

// A list of the given texts, in order.
inline XStringList ListOf(const std::vector<std::u16string>& texts) {
  XStringList list;
  for (const auto& t : texts) list.Add(t.c_str());
  return list;
}

class XFileTestFolder : public ::testing::Test {
 protected:
  void SetUp() override { folder = scratch.Folder(); }

  std::string Native(const char* name) const { return folder + "/" + name; }
  XString Path(const char* name) const { return XString::FromUtf8(Native(name)); }
  void Put(const char* name, const std::string& bytes) const {
    std::ofstream(Native(name), std::ios::binary) << bytes;
  }
  std::string Get(const char* name) const {
    std::ifstream in(Native(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  bool Exists(const char* name) const { return std::filesystem::exists(Native(name)); }

  ScratchFolder scratch;
  std::string folder;
};

// Points the settings store at a fresh private folder for each test.
class XSettingsSandbox : public XFileTestFolder {
 protected:
  void SetUp() override {
    XFileTestFolder::SetUp();
    configHome.emplace("XDG_CONFIG_HOME", folder.c_str());
    configDirs.emplace("XDG_CONFIG_DIRS", (folder + "/system").c_str());
    XRegistry::SetDefaultKey(XRegistry::RootCurrentUser, u"Software\\Test");
  }
  void TearDown() override {
    XRegistry::SetDefaultKey(0, nullptr);
    configDirs.reset();
    configHome.reset();
  }

  std::string StoreFolder() const { return folder + "/Morlane/Tonvera"; }
  std::string StoreFile() const { return StoreFolder() + "/settings.db"; }

 private:
  std::optional<ScopedEnv> configHome;
  std::optional<ScopedEnv> configDirs;
};
