// A unique temporary folder for one file test, removed with everything in it afterwards.
#pragma once
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "foundation/XString.h"
#include "tests/support/ScratchFolder.h"

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
