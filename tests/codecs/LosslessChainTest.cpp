// Lossless paths end to end: WAV to FLAC to WavPack to WAV through the transmill program must
// give back every sample, with sox and ffprobe, not our own decoders, as the judges.
#include "tests/codecs/CodecPlugins.h"

#include <filesystem>

namespace {

class LosslessChainTest : public ConversionTest {
 protected:
  void SetUp() override {
    for (const char* plugin :
         {"decoder/flac.so", "encoder/flac.so", "decoder/wavpack.so", "encoder/wavpack.so"})
      if (!std::filesystem::exists(std::string(TV_BIN_DIR) + "/" + plugin))
        GTEST_SKIP() << plugin << " not built";
  }
  // The sample data as sox decodes it, whatever the container.
  std::string RawSamples(const std::string& file) {
    Sh("sox '" + file + "' -t raw '" + file + ".raw'");
    return ReadBytes(folder / (file + ".raw"), 1u << 26);
  }
};

TEST_F(LosslessChainTest, WavToFlacToWavPackToWavKeepsEverySample) {
  struct Case {
    int bits;
    int channels;
  };
  for (Case c : {Case{16, 1}, {16, 2}, {16, 6}, {24, 1}, {24, 2}, {24, 6}}) {
    const std::string label =
        std::to_string(c.bits) + " bit, " + std::to_string(c.channels) + " channels";
    // A tone of its own per channel shows a swap; sox's dither fills the low bits.
    std::string tones;
    for (int ch = 1; ch <= c.channels; ++ch) tones += " sine " + std::to_string(110 * ch);
    Sh("sox -n -r 48000 -b " + std::to_string(c.bits) + " -c " + std::to_string(c.channels) +
       " src.wav synth 1.5" + tones + " gain -1");
    ASSERT_EQ(Transmill("src.wav", "a.flac", "-convert_to=flac -8").exitCode, 0) << label;
    ASSERT_EQ(Transmill("a.flac", "b.wv", "-convert_to=wavpack -hh").exitCode, 0) << label;
    RunResult last = Transmill("b.wv", "back.wav", "-convert_to=wav");
    ASSERT_EQ(last.exitCode, 0) << label << last.err;
    const std::string source = RawSamples("src.wav");
    ASSERT_GT(source.size(), 48000u * c.channels * c.bits / 8) << label;
    EXPECT_TRUE(RawSamples("back.wav") == source) << label;
    EXPECT_TRUE(RawSamples("a.flac") == source) << label;
    EXPECT_EQ(Probe("back.wav", "bits_per_raw_sample,channels,channel_layout,sample_rate"),
              Probe("src.wav", "bits_per_raw_sample,channels,channel_layout,sample_rate"))
        << label;
  }
}

}  // namespace
