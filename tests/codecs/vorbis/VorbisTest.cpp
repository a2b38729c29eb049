// The Ogg Vorbis plug-ins: whole conversions through the transmill program with oggenc, oggdec,
// ogginfo, ffmpeg and mutagen as referees, and the decoder's own calls for tags, quality
// text, float output and seeking.
#include "codecs/common/TagBridge.h"
#include "tests/codecs/CodecPlugins.h"

#include <cmath>
#include <filesystem>

namespace {

constexpr int kSourceFrames = 66150;  // 1.5 s at 44.1 kHz

using Audio = Sound;

// Normalised cross-correlation at lag 0: 1 for the same waveform, near 0 for unrelated ones.
double Correlation(const Audio& a, const Audio& b) {
  if (a.samples.size() != b.samples.size() || a.samples.empty()) return 0;
  double ab = 0, aa = 0, bb = 0;
  for (size_t i = 0; i < a.samples.size(); ++i) {
    ab += double(a.samples[i]) * b.samples[i];
    aa += double(a.samples[i]) * a.samples[i];
    bb += double(b.samples[i]) * b.samples[i];
  }
  return aa > 0 && bb > 0 ? ab / std::sqrt(aa * bb) : 0;
}

// Power of one frequency in one channel (Goertzel).
double TonePower(const Audio& audio, int channel, double frequency) {
  double coefficient = 2 * std::cos(2 * M_PI * frequency / audio.rate);
  double s1 = 0, s2 = 0;
  for (long i = 0; i < audio.Frames(); ++i) {
    double s = audio.samples[size_t(i * audio.channels + channel)] + coefficient * s1 - s2;
    s2 = s1;
    s1 = s;
  }
  return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}

// Of the tones given, the one strongest in the channel.
int DominantTone(const Audio& audio, int channel, const std::vector<int>& tones) {
  int best = 0;
  double bestPower = -1;
  for (int tone : tones) {
    double power = TonePower(audio, channel, tone);
    if (power > bestPower) bestPower = power, best = tone;
  }
  return best;
}

class VorbisTest : public ConversionTest {
 protected:
  void SetUp() override {
    Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 1.5 sine 440 sine 660 gain -3");
    Sh("sox -R -n -r 44100 -c 2 -b 16 noise.wav synth 4 pinknoise vol 0.5");
  }
  // ogginfo's verdict: empty when it finds nothing wrong.
  std::string OgginfoComplaints(const std::string& file) {
    return Sh("ogginfo '" + file + "' >info.txt 2>&1; echo $?; grep -iE 'warning|error' info.txt");
  }
  std::string Mutagen(const std::string& file, const std::string& expression) {
    return Sh(
        "/usr/bin/python3 -c \"import mutagen.oggvorbis, mutagen.flac, base64; "
        "t = mutagen.oggvorbis.OggVorbis('" +
        file + "').tags; print(" + expression + ")\"");
  }
  long FileSize(const std::string& file) { return long(std::filesystem::file_size(folder / file)); }
};

TEST_F(VorbisTest, EachSettingGivesAValidStreamOfTheSourcesLengthThatSoundsLikeIt) {
  Audio source = ReadSound(folder / "src.wav");
  // "-=5", an option without a name, is left alone as by the other encoders.
  for (const char* settings :
       {"", "-q 4.5", "-q -1", "-q=10", "-b 128", "-m 96 -M 192", "-=5 -q 4"}) {
    RunResult r = Transmill("src.wav", "out.ogg", std::string("-convert_to=vorbis ") + settings);
    ASSERT_EQ(r.exitCode, 0) << settings << r.err;
    EXPECT_EQ(OgginfoComplaints("out.ogg"), "0") << settings;
    Sh("rm -f back.wav && oggdec -Q -o back.wav out.ogg");
    Audio back = ReadSound(folder / "back.wav");
    EXPECT_EQ(back.Frames(), kSourceFrames) << settings;
    // Left and right carry different tones, so swapped or shifted channels fail as well.
    EXPECT_GT(Correlation(source, back), 0.98) << settings;
  }
}

TEST_F(VorbisTest, QualityAndBitRateSettingsShapeTheStreamAndBadValuesAreRefused) {
  std::vector<long> sizes;
  for (const char* q : {"-q 2", "-q 4", "-q 4.5", "-q 5", "-q 8"}) {
    ASSERT_EQ(
        Transmill("noise.wav", "q.ogg", std::string("-convert_to=vorbis -notags ") + q).exitCode, 0)
        << q;
    sizes.push_back(FileSize("q.ogg"));
  }
  EXPECT_TRUE(std::is_sorted(sizes.begin(), sizes.end()))
      << sizes[0] << " " << sizes[2] << " " << sizes[4];
  EXPECT_LT(sizes[0] * 3 / 2, sizes[4]);
  ASSERT_EQ(Transmill("noise.wav", "abr.ogg", "-convert_to=vorbis -b 128").exitCode, 0);
  double kbps =
      std::stod("0" + Sh("ffprobe -v error -show_entries format=bit_rate -of csv=p=0 abr.ogg")) /
      1000;
  EXPECT_NEAR(kbps, 128, 16);
  for (const char* bad : {"-q 11", "-q -2", "-b 5", "-q", "-M x"}) {
    RunResult r = Transmill("src.wav", "bad.ogg", std::string("-convert_to=vorbis ") + bad);
    EXPECT_EQ(r.exitCode, 1) << bad;
    EXPECT_NE(r.err.find(std::string("Unknown encoder setting '") + bad + "'"), std::string::npos)
        << r.err;
  }
}

TEST_F(VorbisTest, EncoderTakesEverySampleLayoutAndRate) {
  Sh("sox src.wav -b 24 mono24.wav remix 1 && sox src.wav -e floating-point -b 32 float.wav");
  Sh("sox src.wav -b 8 u8.wav && sox src.wav -r 96000 -b 32 hi.wav && sox src.wav -r 8000 low.wav");
  struct Case {
    const char* source;
    const char* channels;
    const char* rate;
    long frames;
  };
  for (Case c : {Case{"mono24.wav", "1", "44100", kSourceFrames},
                 {"float.wav", "2", "44100", kSourceFrames},
                 {"u8.wav", "2", "44100", kSourceFrames},
                 {"hi.wav", "2", "96000", 144000},
                 {"low.wav", "2", "8000", 12000}}) {
    RunResult r = Transmill(c.source, "out.ogg", "-convert_to=vorbis -q 3");
    ASSERT_EQ(r.exitCode, 0) << c.source << r.err;
    EXPECT_EQ(Probe("out.ogg", "channels"), c.channels) << c.source;
    EXPECT_EQ(Probe("out.ogg", "sample_rate"), c.rate) << c.source;
    Sh("rm -f back.wav && oggdec -Q -o back.wav out.ogg");
    EXPECT_EQ(Samples("back.wav"), c.frames) << c.source;
  }
}

// Multichannel sources with one tone per speaker: after the trip through Vorbis each channel
// must still hold its own tone. ffmpeg names the speakers of what we write; our decoder must
// hand them back in WAV order with a mask.
TEST_F(VorbisTest, SurroundChannelsKeepTheirSpeakersBothWays) {
  struct Layout {
    const char* name;
    std::vector<int> tones;    // per channel in WAV order; the LFE gets a low one
    bool ourDecoderSameOrder;  // false where our decoder gives the usual mask, not the source's
  };
  for (const Layout& layout :
       {Layout{"3.0", {300, 500, 700}, true}, Layout{"quad", {300, 500, 700, 900}, true},
        Layout{"5.0(side)", {300, 500, 700, 900, 1100}, true},
        Layout{"5.1", {300, 500, 700, 60, 1100, 1300}, true},
        Layout{"6.1", {300, 500, 700, 60, 1100, 1300, 1500}, false},
        Layout{"7.1", {300, 500, 700, 60, 1100, 1300, 1500, 1700}, true}}) {
    std::string sines;
    for (int tone : layout.tones)
      sines += (sines.empty() ? "" : "|") + ("0.5*sin(2*PI*" + std::to_string(tone) + "*t)");
    Sh("rm -f in.wav && ffmpeg -v error -f lavfi -i 'aevalsrc=" + sines + ":c=" + layout.name +
       ":s=48000:d=1' -c:a pcm_s16le in.wav");
    RunResult r = Transmill("in.wav", "out.ogg", "-convert_to=vorbis");
    ASSERT_EQ(r.exitCode, 0) << layout.name << r.err;
    Sh("rm -f ff.wav && ffmpeg -v error -i out.ogg ff.wav");
    Audio referee = ReadSound(folder / "ff.wav");
    ASSERT_EQ(referee.channels, int(layout.tones.size())) << layout.name;
    for (int c = 0; c < referee.channels; ++c)
      EXPECT_EQ(DominantTone(referee, c, layout.tones), layout.tones[size_t(c)])
          << layout.name << " channel " << c;
    if (!layout.ourDecoderSameOrder) continue;
    ASSERT_EQ(Transmill("out.ogg", "back.wav", "-convert_to=wav").exitCode, 0) << layout.name;
    Audio back = ReadSound(folder / "back.wav");
    ASSERT_EQ(back.channels, int(layout.tones.size())) << layout.name;
    for (int c = 0; c < back.channels; ++c)
      EXPECT_EQ(DominantTone(back, c, layout.tones), layout.tones[size_t(c)])
          << layout.name << " channel " << c;
    if (back.channels > 4) {
      EXPECT_EQ(Probe("back.wav", "channel_layout").substr(0, 3), std::string(layout.name, 3));
    }
  }
}

// The decoder plug-in itself, loaded as the engine loads it.
struct Decoder : OpenedDecoder {
  Decoder() : OpenedDecoder("vorbis") {}
  std::vector<float> FloatsToEnd() {
    std::vector<uint8_t> bytes;
    if (!DecodeAll(bytes)) return {};
    std::vector<float> out(bytes.size() / 4);
    memcpy(out.data(), bytes.data(), out.size() * 4);
    return out;
  }
};

TEST_F(VorbisTest, DecoderReadsOggencFilesWithTagsLengthQualityAndSeeksToTheSample) {
  Sh("oggenc -Q -q 3 -t 'A Title' -a 'An Artist' -l 'An Album' -o tagged.ogg src.wav");
  RunResult r = Transmill("tagged.ogg", "out.wav", "-convert_to=wav");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Samples("out.wav"), kSourceFrames);
  Decoder d;
  ASSERT_TRUE(d.Complete());
  ASSERT_TRUE(d.Open(folder / "tagged.ogg")) << d.errors.Text();
  for (const char* expected : {"Title=A Title;", "Artist=An Artist;", "Album=An Album;"})
    EXPECT_NE(d.Tags().find(expected), std::string::npos) << d.Tags();
  EXPECT_EQ(d.info.msLength, 1500u);
  EXPECT_EQ(d.info.byteLength, uint64_t(kSourceFrames) * 4);
  EXPECT_EQ(d.info.format.Format.wBitsPerSample, 16);
  // The bit rate is the audio's average over the file, as ogginfo counts it.
  Sh("oggenc -Q -q 3 -o noise.ogg noise.wav");
  ASSERT_TRUE(d.Open(folder / "noise.ogg")) << d.errors.Text();
  double average =
      1000 * std::stod("0" + Sh("ogginfo noise.ogg | sed -n 's/.*Average bitrate: //p'"));
  EXPECT_NEAR(d.info.bitRate, average, average * 0.03);
  EXPECT_EQ(d.Quality(), "Lossy, " + std::to_string((d.info.bitRate + 500) / 1000) + " kbps VBR");

