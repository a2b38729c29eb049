// What only Opus does: float output that matches opusdec.
#include "tests/codecs/CodecPlugins.h"

namespace {

class OpusTest : public ConversionTest {};

// Pre-skip and end trimming are opusdec's: the float samples line up with its own.
TEST_F(OpusTest, FloatOutputMatchesOpusdec) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 1.5 sine 440 sine 660 gain -3 && opusenc "
     "--quiet src.wav a.opus && opusdec --quiet --float --rate 48000 a.opus ref.wav");
  DecoderPlugin d("opus");
  ASSERT_TRUE(d.AskFloat());
  ASSERT_TRUE(d.Open(folder / "a.opus")) << d.errors.Text();
  EXPECT_EQ(d.info.format.Format.wFormatTag, TV_FORMAT_IEEE_FLOAT);
  std::vector<uint8_t> bytes;
  ASSERT_TRUE(d.DecodeAll(bytes));
  Sound ref = ReadSound(folder / "ref.wav");
  ASSERT_EQ(bytes.size(), ref.samples.size() * 4);
  const float* ours = reinterpret_cast<const float*>(bytes.data());
  double worst = 0;
  for (size_t i = 0; i < ref.samples.size(); ++i)
    worst = std::max(worst, double(std::fabs(ours[i] - ref.samples[i])));
  EXPECT_LT(worst, 1e-3);
}

}  // namespace
