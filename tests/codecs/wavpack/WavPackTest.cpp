// What only WavPack does: hybrid streams with and without a correction file, and damage found
// after the file was opened; wvunpack is the referee.
#include "tests/codecs/CodecPlugins.h"

namespace {

class WavPackTest : public ConversionTest {
 protected:
  void SetUp() override { Sh("sox -R -n -r 44100 -c 2 -b 16 src.wav synth 3 pinknoise vol 0.5"); }
  // The raw samples as wvunpack unpacks them.
  std::string Unpacked(const std::string& wv) {
    Sh("rm -f unpacked.raw && wvunpack -q -y -r '" + wv + "' -o unpacked.raw 2>/dev/null");
    return ReadBytes(folder / "unpacked.raw");
  }
  bool Verified(const std::string& wv) {
    return Sh("wvunpack -q -vv '" + wv + "' >/dev/null 2>&1; echo $?") == "0";
  }
};

TEST_F(WavPackTest, HybridIsSmallerAndTheCorrectionFileRestoresEveryBit) {
  Sh("sox src.wav -t raw src.raw");
  std::string source = ReadBytes(folder / "src.raw");
  ASSERT_EQ(Transmill("src.wav", "lossless.wv", "-convert_to=wavpack").exitCode, 0);
  ASSERT_EQ(Transmill("src.wav", "hybrid.wv", "-convert_to=wavpack -b 256").exitCode, 0);
  ASSERT_EQ(Transmill("src.wav", "pair.wv", "-convert_to=wavpack -b256 -c").exitCode, 0);
  EXPECT_FALSE(folder.Has("hybrid.wvc"));
  ASSERT_TRUE(folder.Has("pair.wvc"));
  EXPECT_LT(FileSize("hybrid.wv"), FileSize("lossless.wv") / 2);
  EXPECT_TRUE(Verified("hybrid.wv"));
  EXPECT_TRUE(Verified("pair.wv"));  // with its .wvc beside it
  std::string lossy = Unpacked("hybrid.wv");
  EXPECT_EQ(lossy.size(), source.size());
  EXPECT_FALSE(lossy == source);
  EXPECT_TRUE(Unpacked("pair.wv") == source);
  ASSERT_EQ(Transmill("pair.wv", "back.wav", "-convert_to=wav").exitCode, 0);
  EXPECT_TRUE(SameSamples("src.wav", "back.wav"));
  for (auto [file, quality, kbps] :
       {std::tuple{"pair.wv", "Lossless", 0}, {"hybrid.wv", "Lossy, ", 256}}) {
    DecoderPlugin d("wavpack");
    ASSERT_TRUE(d.Open(folder / file)) << d.errors.Text();
    EXPECT_EQ(d.Quality().rfind(quality, 0), 0u) << d.Quality();
    if (kbps == 0) continue;
    EXPECT_NEAR(std::stoi(d.Quality().substr(7)), kbps, 30) << d.Quality();
    EXPECT_NE(d.Quality().find(" kbps hybrid"), std::string::npos) << d.Quality();
  }
  EncoderPlugin e("wavpack");
  for (auto [settings, lossless] :
       {std::pair{u"", 1}, {u"-hh -x3", 1}, {u"-b 256", 0}, {u"-b3 -c", 1}}) {
    TvPluginValue value{};
    value.text1 = settings;
    EXPECT_EQ(e.get(e.instance, TV_KEY_IS_LOSSLESS, &value), lossless) << Narrow(settings);
  }
}

TEST_F(WavPackTest, ModesChangeTheStreamButNeverTheSamples) {
  Sh("sox src.wav -t raw src.raw");
  for (const char* settings : {"-hh", "-x 3 -h"}) {
    ASSERT_EQ(
        Transmill("src.wav", "out.wv", std::string("-convert_to=wavpack ") + settings).exitCode, 0)
        << settings;
    EXPECT_TRUE(Verified("out.wv")) << settings;
    EXPECT_TRUE(Unpacked("out.wv") == ReadBytes(folder / "src.raw")) << settings;
  }
  // Written to a pipe, the tool can't go back to the first block: the length stays unknown.
  Sh("cat src.wav | wavpack -i -q -y - -o - > piped.wv 2>/dev/null");
  ASSERT_EQ(Transmill("piped.wv", "back.wav", "-convert_to=wav").exitCode, 0);
  EXPECT_TRUE(SameSamples("src.wav", "back.wav"));
}

// Damage that turns up after Open (the file changed under the decoder) fails the decoding call.
TEST_F(WavPackTest, DamageFoundWhileDecodingFailsTheBlockWithAReason) {
  Sh("wavpack -q -y src.wav -o good.wv");
  DecoderPlugin d("wavpack");
  ASSERT_TRUE(d.Open(folder / "good.wv")) << d.errors.Text();
  Sh("dd if=/dev/urandom of=good.wv bs=1 seek=" + std::to_string(FileSize("good.wv") / 2) +
     " count=2000 conv=notrunc 2>/dev/null");
  std::vector<uint8_t> audio;
  EXPECT_FALSE(d.DecodeAll(audio));
  EXPECT_LT(audio.size(), size_t(88200) * 4);
  EXPECT_EQ(d.errors.Text().rfind("Error: Reading '", 0), 0u);
}

}  // namespace
