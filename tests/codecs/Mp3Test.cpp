// What only the MP3 plug-ins do: gapless MP3 to MP3 through float, and tags written into a
// finished file in front of its audio; lame, mpg123 and mutagen are the referees.
#include "tests/codecs/CodecPlugins.h"

namespace {

class Mp3Test : public ConversionTest {
 protected:
  void SetUp() override {
    if (!Built("decoder", "mp3") || !Built("encoder", "mp3")) GTEST_SKIP() << "MP3 not built";
    Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 1.5 sine 440 sine 660 gain -3");
  }
};

TEST_F(Mp3Test, Mp3ToMp3StaysGapless) {
  Sh("lame --quiet -V2 src.wav vbr.mp3");
  ASSERT_EQ(Transmill("vbr.mp3", "again.mp3", "-convert_to=mp3 -b 192").exitCode, 0);
  Sh("mpg123 -q -w again.wav again.mp3");
  EXPECT_EQ(Samples("again.wav"), 66150);
}

// Which frames the tags become is checked with the other formats; here, that the audio stays.
TEST_F(Mp3Test, TagsWrittenIntoAFinishedFileLeaveItsAudioAsItWas) {
  Sh("lame --quiet -V4 src.wav out.mp3 && cp out.mp3 untagged.mp3");
  std::string png = std::string("\x89PNG\r\n\x1A\n", 8) + "rest";
  std::vector<uint8_t> block =
      codec::MakeTagItemBlock({{u"Title", u"Written", {}},
                               {u"Artist", u"Someone", {}},
                               {u"_albumart_1_Front Album Cover", u"", {png.begin(), png.end()}}});
  DecoderPlugin d("mp3");
  std::u16string target = U16(folder / "out.mp3");
  TvPluginValue value{};
  value.value = int32_t(block.size());
  value.text1 = target.c_str();
  value.data = block.data();
  ASSERT_NE(d.set(d.instance, TV_KEY_ID_TAGS, &value), 0) << d.errors.Text();
  EXPECT_NE(Sh("head -c 4096 out.mp3 | grep -ac Written"), "0");
  Sh("mpg123 -q -w back.wav out.mp3");
  EXPECT_EQ(Samples("back.wav"), 66150);  // the tag in front leaves the audio as it was
  ASSERT_TRUE(d.Open(folder / "untagged.mp3"));
  uint32_t untagged = d.info.bitRate;
  ASSERT_TRUE(d.Open(folder / "out.mp3")) << d.errors.Text();
  EXPECT_EQ(d.info.byteLength, 66150u * 4);
  EXPECT_EQ(d.info.bitRate, untagged);  // the tag's bytes are not counted as audio
}

}  // namespace
