// Runs another program for a test, with its standard output (and error, when asked) on a pipe.
#pragma once
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

extern char** environ;

// A running program with its standard output (and error, when asked) on a pipe.
class ChildProcess {
 public:
  ChildProcess(const std::string& program, std::vector<std::string> args, bool withErrors = false) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    if (withErrors) posix_spawn_file_actions_adddup2(&actions, fds[1], 2);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    out = fds[0];
  }
  ~ChildProcess() {
    Kill();
    if (out >= 0) close(out);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The next line of output without its newline; empty after 20 s or at the end.
  std::string ReadLine() {
    std::string line;
    char c;
    pollfd p{out, POLLIN, 0};
    while (poll(&p, 1, 20000) > 0 && read(out, &c, 1) == 1 && c != '\n') line += c;
    return line;
  }

  // Reads lines until one equals want; false when the output ends first.
  bool WaitFor(const std::string& want) {
    for (std::string line = ReadLine(); !line.empty(); line = ReadLine())
      if (line == want) return true;
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

// Runs a program to its end; gives its exit code and its output.
inline int RunChild(const std::string& program, const std::vector<std::string>& args,
                    std::string* output = nullptr, bool withErrors = false) {
  ChildProcess child(program, args, withErrors);
  std::string text, line;
  while (!(line = child.ReadLine()).empty()) text += line + "\n";
  if (output) *output = text;
  return child.Wait();
}
