// The WavPack plug-ins: whole conversions through the transmill program with wavpack, wvunpack,
// ffprobe and mutagen as referees, and the decoder's own calls for quality text, tags and seeking.
#include "codecs/common/TagBridge.h"
#include "tests/codecs/CodecPlugins.h"

#include <filesystem>

namespace {

constexpr int kFrames = 30000;

// The audio bytes of a WAV file as they lie in its data chunk.
std::string WavData(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (!file) return "";
  std::string bytes(size_t(info.frames) * size_t(info.channels) * 8, '\0');
  sf_count_t got = sf_read_raw(file, bytes.data(), sf_count_t(bytes.size()));
  sf_close(file);
  bytes.resize(got > 0 ? size_t(got) : 0);
  return bytes;
}

std::string WholeFile(const std::string& path) { return ReadBytes(path, size_t(1) << 28); }

class WavPackTest : public ConversionTest {
 protected:
  // Noise over the full range of the layout; six channels are 5.1 with side speakers, not the
  // usual mask, so that a lost mask shows.
  std::string Source(const std::string& name, int channels, int format) {
    TestAudio audio;
    audio.channels = channels;
    audio.frames = kFrames;
    audio.format = (channels == 6 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV) | format;
    if (channels == 6)
      audio.channelMap = {SF_CHANNEL_MAP_LEFT, SF_CHANNEL_MAP_RIGHT,     SF_CHANNEL_MAP_CENTER,
                          SF_CHANNEL_MAP_LFE,  SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT};
    EXPECT_TRUE(audio.Write(folder / name));
    return name;
  }
  RunResult Encode(const std::string& in, const std::string& out,
                   const std::string& settings = "") {
    return Transmill(in, out, "-convert_to=wavpack " + settings);
  }
  // What wvunpack makes of a .wv: the raw samples, as a WAV's data chunk would hold them.
  std::string Unpacked(const std::string& wv) {
    Sh("rm -f unpacked.raw && wvunpack -q -y -r '" + wv + "' -o unpacked.raw 2>/dev/null");
    return WholeFile(folder / "unpacked.raw");
  }
  bool Verified(const std::string& wv) {
    return Sh("wvunpack -q -vv '" + wv + "' >/dev/null 2>&1; echo $?") == "0";
  }
  long Size(const std::string& file) { return long(std::filesystem::file_size(folder / file)); }
};

TEST_F(WavPackTest, EncodesEachLayoutLosslesslyAsWvunpackReadsIt) {
  struct Case {
    const char* name;
    int channels;
    int format;
    size_t bytes;
  };
  for (Case c : {Case{"s16.wav", 2, SF_FORMAT_PCM_16, 2},
                 {"mono24.wav", 1, SF_FORMAT_PCM_24, 3},
                 {"six16.wav", 6, SF_FORMAT_PCM_16, 2},
                 {"s32.wav", 2, SF_FORMAT_PCM_32, 4},
                 {"float.wav", 2, SF_FORMAT_FLOAT, 4},
                 {"u8.wav", 2, SF_FORMAT_PCM_U8, 1}}) {
    Source(c.name, c.channels, c.format);
    RunResult r = Encode(c.name, "out.wv");
    ASSERT_EQ(r.exitCode, 0) << c.name << r.err;
    EXPECT_TRUE(Verified("out.wv")) << c.name;
    std::string source = WavData(folder / c.name);
    ASSERT_EQ(source.size(), size_t(kFrames) * size_t(c.channels) * c.bytes);
    EXPECT_TRUE(Unpacked("out.wv") == source) << c.name;
    // The first block was rewritten with the final count: readers see the exact length.
    EXPECT_EQ(
        Sh("ffprobe -v error -count_packets -show_entries stream=duration_ts -of csv=p=0 out.wv"),
        std::to_string(kFrames))
        << c.name;
    if (c.channels == 6) {
      EXPECT_EQ(Probe("out.wv", "channel_layout"), "5.1(side)");
    }
    if (c.format == SF_FORMAT_FLOAT) {
      EXPECT_EQ(Probe("out.wv", "sample_fmt"), "fltp");
    }
  }
}

TEST_F(WavPackTest, Float64SourcesBecomeFloat32) {
  Sh("sox -n -r 48000 -c 2 -e floating-point -b 64 double.wav synth 0.5 sine 440 sine 550 gain -6");
  std::string doubles = WavData(folder / "double.wav");
  std::string singles;
  for (size_t at = 0; at + 8 <= doubles.size(); at += 8) {
    double wide;
    memcpy(&wide, &doubles[at], 8);
    float narrow = float(wide);
    singles.append(reinterpret_cast<const char*>(&narrow), 4);
  }
  ASSERT_EQ(singles.size(), size_t(24000) * 2 * 4);
  ASSERT_EQ(Encode("double.wav", "out.wv").exitCode, 0);
  EXPECT_TRUE(Verified("out.wv"));
  EXPECT_EQ(Probe("out.wv", "sample_fmt"), "fltp");
  EXPECT_TRUE(Unpacked("out.wv") == singles);
}

TEST_F(WavPackTest, ModeSettingsChangeTheStreamButNeverTheSamples) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 2 pinknoise vol 0.5");
  std::string source = WavData(folder / "src.wav");
  long fast = 0, extra = 0;
  for (const char* settings : {"-f", "-h", "-hh", "-x", "-x6", "-x 3 -h", "-hh -x4"}) {
    ASSERT_EQ(Encode("src.wav", "out.wv", settings).exitCode, 0) << settings;
    EXPECT_TRUE(Verified("out.wv")) << settings;
    EXPECT_TRUE(Unpacked("out.wv") == source) << settings;
    if (std::string(settings) == "-f") fast = Size("out.wv");
    if (std::string(settings) == "-hh -x4") extra = Size("out.wv");
  }
  EXPECT_LT(extra, fast);  // harder work packs tighter
}

