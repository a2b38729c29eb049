// The entry points every encoder plug-in shares, asked of each one that is built: its answers,
// the engine's settings, a block in another format, whether it asks the engine for the tags, and
// what a failed run leaves behind.
#include "tests/codecs/CodecPlugins.h"

#include <sys/mount.h>
#include <sys/statvfs.h>

namespace {

struct Expected {
  const char* stem;
  const char* extension;
  bool lossless;         // with no settings
  bool wantsFloat;       // "NeedHQAudio"
  bool engineTags;       // asks the engine to write the tags (the PCM types write their own)
  const char* fullDisk;  // the reason a write to a full disk fails with
};

TvWaveFormatExtensible Pcm16(int channels) {
  TvWaveFormatExtensible image{};
  image.Format = {TV_FORMAT_PCM,
                  uint16_t(channels),
                  44100,
                  uint32_t(88200 * channels),
                  uint16_t(2 * channels),
                  16,
                  0};
  return image;
}

class EncoderExportsTest : public ::testing::TestWithParam<Expected> {
 protected:
  void SetUp() override {
    if (!encoder.library.Loaded()) GTEST_SKIP() << GetParam().stem << " encoder is not built";
  }
  int32_t Begin(const char16_t* settings) {
    info.outputFile = output.c_str();
    info.encoderSettings = settings;
    info.format = &source;
    return encoder.begin(encoder.instance, &info);
  }
  int32_t Encode(int channels, size_t frames = 4410, bool noise = false) {
    std::vector<int16_t> samples(frames * size_t(channels), 3000);
    if (noise)
      for (int16_t& sample : samples) sample = int16_t(random());
    TvAudioBlock block{};
    block.data = samples.data();
    block.byteCount = uint32_t(samples.size() * 2);
    block.format = Pcm16(channels);
    return encoder.encodeBlock(encoder.instance, &block);
  }

