// The entry points every encoder plug-in shares, asked of each one that is built: its answers,
// the engine's settings, calls before a run, a source it cannot read, a block in another format
// and whether it asks the engine for the tags.
#include "tests/codecs/CodecPlugins.h"

#include <filesystem>

namespace {

struct Expected {
  const char* stem;
  const char* extension;
  bool lossless;    // with no settings
  bool wantsFloat;  // "NeedHQAudio"
  bool engineTags;  // asks the engine to write the tags (the PCM types write their own)
};

TvWaveFormatExtensible Pcm16(int channels, int rate) {
  TvWaveFormatExtensible image{};
  image.Format.wFormatTag = TV_FORMAT_PCM;
  image.Format.nChannels = uint16_t(channels);
  image.Format.nSamplesPerSec = uint32_t(rate);
  image.Format.nBlockAlign = uint16_t(2 * channels);
  image.Format.nAvgBytesPerSec = uint32_t(rate * 2 * channels);
  image.Format.wBitsPerSample = 16;
  return image;
}

// A tenth of a second at one level in every channel.
std::vector<int16_t> Tone(int channels, int rate) {
  return std::vector<int16_t>(size_t(rate / 10 * channels), 3000);
}

class EncoderExportsTest : public ::testing::TestWithParam<Expected> {
 protected:
  void SetUp() override {
    if (!encoder.library.Loaded()) GTEST_SKIP() << GetParam().stem << " encoder is not built";
    ASSERT_TRUE(encoder.Complete());
  }
  // Begins a run into folder/out with the source format of the open record.
  int32_t Begin(const char16_t* settings) {
    info = TvConversionInfo{};
    info.outputFile = output.c_str();
    info.encoderSettings = settings;
    info.format = &source.format;
    return encoder.begin(encoder.instance, &info);
  }
  int32_t Encode(std::vector<int16_t>& samples, const TvWaveFormatExtensible& image) {
    TvAudioBlock block{};
    block.data = samples.data();
    block.byteCount = uint32_t(samples.size() * 2);
    block.format = image;
    return encoder.encodeBlock(encoder.instance, &block);
  }
  // Ends the run; writeTags comes back as the plug-in left it, -1 when it left it alone.
  int32_t End(int32_t& writeTags) {
    writeTags = -1;
    return encoder.end(encoder.instance, &info, &writeTags);
  }

  EncoderPlugin encoder{GetParam().stem};
  ScratchFolder folder;
  std::string outputName = folder / (std::string("out") + GetParam().extension);
  std::u16string output = U16(outputName);
  TvOpenInfo source{};
  TvConversionInfo info{};
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
  EXPECT_EQ(encoder.get(encoder.instance, TV_KEY_REQUIRES_DSP, &value), 0);
  EXPECT_EQ(encoder.get(encoder.instance, nullptr, &value), 0);
  EXPECT_NE(encoder.set(encoder.instance, TV_KEY_BATCH_ID, &value), 0);
  EXPECT_NE(encoder.set(encoder.instance, TV_KEY_PRIORITY, &value), 0);
  EXPECT_EQ(encoder.set(encoder.instance, TV_KEY_DECODE_AS, &value), 0);
  EXPECT_EQ(encoder.set(nullptr, TV_KEY_BATCH_ID, &value), 0);
  EXPECT_EQ(encoder.showConfigBit(encoder.instance, 0, 0, 0, 0), 0);
  EXPECT_EQ(encoder.removeConfigBit(encoder.instance, 0), 0);
}

TEST_P(EncoderExportsTest, CallsBeforeARunAndAfterARefusedSourceFailQuietly) {
  std::vector<int16_t> samples = Tone(2, 44100);
  int32_t writeTags = 0;
  source.format = Pcm16(2, 44100);
  source.format.Format.wFormatTag = TV_FORMAT_MPEG;
  EXPECT_EQ(Begin(u""), 0);
  EXPECT_EQ(encoder.errors.Text(), "Error: Unable to encode '" + outputName +
                                       "': the source is not PCM or float audio.\r\n");
  EXPECT_FALSE(std::filesystem::exists(outputName));
  EXPECT_EQ(Encode(samples, Pcm16(2, 44100)), 0);
  EXPECT_EQ(End(writeTags), 0);
  EXPECT_EQ(writeTags, 0);
}

TEST_P(EncoderExportsTest, SkipsEmptyBlocksAndFailsTheRunOnABlockInAnotherFormat) {
  source.format = Pcm16(2, 44100);
  ASSERT_NE(Begin(u""), 0) << encoder.errors.Text();
  std::vector<int16_t> samples = Tone(2, 44100), mono = Tone(1, 44100), none;
  EXPECT_NE(Encode(none, Pcm16(2, 44100)), 0);
  EXPECT_NE(Encode(samples, Pcm16(2, 44100)), 0);
  EXPECT_EQ(Encode(mono, Pcm16(1, 44100)), 0);
  EXPECT_EQ(encoder.errors.Text(),
            "Error: Unable to encode '" + outputName +
                "': the audio changed its format during the conversion.\r\n");
  EXPECT_EQ(Encode(samples, Pcm16(2, 44100)), 0);
}

TEST_P(EncoderExportsTest, AFinishedRunAsksForTheTagsUnlessToldNotTo) {
  source.format = Pcm16(2, 44100);
  for (const char16_t* settings : {u"", u"-notags"}) {
    ASSERT_NE(Begin(settings), 0) << encoder.errors.Text();
    std::vector<int16_t> samples = Tone(2, 44100);
    ASSERT_NE(Encode(samples, Pcm16(2, 44100)), 0) << encoder.errors.Text();
    int32_t writeTags = -1;
    ASSERT_NE(End(writeTags), 0) << encoder.errors.Text();
    EXPECT_EQ(writeTags, GetParam().engineTags && settings[0] == 0) << Narrow(settings);
    EXPECT_GT(std::filesystem::file_size(outputName), 0u);
  }
  EXPECT_EQ(encoder.errors.Text(), "");
}

INSTANTIATE_TEST_SUITE_P(EachEncoder, EncoderExportsTest,
                         ::testing::Values(Expected{"wav", ".wav", true, false, false},
                                           Expected{"aiff", ".aiff", true, false, false},
                                           Expected{"w64", ".w64", true, false, false},
                                           Expected{"mp3", ".mp3", false, true, true},
                                           Expected{"flac", ".flac", true, false, true},
                                           Expected{"vorbis", ".ogg", false, true, true},
                                           Expected{"opus", ".opus", false, true, true},
                                           Expected{"wavpack", ".wv", true, false, true}),
                         [](const ::testing::TestParamInfo<Expected>& each) {
                           return std::string(each.param.stem);
                         });

}  // namespace