TEST_F(WavPackTest, ToolMadeFilesDecodeBitExactlyWithTheirChannels) {
  Source("s24.wav", 2, SF_FORMAT_PCM_24);
  Source("six.wav", 6, SF_FORMAT_PCM_16);
  Source("float.wav", 2, SF_FORMAT_FLOAT);
  Sh("sox -n -r 22050 -c 1 -b 8 u8.wav synth 0.5 sine 300");
  // Written to a pipe, the tool can't go back to the first block: the length stays unknown.
  Sh("cp s24.wav piped.wav && cat piped.wav | wavpack -i -q -y - -o - > piped.wv 2>/dev/null");
  for (const char* name : {"s24", "six", "float", "u8", "piped"}) {
    std::string wav = std::string(name) + ".wav", wv = std::string(name) + ".wv";
    if (std::string(name) != "piped") Sh("wavpack -q -y -hh " + wav + " -o " + wv);
    RunResult r = Transmill(wv, "back.wav", "-convert_to=wav");
    ASSERT_EQ(r.exitCode, 0) << name << r.err;
    EXPECT_TRUE(WavData(folder / "back.wav") == WavData(folder / wav)) << name;
    if (std::string(name) == "six") {
      EXPECT_EQ(Probe("back.wav", "channel_layout"), "5.1(side)");
    }
  }
}

// The decoder plug-in itself, loaded as the engine loads it.
struct WavPackDecoder : OpenedDecoder {
  WavPackDecoder() : OpenedDecoder("wavpack") {}
};

TEST_F(WavPackTest, DecoderDescribesTheStreamAndSeeks) {
  Source("s16.wav", 2, SF_FORMAT_PCM_16);
  Sh("wavpack -q -y -w 'Title=A Title' -w 'Album=An Album' s16.wav -o s16.wv");
  WavPackDecoder d;
  ASSERT_TRUE(d.Complete());
  TvPluginValue value{};
  ASSERT_NE(d.get(d.instance, TV_KEY_DECODES, &value), 0);
  EXPECT_EQ(Narrow(value.text1) + " " + Narrow(value.text2), ".wv WavPack");
  ASSERT_TRUE(d.Open(folder / "s16.wv")) << d.errors.Text();
  EXPECT_EQ(d.Quality(), "Lossless");
  EXPECT_EQ(d.info.byteLength, uint64_t(kFrames) * 4);
  EXPECT_EQ(d.info.msLength, uint64_t(kFrames) * 1000 / 44100);
  EXPECT_EQ(d.info.format.Format.wBitsPerSample, 16);
  EXPECT_NEAR(double(d.info.bitRate), Size("s16.wv") * 8.0 * 44100 / kFrames, 2000);
  for (const char* expected : {"Title=A Title;", "Album=An Album;"})
    EXPECT_NE(d.Tags().find(expected), std::string::npos) << d.Tags();
  // From 0.5 s to the end: the tail of the source, sample for sample.
  ASSERT_NE(d.setPosition(d.instance, 500, 0), 0);
  std::vector<uint8_t> tail;
  ASSERT_TRUE(d.DecodeAll(tail));
  std::string source = WavData(folder / "s16.wav");
  EXPECT_TRUE(std::string(tail.begin(), tail.end()) == source.substr(22050 * 4));
}

