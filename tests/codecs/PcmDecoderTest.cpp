// The PCM decoder plug-in: announced types, open records, blocks, seeking, damaged files.
#include "tests/codecs/CodecPlugins.h"

namespace {

const TvGuid kPcmGuid = TV_SUBFORMAT_GUID(TV_FORMAT_PCM);
const TvGuid kFloatGuid = TV_SUBFORMAT_GUID(TV_FORMAT_IEEE_FLOAT);

struct Opened {
  DecoderPlugin decoder;
  std::u16string name;
  TvOpenInfo info{};
  bool ok = false;
  Opened(const std::string& path) : name(U16(path)) {
    ok = decoder.Complete() && decoder.Open(name, info);
  }
};

std::vector<std::pair<std::string, std::string>> Announced(DecoderPlugin& decoder) {
  std::vector<std::pair<std::string, std::string>> list;
  for (int32_t i = 0;; ++i) {
    TvPluginValue value{};
    value.index = i;
    if (!decoder.get(decoder.instance, TV_KEY_DECODES, &value) || !value.text1) break;
    list.emplace_back(Narrow(value.text1), Narrow(value.text2));
  }
  return list;
}

// The texts of a tag block as "key=value;" pairs.
std::string TagText(const void* data, uint32_t size) {
  std::string text;
  const uint8_t* p = static_cast<const uint8_t*>(data);
  if (!p || size < 4) return "<none>";
  for (uint32_t pos = 4; pos + 4 <= size;) {
    uint32_t record =
        p[pos] | (p[pos + 1] << 8) | (p[pos + 2] << 16) | (uint32_t(p[pos + 3]) << 24);
    if (record < 4 || pos + record > size) return text + "<damaged>";
    bool inValue = false;
    for (uint32_t i = pos + 4; i + 1 < pos + record; i += 2) {
      char16_t c = char16_t(p[i] | (p[i + 1] << 8));
      if (c == 0) {
        text += inValue ? ";" : "=";
        inValue = true;
      } else {
        text += char(c < 128 ? c : '?');
      }
    }
    pos += record;
  }
  return text;
}

TEST(PcmDecoderTest, AnnouncesWaveAiffAndWave64AndNothingPastTheList) {
  DecoderPlugin decoder;
  ASSERT_TRUE(decoder.Complete());
  auto list = Announced(decoder);
  ASSERT_EQ(list.size(), 6u);
  EXPECT_EQ(list[0], std::make_pair(std::string(".wav"), std::string("Wave")));
  EXPECT_EQ(list[3], std::make_pair(std::string(".aiff"), std::string("Aiff")));
  EXPECT_EQ(list[5], std::make_pair(std::string(".w64"), std::string("Wave64")));
  TvPluginValue value{};
  value.index = -1;
  EXPECT_EQ(decoder.get(decoder.instance, TV_KEY_DECODES, &value), 0);
  EXPECT_EQ(decoder.get(decoder.instance, TV_KEY_STREAMING_DECODES, &value), 0);
  EXPECT_EQ(decoder.get(decoder.instance, u"NoSuchKey", &value), 0);
}

TEST(PcmDecoderTest, Stereo16BitGivesPlainPcmAndEveryByte) {
  ScratchFolder folder;
  TestAudio audio;
  ASSERT_TRUE(audio.Write(folder / "a.wav"));
  Opened opened(folder / "a.wav");
  ASSERT_TRUE(opened.ok) << opened.decoder.errors.Text();
  const TvWaveFormatEx& f = opened.info.format.Format;
  EXPECT_EQ(f.wFormatTag, TV_FORMAT_PCM);
  EXPECT_EQ(f.nChannels, 2);
  EXPECT_EQ(f.nSamplesPerSec, 44100u);
  EXPECT_EQ(f.wBitsPerSample, 16);
  EXPECT_EQ(f.nBlockAlign, 4);
  EXPECT_EQ(f.nAvgBytesPerSec, 176400u);
  EXPECT_EQ(f.cbSize, 0);
  EXPECT_EQ(opened.info.msLength, 20000u * 1000 / 44100);
  EXPECT_EQ(opened.info.byteLength, 80000u);
  EXPECT_EQ(opened.info.bitRate, 1411200u);
  EXPECT_EQ(TagText(opened.info.properties, opened.info.propertiesSize),
            "Audio Quality=44.1 kHz, 16 bit, Stereo;");
  std::vector<uint8_t> data;
  int blocks = 0;
  ASSERT_TRUE(opened.decoder.DecodeAll(data, &blocks));
  EXPECT_EQ(data, audio.BlockBytes());
  EXPECT_EQ(blocks, 3);  // 8192 + 8192 + 3616 frames, the end flag on the short one
  EXPECT_EQ(opened.decoder.errors.Text(), "");
}

TEST(PcmDecoderTest, Mono24BitKeepsThreeBytesPerSample) {
  ScratchFolder folder;
  TestAudio audio;
  audio.channels = 1;
  audio.rate = 48000;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
  ASSERT_TRUE(audio.Write(folder / "m.wav"));
  Opened opened(folder / "m.wav");
  ASSERT_TRUE(opened.ok);
  EXPECT_EQ(opened.info.format.Format.wBitsPerSample, 24);
  EXPECT_EQ(opened.info.format.Format.nBlockAlign, 3);
  EXPECT_EQ(TagText(opened.info.properties, opened.info.propertiesSize),
            "Audio Quality=48 kHz, 24 bit, Mono;");
  std::vector<uint8_t> data;
  ASSERT_TRUE(opened.decoder.DecodeAll(data));
  EXPECT_EQ(data, audio.BlockBytes());
}

TEST(PcmDecoderTest, Float32AiffGivesFloatSamplesUnchanged) {
  ScratchFolder folder;
  TestAudio audio;
  audio.format = SF_FORMAT_AIFF | SF_FORMAT_FLOAT;
  ASSERT_TRUE(audio.Write(folder / "f.aif"));
  Opened opened(folder / "f.aif");
  ASSERT_TRUE(opened.ok);
  EXPECT_EQ(opened.info.format.Format.wFormatTag, TV_FORMAT_IEEE_FLOAT);
  EXPECT_EQ(opened.info.format.Format.wBitsPerSample, 32);
  std::vector<uint8_t> data;
  ASSERT_TRUE(opened.decoder.DecodeAll(data));
  EXPECT_EQ(data, audio.BlockBytes());
}

TEST(PcmDecoderTest, FivePointOneGivesExtensibleImageWithChannelMask) {
  ScratchFolder folder;
  TestAudio audio;
  audio.channels = 6;
  audio.frames = 1000;
  audio.format = SF_FORMAT_WAVEX | SF_FORMAT_PCM_16;
  audio.channelMap = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT,     SF_CHANNEL_MAP_CENTER,
                      SF_CHANNEL_MAP_LFE,  SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT};
  ASSERT_TRUE(audio.Write(folder / "s.wav"));
  Opened opened(folder / "s.wav");
  ASSERT_TRUE(opened.ok);
  const TvWaveFormatExtensible& x = opened.info.format;
  EXPECT_EQ(x.Format.wFormatTag, TV_FORMAT_EXTENSIBLE);
  EXPECT_EQ(x.Format.cbSize, 22);
  EXPECT_EQ(x.wValidBitsPerSample, 16);
  EXPECT_EQ(x.dwChannelMask, 0x3Fu);
  EXPECT_EQ(memcmp(&x.SubFormat, &kPcmGuid, 16), 0);
  std::vector<uint8_t> data;
  ASSERT_TRUE(opened.decoder.DecodeAll(data));
  EXPECT_EQ(data, audio.BlockBytes());
}

