// The WAV, AIFF and W64 encoder plug-ins: keys, options, and decode-encode round trips judged
// by libsndfile and sox.
#include "tests/codecs/CodecPlugins.h"

namespace {

struct ReadBack {
  SF_INFO info{};
  std::vector<int> ints;
  std::vector<float> floats;
  std::vector<int> map;
  std::string title;
  bool ok = false;
  explicit ReadBack(const std::string& path) {
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return;
    size_t count = size_t(info.frames) * size_t(info.channels);
    ints.resize(count);
    floats.resize(count);
    map.resize(size_t(info.channels));
    if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), int(map.size() * sizeof(int))) !=
        SF_TRUE)
      map.clear();
    const char* text = sf_get_string(file, SF_STR_TITLE);
    title = text ? text : "";
    ok = sf_readf_int(file, ints.data(), info.frames) == info.frames;
    sf_seek(file, 0, SEEK_SET);
    ok = ok && sf_readf_float(file, floats.data(), info.frames) == info.frames;
    sf_close(file);
  }
};

// Decodes source with the decoder plug-in and encodes it with one encoder, as the engine's
// pump does: open, begin, blocks, close, end.
class RoundTrip {
 public:
  RoundTrip(const std::string& stem, const std::string& source, const std::string& output,
            const std::string& settings, const std::vector<uint8_t>& tagBlock = {})
      : encoder(stem),
        sourceName(U16(source)),
        outputName(U16(output)),
        settingsText(U16(settings)) {
    if (!decoder.Complete() || !encoder.Complete()) return;
    TvOpenInfo open{};
    if (!decoder.Open(sourceName, open)) return;
    TvConversionInfo info{};
    info.sourceFile = sourceName.c_str();
    info.outputFile = outputName.c_str();
    info.encoderSettings = settingsText.c_str();
    info.format = &open.format;
    info.idTags = tagBlock.empty() ? nullptr : const_cast<uint8_t*>(tagBlock.data());
    info.idTagsSize = uint32_t(tagBlock.size());
    begun = encoder.begin(encoder.instance, &info) != 0;
    if (!begun) return;
    for (bool end = false; !end;) {
      TvAudioBlock block{};
      if (!decoder.decodeBlock(decoder.instance, &block) ||
          !encoder.encodeBlock(encoder.instance, &block))
        return;
      end = block.endOfStream != 0;
    }
    decoder.closeFile(decoder.instance, &info);
    writeTags = -1;
    int32_t asked = 0;
    ended = encoder.end(encoder.instance, &info, &asked) != 0;
    writeTags = asked;
  }

  DecoderPlugin decoder;
  EncoderPlugin encoder;
  std::u16string sourceName, outputName, settingsText;
  bool begun = false;
  bool ended = false;
  int32_t writeTags = -1;
};

std::string SoxInfo(const std::string& flag, const std::string& path) {
  // libsndfile's float WAV has a 16-byte fmt chunk, which sox warns about on standard error.
  return RunCommand("sox --i " + flag + " '" + path + "' 2>/dev/null");
}

// The sample data of a file as sox reads it, turned into raw signed 32-bit words.
std::string SoxSamples(const std::string& path, const std::string& raw) {
  RunCommand("sox '" + path + "' -t raw -e signed-integer -b 32 -L '" + raw + "' 2>&1");
  return ReadBytes(raw, size_t(1) << 26);
}

TEST(PcmEncoderTest, EachEncoderNamesItsExtensionAndIsLossless) {
  for (auto [stem, extension] : {std::pair{"wav", ".wav"}, {"aiff", ".aiff"}, {"w64", ".w64"}}) {
    EncoderPlugin encoder(stem);
    ASSERT_TRUE(encoder.Complete()) << stem;
    TvPluginValue value{};
    ASSERT_NE(encoder.get(encoder.instance, TV_KEY_EXTENSION, &value), 0);
    EXPECT_EQ(Narrow(value.text1), extension);
    TvPluginValue lossless{};
    EXPECT_NE(encoder.get(encoder.instance, TV_KEY_IS_LOSSLESS, &lossless), 0);
    TvPluginValue other{};
    EXPECT_EQ(encoder.get(encoder.instance, TV_KEY_SEND_RAW_UNCOMPRESSED, &other), 0);
    EXPECT_EQ(encoder.get(encoder.instance, TV_KEY_NEED_HQ_AUDIO, &other), 0);
  }
}

