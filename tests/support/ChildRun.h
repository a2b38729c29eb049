// Runs the transmill program as a child process from an application folder of the test's own,
// with home, settings and data inside the test's folder; its UTF-16LE channels go to files there.
// The test plug-ins are installed here and nowhere else, and ScriptRunTest is the fixture of
// every run through them.
#pragma once
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestText.h"
#include "tests/support/plugins/TestPluginSession.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The bytes the test decoder gives: each byte is its position in the stream.
inline std::string StreamBytes(size_t count) {
  std::string bytes(count, '\0');
  for (size_t i = 0; i < count; i++) bytes[i] = static_cast<char>(i);
  return bytes;
}

// What the child reads on standard input: nothing, a file, bytes through a pipe, or no handle.
struct ChildInput {
  enum Kind { kNull, kFile, kPipe, kClosed } kind = kNull;
  std::string path;   // kFile
  std::string bytes;  // kPipe
};

struct ChildResult {
  int exitCode = -1;
  std::string out, err;  // decoded from UTF-16LE
};

class ChildRun {
 public:
  // Makes home/app with a copy of the program: plug-ins are looked for beside its real path.
  explicit ChildRun(const std::string& home_) : home(home_), app(home_ + "/app") {
    for (const char* sub : {"decoder", "encoder", "DSPs"})
      std::filesystem::create_directories(app + "/" + sub);
    std::filesystem::copy_file(TV_BIN_DIR "/transmill", app + "/transmill",
                               std::filesystem::copy_options::overwrite_existing);
    signal(SIGPIPE, SIG_IGN);  // a child that stops early closes the pipe the test writes to
  }
  ~ChildRun() {
    if (pid > 0) kill(pid, SIGKILL);
    Finish();
  }

  // The test plug-ins: the decoder "script", the encoder "TestEnc" (asked for as "testenc") and
  // effects under any name.
  void Install(const std::string& built, const std::string& sub, const std::string& name) const {
    std::filesystem::copy_file(built, app + "/" + sub + "/" + name,
                               std::filesystem::copy_options::overwrite_existing);
  }
  void InstallScriptCodecs() const {
    Install(TV_TEST_PLUGIN_DIR "/decoder/TestDecoder.so", "decoder", "script.so");
    Install(TV_TEST_PLUGIN_DIR "/encoder/TestEncoder.so", "encoder", "TestEnc.so");
  }
  void InstallScriptEffect(const std::string& name) const {
    Install(TV_TEST_PLUGIN_DIR "/DSPs/TestDSP.so", "DSPs", name + ".so");
  }

  bool Start(const std::vector<std::string>& args, const ChildInput& input = {},
             const std::vector<std::string>& moreEnv = {}, bool closeStdOut = false) {
    std::vector<std::string> env = {"HOME=" + home, "XDG_CONFIG_HOME=" + home + "/config",
                                    "XDG_DATA_HOME=" + home + "/data", "TMPDIR=" + home};
    for (char** e = environ; *e; e++) {
      const std::string entry = *e;
      // The plug-ins' configuration reaches them through the program; sanitizer settings
      // reach the child as they reach the test.
      if (entry.rfind("PATH=", 0) == 0 || entry.rfind("LANG=", 0) == 0 ||
          entry.rfind(TVTEST_CONFIG_VARIABLE "=", 0) == 0 ||
          entry.find("SAN_OPTIONS=") != std::string::npos)
        env.push_back(entry);
    }
    env.insert(env.end(), moreEnv.begin(), moreEnv.end());
    std::vector<std::string> argStrings = {app + "/transmill"};
    argStrings.insert(argStrings.end(), args.begin(), args.end());
    std::vector<char*> argv, envp;
    for (auto& a : argStrings) argv.push_back(a.data());
    argv.push_back(nullptr);
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);

    int in[2] = {-1, -1};
    if (input.kind == ChildInput::kPipe && pipe2(in, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input.kind == ChildInput::kPipe)
      posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    else if (input.kind == ChildInput::kClosed)
      posix_spawn_file_actions_addclose(&actions, 0);
    else
      posix_spawn_file_actions_addopen(
          &actions, 0, input.kind == ChildInput::kFile ? input.path.c_str() : "/dev/null", O_RDONLY,
          0);
    const int create = O_WRONLY | O_CREAT | O_TRUNC;
    if (closeStdOut)
      posix_spawn_file_actions_addclose(&actions, 1);
    else
      posix_spawn_file_actions_addopen(&actions, 1, (home + "/stdout").c_str(), create, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, (home + "/stderr").c_str(), create, 0600);
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (in[0] >= 0) close(in[0]);
    if (spawned != 0) {
      pid = -1;
      if (in[1] >= 0) close(in[1]);
      return false;
    }
    if (in[1] >= 0)
      writer = std::thread([bytes = input.bytes, fd = in[1]] {
        for (size_t at = 0; at < bytes.size();) {
          const ssize_t put = write(fd, bytes.data() + at, bytes.size() - at);
          if (put <= 0) break;
          at += static_cast<size_t>(put);
        }
        close(fd);
      });
    return true;
  }

  // Waits until a line of standard output starts with prefix; false at the time limit.
  bool WaitForLine(const std::string& prefix, int milliseconds) {
    for (int waited = 0; waited < milliseconds; waited += 10) {
      if (("\r\n" + FromUtf16Le(ReadBytes(home + "/stdout"))).find("\r\n" + prefix) !=
          std::string::npos)
        return true;
      usleep(10000);
    }
    return false;
  }