TEST_F(WavPackTest, HybridIsSmallerAndTheCorrectionFileRestoresEveryBit) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 3 pinknoise vol 0.5");
  std::string source = WavData(folder / "src.wav");
  ASSERT_EQ(Encode("src.wav", "lossless.wv").exitCode, 0);
  ASSERT_EQ(Encode("src.wav", "hybrid.wv", "-b 256").exitCode, 0);
  ASSERT_EQ(Encode("src.wav", "pair.wv", "-b256 -c").exitCode, 0);
  EXPECT_FALSE(std::filesystem::exists(folder / "hybrid.wvc"));
  ASSERT_TRUE(std::filesystem::exists(folder / "pair.wvc"));
  EXPECT_LT(Size("hybrid.wv"), Size("lossless.wv") / 2);
  EXPECT_TRUE(Verified("hybrid.wv"));
  EXPECT_TRUE(Verified("pair.wv"));  // with its .wvc beside it
  std::string lossy = Unpacked("hybrid.wv");
  EXPECT_EQ(lossy.size(), source.size());
  EXPECT_FALSE(lossy == source);
  EXPECT_TRUE(Unpacked("pair.wv") == source);
  RunResult r = Transmill("pair.wv", "back.wav", "-convert_to=wav");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_TRUE(WavData(folder / "back.wav") == source);

  WavPackDecoder d;
  ASSERT_TRUE(d.Open(folder / "pair.wv")) << d.errors.Text();
  EXPECT_EQ(d.Quality(), "Lossless");
  ASSERT_TRUE(d.Open(folder / "hybrid.wv")) << d.errors.Text();
  std::string quality = d.Quality();
  ASSERT_EQ(quality.rfind("Lossy, ", 0), 0u) << quality;
  EXPECT_NE(quality.find(" kbps hybrid"), std::string::npos) << quality;
  EXPECT_NEAR(std::stoi(quality.substr(7)), 256, 30) << quality;
}

TEST_F(WavPackTest, SmallHybridValuesAreBitsPerSample) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 3 pinknoise vol 0.5");
  ASSERT_EQ(Encode("src.wav", "three.wv", "-b3").exitCode, 0);
  WavPackDecoder d;
  ASSERT_TRUE(d.Open(folder / "three.wv")) << d.errors.Text();
  // 3 bits for each of 2 x 44100 samples a second.
  EXPECT_NEAR(std::stoi(d.Quality().substr(7)), 265, 30) << d.Quality();
}

TEST_F(WavPackTest, LosslessnessFollowsTheSettings) {
  EncoderPlugin e("wavpack");
  ASSERT_TRUE(e.Complete());
  for (auto [settings, lossless] :
       {std::pair{u"", 1}, {u"-hh -x3", 1}, {u"-b 256", 0}, {u"-b3 -c", 1}}) {
    TvPluginValue value{};
    value.text1 = settings;
    EXPECT_EQ(e.get(e.instance, TV_KEY_IS_LOSSLESS, &value), lossless) << Narrow(settings);
  }
  TvPluginValue value{};
  ASSERT_NE(e.get(e.instance, TV_KEY_EXTENSION, &value), 0);
  EXPECT_EQ(Narrow(value.text1), ".wv");
}

TEST_F(WavPackTest, TagsAndPicturesTravelIntoTheOutput) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 0.5 sine 440 && printf '\\211PNG\\r\\n\\032\\nrest' "
     "> cover.png");
  Sh("wavpack -q -y -w 'Artist=The Artist' --write-binary-tag 'Cover Art (Front)=@cover.png' "
     "src.wav -o tagged.wv");
  RunResult r = Encode("tagged.wv", "out.wv", "-tag=\"Title=Given Title\"");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  std::string tags =
      Sh("/usr/bin/python3 -c \"import mutagen.apev2 as a; t=a.APEv2('out.wv'); "
         "print(t['Title'], t['Artist'], bytes(t['Cover Art (Front)'].value).split(b'\\\\0', "
         "1)[1][:4])\"");
  EXPECT_EQ(tags, "Given Title The Artist b'\\x89PNG'");
  EXPECT_TRUE(Verified("out.wv"));
  ASSERT_EQ(Encode("tagged.wv", "bare.wv", "-notags -tag=\"Title=Given Title\"").exitCode, 0);
  EXPECT_EQ(Sh("/usr/bin/python3 -c \"import mutagen.apev2 as a\ntry: a.APEv2('bare.wv'); "
               "print('tagged')\n"
               "except a.APENoHeaderError: print('bare')\""),
            "bare");
}

