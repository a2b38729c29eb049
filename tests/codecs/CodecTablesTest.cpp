// Every codec through the transmill program, case tables across formats: lossless and lossy
// round trips judged by each format's own tools, settings the encoders refuse, damaged files
// the decoders refuse, and files of the tools as the decoders describe them.
#include "tests/codecs/CodecPlugins.h"

namespace {

class CodecTablesTest : public ConversionTest {
 protected:
  bool Missing(const std::string& codec) {
    bool pcm = codec == "wav" || codec == "aiff" || codec == "w64";
    return !Built("encoder", codec) || !Built("decoder", pcm ? "pcm" : codec);
  }
  static std::string Ext(const std::string& codec) {
    return codec == "wavpack" ? "wv" : codec == "vorbis" ? "ogg" : codec;
  }
  // Runs a command with OUT standing for the file and EXT for its extension; gives its output.
  std::string Make(std::string command, const std::string& out, const std::string& ext = "") {
    for (size_t at; (at = command.find("OUT")) != std::string::npos;) command.replace(at, 3, out);
    for (size_t at; (at = command.find("EXT")) != std::string::npos;) command.replace(at, 3, ext);
    return Sh(command);
  }
};

TEST_F(CodecTablesTest, LosslessEncodersKeepEverySampleOfEachLayout) {
  for (auto [name, referee] : {std::pair{"flac", "flac -d -f -s -o ref.wav OUT"},
                               {"wavpack", "wvunpack -q -y OUT -o ref.wav"},
                               {"wav", "sox OUT ref.wav"},
                               {"aiff", "sox OUT ref.wav"},
                               {"w64", "ffmpeg -y -v error -i OUT -c:a copy ref.wav"}}) {
    if (Missing(name)) continue;
    struct Layout {
      int channels, bits, rate;
      const char* encoding;
    };
    for (Layout l : {Layout{1, 16, 48000, "signed"},
                     {2, 24, 48000, "signed"},
                     {6, 16, 44100, "signed"},
                     {2, 8, 48000, "unsigned"},
                     {2, 32, 44100, "floating-point"}}) {
      if (l.encoding[0] == 'f' && name[0] == 'f') continue;  // FLAC holds integers only
      std::string label = std::string(name) + " " + std::to_string(l.channels) + "x" +
                          std::to_string(l.bits) + l.encoding;
      Sh("sox -R -n -r " + std::to_string(l.rate) + " -c " + std::to_string(l.channels) + " -b " +
         std::to_string(l.bits) + " -e " + l.encoding + " src.wav synth 0.5 pinknoise vol 0.5");
      std::string out = "out." + Ext(name);
      RunResult r = Transmill("src.wav", out, std::string("-convert_to=") + name);
      ASSERT_EQ(r.exitCode, 0) << label << r.err;
      Make(referee, out);
      EXPECT_TRUE(SameSamples("src.wav", "ref.wav")) << label;
      ASSERT_EQ(Transmill(out, "back.wav", "-convert_to=wav").exitCode, 0) << label;
      EXPECT_TRUE(SameSamples("src.wav", "back.wav")) << label;
      std::string entries = l.channels > 2 ? "channels,sample_fmt,sample_rate,channel_layout"
                                           : "channels,sample_fmt,sample_rate";
      EXPECT_EQ(Probe("back.wav", entries), Probe("src.wav", entries)) << label;
      // The format tag of our WAV is sox's choice, but float always takes the extensible form.
      std::string tag =
          l.encoding[0] == 'f' ? "\xFE\xFF" : ReadBytes(folder / "src.wav", 22).substr(20);
      EXPECT_EQ(ReadBytes(folder / "back.wav", 22).substr(20), tag) << label;
      // The first block holds the final length, rewritten at the end.
      EXPECT_EQ(
          Sh("ffprobe -v error -count_packets -show_entries stream=duration_ts -of csv=p=0 " + out),
          std::to_string(l.rate / 2))
          << label;
    }
  }
}

// Each setting gives a stream the format's own decoder takes, of the source's length, with
// every channel's tone in its place, through the referee and through our decoder.
TEST_F(CodecTablesTest, LossyEncodersKeepLengthAndChannelsForEachSettingAndSource) {
  struct Case {
    const char *codec, *settings;
    int channels, rate;
    const char* referee;  // decodes OUT into ref.wav (and tones.wav, for the channel order)
    long slack;           // frames the referee's length may be off (a resampled Opus stream)
    std::string check;    // a command on OUT and its expected output after "="
    uint32_t mask = 0;    // the source's speakers, when not the usual ones
  };
  const char* mpg123 = "mpg123 -q -w ref.wav OUT";
  // oggdec keeps the Vorbis channel order, ffmpeg misses the first samples: each judges one.
  const char* oggdec = "oggdec -Q -o ref.wav OUT && ffmpeg -v error -i OUT tones.wav";
  const char* opusdec = "opusdec --quiet --rate 48000 OUT ref.wav";
  std::string mode =
      "/usr/bin/python3 -c \"import mutagen.mp3 as m; "
      "print(m.MP3('OUT').info.bitrate_mode)\"=BitrateMode.";
  std::string rate = "opusinfo OUT | sed -n 's/.*Original sample rate: *//p'=";
  for (Case c : {
           Case{"mp3", "-b 128", 2, 44100, mpg123, 0, mode + "CBR"},
           {"mp3", "-V2", 2, 44100, mpg123, 0, mode + "VBR"},
           {"mp3", "--abr 160 -q 2", 2, 44100, mpg123, 0, mode + "ABR"},
           {"vorbis", "-=5 -q 4", 8, 48000, oggdec, 0, ""},  // "-=5" names nothing
           // The source's rate travels in the header; the audio itself is always 48 kHz.
           {"opus", "", 2, 44100, opusdec, 960, rate + "44100 Hz"},
           {"opus", "-b 256", 8, 48000, opusdec, 0, ""},
           // 6.1 with side speakers: the one layout of seven channels that Ogg names.
           {"vorbis", "", 7, 48000, oggdec, 0, "", 0x70F},
           {"opus", "", 7, 48000, opusdec, 0, "", 0x70F},
       }) {
    if (Missing(c.codec)) continue;
    std::string label = std::string(c.codec) + " '" + c.settings + "' " + std::to_string(c.rate);
    MakeTones("src.wav", c.channels, c.rate);
    if (c.mask) {
      std::fstream wav(folder / "src.wav", std::ios::in | std::ios::out | std::ios::binary);
      wav.seekp(40);  // the speaker mask of the extensible header sox writes
      for (int shift = 0; shift < 32; shift += 8) wav.put(char(c.mask >> shift));
    }
    std::string out = "out." + Ext(c.codec);
    RunResult r =
        Transmill("src.wav", out, std::string("-convert_to=") + c.codec + " " + c.settings);
    ASSERT_EQ(r.exitCode, 0) << label << r.err;
    Sh("rm -f ref.wav tones.wav");
    Make(c.referee, out);
    long frames = Samples("ref.wav"), expected = Ext(c.codec) == "opus" ? 48000 : c.rate;
    EXPECT_NEAR(frames, expected, c.slack) << label;
    ExpectTonesInPlace(folder.Has("tones.wav") ? "tones.wav" : "ref.wav", c.channels,
                       label + " by the referee");
    ASSERT_EQ(Transmill(out, "back.wav", "-convert_to=wav").exitCode, 0) << label;
    EXPECT_EQ(Samples("back.wav"), frames) << label;
    ExpectTonesInPlace("back.wav", c.channels, label + " by our decoder");
    EXPECT_EQ(Probe("back.wav", "channel_layout"), Probe("src.wav", "channel_layout")) << label;
    size_t equals = c.check.rfind('=');
    if (!c.check.empty()) {
      EXPECT_EQ(Make(c.check.substr(0, equals), out), c.check.substr(equals + 1)) << label;
    }
  }
}

// A field with two values keeps both in every output, as mutagen reads them back; WAV's text
// fields hold one value each, so there the values are joined.
TEST_F(CodecTablesTest, EveryValueOfARepeatedTagReachesEachFormat) {
  if (Missing("flac")) GTEST_SKIP();
  Sh("sox -R -n -r 48000 -c 2 -b 16 src.wav synth 0.5 sine 440 gain -3 && "
     "flac -s -f -T ARTIST=A -T ARTIST=B -T TITLE=T -o src.flac src.wav");
  for (auto [codec, field] : {std::pair{"flac", "ARTIST"},
                              {"vorbis", "ARTIST"},
                              {"opus", "ARTIST"},
                              {"wavpack", "ARTIST"},
                              {"mp3", "TPE1"}}) {
    if (Missing(codec)) continue;
    std::string out = "out." + Ext(codec);
    RunResult r = Transmill("src.flac", out, std::string("-convert_to=") + codec);
    ASSERT_EQ(r.exitCode, 0) << codec << r.err;
    EXPECT_EQ(ReadWithMutagen(folder / out, Ext(codec), folder).text[field],
              (std::vector<std::string>{"A", "B"}))
        << codec;
  }
  ASSERT_EQ(Transmill("src.flac", "out.wav", "-convert_to=wav").exitCode, 0);
  EXPECT_EQ(Sh("ffprobe -v error -show_entries format_tags=artist -of csv=p=0 out.wav"), "A; B");
}

// What a setting does shows in the size of the stream.
TEST_F(CodecTablesTest, EncoderSettingsReachTheStream) {
  Sh("sox -R -n -r 48000 -c 2 -b 16 noise.wav synth 3 pinknoise vol 0.5");
  // The first settings of each give the smaller file.
  for (auto [codec, smaller, larger] : {std::tuple{"flac", "-8", "-0"},
                                        {"wavpack", "-hh -x4", "-f"},
                                        {"vorbis", "-q 2", "-q 4"},
                                        {"mp3", "-b 96", "-b 192"},
                                        {"opus", "-b 64", "-b 192"}}) {
    if (Missing(codec)) continue;
    std::string convert = std::string("-convert_to=") + codec + " -notags ", ext = Ext(codec);
    ASSERT_EQ(Transmill("noise.wav", "a." + ext, convert + smaller).exitCode, 0) << codec;
    ASSERT_EQ(Transmill("noise.wav", "b." + ext, convert + larger).exitCode, 0) << codec;
    EXPECT_LT(FileSize("a." + ext), FileSize("b." + ext)) << codec << " " << smaller;
  }
}

// A setting is taken, or refused with a line naming it whole, value and all, with one dash as
// the engine passes it on: glued on, given apart (a negative number too) or after "=". Sources
// a format can't hold are refused with the reason.
TEST_F(CodecTablesTest, EncodersTakeOrRefuseSettingsAndSources) {
  struct Case {
    const char* codec;
    int channels;                  // of the source; 0: a source without samples
    const char *settings, *error;  // the first line of the error channel; "" when accepted
  };
  const char* const accepted = "";
  const std::string unknown = "Error: Unknown encoder setting ";
  for (Case c : {Case{"flac", 2, "-8 -x", accepted},
                 {"flac", 2, "-9", "'-9'."},
                 {"flac", 2, "--compression-level-12", "'-compression-level-12'."},
                 {"flac", 2, "--compression-level -3", "'-compression-level -3'."},
                 {"flac", 9, "",
                  "Error: Unable to encode 'out.flac': FLAC holds 1 to 8 channels, "
                  "the source has 9."},
                 {"opus", 2, "--bitrate=96.5 -comp 0", accepted},
                 {"opus", 2, "--comp 11", "'-comp 11'."},
                 {"opus", 2, "-b -96", "'-b -96'."},
                 {"opus", 9, "",
                  "Error: Unable to encode 'out.opus': Opus takes one to eight "
                  "channels here, the source has 9."},
                 {"vorbis", 2, "-q -1", accepted},
                 {"vorbis", 2, "-q 11", "'-q 11'."},
                 {"vorbis", 2, "-qabc", "'-qabc'."},
                 {"vorbis", 2, "-M -5", "'-M -5'."},
                 {"mp3", 2, "-V4 -q 0", accepted},
                 {"mp3", 2, "-V 12", "'-V 12'."},
                 {"mp3", 2, "-Vabc", "'-Vabc'."},
                 {"mp3", 2, "-b -128", "'-b -128'."},
                 {"mp3", 2, "--abr -5", "'-abr -5'."},
                 {"mp3", 6, "",
                  "Error: Unable to encode 'out.mp3': MP3 holds one or two "
                  "channels, the source has 6."},
                 {"wavpack", 2, "-x -b3.5", accepted},
                 {"wavpack", 2, "-x9", "'-x9'."},
                 {"wavpack", 2, "-xabc", "'-xabc'."},
                 {"wavpack", 2, "-b -5", "'-b -5'."},
                 {"wavpack", 2, "-c", "Error: Encoder setting '-c' needs hybrid mode (-b<n>)."},
                 {"wav", 2, "-bits=12", "'-bits=12'."},
                 {"wav", 2, "-float -bits=16", "'-bits=16'."},
                 {"wavpack", 0, "",
                  "Error: Unable to encode 'out.wv': the source holds no audio "
                  "samples."}}) {
    if (Missing(c.codec)) continue;
    const std::string label = std::string(c.codec) + " " + c.settings;
    Sh("sox -n -r 48000 -b 16 -c " + std::to_string(c.channels ? c.channels : 2) + " src.wav " +
       (c.channels ? "synth 0.2 sine 300" : "trim 0 0"));
    RunResult r = Transmill("src.wav", "out." + Ext(c.codec),
                            std::string("-convert_to=") + c.codec + " " + c.settings);
    EXPECT_EQ(r.exitCode, *c.error ? 1 : 0) << label;
    const std::string error = c.error[0] == '\'' ? unknown + c.error : c.error;
    EXPECT_EQ(r.err.substr(0, r.err.find('\r')), error) << label;
  }
}

// Each damaged, cut or mislabelled file fails the run with the file's name and the reason, and
// leaves no output behind.
TEST_F(CodecTablesTest, DecodersRefuseDamagedFilesWithTheReason) {
  struct Case {
    const char *codec, *file;
    const char* make;   // from good.<ext> and src.wav, into OUT
    const char* error;  // after the file's name
  };
  const char* noise =
      "cp good.EXT OUT && tail -c 3000 src.wav | dd of=OUT bs=1 seek=$(($(stat -c %s good.EXT) / "
      "2)) conv=notrunc 2>/dev/null";
  const char* zeros =
      "cp good.EXT OUT && dd if=/dev/zero of=OUT bs=1 seek=$(($(stat -c %s good.EXT) / 2)) "
      "count=3000 conv=notrunc 2>/dev/null";
  const char* half = "head -c $(($(stat -c %s good.EXT) / 2)) good.EXT > OUT";
  const char* wave = "cp src.wav OUT";
  const char* empty = ": > OUT";
  const char* opened = "': ";  // the open failed; otherwise reading failed
  for (Case c : {
           Case{"flac", "noise.flac", noise, "' failed: "},
           {"flac", "cut.flac", half, "' failed: the stream is truncated"},
           // A wrong MD5 in the stream header: every frame is sound, the whole is not.
           {"flac", "md5.flac",
            "cp good.flac OUT && printf '\\125' | dd of=OUT bs=1 seek=30 conv=notrunc 2>/dev/null",
            "' failed: the decoded audio does not match the stream's MD5 signature."},
           {"flac", "wave.flac", wave, "': not a FLAC file"},
           {"opus", "cut.opus", half, "truncated"},
           {"opus", "hole.opus", zeros, "damaged"},
           {"opus", "wave.opus", wave, "': not an Ogg Opus file"},
           {"opus", "vorbis.opus", "sox src.wav -t ogg OUT", opened},
           {"opus", "mixed.opus",
            "sox src.wav -c 1 m.wav && opusenc --quiet m.wav m.opus && cat good.opus m.opus > OUT",
            "different channel counts"},
           {"vorbis", "cut.ogg", half, "truncated: the file ends inside"},
           {"vorbis", "pagecut.ogg",
            "/usr/bin/python3 -c \"d = open('good.ogg', 'rb').read(); open('OUT', "
            "'wb').write(d[:d.find(b'OggS', 20000)])\"",
            "truncated: its last page"},
           {"vorbis", "hole.ogg", zeros, "damaged"},
           {"vorbis", "wave.ogg", wave, "': not an Ogg file"},
           {"vorbis", "empty.ogg", empty, "empty"},
           {"vorbis", "opus.ogg", "opusenc --quiet src.wav OUT", "holds Opus, not Vorbis"},
           {"vorbis", "mixed.ogg",
            "sox src.wav -c 1 m.wav && oggenc -Q -o m.ogg m.wav && cat good.ogg m.ogg > "
            "OUT",
            "chained streams change format (48000 Hz, 2 channels, then 48000 Hz, 1 channels)"},
           {"mp3", "wave.mp3", wave, opened},
           {"mp3", "cut.mp3", half, "truncated"},
           // Frames lost in a hole are missed against the info tag's count.
           {"mp3", "hole.mp3", zeros, opened},
           {"wavpack", "wave.wv", wave, opened},
           {"wavpack", "cut.wv", half, "truncated"},
           {"wavpack", "hole.wv", noise, ""},
           // A hybrid pair with a damaged correction file can't be decoded losslessly.
           {"wavpack", "pair.wv",
            "wavpack -q -y -b256 -c src.wav -o OUT && dd if=/dev/urandom of=pair.wvc bs=1 "
            "seek=20000 count=500 conv=notrunc 2>/dev/null",
            "its correction file: damaged block"},
       }) {
    if (Missing(c.codec)) continue;
    std::string ext = std::string(c.file).substr(std::string(c.file).find('.') + 1);
    if (!folder.Has("good." + ext)) {
      Sh("sox -R -n -r 48000 -c 2 -b 16 src.wav synth 3 pinknoise vol 0.5");
      Transmill("src.wav", "good." + ext, std::string("-convert_to=") + c.codec + " -notags");
    }
    Make(c.make, c.file, ext);
    RunResult r = Transmill(c.file, "out.wav", "-convert_to=wav");
    EXPECT_EQ(r.exitCode, 1) << c.file;
    bool opening = r.err.rfind(std::string("Error: Unable to open file '") + c.file + "'", 0) == 0;
    bool reading = r.err.rfind(std::string("Error: Reading '") + c.file + "' failed", 0) == 0;
    EXPECT_TRUE(opening || reading) << c.file << ": " << r.err;
    if (std::string(c.error) == opened)
      EXPECT_TRUE(opening) << r.err;
    else
      EXPECT_NE(r.err.find(c.error), std::string::npos) << c.file << ": " << r.err;
    EXPECT_FALSE(folder.Has("out.wav")) << c.file;
  }
}

// Files of each format's own tool: length, bit rate, quality text and tags at open, then a
// seek to one second leaves the rest of the samples.
TEST_F(CodecTablesTest, DecodersDescribeTheToolsFilesAndSeek) {
  struct Case {
    const char *codec, *file;
    const char* make;     // from src.wav, 2 s of stereo noise at 48 kHz, into OUT
    const char* quality;  // "~" stands for the kbps that the bit rate gives
    bool exact;           // the samples after the seek are the source's
    const char* rate;     // a command for the audio's bit rate; "": checked elsewhere
  };
  const char* whole = "ffprobe -v error -show_entries format=bit_rate -of csv=p=0 OUT";
  // The audio alone counts: its packets, without headers, tags and padding.
  const char* packets =
      "ffprobe -v error -show_entries packet=size -of csv=p=0 OUT | awk -F, '{s += $1} END "
      "{print s * 4}'";
  for (Case c : {
           Case{"flac", "a.flac", "flac -s -f -T TITLE=Tagged -T ARTIST=A -o OUT src.wav",
                "Lossless", true, packets},
           {"wavpack", "a.wv", "wavpack -q -y -w Title=Tagged -w Artist=A src.wav -o OUT",
            "Lossless", true, whole},
           {"mp3", "a.mp3", "lame --quiet -b 128 --tt Tagged --ta A src.wav OUT",
            "Lossy, 128 kbps CBR", false, whole},
           {"vorbis", "a.ogg", "oggenc -Q -q 3 -t Tagged -a A -o OUT src.wav", "Lossy, ~ kbps VBR",
            false, ""},
           {"opus", "a.opus", "opusenc --quiet --title Tagged --artist A src.wav OUT",
            "Lossy, ~ kbps VBR", false, whole},
       }) {
    if (Missing(c.codec)) continue;
    Sh("sox -R -n -r 48000 -c 2 -b 16 src.wav synth 2 pinknoise vol 0.5");
    Make(c.make, c.file);
    DecoderPlugin d(c.codec);
    ASSERT_TRUE(d.Open(folder / c.file)) << c.file << d.errors.Text();
    EXPECT_EQ(d.info.msLength, 2000u) << c.file;
    EXPECT_EQ(d.info.byteLength, 96000u * 4) << c.file;
    EXPECT_EQ(d.info.format.Format.wBitsPerSample, 16) << c.file;
    double rate = std::stod("0" + Make(c.rate, c.file));
    if (*c.rate) {
      EXPECT_NEAR(double(d.info.bitRate), rate, rate * 0.03) << c.file;
    }
    std::string quality = c.quality;
    if (quality.find('~') != std::string::npos)
      quality.replace(quality.find('~'), 1, std::to_string((d.info.bitRate + 500) / 1000));
    EXPECT_EQ(d.Quality(), quality) << c.file;
    EXPECT_NE(d.Tags().find("Title=Tagged;"), std::string::npos) << c.file << d.Tags();
    EXPECT_NE(d.Tags().find("Artist=A;"), std::string::npos) << c.file << d.Tags();
    ASSERT_NE(d.setPosition(d.instance, 1000, 0), 0) << c.file;
    std::vector<uint8_t> rest;
    ASSERT_TRUE(d.DecodeAll(rest)) << c.file << d.errors.Text();
    EXPECT_EQ(rest.size(), 48000u * 4) << c.file;
    if (c.exact) {
      Sh("sox src.wav -t raw src.raw trim 1");
      EXPECT_TRUE(std::string(rest.begin(), rest.end()) == ReadBytes(folder / "src.raw")) << c.file;
    }
    // Again after the whole stream was read: from the start, every frame.
    ASSERT_NE(d.setPosition(d.instance, 0, 0), 0) << c.file;
    rest.clear();
    ASSERT_TRUE(d.DecodeAll(rest)) << c.file;
    EXPECT_EQ(rest.size(), 96000u * 4) << c.file;
  }
}

}  // namespace
