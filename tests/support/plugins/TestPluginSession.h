// Test side of the test plug-ins: a scratch folder, the configuration file and the call log.
#pragma once
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "foundation/XString.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/plugins/TestPlugin.h"

// Writes the configuration into a fresh folder and points the plug-ins at it while it lives.
class TestPluginSession {
 public:
  TestPluginSession() : env(TVTEST_CONFIG_VARIABLE, (folder / "plugins.conf").c_str()) {
    Configure({});
  }

  // Replaces the configuration; "log=" is always added.
  void Configure(const std::vector<std::string>& lines) {
    std::ofstream file(folder / "plugins.conf", std::ios::trunc);
    file << "log=" << LogPath() << "\n";
    for (const std::string& line : lines) file << line << "\n";
  }

  // The bytes of a file in the folder.
  std::string Read(const std::string& name) const {
    std::ifstream in(folder / name, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), {});
  }

  std::string LogPath() const { return folder / "calls.log"; }
  const ScratchFolder& Folder() const { return folder; }

  // Every recorded call, one line each, oldest first; the log starts anew.
  std::vector<std::string> TakeCalls() const {
    std::vector<std::string> lines;
    std::ifstream file(LogPath());
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    unlink(LogPath().c_str());
    return lines;
  }

  // A library of the test plug-in folders as the bindings take it: "decoder/TestDecoder.so".
  static XString Library(const std::string& relative) {
    return XString::FromUtf8(std::string(TV_TEST_PLUGIN_DIR) + "/" + relative);
  }

 private:
  ScratchFolder folder;
  ScopedEnv env;
};
