// Peer programs and names of the named-object tests, and what is left in /dev/shm.
#pragma once
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "tests/support/ChildProcess.h"

namespace named_peer {

using Peer = ChildProcess;
inline int RunPeer(const std::string& program, const std::vector<std::string>& args,
                   std::string* output = nullptr) {
  return RunChild(program, args, output);
}

// A name no other test (or test process) uses.
inline std::string UniqueName(const char* tag) {
  static std::atomic<int> counter{0};
  return "tvtest-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + "-" + tag;
}

// The object's file as the C layer names it: per user and per kind.
inline std::string ShmPath(const char* kind, const std::string& name) {
  return "/dev/shm/tv-" + std::to_string(getuid()) + "-" + kind + "-" + name;
}

inline bool ShmExists(const char* kind, const std::string& name) {
  struct stat st;
  return stat(ShmPath(kind, name).c_str(), &st) == 0;
}

inline std::string CPeer() { return std::string(TV_TEST_BIN_DIR) + "/tv_named_peer"; }

}  // namespace named_peer
