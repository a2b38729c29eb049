// The entry points every decoder plug-in shares, asked of each one that is built: its list,
// the engine's settings, calls without a file, a failed open and a tag write that fails.
#include "tests/codecs/CodecPlugins.h"

namespace {

struct Expected {
  const char* stem;
  int types;  // entries of its "Decodes" list
  bool writesTags;
};

class DecoderExportsTest : public ::testing::TestWithParam<Expected> {
 protected:
  void SetUp() override {
    if (!decoder.library.Loaded()) GTEST_SKIP() << GetParam().stem << " decoder is not built";
  }
  DecoderPlugin decoder{GetParam().stem};
};

TEST_P(DecoderExportsTest, AnnouncesItsListAndTakesTheEngineSettings) {
  TvPluginValue value{};
  for (int32_t index : {-1, 0, GetParam().types - 1, GetParam().types}) {
    value = TvPluginValue{};
    value.index = index;
    bool listed = index >= 0 && index < GetParam().types;
    EXPECT_EQ(decoder.get(decoder.instance, TV_KEY_DECODES, &value) != 0, listed) << index;
    EXPECT_EQ(value.text1 != nullptr && value.text2 != nullptr, listed) << index;
  }
  EXPECT_EQ(decoder.get(decoder.instance, TV_KEY_UNLISTED, &value), 0);
  value.text1 = TV_DECODE_AS_HIGHEST;
  EXPECT_NE(decoder.set(decoder.instance, TV_KEY_DECODE_AS, &value), 0);
  EXPECT_NE(decoder.set(decoder.instance, TV_KEY_BATCH_ID, &value), 0);
  EXPECT_EQ(decoder.set(decoder.instance, TV_KEY_ID_TAGS, nullptr), 0);
  EXPECT_EQ(decoder.set(decoder.instance, TV_KEY_PRIORITY, &value), 0);
  EXPECT_EQ(decoder.set(nullptr, TV_KEY_BATCH_ID, &value), 0);
  EXPECT_EQ(decoder.deleteATag(decoder.instance, 0, 0), 0);
}

TEST_P(DecoderExportsTest, CallsAfterAFailedOpenOrTagWriteFailQuietly) {
  ScratchFolder folder;
  TvAudioBlock block{};
  ASSERT_FALSE(decoder.Open(folder / "absent"));
  EXPECT_EQ(
      decoder.errors.Text().rfind("Error: Unable to open file '" + folder / "absent" + "': ", 0),
      0u);
  EXPECT_EQ(decoder.decodeBlock(decoder.instance, &block), 0);
  EXPECT_EQ(decoder.setPosition(decoder.instance, 0, 0), 0);
  EXPECT_NE(decoder.closeFile(decoder.instance, nullptr), 0);
  // A decoder that writes tags tells why it could not; one that writes none declines silently.
  std::u16string name = U16(folder / "absent");
  TvPluginValue value{};
  value.text1 = name.c_str();
  EXPECT_EQ(decoder.set(decoder.instance, TV_KEY_ID_TAGS, &value), 0);
  std::string said = decoder.errors.Text();
  if (GetParam().writesTags)
    EXPECT_EQ(said.rfind("Error: ", 0), 0u) << said;
  else
    EXPECT_EQ(said, "");
}

INSTANTIATE_TEST_SUITE_P(EachDecoder, DecoderExportsTest,
                         ::testing::Values(Expected{"pcm", 6, false}, Expected{"mp3", 2, true},
                                           Expected{"flac", 1, true}, Expected{"vorbis", 2, true},
                                           Expected{"opus", 1, true}, Expected{"wavpack", 1, true}),
                         [](const ::testing::TestParamInfo<Expected>& each) {
                           return std::string(each.param.stem);
                         });

}  // namespace

// An exception inside a codec call ends that call, not the process.
TEST(PluginBoundaryTest, AThrowingCallGivesZeroAndAnErrorLine) {
  DecoderPlugin decoder(TV_TEST_CODEC);
  EXPECT_FALSE(decoder.Open("any.broken"));
  EXPECT_EQ(decoder.errors.Text(), "Error: The plug-in's Open call failed: std::bad_alloc\r\n");

  EncoderPlugin encoder(TV_TEST_CODEC);
  TvWaveFormatExtensible format{};
  TvConversionInfo conversion{};
  conversion.format = &format;
  EXPECT_EQ(encoder.begin(encoder.instance, &conversion), 0);
  EXPECT_EQ(encoder.errors.Text(),
            "Error: The plug-in's ENC_BeginConversion call failed: the library gave up\r\n");
}