TEST(PcmDecoderTest, TextFieldsOfTheFileBecomeTags) {
  ScratchFolder folder;
  for (const char* name : {"t.wav", "t.aiff"}) {
    TestAudio audio;
    audio.frames = 10;
    audio.format =
        (std::string(name) == "t.wav" ? SF_FORMAT_WAV : SF_FORMAT_AIFF) | SF_FORMAT_PCM_16;
    audio.strings = {{SF_STR_TITLE, "Song"}, {SF_STR_ARTIST, "Band"}};
    ASSERT_TRUE(audio.Write(folder / name));
    Opened opened(folder / name);
    ASSERT_TRUE(opened.ok);
    EXPECT_EQ(TagText(opened.info.idTags, opened.info.idTagsSize), "Title=Song;Artist=Band;")
        << name;
  }
  TestAudio bare;
  ASSERT_TRUE(bare.Write(folder / "bare.wav"));
  Opened opened(folder / "bare.wav");
  ASSERT_TRUE(opened.ok);
  EXPECT_EQ(opened.info.idTagsSize, 4u);  // an empty list: a zero count
  EXPECT_EQ(TagText(opened.info.properties, opened.info.propertiesSize),
            "Audio Quality=44.1 kHz, 16 bit, Stereo;");
}

TEST(PcmDecoderTest, AcceptsTheEngineSettingsAndDeclinesTheRest) {
  DecoderPlugin decoder;
  ASSERT_TRUE(decoder.Complete());
  TvPluginValue value{};
  value.text1 = TV_DECODE_AS_HIGHEST;
  EXPECT_NE(decoder.set(decoder.instance, TV_KEY_DECODE_AS, &value), 0);
  EXPECT_NE(decoder.set(decoder.instance, u"eventquit", &value), 0);
  EXPECT_EQ(decoder.set(decoder.instance, TV_KEY_ID_TAGS, &value), 0);
  EXPECT_EQ(decoder.get(decoder.instance, TV_KEY_UNLISTED, &value), 0);
  EXPECT_EQ(decoder.get(decoder.instance, TV_KEY_COMMUNICATE, &value), 0);
  EXPECT_EQ(decoder.deleteATag(decoder.instance, 0, 0), 0);
}