  EncoderPlugin encoder{GetParam().stem};
  ScratchFolder folder;
  std::string outputName = folder / (std::string("out") + GetParam().extension);
  std::u16string output = U16(outputName);
  // An open record of unknown length: the totals behind its format are 0.
  TvOpenInfo opened = [] {
    TvOpenInfo open{};
    open.format = Pcm16(2);
    return open;
  }();
  TvWaveFormatExtensible& source = opened.format;
  TvAfterConversionInfo record{};  // the engine's record, its failed flag behind it
  TvConversionInfo& info = record.info;
  std::mt19937 random{7};
};

// A small file system of its own, mounted for a test that fills it; unmounted before the
// scratch folder goes.
struct SmallDisk {
  explicit SmallDisk(const std::string& where) : path(where) {
    std::filesystem::create_directory(path);
    mounted = mount("tmpfs", path.c_str(), "tmpfs", 0, "size=256k") == 0;
  }
  ~SmallDisk() {
    if (mounted) umount(path.c_str());
  }
  uint64_t FreeBytes() const {
    struct statvfs st {};
    return statvfs(path.c_str(), &st) == 0 ? uint64_t(st.f_bavail) * st.f_frsize : 0;
  }
  std::string path;
  bool mounted = false;
};

TEST_P(EncoderExportsTest, AnswersItsExtensionLosslessnessAndFloatWishAndTakesTheEngineSettings) {
  TvPluginValue value{};
  ASSERT_NE(encoder.get(encoder.instance, TV_KEY_EXTENSION, &value), 0);
  EXPECT_EQ(Narrow(value.text1), GetParam().extension);
  value = TvPluginValue{};
  value.text1 = u"";
  EXPECT_EQ(encoder.get(encoder.instance, TV_KEY_IS_LOSSLESS, &value) != 0, GetParam().lossless);
  EXPECT_EQ(encoder.get(encoder.instance, TV_KEY_NEED_HQ_AUDIO, &value) != 0,
            GetParam().wantsFloat);
  EXPECT_EQ(encoder.get(encoder.instance, nullptr, &value), 0);
  EXPECT_NE(encoder.set(encoder.instance, TV_KEY_BATCH_ID, &value), 0);
  EXPECT_EQ(encoder.set(encoder.instance, TV_KEY_DECODE_AS, &value), 0);
  EXPECT_EQ(encoder.showConfigBit(encoder.instance, 0, 0, 0, 0), 0);
  EXPECT_EQ(encoder.removeConfigBit(encoder.instance, 0), 0);
}

TEST_P(EncoderExportsTest, ABlockInAnotherFormatFailsTheRun) {
  ASSERT_NE(Begin(u""), 0) << encoder.errors.Text();
  EXPECT_NE(Encode(2, 0), 0);
  EXPECT_NE(Encode(2), 0);
  EXPECT_EQ(Encode(1), 0);
  EXPECT_EQ(encoder.errors.Text(),
            "Error: Unable to encode '" + outputName +
                "': the audio changed its format during the conversion.\r\n");
  EXPECT_EQ(Encode(2), 0);
  EXPECT_FALSE(std::filesystem::exists(outputName));
}

// A finished run asks the engine for the tags unless told not to. The engine raises its failed
// flag before the end call: the partial output goes, but never a file or folder that was there
// before the run.
TEST_P(EncoderExportsTest, EndAsksForTheTagsOrRemovesTheOutputItCreated) {
  for (auto [before, settings, failed] : {std::tuple{"", u"", 0},
                                          {"", u"-notags", 0},
                                          {"", u"", 1},
                                          {"old bytes", u"", 1},
                                          {"/", u"", 1}}) {
    SCOPED_TRACE(std::string(before) + Narrow(settings) + (failed ? " failed" : ""));
    std::filesystem::remove_all(outputName);
    if (std::string(before) == "/")
      std::filesystem::create_directory(outputName);
    else if (*before)
      folder.WriteFile(outputName.substr(folder.Utf8().size()), before);
    record.failed = 0;
    if (Begin(settings) != 0) {
      ASSERT_NE(Encode(2), 0) << encoder.errors.Text();
      ASSERT_NE(Encode(2), 0) << encoder.errors.Text();
      record.failed = failed;
      int32_t writeTags = -1;
      EXPECT_EQ(encoder.end(encoder.instance, &info, &writeTags) != 0, !failed);
      EXPECT_EQ(writeTags, !failed && GetParam().engineTags && !*settings);
    }
    EXPECT_EQ(std::filesystem::exists(outputName), !failed || *before);
    std::string said = encoder.errors.Text();
    EXPECT_TRUE(failed || said.empty()) << said;
  }
}

// A write that fails on a full disk fails the run, and its partial output no longer holds the
// space.
TEST_P(EncoderExportsTest, AFullDiskFailsTheRunAndFreesTheSpace) {
  SmallDisk disk(folder / "disk");
  if (!disk.mounted) GTEST_SKIP() << "mounting a file system needs root";
  const uint64_t empty = disk.FreeBytes();
  output = U16(disk.path + "/out" + GetParam().extension);
  ASSERT_NE(Begin(u""), 0) << encoder.errors.Text();
  int32_t encoded = 1;
  for (int block = 0; block < 1200 && encoded; ++block) encoded = Encode(2, 4410, true);
  record.failed = !encoded;  // as the engine does after a failed block
  int32_t writeTags = -1;
  EXPECT_EQ(encoder.end(encoder.instance, &info, &writeTags), 0);
  const std::string error = encoder.errors.Text();
  EXPECT_NE(error.find("out" + std::string(GetParam().extension) + "' failed: "), std::string::npos)
      << error;
  EXPECT_NE(error.find(GetParam().fullDisk), std::string::npos) << error;
  EXPECT_FALSE(std::filesystem::exists(disk.path + "/out" + GetParam().extension));
  EXPECT_EQ(disk.FreeBytes(), empty);
}

INSTANTIATE_TEST_SUITE_P(
    EachEncoder, EncoderExportsTest,
    ::testing::Values(Expected{"wav", ".wav", true, false, false, "No space left on device"},
                      Expected{"aiff", ".aiff", true, false, false, "No space left on device"},
                      Expected{"w64", ".w64", true, false, false, "No space left on device"},
                      Expected{"mp3", ".mp3", false, true, true, "No space left on device"},
                      Expected{"flac", ".flac", true, false, true, "No space left on device"},
                      Expected{"vorbis", ".ogg", false, true, true, "No space left on device"},
                      Expected{"opus", ".opus", false, true, true, "write failed"},
                      Expected{"wavpack", ".wv", true, false, true, "disk probably full"}),
    [](const ::testing::TestParamInfo<Expected>& each) { return std::string(each.param.stem); });

}  // namespace
