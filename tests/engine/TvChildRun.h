// Runs a copy of the transmill program as a child process, with plug-in folders of the test's own.
#pragma once
#include "tests/engine/TvTestSupport.h"

#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

struct TvChildResult {
  int exitCode = -1;
  std::string out;  // standard output, decoded from UTF-16LE
  std::string err;  // standard error, decoded from UTF-16LE
};

// What the child reads on standard input.
struct TvChildInput {
  enum Kind { kNull, kFile, kPipe, kClosed } kind = kNull;
  std::string path;   // kFile
  std::string bytes;  // kPipe: written in pieces of chunk bytes, then the pipe is closed
  size_t chunk = 4096;
  int pauseMs = 0;  // kPipe: a wait between two pieces
};

class TvChildRunTest : public TvTempFolderTest {
 protected:
  void SetUp() override {
    TvTempFolderTest::SetUp();
    app = PathOf("app");
    for (const char* sub : {"decoder", "encoder", "DSPs"})
      std::filesystem::create_directories(app + "/" + sub);
    // The plug-in folders are found beside the program's real path, so it is copied.
    std::filesystem::copy_file(TV_BIN_DIR "/transmill", app + "/transmill");
  }

  // Puts a built library into one of the program's plug-in folders under a name of the test's.
  void InstallPlugin(const std::string& builtPath, const std::string& folderName,
                     const std::string& fileName) {
    std::filesystem::copy_file(builtPath, app + "/" + folderName + "/" + fileName,
                               std::filesystem::copy_options::overwrite_existing);
  }

  TvChildResult Run(const std::vector<std::string>& args, const TvChildInput& input = {},
                    const std::vector<std::string>& moreEnv = {}) {
    std::vector<std::string> env = {"HOME=" + folder, "XDG_CONFIG_HOME=" + folder + "/config",
                                    "XDG_DATA_HOME=" + folder + "/data", "TMPDIR=" + folder};
    for (char** e = environ; *e; e++) {
      const std::string entry = *e;
      if (entry.rfind("PATH=", 0) == 0 || entry.rfind("LANG=", 0) == 0) env.push_back(entry);
    }
    env.insert(env.end(), moreEnv.begin(), moreEnv.end());
    std::vector<std::string> argStrings = {app + "/transmill"};
    argStrings.insert(argStrings.end(), args.begin(), args.end());
    std::vector<char*> argv, envp;
    for (auto& a : argStrings) argv.push_back(a.data());
    argv.push_back(nullptr);
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);

    const std::string outPath = PathOf("stdout.bin"), errPath = PathOf("stderr.bin");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    int ends[2] = {-1, -1};
    if (input.kind == TvChildInput::kNull)
      posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    else if (input.kind == TvChildInput::kFile)
      posix_spawn_file_actions_addopen(&actions, 0, input.path.c_str(), O_RDONLY, 0);
    else if (input.kind == TvChildInput::kClosed)
      posix_spawn_file_actions_addclose(&actions, 0);
    else {
      EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
      posix_spawn_file_actions_adddup2(&actions, ends[0], 0);
    }
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    TvChildResult result;
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    std::thread writer;
    if (ends[0] >= 0) {
      close(ends[0]);
      writer = std::thread([&input, fd = ends[1]] {
        for (size_t at = 0; at < input.bytes.size(); at += input.chunk) {
          const size_t n = std::min(input.chunk, input.bytes.size() - at);
          if (at != 0 && input.pauseMs != 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(input.pauseMs));
          if (write(fd, input.bytes.data() + at, n) != static_cast<ssize_t>(n)) break;
        }
        close(fd);
      });
    }
    EXPECT_EQ(spawned, 0);
    int status = 0;
    if (spawned == 0) waitpid(pid, &status, 0);
    if (writer.joinable()) writer.join();
    if (spawned != 0) return result;
    EXPECT_TRUE(WIFEXITED(status)) << "status " << status;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = Utf8(ReadUtf16(outPath));
    result.err = Utf8(ReadUtf16(errPath));
    return result;
  }

  std::string app;
};

// A run of in.tvt through the scripted decoder and encoder, whose calls land in calls.txt.
class TvScriptRunTest : public TvChildRunTest {
 protected:
  void SetUp() override {
    TvChildRunTest::SetUp();
    signal(SIGPIPE, SIG_IGN);  // a child that stops early closes the pipe the test writes to
    InstallPlugin(TV_TEST_PLUGIN_DIR "/TvScriptDecoder.so", "decoder", "script.so");
    InstallPlugin(TV_TEST_PLUGIN_DIR "/TvScriptEncoder.so", "encoder", "TestEnc.so");
    WriteBytes(PathOf("in.tvt"), "source");
  }

  // A console run of in.tvt to the output, with the scripted plug-ins set by env.
  TvChildResult Convert(const std::string& output, const std::vector<std::string>& env,
                        const std::vector<std::string>& moreArgs = {}) {
    std::vector<std::string> args = {"-infile=" + PathOf("in.tvt"), "-outfile=" + output,
                                     "-convert_to=testenc"};
    args.insert(args.end(), moreArgs.begin(), moreArgs.end());
    std::vector<std::string> fullEnv = {"TVTEST_CALLS=" + PathOf("calls.txt")};
    fullEnv.insert(fullEnv.end(), env.begin(), env.end());
    return Run(args, input, fullEnv);
  }

  std::vector<std::string> Calls() const {
    std::istringstream in(ReadBytes(PathOf("calls.txt")));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
  // Calls that start with prefix, in order.
  std::vector<std::string> CallsOf(const std::string& prefix) const {
    std::vector<std::string> found;
    for (const std::string& line : Calls())
      if (line.rfind(prefix, 0) == 0) found.push_back(line);
    return found;
  }
  bool Called(const std::string& prefix) const { return !CallsOf(prefix).empty(); }
  bool Has(const std::string& name) const { return std::filesystem::exists(PathOf(name)); }
  // The bytes the scripted decoder gives: each byte is its position in the stream.
  static std::string StreamBytes(size_t from, size_t count) {
    std::string bytes(count, '\0');
    for (size_t i = 0; i < count; i++) bytes[i] = static_cast<char>(from + i);
    return bytes;
  }

  TvChildInput input;
};
