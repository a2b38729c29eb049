// The WAV, AIFF and W64 encoder plug-ins through the transmill program: what their settings do
// to the samples and the tags (their round trips are rows of the lossless table).
#include "tests/codecs/CodecPlugins.h"

namespace {

int SfFormat(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (file) sf_close(file);
  return info.format;
}

class PcmEncoderTest : public ConversionTest {
 protected:
  void Encode(const std::string& stem, const std::string& out, const std::string& settings = "") {
    RunResult r = Transmill("in.wav", out, "-convert_to=" + stem + " " + settings);
    ASSERT_EQ(r.exitCode, 0) << stem << " " << settings << r.err;
  }
};

TEST_F(PcmEncoderTest, SettingsConvertTheSamples) {
  TestAudio audio;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  Sound source = ReadSound(folder / "in.wav");
  // Eight bits keep the top byte of each sample.
  Encode("w64", "e.w64", "-bits 8");
  EXPECT_EQ(SfFormat(folder / "e.w64") & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_U8);
  std::vector<float> eight = ReadSound(folder / "e.w64").samples;
  ASSERT_EQ(eight.size(), source.samples.size());
  for (size_t i = 0; i < 100; ++i) EXPECT_EQ(eight[i], std::floor(source.samples[i] * 128) / 128);
  // Float beyond full scale clips instead of wrapping.
  TestAudio loud;
  loud.frames = 4;
  loud.channels = 1;
  loud.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  loud.Generate();
  loud.floats = {1.5f, -2.0f, 0.5f, 0.0f};
  ASSERT_TRUE(loud.Write(folder / "in.wav"));
  Encode("wav", "c.wav", "-bits=16");
  EXPECT_EQ(ReadSound(folder / "c.wav").samples,
            std::vector<float>({32767 / 32768.f, -1.0f, 0.5f, 0.0f}));
}

TEST_F(PcmEncoderTest, TitleTagGoesIntoTheFileUnlessToldNotToAndABadOutputFails) {
  TestAudio audio;
  audio.frames = 10;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  auto title = [&](const std::string& file) {
    return Sh("ffprobe -v error -show_entries format_tags=title -of csv=p=0 " + file);
  };
  Encode("wav", "out.wav", "-tag=TITLE=Song");  // keys match in any case
  EXPECT_EQ(title("out.wav"), "Song");
  Encode("wav", "bare.wav", "-notags -tag=Title=Song");
  EXPECT_EQ(title("bare.wav"), "");
  // An output that can't be made fails the run.
  RunResult r = Transmill("in.wav", "/proc/out.wav", "-convert_to=wav");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err.rfind("Error: Unable to create file '/proc/out.wav'", 0), 0u) << r.err;
}

}  // namespace