TEST_F(WavPackTest, BadSettingsAndEmptySourcesFailTheRun) {
  Sh("sox -n -r 44100 -c 2 -b 16 none.wav trim 0 0");
  RunResult empty = Encode("none.wav", "none.wv");
  EXPECT_EQ(empty.exitCode, 1);
  EXPECT_EQ(empty.err.rfind("Error: Unable to encode", 0), 0u) << empty.err;
  EXPECT_NE(empty.err.find("holds no audio samples"), std::string::npos) << empty.err;
  Sh("sox -n -r 44100 -c 1 -b 16 src.wav synth 0.2 sine 300");
  for (auto [settings, shown] : {std::pair{"-x9", "Unknown encoder setting '-x9'"},
                                 {"-b 1", "Unknown encoder setting '-b 1'"},
                                 {"-b abc", "Unknown encoder setting '-b abc'"},
                                 {"-c", "'-c' needs hybrid mode"}}) {
    RunResult r = Encode("src.wav", "out.wv", settings);
    EXPECT_EQ(r.exitCode, 1) << settings;
    EXPECT_NE(r.err.find(shown), std::string::npos) << settings << ": " << r.err;
  }
}

TEST_F(WavPackTest, DamagedTruncatedAndMislabelledFilesFailTheRunCleanly) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 2 pinknoise vol 0.5 && wavpack -q -y src.wav -o "
     "good.wv");
  long size = Size("good.wv");
  Sh("head -c " + std::to_string(size / 2) + " good.wv > cut.wv && cp src.wav wave.wv");
  Sh("yes 'no audio in here' | head -c 40000 > text.wv && : > empty.wv && head -c 20 good.wv > "
     "stub.wv");
  Sh("cp good.wv hole.wv && dd if=/dev/urandom of=hole.wv bs=1 seek=" + std::to_string(size / 2) +
     " count=2000 conv=notrunc 2>/dev/null");
  // A hybrid pair whose correction file is damaged: the pair can't be decoded losslessly.
  Sh("wavpack -q -y -b256 -c src.wav -o pair.wv");
  Sh("dd if=/dev/urandom of=pair.wvc bs=1 seek=" + std::to_string(Size("pair.wvc") / 2) +
     " count=500 conv=notrunc 2>/dev/null");
  EXPECT_NE(Transmill("pair.wv", "out.wav", "-convert_to=wav")
                .err.find("its correction file: damaged block"),
            std::string::npos);
  for (const char* source :
       {"cut.wv", "wave.wv", "text.wv", "empty.wv", "stub.wv", "hole.wv", "pair.wv"}) {
    RunResult r = Transmill(source, "out.wav", "-convert_to=wav");
    EXPECT_EQ(r.exitCode, 1) << source;
    bool opening = r.err.rfind(std::string("Error: Unable to open file '") + source + "'", 0) == 0;
    bool reading = r.err.rfind(std::string("Error: Reading '") + source + "' failed", 0) == 0;
    EXPECT_TRUE(opening || reading) << source << ": " << r.err;
    EXPECT_FALSE(std::filesystem::exists(folder / "out.wav")) << source;
  }
}

// Damage that turns up after Open (the file changed under the decoder) fails the decoding call.
TEST_F(WavPackTest, DamageFoundWhileDecodingFailsTheBlockWithAReason) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 2 pinknoise vol 0.5 && wavpack -q -y src.wav -o "
     "good.wv");
  WavPackDecoder d;
  ASSERT_TRUE(d.Open(folder / "good.wv")) << d.errors.Text();
  Sh("dd if=/dev/urandom of=good.wv bs=1 seek=" + std::to_string(Size("good.wv") / 2) +
     " count=2000 conv=notrunc 2>/dev/null");
  std::vector<uint8_t> audio;
  EXPECT_FALSE(d.DecodeAll(audio));
  EXPECT_LT(audio.size(), size_t(88200) * 4);
  EXPECT_NE(d.errors.Text().find("Error: Reading '"), std::string::npos);
}

}  // namespace
