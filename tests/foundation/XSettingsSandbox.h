// Test fixture that points the settings store at a fresh private folder for each test.
#pragma once
#include "foundation/XRegistry.h"
#include "tests/support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

class XSettingsSandbox : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = scratch.Folder();
    configHome.emplace("XDG_CONFIG_HOME", folder.c_str());
    configDirs.emplace("XDG_CONFIG_DIRS", (folder + "/system").c_str());
    XRegistry::SetDefaultKey(HKEY_CURRENT_USER, u"Software\\Test");
  }

  void TearDown() override {
    XRegistry::SetDefaultKey(0, nullptr);
    configDirs.reset();
    configHome.reset();
  }

  std::string StoreFolder() const { return folder + "/Morlane/Tonvera"; }
  std::string StoreFile() const { return StoreFolder() + "/settings.db"; }

  std::string folder;

 private:
  ScratchFolder scratch;
  std::optional<ScopedEnv> configHome;
  std::optional<ScopedEnv> configDirs;
};