  TvPluginValue highest{};
  highest.text1 = TV_DECODE_AS_HIGHEST;
  ASSERT_NE(d.set(d.instance, TV_KEY_DECODE_AS, &highest), 0);
  ASSERT_TRUE(d.Open(folder / "tagged.ogg"));
  EXPECT_EQ(d.info.format.Format.wFormatTag, TV_FORMAT_IEEE_FLOAT);
  std::vector<float> whole = d.FloatsToEnd();
  ASSERT_EQ(whole.size(), size_t(kSourceFrames) * 2);
  ASSERT_NE(d.setPosition(d.instance, 1000, 0), 0);
  std::vector<float> tail = d.FloatsToEnd();
  ASSERT_EQ(tail.size(), size_t(kSourceFrames - 44100) * 2);
  // A seek a sample off would shift a 440 Hz tone by far more than this.
  double worst = 0;
  for (size_t i = 0; i < tail.size(); ++i)
    worst = std::max(worst, double(std::fabs(tail[i] - whole[44100 * 2 + i])));
  EXPECT_LT(worst, 1e-3);
}

TEST_F(VorbisTest, EngineWritesTagsAndPicturesThatMutagenReadsBack) {
  RunResult r = Transmill("src.wav", "tagged.ogg",
                          "-convert_to=vorbis \"-tag=Title=Überschrift\" -tag=Artist=Someone");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Mutagen("tagged.ogg", "t['title'][0].encode('utf-8').hex(), t['artist'][0]"),
            "c39c62657273636872696674 Someone");  // the hex of "Überschrift"
  EXPECT_EQ(OgginfoComplaints("tagged.ogg"), "0");
  Sh("oggdec -Q -o back.wav tagged.ogg");
  EXPECT_EQ(Samples("back.wav"), kSourceFrames);  // rewritten headers leave the audio alone
  // A picture travels from an Ogg source through our decoder's tags into the output.
  Sh("printf '\\211PNG\\r\\n\\032\\nrest' > cover.png && /usr/bin/python3 -c \"import "
     "mutagen.oggvorbis, "
     "mutagen.flac, base64; f = mutagen.oggvorbis.OggVorbis('tagged.ogg'); p = "
     "mutagen.flac.Picture(); "
     "p.type = 3; p.mime = 'image/png'; p.data = open('cover.png', 'rb').read(); "
     "f['metadata_block_picture'] = [base64.b64encode(p.write()).decode()]; f.save()\"");
  ASSERT_EQ(Transmill("tagged.ogg", "copy.ogg", "-convert_to=vorbis -q 2").exitCode, 0);
  EXPECT_EQ(Mutagen("copy.ogg",
                    "t['artist'][0], mutagen.flac.Picture(base64.b64decode("
                    "t['metadata_block_picture'][0])).data[:4]"),
            "Someone b'\\x89PNG'");
  ASSERT_EQ(Transmill("tagged.ogg", "bare.ogg", "-convert_to=vorbis -notags").exitCode, 0);
  EXPECT_EQ(Mutagen("bare.ogg", "len(t.keys())"), "0");
}

