// The entry points every encoder plug-in shares, asked of each one that is built: its answers,
// the engine's settings, a block in another format and whether it asks the engine for the tags.
#include "tests/codecs/CodecPlugins.h"

namespace {

struct Expected {
  const char* stem;
  const char* extension;
  bool lossless;    // with no settings
  bool wantsFloat;  // "NeedHQAudio"
  bool engineTags;  // asks the engine to write the tags (the PCM types write their own)
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
  int32_t Encode(int channels, size_t frames = 4410) {
    std::vector<int16_t> samples(frames * size_t(channels), 3000);
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
  TvWaveFormatExtensible source = Pcm16(2);
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
}

TEST_P(EncoderExportsTest, AFinishedRunAsksForTheTagsUnlessToldNotTo) {
  for (const char16_t* settings : {u"", u"-notags"}) {
    ASSERT_NE(Begin(settings), 0) << encoder.errors.Text();
    ASSERT_NE(Encode(2), 0) << encoder.errors.Text();
    int32_t writeTags = -1;
    ASSERT_NE(encoder.end(encoder.instance, &info, &writeTags), 0) << encoder.errors.Text();
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