TEST(PcmEncoderTest, TypeOptionChangesTheExtension) {
  EncoderPlugin encoder("wav");
  ASSERT_TRUE(encoder.Complete());
  TvPluginValue value{};
  value.text1 = u"-bits=24 -type aiff";
  ASSERT_NE(encoder.get(encoder.instance, TV_KEY_EXTENSION, &value), 0);
  EXPECT_EQ(Narrow(value.text1), ".aiff");
}

class PcmEncoderRoundTripTest : public ::testing::Test {
 protected:
  void ExpectSameSamples(const TestAudio& audio, const std::string& output) {
    ReadBack back(output);
    ASSERT_TRUE(back.ok) << output;
    EXPECT_EQ(back.info.channels, audio.channels);
    EXPECT_EQ(back.info.samplerate, audio.rate);
    EXPECT_EQ(back.info.frames, audio.frames);
    if (audio.IsFloat())
      EXPECT_TRUE(back.floats == audio.floats) << output;
    else
      EXPECT_TRUE(back.ints == audio.ints) << output;
  }
  ScratchFolder folder;
};

TEST_F(PcmEncoderRoundTripTest, Stereo16BitToEveryTypeKeepsEverySample) {
  TestAudio audio;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  for (std::string stem : {"wav", "aiff", "w64"}) {
    std::string out = folder / ("out." + stem);
    RoundTrip trip(stem, folder / "in.wav", out, "");
    ASSERT_TRUE(trip.begun && trip.ended) << stem << trip.encoder.errors.Text();
    EXPECT_EQ(trip.writeTags, 0);
    ExpectSameSamples(audio, out);
    if (!HaveSox()) continue;
    EXPECT_EQ(SoxInfo("-b", out), "16");
    EXPECT_EQ(SoxInfo("-c", out), "2");
    EXPECT_EQ(SoxInfo("-r", out), "44100");
    EXPECT_EQ(SoxInfo("-e", out), "Signed Integer PCM");
    EXPECT_EQ(SoxSamples(out, folder / "a.raw"), SoxSamples(folder / "in.wav", folder / "b.raw"))
        << stem;
  }
}

TEST_F(PcmEncoderRoundTripTest, Mono24BitStays24Bit) {
  TestAudio audio;
  audio.channels = 1;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  for (std::string stem : {"wav", "aiff"}) {
    std::string out = folder / ("out." + stem);
    RoundTrip trip(stem, folder / "in.wav", out, "");
    ASSERT_TRUE(trip.ended) << trip.encoder.errors.Text();
    ExpectSameSamples(audio, out);
    if (HaveSox()) {
      EXPECT_EQ(SoxInfo("-b", out), "24");
    }
  }
}

TEST_F(PcmEncoderRoundTripTest, Float32StaysFloat) {
  TestAudio audio;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  for (std::string stem : {"wav", "w64"}) {
    std::string out = folder / ("out." + stem);
    RoundTrip trip(stem, folder / "in.wav", out, "");
    ASSERT_TRUE(trip.ended) << trip.encoder.errors.Text();
    ExpectSameSamples(audio, out);
    if (HaveSox()) {
      EXPECT_EQ(SoxInfo("-e", out), "Floating Point PCM");
    }
  }
}

