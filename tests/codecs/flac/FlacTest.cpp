// What only FLAC does: odd sample depths kept both ways, the Source tag; flac and metaflac are
// the referees.
#include "tests/codecs/CodecPlugins.h"

namespace {

// The samples of a WAVE_FORMAT_EXTENSIBLE file whose data chunk follows the format chunk.
std::string ExtensibleData(const std::string& path) { return ReadBytes(path).substr(68); }

// A 16-bit WAVE_FORMAT_EXTENSIBLE file of noise, as no tool at hand writes one: validBits
// below 16 leave the low bits zero.
std::string WaveEx(int channels, int validBits, uint32_t mask, int frames) {
  std::mt19937 random(uint32_t(channels * 31 + validBits));
  std::string data;
  for (int i = 0; i < frames * channels; ++i) {
    uint16_t v = uint16_t(random() >> 16) & uint16_t(0xFFFF << (16 - validBits));
    data += char(v & 0xFF), data += char(v >> 8);
  }
  auto u16 = [](uint32_t v) { return std::string{char(v & 0xFF), char(v >> 8)}; };
  auto u32 = [&](uint32_t v) { return u16(v & 0xFFFF) + u16(v >> 16); };
  uint32_t n = uint32_t(channels);
  std::string fmt = u16(0xFFFE) + u16(n) + u32(44100) + u32(44100u * 2 * n) + u16(2u * n) +
                    u16(16) + u16(22) + u16(uint32_t(validBits)) + u32(mask) + u32(1) + u16(0) +
                    u16(0x10) + std::string("\x80\x00\x00\xAA\x00\x38\x9B\x71", 8);
  std::string body =
      "WAVEfmt " + u32(uint32_t(fmt.size())) + fmt + "data" + u32(uint32_t(data.size())) + data;
  return "RIFF" + u32(uint32_t(body.size())) + body;
}

class FlacTest : public ConversionTest {};

TEST_F(FlacTest, OddDepthsKeepTheirDepthBothWays) {
  folder.WriteFile("w12.wav", WaveEx(2, 12, 0x3, 30000));
  Sh("flac -s -f -o tool12.flac w12.wav");
  ASSERT_EQ(Sh("metaflac --show-bps tool12.flac"), "12");
  // Decoded: a 16-bit container at full scale, with 12 valid bits in the image.
  DecoderPlugin decoder("flac");
  ASSERT_TRUE(decoder.Open(folder / "tool12.flac")) << decoder.errors.Text();
  EXPECT_EQ(decoder.info.format.Format.wFormatTag, TV_FORMAT_EXTENSIBLE);
  EXPECT_EQ(decoder.info.format.Format.wBitsPerSample, 16);
  EXPECT_EQ(decoder.info.format.wValidBitsPerSample, 12);
  std::vector<uint8_t> samples;
  ASSERT_TRUE(decoder.DecodeAll(samples)) << decoder.errors.Text();
  EXPECT_TRUE(std::string(samples.begin(), samples.end()) == ExtensibleData(folder / "w12.wav"));
  // FLAC to FLAC stays at 12 bits and the flac tool gets the very samples back.
  ASSERT_EQ(Transmill("tool12.flac", "ours12.flac", "-convert_to=flac").exitCode, 0);
  EXPECT_EQ(Sh("metaflac --show-bps ours12.flac"), "12");
  Sh("flac -d -f -s -o back12.wav ours12.flac");
  EXPECT_EQ(ExtensibleData(folder / "back12.wav"), ExtensibleData(folder / "w12.wav"));
}

// A layout other than the one a FLAC reader takes for the count travels in the mask field, and
// only then: ffprobe finds the source's speakers, and our decoder those of the flac tool.
TEST_F(FlacTest, SpeakerLayoutsReachEveryReader) {
  for (auto [channels, mask, field] : {std::tuple{6, 0x3Fu, "0x003F"},
                                       {6, 0x60Fu, ""},
                                       {5, 0x37u, "0x0037"},
                                       {5, 0x607u, ""},
                                       {7, 0x13Fu, "0x013F"},
                                       {7, 0x70Fu, ""},
                                       {1, 0x4u, ""},
                                       {8, 0x63Fu, ""}}) {
    std::string label = std::to_string(channels) + " channels, mask " + std::to_string(mask);
    folder.WriteFile("src.wav", WaveEx(channels, 16, mask, 4800));
    ASSERT_EQ(Transmill("src.wav", "out.flac", "-convert_to=flac").exitCode, 0) << label;
    EXPECT_EQ(Sh("metaflac --show-tag=WAVEFORMATEXTENSIBLE_CHANNEL_MASK out.flac | cut -d= -f2"),
              field)
        << label;
    EXPECT_EQ(Probe("out.flac", "channel_layout"), Probe("src.wav", "channel_layout")) << label;
    // Back to WAV, our decoder and the flac tool give the same speakers.
    Sh("flac -d -f -s -o ref.wav out.flac");
    ASSERT_EQ(Transmill("out.flac", "back.wav", "-convert_to=wav").exitCode, 0) << label;
    EXPECT_EQ(Probe("back.wav", "channel_layout"), Probe("ref.wav", "channel_layout")) << label;
  }
}

// The source's own description keeps its value, with the quality and the type behind it.
TEST_F(FlacTest, SourceTagGainsTheQualityBehindItsValue) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 0.2 sine 440 && flac -s -f -T SOURCE=CD -o "
     "cd.flac src.wav");
  ASSERT_EQ(Transmill("cd.flac", "out.flac", "-convert_to=flac").exitCode, 0);
  EXPECT_EQ(Sh("metaflac --show-tag=SOURCE out.flac"), "SOURCE=CD >> Lossless [flac]");
}

}  // namespace
