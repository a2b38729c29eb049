// Engine test support: the records and phases of a run built without running.
#pragma once
#include "engine/TvTransmill.h"
#include "tests/support/ChildRun.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

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

// A run built without running, whose console, error and log channels go to files of the test.
class TvRunPhaseTest : public ScratchFolderTest {
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