TEST_F(PcmEncoderRoundTripTest, FivePointOneKeepsExtensibleAndChannelMask) {
  TestAudio audio;
  audio.channels = 6;
  audio.frames = 3000;
  audio.format = SF_FORMAT_WAVEX | SF_FORMAT_PCM_16;
  audio.channelMap = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT,     SF_CHANNEL_MAP_CENTER,
                      SF_CHANNEL_MAP_LFE,  SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT};
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  RoundTrip trip("wav", folder / "in.wav", folder / "out.wav", "");
  ASSERT_TRUE(trip.ended) << trip.encoder.errors.Text();
  ExpectSameSamples(audio, folder / "out.wav");
  ReadBack back(folder / "out.wav");
  EXPECT_EQ(back.info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_WAVEX);
  EXPECT_EQ(back.map, audio.channelMap);
  // The header itself: tag 0xFFFE, 22 extra bytes, valid bits 16, mask 0x3F.
  std::string header = ReadBytes(folder / "out.wav", 60);
  size_t fmt = header.find("fmt ");
  ASSERT_NE(fmt, std::string::npos);
  const uint8_t* f = reinterpret_cast<const uint8_t*>(header.data() + fmt + 8);
  EXPECT_EQ(f[0] | (f[1] << 8), 0xFFFE);
  EXPECT_EQ(f[16] | (f[17] << 8), 22);
  EXPECT_EQ(f[18] | (f[19] << 8), 16);
  EXPECT_EQ(f[20] | (f[21] << 8), 0x3F);
  if (HaveSox()) {
    EXPECT_EQ(SoxInfo("-c", folder / "out.wav"), "6");
  }
}