  // Waits for the process (killed after a minute, so that a hung run fails its test instead of
  // holding it). The exit code is -1 when it did not exit by itself.
  ChildResult Finish() {
    int status = -1;
    for (int i = 0; pid > 0 && waitpid(pid, &status, WNOHANG) == 0; i++) {
      if (i == 6000) kill(pid, SIGKILL);
      usleep(10000);
    }
    pid = -1;
    if (writer.joinable()) writer.join();
    ChildResult result;
    result.exitCode = status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = FromUtf16Le(ReadBytes(home + "/stdout"));
    result.err = FromUtf16Le(ReadBytes(home + "/stderr"));
    return result;
  }

  ChildResult Run(const std::vector<std::string>& args, const ChildInput& input = {},
                  const std::vector<std::string>& moreEnv = {}, bool closeStdOut = false) {
    if (!Start(args, input, moreEnv, closeStdOut)) return ChildResult{};
    return Finish();
  }

  pid_t Pid() const { return pid; }

  const std::string home;
  const std::string app;

 private:
  pid_t pid = -1;
  std::thread writer;
};

// A folder of the test's own, removed with everything in it.
class ScratchFolderTest : public ::testing::Test {
 protected:
  std::string PathOf(const std::string& name) const { return scratch / name; }
  static void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  }

  ScratchFolder scratch;
  const std::string folder = scratch.Folder();
};

// Runs of in.tvt through the test decoder and encoder, whose calls land in the call log. Every
// run writes the configuration anew: the defaults below, then the test's own lines, which win.
class ScriptRunTest : public ScratchFolderTest {
 protected:
  void SetUp() override {
    child.InstallScriptCodecs();
    WriteBytes(PathOf("in.tvt"), "source");
  }

  // By default a decoder of .tvt (and .wav, for tagging) files that needs no file: a second at
  // 1000 frames a second, one empty last block, byte n of the stream being n mod 256. Every
  // plug-in accepts every Set.
  void Configure(const std::vector<std::string>& lines) {
    std::vector<std::string> all = {"script.blocks=E",
                                    "script.ramp=1",
                                    "script.anyfile=1",
                                    "script.rate=1000",
                                    "script.mslength=1000",
                                    "script.get.Decodes=1|.tvt|Test Audio;1|.wav|Test Audio",
                                    "*.set.*=1"};
    all.insert(all.end(), lines.begin(), lines.end());
    plugins.Configure(all);
    std::filesystem::remove(plugins.LogPath());
  }
  ChildResult Run(const std::vector<std::string>& args,
                  const std::vector<std::string>& config = {}) {
    Configure(config);
    return child.Run(args, input);
  }
  // A console run of in.tvt to the output, with the plug-ins configured by config.
  ChildResult Convert(const std::string& output, const std::vector<std::string>& config,
                      const std::vector<std::string>& moreArgs = {}) {
    std::vector<std::string> args = {"-infile=" + PathOf("in.tvt"), "-outfile=" + output,
                                     "-convert_to=testenc"};
    args.insert(args.end(), moreArgs.begin(), moreArgs.end());
    return Run(args, config);
  }
  // The same through a UTF-8 command file: a host's run.
  ChildResult HostConvert(const std::string& output, const std::vector<std::string>& config,
                          const std::string& moreOptions = "") {
    WriteBytes(PathOf("c.tvcmd8"), "-infile=\"" + PathOf("in.tvt") + "\" -outfile=\"" + output +
                                       "\" -convert_to=testenc " + moreOptions);
    return Run({"-tvcmd8=" + PathOf("c.tvcmd8")}, config);
  }

  // Whether a line of the call log is of call: "A DSP_Create" names the plug-in, "DSP_Create"
  // alone (or the start of an export, "ENC_") means any plug-in.
  static bool IsCall(const std::string& line, const std::string& call) {
    return line.rfind(call, 0) == 0 || line.find(" " + call) != std::string::npos;
  }
  std::vector<std::string> CallsOf(const std::string& call = "") const {
    std::istringstream in(plugins.Read("calls.log"));
    std::vector<std::string> found;
    for (std::string line; std::getline(in, line);)
      if (IsCall(line, call)) found.push_back(line);
    return found;
  }
  bool Called(const std::string& call) const { return !CallsOf(call).empty(); }
  // The value of " key=" in the one call of call, without its quotes; "(n calls)" when the call
  // was not made exactly once.
  std::string FieldOf(const std::string& call, const std::string& key) const {
    const std::vector<std::string> calls = CallsOf(call);
    if (calls.size() != 1) return "(" + std::to_string(calls.size()) + " calls)";
    const std::string& line = calls[0];
    size_t at = line.find(" " + key + "=");
    if (at == std::string::npos) return "(none)";
    at += key.size() + 2;
    const bool quoted = line.compare(at, 1, "\"") == 0;
    const size_t end = line.find(quoted ? '"' : ' ', at + quoted);
    return line.substr(at + quoted, end == std::string::npos ? end : end - at - quoted);
  }
  // The blocks the encoder was given, as "bytes=n pos=ms eos=e".
  std::vector<std::string> EncodedBlocks() const {
    std::vector<std::string> blocks;
    for (const std::string& line : CallsOf("TestEnc ENC_EncodeBlock ")) {
      const size_t from = line.find("bytes=");
      blocks.push_back(line.substr(from, line.find(" format=") - from));
    }
    return blocks;
  }
  bool Has(const std::string& name) const { return std::filesystem::exists(PathOf(name)); }

  TestPluginSession plugins;
  ChildRun child{folder};
  ChildInput input;
};