TEST_F(VorbisTest, ChainedStreamsOfOneFormatDecodeWholeAndOthersAreRefused) {
  Sh("sox -n -r 22050 -c 1 -b 16 mono.wav synth 0.5 sine 300");
  Sh("oggenc -Q -o a.ogg src.wav && oggenc -Q -o b.ogg src.wav && oggenc -Q -o m.ogg mono.wav");
  Sh("cat a.ogg b.ogg > same.ogg && cat a.ogg m.ogg > mixed.ogg");
  RunResult r = Transmill("same.ogg", "out.wav", "-convert_to=wav");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Samples("out.wav"), 2 * kSourceFrames);
  r = Transmill("mixed.ogg", "mixed.wav", "-convert_to=wav");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(
      r.err.find("chained streams change format (44100 Hz, 2 channels, then 22050 Hz, 1 channels)"),
      std::string::npos)
      << r.err;
}

TEST_F(VorbisTest, DamagedTruncatedAndMislabelledFilesFailTheRunCleanly) {
  Sh("oggenc -Q -q 3 -o good.ogg noise.wav && head -c 20000 good.ogg > cut.ogg && cp src.wav "
     "wave.ogg");
  Sh("yes 'no audio in here' | head -c 40000 > text.ogg && : > empty.ogg");
  Sh("cp good.ogg hole.ogg && dd if=/dev/zero of=hole.ogg bs=1 seek=30000 count=3000 conv=notrunc "
     "2>/dev/null");
  Sh("opusenc --quiet src.wav opus.ogg && flac -s --ogg -o flac.oga src.wav");
  Sh("/usr/bin/python3 -c \"d = open('good.ogg', 'rb').read(); "
     "open('pagecut.ogg', 'wb').write(d[:d.find(b'OggS', 20000)])\"");
  struct Case {
    const char* file;
    const char* reason;
  };
  for (Case c : {Case{"cut.ogg", "truncated: the file ends inside"},
                 {"pagecut.ogg", "truncated: its last page"},
                 {"hole.ogg", "damaged"},
                 {"wave.ogg", "not an Ogg file"},
                 {"text.ogg", "not an Ogg file"},
                 {"empty.ogg", "empty"},
                 {"opus.ogg", "holds Opus, not Vorbis"},
                 {"flac.oga", "holds FLAC, not Vorbis"}}) {
    RunResult r = Transmill(c.file, "out.wav", "-convert_to=wav");
    EXPECT_EQ(r.exitCode, 1) << c.file;
    EXPECT_EQ(r.err.rfind(std::string("Error: Unable to open file '") + c.file + "'", 0), 0u)
        << r.err;
    EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(folder / "out.wav")) << c.file;
  }
  // Stray bytes behind the page that ends the stream leave the audio whole.
  Sh("cp good.ogg trailing.ogg && yes junk | head -c 300 >> trailing.ogg");
  RunResult r = Transmill("trailing.ogg", "out.wav", "-convert_to=wav");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Samples("out.wav"), 4 * 44100);
}

}  // namespace
