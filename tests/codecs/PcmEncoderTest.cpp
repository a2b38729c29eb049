// The WAV, AIFF and W64 encoder plug-ins: settings and decode-encode round trips judged by
// libsndfile and sox.
#include "tests/codecs/CodecPlugins.h"

namespace {

// A file as libsndfile reads it back.
struct ReadBack {
  SF_INFO info{};
  std::vector<int> ints;
  std::vector<float> floats;
  std::vector<int> map;
  std::string title;
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
    sf_readf_int(file, ints.data(), info.frames);
    sf_seek(file, 0, SEEK_SET);
    sf_readf_float(file, floats.data(), info.frames);
    sf_close(file);
  }
};

// Decodes source with the decoder plug-in and encodes it with one encoder, as the engine's
// pump does: open, begin, blocks, close, end.
struct RoundTrip {
  RoundTrip(const std::string& stem, const std::string& source, const std::string& output,
            const std::string& settings, const std::vector<uint8_t>& tagBlock = {})
      : encoder(stem), sourceName(U16(source)), outputName(U16(output)), line(U16(settings)) {
    TvOpenInfo open{};
    if (!encoder.Complete() || !decoder.Open(sourceName, open)) return;
    TvConversionInfo info{};
    info.sourceFile = sourceName.c_str();
    info.outputFile = outputName.c_str();
    info.encoderSettings = line.c_str();
    info.format = &open.format;
    info.idTags = tagBlock.empty() ? nullptr : const_cast<uint8_t*>(tagBlock.data());
    info.idTagsSize = uint32_t(tagBlock.size());
    begun = encoder.begin(encoder.instance, &info) != 0;
    for (bool end = !begun; !end;) {
      TvAudioBlock block{};
      if (!decoder.decodeBlock(decoder.instance, &block) ||
          !encoder.encodeBlock(encoder.instance, &block))
        return;
      end = block.endOfStream != 0;
    }
    ended = begun && encoder.end(encoder.instance, &info, &writeTags) != 0;
  }

  DecoderPlugin decoder;
  EncoderPlugin encoder;
  std::u16string sourceName, outputName, line;
  bool begun = false, ended = false;
  int32_t writeTags = -1;
};

class PcmEncoderTest : public ConversionTest {
 protected:
  // Stereo 16-bit noise as in.wav, or the audio given.
  void Source(TestAudio& made) { ASSERT_TRUE(made.Write(folder / "in.wav")); }
  TestAudio audio;
};

TEST_F(PcmEncoderTest, TypeOptionChangesTheExtension) {
  EncoderPlugin encoder("wav");
  TvPluginValue value{};
  value.text1 = u"-bits=24 -type aiff";
  ASSERT_NE(encoder.get(encoder.instance, TV_KEY_EXTENSION, &value), 0);
  EXPECT_EQ(Narrow(value.text1), ".aiff");
}

// Every sample comes back as it went in, judged by libsndfile and by sox; the layout and
// sample type are kept unless a setting asks otherwise.
TEST_F(PcmEncoderTest, EachTypeAndLayoutKeepsEverySample) {
  struct Case {
    const char* stem;
    int format, channels;
    int outFormat;  // as libsndfile reads the output
    const char* encoding;
  };
  for (Case c : {Case{"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16,
                      "Signed Integer PCM"},
                 {"aiff", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
                  "Signed Integer PCM"},
                 {"w64", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, SF_FORMAT_W64 | SF_FORMAT_PCM_16,
                  "Signed Integer PCM"},
                 {"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, SF_FORMAT_WAVEX | SF_FORMAT_PCM_24,
                  "Signed Integer PCM"},
                 {"aiff", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, SF_FORMAT_AIFF | SF_FORMAT_PCM_24,
                  "Signed Integer PCM"},
                 {"wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, SF_FORMAT_WAVEX | SF_FORMAT_FLOAT,
                  "Floating Point PCM"},
                 {"w64", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, SF_FORMAT_W64 | SF_FORMAT_FLOAT,
                  "Floating Point PCM"},
                 {"wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 6, SF_FORMAT_WAVEX | SF_FORMAT_PCM_16,
                  "Signed Integer PCM"}}) {
    audio = TestAudio();
    audio.format = c.format;
    audio.channels = c.channels;
    if (c.channels == 6)
      audio.channelMap = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT,     SF_CHANNEL_MAP_CENTER,
                          SF_CHANNEL_MAP_LFE,  SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT};
    Source(audio);
    std::string out = folder / (std::string("out.") + c.stem), label = c.stem + out;
    RoundTrip trip(c.stem, folder / "in.wav", out, "");
    ASSERT_TRUE(trip.ended) << label << trip.encoder.errors.Text();
    EXPECT_EQ(trip.writeTags, 0) << label;  // these types write their own text fields
    ReadBack back(out);
    EXPECT_EQ(back.info.format, c.outFormat) << label;
    EXPECT_EQ(back.info.channels, audio.channels) << label;
    EXPECT_EQ(back.info.samplerate, audio.rate) << label;
    EXPECT_EQ(back.info.frames, audio.frames) << label;
    if (audio.IsFloat())
      EXPECT_TRUE(back.floats == audio.floats) << label;
    else
      EXPECT_TRUE(back.ints == audio.ints) << label;
    if (c.channels == 6) {
      EXPECT_EQ(back.map, audio.channelMap);
    }
    EXPECT_EQ(Sh("sox --i -e " + out + " 2>/dev/null"), c.encoding) << label;
    if (!audio.IsFloat()) {
      EXPECT_TRUE(SameSamples(out, "in.wav")) << label;
    }
  }
}

