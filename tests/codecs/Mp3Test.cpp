// The MP3 plug-ins: whole conversions through the transmill program with lame, mpg123, ffprobe
// and mutagen as referees, and the decoder's own calls for tags, quality text and seeking.
#include "codecs/common/TagBridge.h"
#include "tests/codecs/CodecPlugins.h"

#include <cmath>
#include <filesystem>

namespace {

constexpr int kSourceFrames = 66150;  // 1.5 s at 44.1 kHz

class Mp3Test : public ConversionTest {
 protected:
  void SetUp() override {
    Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 1.5 sine 440 sine 660 gain -3");
  }
  std::string BitRateMode(const std::string& file) {
    return Sh("/usr/bin/python3 -c \"import mutagen.mp3; print(mutagen.mp3.MP3('" + file +
              "').info.bitrate_mode)\"");
  }
};

TEST_F(Mp3Test, EncodesEachBitRateModeWithAnInfoTagThatGivesTheExactLength) {
  struct Case {
    const char* settings;
    const char* mode;
  };
  for (Case c : {Case{"-b 128", "BitrateMode.CBR"},
                 {"-V2", "BitrateMode.VBR"},
                 {"--abr 160 -q 2", "BitrateMode.ABR"}}) {
    RunResult r = Transmill("src.wav", "out.mp3", std::string("-convert_to=mp3 ") + c.settings);
    ASSERT_EQ(r.exitCode, 0) << c.settings << r.err;
    EXPECT_EQ(Probe("out.mp3", "codec_name"), "mp3");
    EXPECT_NEAR(std::stod(Probe("out.mp3", "duration")), 1.5, 2 * 1152 / 44100.0) << c.settings;
    EXPECT_EQ(BitRateMode("out.mp3"), c.mode) << c.settings;
    // The info tag's delay and padding let a reader trim to the source's length exactly.
    Sh("mpg123 -q -w back.wav out.mp3");
    EXPECT_EQ(Samples("back.wav"), kSourceFrames) << c.settings;
    if (std::string(c.settings) == "-b 128") {
      EXPECT_EQ(Probe("out.mp3", "bit_rate"), "128000");
    }
  }
}

TEST_F(Mp3Test, EncoderTakesOtherSampleLayoutsAndRefusesWhatMp3CannotHold) {
  Sh("sox src.wav -b 24 mono24.wav remix 1 && sox src.wav -e floating-point -b 32 float.wav");
  for (const char* source : {"mono24.wav", "float.wav"}) {
    ASSERT_EQ(Transmill(source, "out.mp3", "-convert_to=mp3 -V5").exitCode, 0) << source;
    EXPECT_EQ(Probe("out.mp3", "channels"), std::string(source) == "float.wav" ? "2" : "1");
  }
  Sh("sox -n -r 44100 -c 6 six.wav synth 0.2 sine 300");
  RunResult r = Transmill("six.wav", "six.mp3", "-convert_to=mp3");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("MP3 holds one or two channels, the source has 6"), std::string::npos)
      << r.err;
  r = Transmill("src.wav", "bad.mp3", "-convert_to=mp3 -V 12");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Unknown encoder setting '-V 12'"), std::string::npos) << r.err;
}

TEST_F(Mp3Test, DecodingIsGaplessForEncoderDelayAndPadding) {
  Sh("lame --quiet -V2 src.wav vbr.mp3 && lame --quiet -b 96 -m m src.wav mono.mp3 && mpg123 -q -w "
     "ref.wav vbr.mp3");
  for (const char* source : {"vbr.mp3", "mono.mp3"}) {
    RunResult r = Transmill(source, "out.wav", "-convert_to=wav");
    ASSERT_EQ(r.exitCode, 0) << source << r.err;
    EXPECT_EQ(Samples("out.wav"), kSourceFrames) << source;
  }
  EXPECT_EQ(Samples("ref.wav"), kSourceFrames);
  // An MP3 to MP3 run takes float from the decoder and stays gapless.
  ASSERT_EQ(Transmill("vbr.mp3", "again.mp3", "-convert_to=mp3 -b 192").exitCode, 0);
  Sh("mpg123 -q -w again.wav again.mp3");
  EXPECT_EQ(Samples("again.wav"), kSourceFrames);
}

