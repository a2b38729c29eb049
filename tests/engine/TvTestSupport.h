// Shared test support for the engine: a temporary folder per test, file helpers, phase access.
#pragma once
#include "engine/TvTransmill.h"
#include "tests/support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

// Reaches the private phases of a run that was built without running.
struct TvTransmillTestAccess {
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

  // Phases of the conversion run.
  static void ApplyOutputNameRules(TvTransmill& t) { t.ApplyOutputNameRules(); }
  static void OverwriteOutput(TvTransmill& t, int32_t& tagWord) { t.OverwriteOutput(tagWord); }
  static void CheckOutputSize(TvTransmill& t) { t.CheckOutputSize(); }
  static bool ReadStdinOptions(TvTransmill& t, uint32_t& rate, uint32_t& channels, uint32_t& bits,
                               uint32_t& length) {
    return t.ReadStdinOptions(rate, channels, bits, length);
  }
  static void ReadStdinTags(TvTransmill& t, TvOpenInfo* info) { t.ReadStdinTags(info); }
  static bool ReadStdinBlock(TvTransmill& t, TvAudioBlock* block) {
    return t.ReadStdinBlock(block);
  }
  static bool ReadBackBlock(TvTransmill& t, TvAudioBlock* block) { return t.ReadBackBlock(block); }
  static void PrepareTags(TvTransmill& t, const void* block, uint32_t size) {
    t.PrepareTags(block, size);
  }
  static bool IDTagWriter(TvTransmill& t, const XString& path, void* tags, uint32_t size) {
    return t.IDTagWriter(path, tags, size);
  }
  static void CollectOutputNames(TvTransmill& t, XStringList& names) {
    t.CollectOutputNames(names);
  }
};

inline std::string Utf8(const XString& text) { return text.ToUtf8String(); }

inline std::string Utf8(const std::u16string& text) { return Utf8(XString(text.c_str())); }

// A unique folder below the system's temporary folder, removed with everything in it.
class TvTempFolderTest : public ::testing::Test {
 protected:
  void SetUp() override { folder = scratch.Folder(); }
  ScratchFolder scratch;

  std::string PathOf(const std::string& name) const { return folder + "/" + name; }

  void WriteBytes(const std::string& path, const std::string& bytes) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(out.good()) << path;
  }

  static std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  // UTF-16LE bytes of a UTF-8 text, with a byte-order mark when asked.
  static std::string Utf16Bytes(const std::string& utf8, bool bom) {
    XString text(utf8.c_str(), true);
    std::string bytes = bom ? std::string("\xFF\xFE", 2) : std::string();
    for (int i = 0; i < text.Length(); i++) {
      const char16_t unit = text.CStr()[i];
      bytes.push_back(static_cast<char>(unit & 0xFF));
      bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
  }

  // A file's bytes read as UTF-16LE text.
  static std::u16string ReadUtf16(const std::string& path) {
    const std::string bytes = ReadBytes(path);
    std::u16string text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
      text.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                           (static_cast<unsigned char>(bytes[i + 1]) << 8)));
    return text;
  }

  std::string folder;
};

// A run built without running, whose console, error and log channels go to files of the test.
class TvRunPhaseTest : public TvTempFolderTest {
 protected:
  void SetUp() override {
    TvTempFolderTest::SetUp();
    run = TvTransmillTestAccess::Make();
    run->stdOut.OpenCreate(XString(PathOf("out.txt").c_str(), true));
    run->stdErr.OpenCreate(XString(PathOf("err.txt").c_str(), true));
    run->CreateCapturePipes();
    logFile.OpenCreate(XString(PathOf("log.txt").c_str(), true));
    run->logHandles.logHandle = logFile.Handle();
  }
  void TearDown() override {
    run.reset();
    logFile.Close();
    TvTempFolderTest::TearDown();
  }

  // Tokenises option text as a command file would and parses it.
  bool ParseText(const char16_t* text) {
    run->Parse(text, 1);
    return TvTransmillTestAccess::Parse(*run);
  }

  // Both read what the output relay has passed on, after one drain of the pipes.
  std::string Out() const {
    run->RelayStep();
    return Utf8(ReadUtf16(PathOf("out.txt")));
  }
  std::string Err() const {
    run->RelayStep();
    return Utf8(ReadUtf16(PathOf("err.txt")));
  }
  std::string LogText() const { return Utf8(ReadUtf16(PathOf("log.txt"))); }

  std::unique_ptr<TvTransmill> run;
  XFile logFile;
};
