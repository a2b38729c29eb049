// Engine test support: the phases of a run built without running, and scripted child runs.
#pragma once
#include "engine/TvTransmill.h"
#include "tests/support/ChildRun.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestText.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// Reaches the records and the private phases of a run that was built without running.
struct TvTransmillTestAccess {
  static TvRunOptions& Options(TvTransmill& t) { return t.opts; }
  static TvRunDspChain& Dsps(TvTransmill& t) { return t.dsps; }
  static TvRunChannels& Channels(TvTransmill& t) { return t.io; }
  static TvRunSource& Source(TvTransmill& t) { return t.src; }
  static TvRunOutput& Output(TvTransmill& t) { return t.dst; }
  static std::unique_ptr<TvTransmill> Make() {
    return std::unique_ptr<TvTransmill>(new TvTransmill(TvTransmill::NoRun{}));
  }
  static void Split(TvTransmill& t, int argc, const char* const* argv) {
    t.SplitProcessCommandLine(argc, argv);
  }
  static bool ReadIfNamed(TvTransmill& t) { return t.ReadCommandFileIfNamed(); }
  static bool ReadFile(TvTransmill& t, const XString& path, bool narrow) {
    return t.ReadTvCommandFile(path, narrow);
  }
  static bool Parse(TvTransmill& t) { return t.ParseCommandLine(); }
  static XString Strip(TvTransmill& t) { return t.StripTransmillCmds(); }
  static void ApplyOutputNameRules(TvTransmill& t) { t.ApplyOutputNameRules(); }
  static void OverwriteOutput(TvTransmill& t, int32_t& tagWord) { t.OverwriteOutput(tagWord); }
  static void ReadStdinTags(TvTransmill& t, TvOpenInfo* info) { t.ReadStdinTags(info); }
  static bool ReadStdinBlock(TvTransmill& t, TvAudioBlock* block) {
    return t.ReadStdinBlock(block);
  }
  static bool ReadBackBlock(TvTransmill& t, TvAudioBlock* block) { return t.ReadBackBlock(block); }
  static void PrepareTags(TvTransmill& t, const void* block, uint32_t size) {
    t.PrepareTags(block, size);
  }
};

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A folder of the test's own, removed with everything in it.
class TvTempFolderTest : public ::testing::Test {
 protected:
  std::string PathOf(const std::string& name) const { return scratch / name; }
  static void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  }

  ScratchFolder scratch;
  const std::string folder = scratch.Folder();
};

// A run built without running, whose console, error and log channels go to files of the test.
class TvRunPhaseTest : public TvTempFolderTest {
 protected:
  void SetUp() override {
    run = TvTransmillTestAccess::Make();
    Io().stdOut.OpenCreate(X(PathOf("out.txt")));
    Io().stdErr.OpenCreate(X(PathOf("err.txt")));
    run->CreateCapturePipes();
    logFile.OpenCreate(X(PathOf("log.txt")));
    Io().logHandles.logHandle = logFile.Handle();
  }

  TvRunOptions& Opts() const { return TvTransmillTestAccess::Options(*run); }
  TvRunDspChain& Dsps() const { return TvTransmillTestAccess::Dsps(*run); }
  TvRunChannels& Io() const { return TvTransmillTestAccess::Channels(*run); }
  TvRunSource& Src() const { return TvTransmillTestAccess::Source(*run); }
  TvRunOutput& Dst() const { return TvTransmillTestAccess::Output(*run); }
  void TearDown() override { run.reset(); }

  // Tokenises option text as a command file would and parses it.
  bool ParseText(const std::string& text) {
    run->Parse(X(text), 1);
    return TvTransmillTestAccess::Parse(*run);
  }
  // What the output relay has passed on, after one drain of the pipes.
  std::string Out() const {
    run->RelayStep();
    return FromUtf16Le(ReadBytes(PathOf("out.txt")));
  }
  std::string Err() const {
    run->RelayStep();
    return FromUtf16Le(ReadBytes(PathOf("err.txt")));
  }
  std::string LogText() const { return FromUtf16Le(ReadBytes(PathOf("log.txt"))); }

  std::unique_ptr<TvTransmill> run;
  XFile logFile;
};

// Runs of in.tvt through the scripted decoder and encoder, whose calls land in calls.txt.
class TvScriptRunTest : public TvTempFolderTest {
 protected:
  void SetUp() override {
    child.InstallScriptCodecs();
    WriteBytes(PathOf("in.tvt"), "source");
  }

  ChildResult Run(const std::vector<std::string>& args, std::vector<std::string> env = {}) {
    std::filesystem::remove(PathOf("calls.txt"));
    env.push_back("TVTEST_CALLS=" + PathOf("calls.txt"));
    return child.Run(args, input, env);
  }
  // A console run of in.tvt to the output, with the scripted plug-ins set by env.
  ChildResult Convert(const std::string& output, const std::vector<std::string>& env,
                      const std::vector<std::string>& moreArgs = {}) {
    std::vector<std::string> args = {"-infile=" + PathOf("in.tvt"), "-outfile=" + output,
                                     "-convert_to=testenc"};
    args.insert(args.end(), moreArgs.begin(), moreArgs.end());
    return Run(args, env);
  }
  // The same through a UTF-8 command file: a host's run.
  ChildResult HostConvert(const std::string& output, const std::vector<std::string>& env,
                          const std::string& moreOptions = "") {
    WriteBytes(PathOf("c.tvcmd8"), "-infile=\"" + PathOf("in.tvt") + "\" -outfile=\"" + output +
                                       "\" -convert_to=testenc " + moreOptions);
    return Run({"-tvcmd8=" + PathOf("c.tvcmd8")}, env);
  }

  // Calls that start with prefix, in order.
  std::vector<std::string> CallsOf(const std::string& prefix = "") const {
    std::istringstream in(ReadBytes(PathOf("calls.txt")));
    std::vector<std::string> found;
    for (std::string line; std::getline(in, line);)
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
  // A name no other test uses at the same time.
  std::string UniqueName(const std::string& what) const {
    return "tvtest-" + what + "-" + std::filesystem::path(folder).filename().string();
  }

  ChildRun child{folder};
  ChildInput input;
};