TEST_F(PcmEncoderTest, SettingsConvertTheSamples) {
  Source(audio);
  RoundTrip wide("aiff", folder / "in.wav", folder / "wide.aiff", "-bits=24");
  ASSERT_TRUE(wide.ended) << wide.encoder.errors.Text();
  ReadBack w(folder / "wide.aiff");
  EXPECT_EQ(w.info.format, SF_FORMAT_AIFF | SF_FORMAT_PCM_24);
  EXPECT_TRUE(w.ints == audio.ints);  // 16 bits widen exactly
  RoundTrip asFloat("wav", folder / "in.wav", folder / "f.wav", "-float");
  ASSERT_TRUE(asFloat.ended);
  ReadBack f(folder / "f.wav");
  EXPECT_EQ(f.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
  ASSERT_EQ(f.floats.size(), audio.ints.size());
  for (size_t i = 0; i < f.floats.size(); ++i)  // exact in float, scaled by 1/32768
    ASSERT_EQ(f.floats[i], float(audio.ints[i] / 2147483648.0)) << i;
  RoundTrip eight("w64", folder / "in.wav", folder / "e.w64", "-bits 8");
  ASSERT_TRUE(eight.ended);
  ReadBack e(folder / "e.w64");
  EXPECT_EQ(e.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_U8);
  for (size_t i = 0; i < 100; ++i) EXPECT_EQ(e.ints[i], audio.ints[i] & int(0xFF000000)) << i;
  RoundTrip typed("wav", folder / "in.wav", folder / "typed.aiff", "-type=aiff");
  ASSERT_TRUE(typed.ended);
  EXPECT_EQ(ReadBack(folder / "typed.aiff").info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_AIFF);
  // Float beyond full scale clips instead of wrapping.
  TestAudio loud;
  loud.frames = 4;
  loud.channels = 1;
  loud.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  loud.Generate();
  loud.floats = {1.5f, -2.0f, 0.5f, 0.0f};
  ASSERT_TRUE(loud.Write(folder / "loud.wav"));
  RoundTrip clipped("wav", folder / "loud.wav", folder / "c.wav", "-bits=16");
  ASSERT_TRUE(clipped.ended);
  std::vector<int> ints = ReadBack(folder / "c.wav").ints;
  ASSERT_EQ(ints.size(), 4u);
  EXPECT_EQ(std::vector<int>({ints[0] >> 16, ints[1] >> 16, ints[2] >> 16, ints[3] >> 16}),
            std::vector<int>({32767, -32768, 16384, 0}));
}

TEST_F(PcmEncoderTest, TitleTagGoesIntoTheFileUnlessToldNotTo) {
  audio.frames = 10;
  Source(audio);
  std::vector<uint8_t> block =
      codec::MakeTagItemBlock({{u"title", u"Song", {}}, {u"Unknown", u"x", {}}});
  RoundTrip trip("wav", folder / "in.wav", folder / "out.wav", "", block);
  ASSERT_TRUE(trip.ended);
  EXPECT_EQ(ReadBack(folder / "out.wav").title, "Song");
  RoundTrip bare("wav", folder / "in.wav", folder / "bare.wav", "-notags", block);
  ASSERT_TRUE(bare.ended);
  EXPECT_EQ(ReadBack(folder / "bare.wav").title, "");
}

TEST_F(PcmEncoderTest, BadSettingsAndUnwritableOutputsFailTheBegin) {
  audio.frames = 10;
  Source(audio);
  for (auto [out, settings, error] :
       {std::tuple{"out.wav", "-bits=12", "Error: Unknown encoder setting '"},
        {"out.wav", "-bits=abc", "Error: Unknown encoder setting '"},
        {"out.wav", "-type=mp3", "Error: Unknown encoder setting '"},
        {"out.wav", "-float -bits=16", "Error: Unknown encoder setting '"},
        {"out.wav", "-bits=", "Error: Unknown encoder setting '"},
        {"no/such/folder/out.wav", "", "Error: Unable to create file '"}}) {
    RoundTrip trip("wav", folder / "in.wav", folder / out, settings);
    EXPECT_FALSE(trip.begun) << settings;
    EXPECT_EQ(trip.encoder.errors.Text().rfind(error, 0), 0u) << settings;
  }
}

}  // namespace
