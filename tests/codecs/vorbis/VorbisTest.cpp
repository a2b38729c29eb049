// What only Vorbis does: float output that seeks to the sample, and a bit rate of the audio alone.
#include "tests/codecs/CodecPlugins.h"

namespace {

class VorbisTest : public ConversionTest {};

TEST_F(VorbisTest, FloatOutputSeeksToTheSample) {
  MakeTones("src.wav", 2, 44100);
  Sh("oggenc -Q -q 3 -o a.ogg src.wav");
  DecoderPlugin d("vorbis");
  ASSERT_TRUE(d.AskFloat());
  ASSERT_TRUE(d.Open(folder / "a.ogg")) << d.errors.Text();
  EXPECT_EQ(d.info.format.Format.wFormatTag, TV_FORMAT_IEEE_FLOAT);
  std::vector<uint8_t> whole, tail;
  ASSERT_TRUE(d.DecodeAll(whole));
  ASSERT_EQ(whole.size(), 44100u * 2 * 4);
  ASSERT_NE(d.setPosition(d.instance, 500, 0), 0);
  ASSERT_TRUE(d.DecodeAll(tail));
  ASSERT_EQ(tail.size(), 22050u * 2 * 4);
  // A seek a sample off would shift the tones by far more than this.
  const float* all = reinterpret_cast<const float*>(whole.data()) + 22050 * 2;
  const float* rest = reinterpret_cast<const float*>(tail.data());
  double worst = 0;
  for (size_t i = 0; i < 22050 * 2; ++i)
    worst = std::max(worst, double(std::fabs(rest[i] - all[i])));
  EXPECT_LT(worst, 1e-3);
}

// The bit rate is the audio's average over the file, as ogginfo counts it.
TEST_F(VorbisTest, BitRateIsTheAverageOgginfoFinds) {
  Sh("sox -R -n -r 44100 -c 2 -b 16 noise.wav synth 4 pinknoise vol 0.5 && oggenc -Q -q 3 -o "
     "noise.ogg noise.wav");
  DecoderPlugin d("vorbis");
  ASSERT_TRUE(d.Open(folder / "noise.ogg")) << d.errors.Text();
  double average =
      1000 * std::stod("0" + Sh("ogginfo noise.ogg | sed -n 's/.*Average bitrate: //p'"));
  EXPECT_NEAR(d.info.bitRate, average, average * 0.03);
}

}  // namespace