TEST(PcmDecoderTest, ExtensibleFloatCarriesTheFloatSubFormat) {
  ScratchFolder folder;
  TestAudio audio;
  audio.frames = 10;
  audio.format = SF_FORMAT_WAVEX | SF_FORMAT_FLOAT;
  ASSERT_TRUE(audio.Write(folder / "x.wav"));
  Opened opened(folder / "x.wav");
  ASSERT_TRUE(opened.ok);
  EXPECT_EQ(opened.info.format.Format.wFormatTag, TV_FORMAT_EXTENSIBLE);
  EXPECT_EQ(memcmp(&opened.info.format.SubFormat, &kFloatGuid, 16), 0);
}

TEST(PcmDecoderTest, BlockEdgesAtZeroOneAndExactlyOneBlockOfFrames) {
  for (int frames : {0, 1, 8192, 8193}) {
    ScratchFolder folder;
    TestAudio audio;
    audio.frames = frames;
    ASSERT_TRUE(audio.Write(folder / "e.w64"));
    Opened opened(folder / "e.w64");
    ASSERT_TRUE(opened.ok) << frames;
    std::vector<uint8_t> data;
    int blocks = 0;
    ASSERT_TRUE(opened.decoder.DecodeAll(data, &blocks)) << frames;
    EXPECT_EQ(data, audio.BlockBytes()) << frames;
    EXPECT_EQ(blocks, frames == 0 ? 1 : (frames + 8191) / 8192)
        << frames;  // the end flag rides on the last frames
    // Past the end: an empty block that still says end of stream.
    TvAudioBlock block{};
    EXPECT_NE(opened.decoder.decodeBlock(opened.decoder.instance, &block), 0);
    EXPECT_EQ(block.byteCount, 0u);
    EXPECT_NE(block.endOfStream, 0u);
  }
}

