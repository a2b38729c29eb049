// A host as tests play it: starts transmill with a command file and reads its UTF-16LE pipes live.
#pragma once
#include "tests/engine/TvTestSupport.h"

#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

class TvTestHost {
 public:
  TvTestHost() = default;
  TvTestHost(const TvTestHost&) = delete;
  TvTestHost& operator=(const TvTestHost&) = delete;
  ~TvTestHost() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      Finish();
    }
  }

  // Starts the program with one option; home, settings and data folders go into `home`.
  bool Start(const std::string& program, const std::string& option, const std::string& home,
             const std::vector<std::string>& moreEnv = {}) {
    std::vector<std::string> env = {"HOME=" + home, "XDG_CONFIG_HOME=" + home + "/config",
                                    "XDG_DATA_HOME=" + home + "/data", "TMPDIR=" + home};
    for (char** e = environ; *e; e++) {
      const std::string entry = *e;
      if (entry.rfind("PATH=", 0) == 0 || entry.rfind("LANG=", 0) == 0) env.push_back(entry);
    }
    env.insert(env.end(), moreEnv.begin(), moreEnv.end());
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::string programCopy = program, optionCopy = option;
    char* argv[] = {programCopy.data(), optionCopy.data(), nullptr};

    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    if (spawned != 0) {
      pid = -1;
      close(out[0]);
      close(err[0]);
      return false;
    }
    outReader = std::thread([this, fd = out[0]] { ReadAll(fd, outBytes); });
    errReader = std::thread([this, fd = err[0]] { ReadAll(fd, errBytes); });
    return true;
  }

  // Waits until a line of standard output starts with prefix; false at the time limit or the end.
  bool WaitForLine(const std::string& prefix, int milliseconds) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] {
      for (const std::string& line : Lines(outBytes))
        if (line.rfind(prefix, 0) == 0) return true;
      return ended == 2;
    }) && HasLineLocked(prefix);
  }

  // Waits for the process (killed after a minute, so a hung run fails the test instead of
  // holding it) and both pipes' end; the exit code, or -1.
  int Finish() {
    int status = 0;
    for (int i = 0; pid > 0 && waitpid(pid, &status, WNOHANG) == 0; i++) {
      if (i == 6000) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        status = -1;
        break;
      }
      usleep(10000);
    }
    pid = -1;
    if (outReader.joinable()) outReader.join();
    if (errReader.joinable()) errReader.join();
    return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // Standard output as lines (UTF-16LE decoded, split at CR LF), and the raw bytes.
  std::vector<std::string> OutLines() {
    std::lock_guard<std::mutex> lock(mutex);
    return Lines(outBytes);
  }
  std::string OutBytes() {
    std::lock_guard<std::mutex> lock(mutex);
    return outBytes;
  }
  std::string ErrBytes() {
    std::lock_guard<std::mutex> lock(mutex);
    return errBytes;
  }

  // UTF-16LE bytes as UTF-8 text.
  static std::string Decode(const std::string& bytes) {
    std::u16string units;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
      units.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                            static_cast<unsigned char>(bytes[i + 1]) << 8));
    return XString(units.c_str()).ToUtf8String();
  }

 private:
  void ReadAll(int fd, std::string& target) {
    char buffer[4096];
    for (;;) {
      const ssize_t got = read(fd, buffer, sizeof buffer);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      std::lock_guard<std::mutex> lock(mutex);
      target.append(buffer, static_cast<size_t>(got));
      changed.notify_all();
    }
    close(fd);
    std::lock_guard<std::mutex> lock(mutex);
    ended++;
    changed.notify_all();
  }

  static std::vector<std::string> Lines(const std::string& bytes) {
    std::vector<std::string> lines;
    const std::string text = Decode(bytes);
    size_t from = 0;
    for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", from)) {
      lines.push_back(text.substr(from, at - from));
      from = at + 2;
    }
    return lines;
  }

  bool HasLineLocked(const std::string& prefix) {
    for (const std::string& line : Lines(outBytes))
      if (line.rfind(prefix, 0) == 0) return true;
    return false;
  }

  pid_t pid = -1;
  std::thread outReader, errReader;
  std::mutex mutex;
  std::condition_variable changed;
  std::string outBytes, errBytes;
  int ended = 0;
};
