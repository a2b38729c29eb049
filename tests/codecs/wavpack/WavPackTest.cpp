// What only WavPack does: hybrid streams with and without a correction file; wvunpack is the
// referee.
#include "tests/codecs/CodecPlugins.h"

namespace {

class WavPackTest : public ConversionTest {
 protected:
  std::string Unpacked(const std::string& wv) {
    Sh("rm -f unpacked.raw && wvunpack -q -y -r '" + wv + "' -o unpacked.raw 2>/dev/null");
    return ReadBytes(folder / "unpacked.raw");
  }
};

TEST_F(WavPackTest, HybridIsLossyAndTheCorrectionFileRestoresEveryBit) {
  Sh("sox -R -n -r 44100 -c 2 -b 16 src.wav synth 3 pinknoise vol 0.5 && sox src.wav -t raw "
     "src.raw");
  std::string source = ReadBytes(folder / "src.raw");
  ASSERT_EQ(Transmill("src.wav", "hybrid.wv", "-convert_to=wavpack -b 256").exitCode, 0);
  ASSERT_EQ(Transmill("src.wav", "pair.wv", "-convert_to=wavpack -b256 -c").exitCode, 0);
  EXPECT_FALSE(folder.Has("hybrid.wvc"));
  ASSERT_TRUE(folder.Has("pair.wvc"));
  std::string lossy = Unpacked("hybrid.wv");
  EXPECT_EQ(lossy.size(), source.size());
  EXPECT_FALSE(lossy == source);
  EXPECT_TRUE(Unpacked("pair.wv") == source);
  ASSERT_EQ(Transmill("pair.wv", "back.wav", "-convert_to=wav").exitCode, 0);
  EXPECT_TRUE(SameSamples("src.wav", "back.wav"));
  DecoderPlugin d("wavpack");
  ASSERT_TRUE(d.Open(folder / "hybrid.wv")) << d.errors.Text();
  EXPECT_EQ(d.Quality().rfind("Lossy, ", 0), 0u) << d.Quality();
  EXPECT_NEAR(std::stoi(d.Quality().substr(7)), 256, 30) << d.Quality();
  EXPECT_NE(d.Quality().find(" kbps hybrid"), std::string::npos) << d.Quality();
  EncoderPlugin e("wavpack");
  TvPluginValue value{};
  value.text1 = u"-b 256";
  EXPECT_EQ(e.get(e.instance, TV_KEY_IS_LOSSLESS, &value), 0);
  value.text1 = u"-b3 -c";
  EXPECT_NE(e.get(e.instance, TV_KEY_IS_LOSSLESS, &value), 0);
}

}  // namespace
