// Starts peer programs for the named-object tests and looks at what is left in /dev/shm.
#pragma once
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <vector>

extern char** environ;

namespace named_peer {

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

// A running peer with its standard output on a pipe.
class Peer {
 public:
  Peer(const std::string& program, const std::vector<std::string>& args) {
    int fds[2];
    if (pipe(fds) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    out = fds[0];
  }
  ~Peer() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      Wait();
    }
    if (out >= 0) close(out);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  bool Started() const { return pid > 0; }

  // The next line of output without its newline; empty after 20 s or at the end.
  std::string ReadLine() {
    std::string line;
    char c;
    while (true) {
      pollfd p{out, POLLIN, 0};
      if (poll(&p, 1, 20000) <= 0 || read(out, &c, 1) != 1 || c == '\n') return line;
      line += c;
    }
  }

  // Reads lines until one equals want; false when the output ends first.
  bool WaitFor(const std::string& want) {
    for (int i = 0; i < 20; ++i) {
      std::string line = ReadLine();
      if (line == want) return true;
      if (line.empty()) return false;
    }
    return false;
  }

  // The exit code, or 128 plus the signal that ended it.
  int Wait() {
    int status = 0;
    if (pid <= 0 || waitpid(pid, &status, 0) != pid) return -1;
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  int Kill() {
    if (pid > 0) kill(pid, SIGKILL);
    return Wait();
  }

 private:
  pid_t pid = -1;
  int out = -1;
};

// Runs a peer to its end; gives its exit code and its output.
inline int RunPeer(const std::string& program, const std::vector<std::string>& args,
                   std::string* output = nullptr) {
  Peer peer(program, args);
  std::string text, line;
  while (!(line = peer.ReadLine()).empty()) text += line + "\n";
  if (output) *output = text;
  return peer.Wait();
}

inline std::string CPeer() { return std::string(TV_TEST_BIN_DIR) + "/tv_named_peer"; }
inline std::string CxxPeer() { return std::string(TV_TEST_BIN_DIR) + "/XNamedPeer"; }

}  // namespace named_peer
