// Test fixture that points the settings store at a fresh private folder for each test.
#pragma once
#include "XRegistry.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

class XSettingsSandbox : public ::testing::Test {
protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tvsettings-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder = pattern;
    savedHome = Saved("XDG_CONFIG_HOME");
    savedDirs = Saved("XDG_CONFIG_DIRS");
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    setenv("XDG_CONFIG_DIRS", (folder + "/system").c_str(), 1);
    XRegistry::SetDefaultKey(HKEY_CURRENT_USER, u"Software\\Test");
  }

  void TearDown() override {
    XRegistry::SetDefaultKey(0, nullptr);
    Restore("XDG_CONFIG_HOME", savedHome);
    Restore("XDG_CONFIG_DIRS", savedDirs);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  std::string StoreFolder() const { return folder + "/Morlane/Tonvera"; }
  std::string StoreFile() const { return StoreFolder() + "/settings.db"; }

  std::string folder;

private:
  static std::optional<std::string> Saved(const char* name) {
    const char* value = getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
  }
  static void Restore(const char* name, const std::optional<std::string>& value) {
    if (value) {
      setenv(name, value->c_str(), 1);
    } else {
      unsetenv(name);
    }
  }

  std::optional<std::string> savedHome;
  std::optional<std::string> savedDirs;
};