TEST_F(Mp3Test, DamagedTruncatedAndMislabelledFilesFailTheRunCleanly) {
  Sh("lame --quiet -V2 src.wav good.mp3 && head -c 12000 good.mp3 > cut.mp3 && cp src.wav "
     "wave.mp3");
  Sh("yes 'no audio in here' | head -c 40000 > text.mp3 && : > empty.mp3");
  // A hole in the middle: the frames lost there are missed against the info tag's count.
  Sh("cp good.mp3 hole.mp3 && dd if=/dev/zero of=hole.mp3 bs=1 seek=6000 count=3000 conv=notrunc "
     "2>/dev/null");
  for (const char* source : {"cut.mp3", "wave.mp3", "text.mp3", "empty.mp3", "hole.mp3"}) {
    RunResult r = Transmill(source, "out.wav", "-convert_to=wav");
    EXPECT_EQ(r.exitCode, 1) << source;
    EXPECT_EQ(r.err.rfind(std::string("Error: Unable to open file '") + source + "'", 0), 0u)
        << r.err;
    EXPECT_FALSE(std::filesystem::exists(folder / "out.wav")) << source;
  }
}

// The decoder plug-in itself, loaded as the engine loads it.
struct Mp3Decoder : OpenedDecoder {
  Mp3Decoder() : OpenedDecoder("mp3") {}
  uint64_t FramesToEnd() {
    std::vector<uint8_t> bytes;
    return DecodeAll(bytes) ? bytes.size() / info.format.Format.nBlockAlign : 0;
  }
};

TEST_F(Mp3Test, DecoderGivesQualityLengthTagsAndSeeks) {
  Sh("lame --quiet -b 128 --tt 'A Title' --ta 'An Artist' --tl 'An Album' src.wav cbr.mp3");
  Sh("lame --quiet -V0 src.wav vbr.mp3");
  Mp3Decoder d;
  ASSERT_TRUE(d.Open(folder / "vbr.mp3")) << d.errors.Text();
  EXPECT_NE(d.Quality().find(" kbps VBR"), std::string::npos) << d.Quality();
  ASSERT_TRUE(d.Open(folder / "cbr.mp3")) << d.errors.Text();
  EXPECT_EQ(d.Quality(), "Lossy, 128 kbps CBR");
  EXPECT_EQ(d.info.bitRate, 128000u);
  EXPECT_EQ(d.info.msLength, 1500u);
  EXPECT_EQ(d.info.byteLength, uint64_t(kSourceFrames) * 4);
  for (const char* expected : {"Title=A Title;", "Artist=An Artist;", "Album=An Album;"})
    EXPECT_NE(d.Tags().find(expected), std::string::npos) << d.Tags();
  ASSERT_NE(d.setPosition(d.instance, 1000, 0), 0);
  EXPECT_EQ(d.FramesToEnd(), uint64_t(kSourceFrames - 44100));
}

TEST_F(Mp3Test, DecoderWritesTagsAndPicturesIntoAFinishedFile) {
  Sh("lame --quiet -V4 src.wav out.mp3 && cp out.mp3 untagged.mp3 && printf "
     "'\\211PNG\\r\\n\\032\\nrest' > cover.png");
  std::string png = ReadBytes(folder / "cover.png", 100);
  codec::TagItems items = {
      {u"Title", u"Written", {}},
      {u"Artist", u"Someone", {}},
      {u"_albumart_1_Front Album Cover", u"", std::vector<uint8_t>(png.begin(), png.end())}};
  std::vector<uint8_t> block = codec::MakeTagItemBlock(items);
  Mp3Decoder d;
  std::u16string target = U16(folder / "out.mp3");
  TvPluginValue value{};
  value.value = int32_t(block.size());
  value.text1 = target.c_str();
  value.data = block.data();
  ASSERT_NE(d.library.Symbol<TvDecoderSetFn>(TV_DECODER_SET)(d.instance, TV_KEY_ID_TAGS, &value), 0)
      << d.errors.Text();
  std::string tags =
      Sh("/usr/bin/python3 -c \"import mutagen.mp3; t=mutagen.mp3.MP3('out.mp3').tags; "
         "print(t['TIT2'], t['TPE1'], len(t.getall('APIC')), t.getall('APIC')[0].data[:4])\"");
  EXPECT_EQ(tags, "Written Someone 1 b'\\x89PNG'");
  Sh("mpg123 -q -w back.wav out.mp3");
  EXPECT_EQ(Samples("back.wav"), kSourceFrames);  // the tag in front leaves the audio as it was
  ASSERT_TRUE(d.Open(folder / "untagged.mp3"));
  uint32_t untagged = d.info.bitRate;
  ASSERT_TRUE(d.Open(folder / "out.mp3")) << d.errors.Text();
  EXPECT_EQ(d.info.byteLength, uint64_t(kSourceFrames) * 4);
  EXPECT_EQ(d.info.bitRate, untagged);  // the tag's bytes are not counted as audio
}

}  // namespace