TEST(PcmDecoderTest, BlocksCarryPositionDurationAndFormat) {
  ScratchFolder folder;
  TestAudio audio;
  audio.rate = 8192;
  ASSERT_TRUE(audio.Write(folder / "p.wav"));
  Opened opened(folder / "p.wav");
  ASSERT_TRUE(opened.ok);
  TvAudioBlock first{}, second{};
  ASSERT_TRUE(opened.decoder.decodeBlock(opened.decoder.instance, &first));
  EXPECT_EQ(first.msPosition, 0u);
  EXPECT_EQ(first.msDuration, 1000u);
  EXPECT_EQ(first.endOfStream, 0u);
  EXPECT_EQ(first.bitRate, 8192u * 32);
  EXPECT_EQ(memcmp(&first.format, &opened.info.format, sizeof first.format), 0);
  ASSERT_TRUE(opened.decoder.decodeBlock(opened.decoder.instance, &second));
  EXPECT_EQ(second.msPosition, 1000u);
}

TEST(PcmDecoderTest, SetPositionSeeksToTheMillisecond) {
  ScratchFolder folder;
  TestAudio audio;
  audio.rate = 1000;
  ASSERT_TRUE(audio.Write(folder / "s.wav"));
  Opened opened(folder / "s.wav");
  ASSERT_TRUE(opened.ok);
  ASSERT_NE(opened.decoder.setPosition(opened.decoder.instance, 19999, 0), 0);
  std::vector<uint8_t> data;
  ASSERT_TRUE(opened.decoder.DecodeAll(data));
  std::vector<uint8_t> all = audio.BlockBytes();
  EXPECT_EQ(data, std::vector<uint8_t>(all.end() - 4, all.end()));
  // Past the end: clamped to the end, nothing left.
  ASSERT_NE(opened.decoder.setPosition(opened.decoder.instance, 0, 1), 0);
  data.clear();
  ASSERT_TRUE(opened.decoder.DecodeAll(data));
  EXPECT_TRUE(data.empty());
}

TEST(PcmDecoderTest, CallsWithoutAnOpenFileFailQuietly) {
  DecoderPlugin decoder;
  ASSERT_TRUE(decoder.Complete());
  TvAudioBlock block{};
  EXPECT_EQ(decoder.decodeBlock(decoder.instance, &block), 0);
  EXPECT_EQ(decoder.setPosition(decoder.instance, 0, 0), 0);
  EXPECT_EQ(decoder.open(decoder.instance, nullptr), 0);
  EXPECT_EQ(decoder.decodeBlock(nullptr, &block), 0);
  EXPECT_NE(decoder.closeFile(decoder.instance, nullptr), 0);
}

class PcmDecoderDamageTest : public ::testing::Test {
 protected:
  // Opens a file that must be refused with a clear error.
  void ExpectRefused(const std::string& name, const std::string& reason) {
    Opened opened(folder / name);
    EXPECT_FALSE(opened.ok) << name;
    std::string text = opened.decoder.errors.Text();
    EXPECT_EQ(text.rfind("Error: Unable to open file '" + (folder / name) + "': ", 0), 0u) << text;
    EXPECT_NE(text.find(reason), std::string::npos) << text;
    EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
    TvAudioBlock block{};
    EXPECT_EQ(opened.decoder.decodeBlock(opened.decoder.instance, &block), 0);
  }
  ScratchFolder folder;
};

TEST_F(PcmDecoderDamageTest, EmptyFileIsRefused) {
  folder.WriteFile("empty.wav", "");
  ExpectRefused("empty.wav", "the file is empty.");
}

TEST_F(PcmDecoderDamageTest, GarbageNamedWavIsRefused) {
  std::string garbage(5000, '\0');
  for (size_t i = 0; i < garbage.size(); ++i) garbage[i] = char(i * 37 + 11);
  folder.WriteFile("noise.wav", garbage);
  ExpectRefused("noise.wav", "Format not recognised");
}

