// Tests of the InfoPeek watcher, run as the real program on a log that grows.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include <string>
#include <vector>
#include "tests/support/ScratchFolder.h"

#include "foundation/XEvent.h"
#include "foundation/XLastError.h"
#include "foundation/XTextCodec.h"

extern char** environ;

namespace {

std::string Utf16Bytes(const std::u16string& text) {
  std::string bytes;
  for (char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

// One InfoPeek process with its standard output and error on pipes.
class Watcher {
 public:
  explicit Watcher(const std::vector<std::string>& args) {
    std::string program = std::string(TV_BIN_DIR) + "/InfoPeek";
    std::vector<char*> argv = {program.data()};
    std::vector<std::string> copies = args;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid = 0;
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    output = out[0];
    errors = err[0];
  }
  ~Watcher() {
    if (pid > 0 && !ended) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    close(output);
    close(errors);
  }

  // Reads standard output until it holds `wanted` or the program ends; bounded.
  bool ReadUntil(const std::string& wanted) {
    for (int round = 0; round < 200 && stdoutText.find(wanted) == std::string::npos; ++round) {
      pollfd watch = {output, POLLIN, 0};
      if (poll(&watch, 1, 50) > 0) {
        char buffer[4096];
        ssize_t got = read(output, buffer, sizeof buffer);
        if (got <= 0) break;
        stdoutText.append(buffer, size_t(got));
      }
    }
    return stdoutText.find(wanted) != std::string::npos;
  }

  // Waits (bounded) for the end; the exit code, or -1 if it didn't end.
  int WaitEnd() {
    for (int round = 0; round < 400; ++round) {
      int status = 0;
      if (waitpid(pid, &status, WNOHANG) == pid) {
        ended = true;
        ReadUntil("\x01never");
        char buffer[4096];
        ssize_t got;
        while ((got = read(errors, buffer, sizeof buffer)) > 0)
          stderrText.append(buffer, size_t(got));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      }
      usleep(25000);
    }
    return -1;
  }

  pid_t pid = 0;
  bool ended = false;
  int output = -1, errors = -1;
  std::string stdoutText, stderrText;
};

class InfoPeekTest : public testing::Test {
 protected:
  void SetUp() override {
    dir = scratch.Folder();
    logPath = dir + "/DBG-test.TXT";
    log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ASSERT_GE(log, 0);
    eventName = "TvDGB-test-" + std::to_string(getpid()) + "-" + std::to_string(XTickCount());
  }
  void TearDown() override { close(log); }
  ScratchFolder scratch;

  void Append(const std::string& bytes) {
    ASSERT_EQ(write(log, bytes.data(), bytes.size()), ssize_t(bytes.size()));
  }

  std::vector<std::string> Arguments() {
    return {"-DebugWatch=" + eventName, "-DebugFile=" + logPath};
  }

  std::string dir, logPath, eventName;
  int log = -1;
};

}  // namespace

TEST_F(InfoPeekTest, FollowsTheGrowingLogAsUtf8UntilTheEventIsGone) {
  auto event = std::make_unique<XEvent>(XUtf8ToUtf16(eventName).c_str());
  ASSERT_FALSE(event->AlreadyExisted());
  Append(Utf16Bytes(u"->->  [Main]\r\n"));
  Watcher watcher(Arguments());
  ASSERT_GT(watcher.pid, 0);
  ASSERT_TRUE(watcher.ReadUntil("->->  [Main]\n"));

  // A line that arrives in pieces: an odd byte, and a surrogate pair cut in two.
  std::string line = Utf16Bytes(u"  Gr\u00fc\u00dfe \U0001F3B5 done\r\n");
  size_t cut = line.find(Utf16Bytes(u"\U0001F3B5")) + 2;
  Append(line.substr(0, 5));
  usleep(150000);
  Append(line.substr(5, cut - 5));
  usleep(150000);
  Append(line.substr(cut));
  ASSERT_TRUE(watcher.ReadUntil("done\n"));
  EXPECT_EQ(watcher.stdoutText,
            "->->  [Main]\n  Gr\xC3\xBC\xC3\x9F"
            "e \xF0\x9F\x8E\xB5 done\n");

  Append(Utf16Bytes(u"<-<-  [Main]\r\n"));
  event.reset();  // the writer is gone: the watcher shows the rest and ends
  EXPECT_EQ(watcher.WaitEnd(), 0);
  EXPECT_TRUE(watcher.stdoutText.ends_with("done\n<-<-  [Main]\n")) << watcher.stdoutText;
}

TEST_F(InfoPeekTest, WithoutItsEventItShowsWhatThereIsAndEnds) {
  Append(Utf16Bytes(u"only line\r\n"));
  Watcher watcher(Arguments());
  ASSERT_GT(watcher.pid, 0);
  EXPECT_EQ(watcher.WaitEnd(), 0);
  EXPECT_EQ(watcher.stdoutText, "only line\n");
}

TEST_F(InfoPeekTest, BadArgumentsGiveUsageAndExitCodeOne) {
  for (const std::vector<std::string>& args : {std::vector<std::string>{},
                                               {"-DebugWatch=x"},
                                               {"-DebugFile=y"},
                                               {"-Other=1", "-DebugFile=y"},
                                               {"-DebugWatch", "-DebugFile=y"}}) {
    Watcher watcher(args);
    ASSERT_GT(watcher.pid, 0);
    EXPECT_EQ(watcher.WaitEnd(), 1);
    EXPECT_NE(watcher.stderrText.find("Usage: InfoPeek"), std::string::npos);
  }
  Watcher missing({"-DebugWatch=" + eventName, "-DebugFile=" + dir + "/absent.txt"});
  EXPECT_EQ(missing.WaitEnd(), 1);
  EXPECT_NE(missing.stderrText.find("cannot open"), std::string::npos);
}