TEST_F(PcmEncoderRoundTripTest, BitsOptionConvertsAndFloatOptionMakesFloat) {
  TestAudio audio;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  RoundTrip wide("aiff", folder / "in.wav", folder / "wide.aiff", "-bits=24");
  ASSERT_TRUE(wide.ended) << wide.encoder.errors.Text();
  ExpectSameSamples(audio, folder / "wide.aiff");  // 16 bits widen exactly
  RoundTrip asFloat("wav", folder / "in.wav", folder / "f.wav", "-float");
  ASSERT_TRUE(asFloat.ended);
  ReadBack f(folder / "f.wav");
  EXPECT_EQ(f.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
  ASSERT_EQ(f.floats.size(), audio.ints.size());
  for (size_t i = 0; i < f.floats.size();
       ++i)  // 16-bit values are exact in float, scaled by 1/32768
    ASSERT_EQ(f.floats[i], float(audio.ints[i] / 2147483648.0)) << i;
  RoundTrip eight("w64", folder / "in.wav", folder / "e.w64", "-bits 8");
  ASSERT_TRUE(eight.ended);
  ReadBack e(folder / "e.w64");
  EXPECT_EQ(e.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_U8);
  ASSERT_TRUE(e.ok);
  for (size_t i = 0; i < 100; ++i) EXPECT_EQ(e.ints[i], audio.ints[i] & int(0xFF000000)) << i;
  RoundTrip typed("wav", folder / "in.wav", folder / "typed.aiff", "-type=aiff");
  ASSERT_TRUE(typed.ended);
  ReadBack t(folder / "typed.aiff");
  EXPECT_EQ(t.info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_AIFF);
}

TEST_F(PcmEncoderRoundTripTest, FloatToSixteenBitsClipsInsteadOfWrapping) {
  TestAudio audio;
  audio.frames = 4;
  audio.channels = 1;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  audio.Generate();
  audio.floats = {1.5f, -2.0f, 0.5f, 0.0f};
  ASSERT_TRUE(audio.Write(folder / "loud.wav"));
  RoundTrip trip("wav", folder / "loud.wav", folder / "out.wav", "-bits=16");
  ASSERT_TRUE(trip.ended);
  ReadBack back(folder / "out.wav");
  ASSERT_EQ(back.ints.size(), 4u);
  EXPECT_EQ(back.ints[0] >> 16, 32767);
  EXPECT_EQ(back.ints[1] >> 16, -32768);
  EXPECT_EQ(back.ints[2] >> 16, 16384);
}

TEST_F(PcmEncoderRoundTripTest, TitleTagGoesIntoTheFile) {
  TestAudio audio;
  audio.frames = 10;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  // Count 2; records: "title" = "Song", "Unknown" = "x".
  std::vector<uint8_t> block = {2, 0, 0, 0};
  auto record = [&](const std::u16string& key, const std::u16string& value) {
    uint32_t size = uint32_t(4 + 2 * (key.size() + 1) + 2 * (value.size() + 1));
    for (int i = 0; i < 4; ++i) block.push_back(uint8_t(size >> (8 * i)));
    for (const std::u16string* text : {&key, &value}) {
      for (char16_t c : *text) block.insert(block.end(), {uint8_t(c), uint8_t(c >> 8)});
      block.insert(block.end(), {0, 0});
    }
  };
  record(u"title", u"Song");
  record(u"Unknown", u"x");
  RoundTrip trip("wav", folder / "in.wav", folder / "out.wav", "", block);
  ASSERT_TRUE(trip.ended);
  EXPECT_EQ(ReadBack(folder / "out.wav").title, "Song");
  RoundTrip bare("wav", folder / "in.wav", folder / "bare.wav", "-notags", block);
  ASSERT_TRUE(bare.ended);
  EXPECT_EQ(ReadBack(folder / "bare.wav").title, "");
}

TEST_F(PcmEncoderRoundTripTest, UnknownSettingsFailTheBeginWithTheirName) {
  TestAudio audio;
  audio.frames = 10;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  for (std::string settings : {"-bits=12", "-bits=abc", "-type=mp3", "-float -bits=16", "-bits="}) {
    RoundTrip trip("wav", folder / "in.wav", folder / "out.wav", settings);
    EXPECT_FALSE(trip.begun) << settings;
    EXPECT_NE(trip.encoder.errors.Text().find("Error: Unknown encoder setting '"),
              std::string::npos)
        << settings;
  }
}

TEST_F(PcmEncoderRoundTripTest, UnwritableOutputFailsWithTheReason) {
  TestAudio audio;
  audio.frames = 10;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  RoundTrip trip("wav", folder / "in.wav", folder / "no/such/folder/out.wav", "");
  EXPECT_FALSE(trip.begun);
  std::string text = trip.encoder.errors.Text();
  EXPECT_EQ(text.rfind("Error: Unable to create file '", 0), 0u) << text;
}

TEST(PcmEncoderTest, BlocksOutsideAConversionAndChangedFormatsAreRefused) {
  ScratchFolder folder;
  EncoderPlugin encoder("wav");
  ASSERT_TRUE(encoder.Complete());
  int16_t samples[4] = {1, 2, 3, 4};
  TvAudioBlock block{};
  block.data = samples;
  block.byteCount = sizeof samples;
  block.format.Format = TvWaveFormatEx{TV_FORMAT_PCM, 2, 1000, 4000, 4, 16, 0};
  EXPECT_EQ(encoder.encodeBlock(encoder.instance, &block), 0);
  int32_t writeTags = 0;
  EXPECT_EQ(encoder.end(encoder.instance, nullptr, &writeTags), 0);

  std::u16string out = U16(folder / "o.wav");
  TvWaveFormatExtensible format = block.format;
  TvConversionInfo info{};
  info.outputFile = out.c_str();
  info.format = &format;
  ASSERT_NE(encoder.begin(encoder.instance, &info), 0);
  EXPECT_NE(encoder.encodeBlock(encoder.instance, &block), 0);
  TvAudioBlock empty{};
  empty.endOfStream = 1;
  EXPECT_NE(encoder.encodeBlock(encoder.instance, &empty), 0);  // the last block may be empty
  block.format.Format.nChannels = 1;
  EXPECT_EQ(encoder.encodeBlock(encoder.instance, &block), 0);
  EXPECT_NE(encoder.errors.Text().find("changed its format"), std::string::npos);
}

}  // namespace
