// The PCM decoder plug-in: open records of each layout, blocks at the edges, seeking, bad files.
#include "tests/codecs/CodecPlugins.h"

namespace {

const TvGuid kPcmGuid = TV_SUBFORMAT_GUID(TV_FORMAT_PCM);

class PcmDecoderTest : public ::testing::Test {
 protected:
  void Open(TestAudio& audio, const std::string& name) {
    ASSERT_TRUE(audio.Write(folder / name));
    ASSERT_TRUE(d.Open(folder / name)) << d.errors.Text();
  }
  std::string Rest(int* blocks = nullptr) {
    std::vector<uint8_t> data;
    EXPECT_TRUE(d.DecodeAll(data, blocks)) << d.errors.Text();
    return std::string(data.begin(), data.end());
  }
  std::string Raw(const std::string& name) {
    RunCommand("sox '" + folder / name + "' -t raw '" + folder / "raw" + "'");
    return ReadBytes(folder / "raw");
  }
  ScratchFolder folder;
  DecoderPlugin d;
};

TEST_F(PcmDecoderTest, EachLayoutGivesItsImageQualityAndTags) {
  struct Case {
    const char* name;
    int format, channels, rate;
    uint16_t tag, bits;
    const TvGuid* guid;  // of an extensible image
    uint32_t mask;
    const char* quality;
  };
  const std::vector<int> kSixMap = {SF_CHANNEL_MAP_LEFT,      SF_CHANNEL_MAP_RIGHT,
                                    SF_CHANNEL_MAP_CENTER,    SF_CHANNEL_MAP_LFE,
                                    SF_CHANNEL_MAP_REAR_LEFT, SF_CHANNEL_MAP_REAR_RIGHT};
  for (Case c : {Case{"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, TV_FORMAT_PCM, 16,
                      nullptr, 0, "44.1 kHz, 16 bit, Stereo"},
                 {"m.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, 48000, TV_FORMAT_PCM, 24, nullptr,
                  0, "48 kHz, 24 bit, Mono"},
                 {"f.aif", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 2, 22050, TV_FORMAT_IEEE_FLOAT, 32,
                  nullptr, 0, "22.0 kHz, 32 bit float, Stereo"},
                 {"s.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 6, 44100, TV_FORMAT_EXTENSIBLE, 16,
                  &kPcmGuid, 0x3F, ""},
                 // The content decides, not the name.
                 {"really-aiff.wav", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, 8000, TV_FORMAT_PCM, 16,
                  nullptr, 0, "8 kHz, 16 bit, Stereo"}}) {
    TestAudio audio;
    audio.format = c.format;
    audio.channels = c.channels;
    audio.rate = c.rate;
    if (c.channels == 6) audio.channelMap = kSixMap;
    audio.strings = {{SF_STR_TITLE, "Song"}, {SF_STR_ARTIST, "Band"}};
    Open(audio, c.name);
    const TvWaveFormatExtensible& x = d.info.format;
    uint32_t align = uint32_t(c.channels * c.bits / 8);
    EXPECT_EQ(x.Format.wFormatTag, c.tag) << c.name;
    EXPECT_EQ(x.Format.nChannels, c.channels) << c.name;
    EXPECT_EQ(x.Format.nSamplesPerSec, uint32_t(c.rate)) << c.name;
    EXPECT_EQ(x.Format.wBitsPerSample, c.bits) << c.name;
    EXPECT_EQ(x.Format.nBlockAlign, align) << c.name;
    EXPECT_EQ(x.Format.nAvgBytesPerSec, align * uint32_t(c.rate)) << c.name;
    EXPECT_EQ(d.info.msLength, 20000u * 1000 / uint32_t(c.rate)) << c.name;
    EXPECT_EQ(d.info.byteLength, 20000u * align) << c.name;
    EXPECT_EQ(d.info.bitRate, align * 8 * uint32_t(c.rate)) << c.name;
    if (c.guid) {
      EXPECT_EQ(x.Format.cbSize, 22) << c.name;
      EXPECT_EQ(x.wValidBitsPerSample, c.bits) << c.name;
      EXPECT_EQ(x.dwChannelMask, c.mask) << c.name;
      EXPECT_EQ(memcmp(&x.SubFormat, c.guid, 16), 0) << c.name;
    } else {
      EXPECT_EQ(x.Format.cbSize, 0) << c.name;
      EXPECT_EQ(d.Quality(), c.quality) << c.name;
      EXPECT_EQ(d.Tags(), "Title=Song;Artist=Band;") << c.name;  // the file's text fields
    }
    EXPECT_EQ(d.errors.Text(), "") << c.name;
  }
}

// The end flag rides on the last frames; past the end comes an empty block that still says so.
TEST_F(PcmDecoderTest, BlockEdgesAtZeroOneAndExactlyOneBlockOfFrames) {
  for (int frames : {0, 1, 8192, 8193}) {
    TestAudio audio;
    audio.frames = frames;
    Open(audio, "e" + std::to_string(frames) + ".w64");
    int blocks = 0;
    EXPECT_TRUE(Rest(&blocks) == Raw("e" + std::to_string(frames) + ".w64")) << frames;
    EXPECT_EQ(blocks, frames == 0 ? 1 : (frames + 8191) / 8192) << frames;
    TvAudioBlock block{};
    EXPECT_NE(d.decodeBlock(d.instance, &block), 0);
    EXPECT_EQ(block.byteCount, 0u);
    EXPECT_NE(block.endOfStream, 0u);
  }
}

TEST_F(PcmDecoderTest, SeeksToTheMillisecondAndBlocksSayWhere) {
  TestAudio audio;
  audio.rate = 1000;
  Open(audio, "s.wav");
  ASSERT_NE(d.setPosition(d.instance, 19999, 0), 0);
  TvAudioBlock block{};
  ASSERT_NE(d.decodeBlock(d.instance, &block), 0);
  EXPECT_EQ(block.msPosition, 19999u);
  EXPECT_EQ(std::string((const char*)block.data, block.byteCount), Raw("s.wav").substr(19999 * 4));
  ASSERT_NE(d.setPosition(d.instance, 0, 1), 0);  // past the end: clamped, nothing left
  EXPECT_TRUE(Rest().empty());
}

// A file that can't be read, or holds less than its header counts, is refused at open with the
// reason, and no block follows.
TEST_F(PcmDecoderTest, DamagedAndForeignFilesAreRefusedWithTheReason) {
  const int wav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  const long all = 1L << 30, frameAndAHalf = -75994;  // bytes kept; below 0: all but those
  const char* truncated = "the stream is truncated: 1001 of 20000 samples.";
  for (auto [name, format, keep, reason] :
       {std::tuple{"empty.wav", wav, 0L, "the file is empty."},
        {"cut.wav", wav, 30L, "Error in WAV file"},
        {"sun.wav", int(SF_FORMAT_AU | SF_FORMAT_PCM_16), all, "not a WAV, AIFF or W64 file"},
        // In each container, the data cut short to a frame and a half past 1000 of 20000.
        {"short.wav", wav, frameAndAHalf, truncated},
        {"short.rifx", wav | SF_ENDIAN_BIG, frameAndAHalf, truncated},
        {"short.aiff", int(SF_FORMAT_AIFF | SF_FORMAT_PCM_16), frameAndAHalf, truncated},
        {"short.w64", int(SF_FORMAT_W64 | SF_FORMAT_PCM_16), frameAndAHalf, truncated},
        {"short.rf64", int(SF_FORMAT_RF64 | SF_FORMAT_PCM_16), frameAndAHalf, truncated}}) {
    TestAudio audio;
    audio.format = format;
    ASSERT_TRUE(audio.Write(folder / name));
    std::string bytes = ReadBytes(folder / name);
    folder.WriteFile(name, bytes.substr(0, size_t(keep < 0 ? long(bytes.size()) + keep : keep)));
    EXPECT_FALSE(d.Open(folder / name)) << name;
    std::string text = d.errors.Text();
    EXPECT_EQ(text.rfind("Error: Unable to open file '" + (folder / name) + "': ", 0), 0u) << text;
    EXPECT_NE(text.find(reason), std::string::npos) << text;
    TvAudioBlock block{};
    EXPECT_EQ(d.decodeBlock(d.instance, &block), 0) << name;
  }
  TestAudio whole;
  ASSERT_TRUE(whole.Write(folder / "whole.wav"));
  // A length left open, as a stream written to a pipe leaves it, is no truncation.
  std::string streamed = ReadBytes(folder / "whole.wav");
  ASSERT_EQ(streamed.substr(36, 4), "data");
  folder.WriteFile("streamed.wav", streamed.replace(40, 4, "\xFF\xFF\xFF\xFF"));
  ASSERT_TRUE(d.Open(folder / "streamed.wav")) << d.errors.Text();
  EXPECT_TRUE(Rest() == Raw("whole.wav"));
}

}  // namespace