TEST_F(PcmDecoderDamageTest, TruncatedHeaderIsRefused) {
  TestAudio audio;
  ASSERT_TRUE(audio.Write(folder / "whole.wav"));
  std::string bytes = ReadBytes(folder / "whole.wav", 30);
  folder.WriteFile("cut.wav", bytes);
  ExpectRefused("cut.wav", "Error in WAV file");
}

TEST_F(PcmDecoderDamageTest, MissingFileIsRefused) {
  ExpectRefused("absent.wav", "No such file or directory");
}

TEST_F(PcmDecoderDamageTest, ForeignFormatNamedWavIsRefused) {
  TestAudio audio;
  audio.format = SF_FORMAT_AU | SF_FORMAT_PCM_16;
  ASSERT_TRUE(audio.Write(folder / "sun.wav"));
  ExpectRefused("sun.wav", "not a WAV, AIFF or W64 file");
}

TEST_F(PcmDecoderDamageTest, TruncatedDataGivesTheFramesThatAreThere) {
  TestAudio audio;
  ASSERT_TRUE(audio.Write(folder / "whole.wav"));
  // Header (44 bytes) and 1000 frames and a half: the header still claims 20000.
  std::string bytes = ReadBytes(folder / "whole.wav", 4046);
  folder.WriteFile("short.wav", bytes);
  Opened opened(folder / "short.wav");
  ASSERT_TRUE(opened.ok);
  std::vector<uint8_t> data;
  ASSERT_TRUE(opened.decoder.DecodeAll(data));
  std::vector<uint8_t> all = audio.BlockBytes();
  ASSERT_LE(data.size(), 4002u);
  EXPECT_EQ(data.size() % 4, 0u);
  EXPECT_EQ(data, std::vector<uint8_t>(all.begin(), all.begin() + long(data.size())));
}

TEST_F(PcmDecoderDamageTest, DamagedHeadersFailCleanlyOrDecodeToTheEnd) {
  struct Source {
    const char* name;
    int format;
    int channels;
  };
  for (Source source : {Source{"w.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2},
                        {"x.wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 6},
                        {"a.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 1},
                        {"s.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_32, 3}}) {
    TestAudio audio;
    audio.frames = 300;
    audio.channels = source.channels;
    audio.format = source.format;
    ASSERT_TRUE(audio.Write(folder / source.name));
    std::string whole = ReadBytes(folder / source.name, 1 << 20);
    std::mt19937 random(7);
    for (int round = 0; round < 150; ++round) {
      std::string bytes = whole;
      // One to four bytes of the first 120 (the headers) set to random values.
      for (int n = 1 + int(random() % 4); n > 0; --n) bytes[random() % 120] = char(random());
      folder.WriteFile(source.name, bytes);
      Opened opened(folder / source.name);
      if (!opened.ok) {
        EXPECT_EQ(opened.decoder.errors.Text().rfind("Error: ", 0), 0u) << source.name << round;
        continue;
      }
      std::vector<uint8_t> data;
      opened.decoder.DecodeAll(data);  // success or a reported read error; never a crash
      EXPECT_EQ(data.size() % opened.info.format.Format.nBlockAlign, 0u) << source.name << round;
    }
  }
}

TEST_F(PcmDecoderDamageTest, FolderNamedWavIsRefused) {
  std::filesystem::create_directory(folder / "dir.wav");
  ExpectRefused("dir.wav", "");
}

TEST_F(PcmDecoderDamageTest, MislabelledAiffNamedWavIsReadByItsContent) {
  TestAudio audio;
  audio.frames = 100;
  audio.format = SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
  ASSERT_TRUE(audio.Write(folder / "really-aiff.wav"));
  Opened opened(folder / "really-aiff.wav");
  ASSERT_TRUE(opened.ok);
  std::vector<uint8_t> data;
  ASSERT_TRUE(opened.decoder.DecodeAll(data));
  EXPECT_EQ(data, audio.BlockBytes());
}

}  // namespace
