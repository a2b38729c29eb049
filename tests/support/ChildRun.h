// Runs the transmill program as a child process from an application folder of the test's own,
// with home, settings and data inside the test's folder, and reads its UTF-16LE channels live.
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

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

// What the child reads on standard input.
struct ChildInput {
  enum Kind { kNull, kFile, kPipe, kClosed } kind = kNull;
  std::string path;   // kFile
  std::string bytes;  // kPipe: written in pieces of chunk bytes, then the pipe is closed
  size_t chunk = 4096;
  int pauseMs = 0;  // kPipe: a wait between two pieces
};

struct ChildResult {
  int exitCode = -1;
  std::string out;  // standard output, decoded from UTF-16LE
  std::string err;  // standard error, decoded from UTF-16LE
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
  ChildRun(const ChildRun&) = delete;
  ChildRun& operator=(const ChildRun&) = delete;

  // Puts a built library into one of the program's plug-in folders under a name of the test's.
  void Install(const std::string& built, const std::string& sub, const std::string& name) const {
    std::filesystem::copy_file(built, app + "/" + sub + "/" + name,
                               std::filesystem::copy_options::overwrite_existing);
  }

  // The test plug-ins: the decoder "script", the encoder "TestEnc" (asked for as "testenc") and
  // effects under any name. Every test that runs them installs them here.
  void InstallScriptCodecs() const {
    Install(TV_TEST_PLUGIN_DIR "/decoder/TestDecoder.so", "decoder", "script.so");
    Install(TV_TEST_PLUGIN_DIR "/encoder/TestEncoder.so", "encoder", "TestEnc.so");
  }
  void InstallScriptEffect(const std::string& name) const {
    Install(TV_TEST_PLUGIN_DIR "/DSPs/TestDSP.so", "DSPs", name + ".so");
  }

  // Starts the program; standard output and error are read as they come.
  bool Start(const std::vector<std::string>& args, const ChildInput& input = {},
             const std::vector<std::string>& moreEnv = {}, bool closeStdOut = false) {
    std::vector<std::string> env = {"HOME=" + home, "XDG_CONFIG_HOME=" + home + "/config",
                                    "XDG_DATA_HOME=" + home + "/data", "TMPDIR=" + home};
    for (char** e = environ; *e; e++) {
      const std::string entry = *e;
      // The plug-ins' configuration reaches them through the program.
      if (entry.rfind("PATH=", 0) == 0 || entry.rfind("LANG=", 0) == 0 ||
          entry.rfind(TVTEST_CONFIG_VARIABLE "=", 0) == 0)
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

    int out[2], err[2], in[2] = {-1, -1};
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return false;
    if (input.kind == ChildInput::kPipe && pipe2(in, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input.kind == ChildInput::kNull)
      posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    else if (input.kind == ChildInput::kFile)
      posix_spawn_file_actions_addopen(&actions, 0, input.path.c_str(), O_RDONLY, 0);
    else if (input.kind == ChildInput::kClosed)
      posix_spawn_file_actions_addclose(&actions, 0);
    else
      posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    if (closeStdOut)
      posix_spawn_file_actions_addclose(&actions, 1);
    else
      posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    for (int fd : {out[1], err[1], in[0]})
      if (fd >= 0) close(fd);
    if (spawned != 0) {
      pid = -1;
      for (int fd : {out[0], err[0], in[1]})
        if (fd >= 0) close(fd);
      return false;
    }
    ended = 0;
    outBytes.clear();
    errBytes.clear();
    outReader = std::thread([this, fd = out[0]] { ReadAll(fd, outBytes); });
    errReader = std::thread([this, fd = err[0]] { ReadAll(fd, errBytes); });
    if (in[1] >= 0)
      writer = std::thread([input, fd = in[1]] {
        for (size_t at = 0; at < input.bytes.size(); at += input.chunk) {
          const size_t n = std::min(input.chunk, input.bytes.size() - at);
          if (at != 0 && input.pauseMs != 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(input.pauseMs));
          if (write(fd, input.bytes.data() + at, n) != static_cast<ssize_t>(n)) break;
        }
        close(fd);
      });
    return true;
  }

  // Waits until a line of standard output starts with prefix; false at the time limit or the end.
  bool WaitForLine(const std::string& prefix, int milliseconds) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                     [&] { return HasLine(prefix) || ended == 2; });
    return HasLine(prefix);
  }

  // Waits for the process (killed after a minute, so that a hung run fails its test instead of
  // holding it) and both channels' end. The exit code is -1 when it did not exit by itself.
  ChildResult Finish() {
    int status = -1;
    for (int i = 0; pid > 0 && waitpid(pid, &status, WNOHANG) == 0; i++) {
      if (i == 6000) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        status = -1;
        break;
      }
      usleep(10000);
    }
    pid = -1;
    for (std::thread* t : {&outReader, &errReader, &writer})
      if (t->joinable()) t->join();
    ChildResult result;
    result.exitCode = status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = FromUtf16Le(outBytes);
    result.err = FromUtf16Le(errBytes);
    return result;
  }

  ChildResult Run(const std::vector<std::string>& args, const ChildInput& input = {},
                  const std::vector<std::string>& moreEnv = {}, bool closeStdOut = false) {
    if (!Start(args, input, moreEnv, closeStdOut)) return ChildResult{};
    return Finish();
  }

  // Standard output so far, split at CR LF.
  std::vector<std::string> OutLines() {
    std::lock_guard<std::mutex> lock(mutex);
    return Lines();
  }

  const std::string home;
  const std::string app;

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

  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    const std::string text = FromUtf16Le(outBytes);
    size_t from = 0;
    for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", from)) {
      lines.push_back(text.substr(from, at - from));
      from = at + 2;
    }
    return lines;
  }
  bool HasLine(const std::string& prefix) const {
    for (const std::string& line : Lines())
      if (line.rfind(prefix, 0) == 0) return true;
    return false;
  }

  pid_t pid = -1;
  std::thread outReader, errReader, writer;
  std::mutex mutex;
  std::condition_variable changed;
  std::string outBytes, errBytes;
  int ended = 0;
};

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

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
  // The calls of call, in order.
  std::vector<std::string> CallsOf(const std::string& call = "") const {
    std::istringstream in(plugins.Read("calls.log"));
    std::vector<std::string> found;
    for (std::string line; std::getline(in, line);)
      if (IsCall(line, call)) found.push_back(line);
    return found;
  }
  bool Called(const std::string& call) const { return !CallsOf(call).empty(); }
  // The value of " key=" in a call line, without its quotes.
  static std::string FieldOf(const std::string& line, const std::string& key) {
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
  // The bytes the test decoder gives: each byte is its position in the stream.
  static std::string StreamBytes(size_t from, size_t count) {
    std::string bytes(count, '\0');
    for (size_t i = 0; i < count; i++) bytes[i] = static_cast<char>(from + i);
    return bytes;
  }
  // A name no other test uses at the same time.
  std::string UniqueName(const std::string& what) const {
    return "tvtest-" + what + "-" + std::filesystem::path(folder).filename().string();
  }

  TestPluginSession plugins;
  ChildRun child{folder};
  ChildInput input;
};
