// What only Vorbis does: float output that seeks to the sample, chained streams of one format,
// and bytes behind the last page.
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

TEST_F(VorbisTest, ChainedStreamsOfOneFormatAndTrailingBytesDecodeWhole) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 1.5 sine 440 sine 660 gain -3");
  Sh("oggenc -Q -s 1 -o a.ogg src.wav && oggenc -Q -s 2 -o b.ogg src.wav && cat a.ogg b.ogg > "
     "same.ogg");
  Sh("cp a.ogg trailing.ogg && yes junk | head -c 300 >> trailing.ogg");
  for (auto [file, frames] : {std::pair{"same.ogg", 132300L}, {"trailing.ogg", 66150L}}) {
    RunResult r = Transmill(file, "out.wav", "-convert_to=wav");
    ASSERT_EQ(r.exitCode, 0) << file << r.err;
    EXPECT_EQ(Samples("out.wav"), frames) << file;
  }
}

}  // namespace
