// The Opus plug-ins: whole conversions through the transmill program with opusenc, opusdec,
// opusinfo, ffprobe and mutagen as referees, and the decoder's own calls for tags, quality
// text, float output and seeking.
#include "codecs/common/TagBridge.h"
#include "tests/codecs/CodecPlugins.h"

#include <cmath>
#include <filesystem>

namespace {

constexpr long kFrames = 72000;   // 1.5 s at 48 kHz
constexpr long kOpusFrame = 960;  // 20 ms

double TonePower(const Sound& sound, int channel, int tone) {
  double w = 2 * M_PI * tone / sound.rate, c = 2 * std::cos(w), s1 = 0, s2 = 0;
  for (long i = 0; i < sound.Frames(); ++i) {
    double s0 = sound.samples[size_t(i * sound.channels + channel)] + c * s1 - s2;
    s2 = s1;
    s1 = s0;
  }
  return s1 * s1 + s2 * s2 - c * s1 * s2;
}

// The one of tones that stands ten times above all others in a channel, or -1.
int DominantTone(const Sound& sound, int channel, const std::vector<int>& tones) {
  int best = -1;
  double top = 0, second = 0;
  for (int tone : tones) {
    double power = TonePower(sound, channel, tone);
    if (power > top) {
      second = top, top = power, best = tone;
    } else if (power > second) {
      second = power;
    }
  }
  return top > 10 * second ? best : -1;
}

// A tone per WAV channel; the LFE position (3) gets a low one, which Opus keeps on that channel.
const std::vector<int> kTones = {300, 500, 700, 60, 900, 1100, 1300, 1500};

class OpusTest : public ConversionTest {
 protected:
  void SetUp() override {
    Sh("sox -n -r 48000 -c 2 -b 16 src48.wav synth 1.5 sine 440 sine 660 gain -3");
    Sh("sox -n -r 44100 -c 2 -b 16 src44.wav synth 1.5 sine 440 sine 660 gain -3");
  }
  // What opusinfo found wrong; empty for a stream it read to its end without complaint.
  std::string OpusinfoComplaints(const std::string& file) {
    std::string out = Sh("opusinfo '" + file + "' 2>&1");
    bool clean = out.find("Logical stream 1 ended") != std::string::npos &&
                 out.find("WARNING") == std::string::npos && out.find("ERROR") == std::string::npos;
    return clean ? "" : out;
  }
  std::string OpusinfoLine(const std::string& file, const std::string& label) {
    return Sh("opusinfo '" + file + "' | grep '" + label + "' | sed 's/.*: *//'");
  }
  long OpusdecFrames(const std::string& file) {
    Sh("rm -f ref.wav && opusdec --quiet --rate 48000 '" + file + "' ref.wav");
    return Samples("ref.wav");
  }
  long FileSize(const std::string& file) { return long(std::filesystem::file_size(folder / file)); }
  double FormatBitRate(const std::string& file) {
    return std::stod(
        "0" +
        Sh("ffprobe -v error -show_entries format=bit_rate -of default=nw=1:nk=1 '" + file + "'"));
  }
  // The distinct packet sizes of a stream, one a line, as ffprobe lists them.
  std::string PacketSizes(const std::string& file) {
    return Sh("ffprobe -v error -show_entries packet=size -of csv=p=0 '" + file +
              "' | cut -d, -f1 | grep . | sort -u");
  }
  std::string Mutagen(const std::string& file, const std::string& expression) {
    return Sh(
        "/usr/bin/python3 -c \"import mutagen.oggopus, mutagen.flac, base64; "
        "f=mutagen.oggopus.OggOpus('" +
        file + "'); print(" + expression + ")\"");
  }
  // A source of this many channels with a tone of its own in each.
  void MakeToneSource(const std::string& name, int channels, int rate = 48000) {
    std::string synth;
    for (int c = 0; c < channels; ++c) synth += " sine " + std::to_string(kTones[size_t(c)]);
    Sh("sox -n -r " + std::to_string(rate) + " -c " + std::to_string(channels) + " -b 16 " + name +
       " synth 1" + synth + " gain -9");
  }
  // Every channel of a decoded file carries the tone of the same source channel.
  void ExpectTonesInPlace(const std::string& file, int channels, const std::string& label) {
    Sound sound = ReadSound(folder / file);
    ASSERT_EQ(sound.channels, channels) << label;
    std::vector<int> tones(kTones.begin(), kTones.begin() + channels);
    for (int c = 0; c < channels; ++c)
      EXPECT_EQ(DominantTone(sound, c, tones), kTones[size_t(c)]) << label << " channel " << c;
  }
};

TEST_F(OpusTest, EncodesEachLayoutAndRateIntoAStreamTheRefereesAccept) {
  Sh("sox src44.wav -b 24 mono24.wav remix 1 && sox src48.wav -e floating-point -b 32 -r 96000 "
     "float96.wav");
  Sh("sox src44.wav -b 8 -r 8000 mono8.wav remix 1 && sox src48.wav -b 32 int32.wav");
  struct Case {
    const char* source;
    const char* channels;
    const char* rate;
  };
  for (Case c : {Case{"src48.wav", "2", "48000"},
                 {"src44.wav", "2", "44100"},
                 {"mono24.wav", "1", "44100"},
                 {"float96.wav", "2", "96000"},
                 {"mono8.wav", "1", "8000"},
                 {"int32.wav", "2", "48000"}}) {
    RunResult r = Transmill(c.source, "out.opus", "-convert_to=opus");
    ASSERT_EQ(r.exitCode, 0) << c.source << r.err;
    EXPECT_EQ(OpusinfoComplaints("out.opus"), "") << c.source;
    EXPECT_EQ(Probe("out.opus", "codec_name"), "opus") << c.source;
    EXPECT_EQ(Probe("out.opus", "channels"), c.channels) << c.source;
    // The source's rate travels in the header; the audio itself is always 48 kHz.
    EXPECT_EQ(OpusinfoLine("out.opus", "Original sample rate"), std::string(c.rate) + " Hz")
        << c.source;
    long frames = OpusdecFrames("out.opus");
    if (std::string(c.rate) == "48000")
      EXPECT_EQ(frames, kFrames) << c.source;
    else
      EXPECT_NEAR(frames, kFrames, kOpusFrame) << c.source;
  }
}

TEST_F(OpusTest, BitRateAndModeSettingsReachTheStream) {
  Sh("sox -n -r 48000 -c 2 -b 16 noise.wav synth 4 pinknoise vol 0.5");
  // VBR spends what the signal needs: as much as opusenc spends with the same setting.
  for (const char* kbps : {"64", "192"}) {
    Sh(std::string("opusenc --quiet --bitrate ") + kbps + " noise.wav ref" + kbps + ".opus");
    std::string ours = std::string("vbr") + kbps + ".opus";
    ASSERT_EQ(Transmill("noise.wav", ours, std::string("-convert_to=opus -b ") + kbps).exitCode, 0);
    double theirs = FormatBitRate(std::string("ref") + kbps + ".opus");
    EXPECT_NEAR(FormatBitRate(ours), theirs, theirs * 0.05) << kbps;
  }
  EXPECT_LT(FileSize("vbr64.opus") * 2, FileSize("vbr192.opus"));
  // Stereo defaults to 128 kbps: the same stream as asked for explicitly.
  ASSERT_EQ(Transmill("noise.wav", "default.opus", "-convert_to=opus").exitCode, 0);
  ASSERT_EQ(Transmill("noise.wav", "vbr128.opus", "-convert_to=opus --bitrate 128").exitCode, 0);
  EXPECT_EQ(FileSize("default.opus"), FileSize("vbr128.opus"));
  // Constrained VBR and hard CBR hold the rate asked for; hard CBR in packets of one size.
  ASSERT_EQ(Transmill("noise.wav", "cvbr.opus", "-convert_to=opus --cvbr -b 96.5").exitCode, 0);
  EXPECT_NEAR(FormatBitRate("cvbr.opus"), 96500, 96500 * 0.05);
  EXPECT_EQ(OpusinfoComplaints("cvbr.opus"), "");
  ASSERT_EQ(Transmill("noise.wav", "cbr.opus", "-convert_to=opus --hard-cbr -b 64").exitCode, 0);
  EXPECT_NEAR(FormatBitRate("cbr.opus"), 64000, 64000 * 0.05);
  EXPECT_EQ(PacketSizes("cbr.opus"), std::to_string(64000 / 8 / 50));  // 64 kbps in 20 ms packets
  EXPECT_NE(PacketSizes("cvbr.opus").find('\n'), std::string::npos)
      << "constrained VBR varies the size";
  // Complexity 10 is the default; 0 encodes differently.
  ASSERT_EQ(Transmill("noise.wav", "comp10.opus", "-convert_to=opus --comp 10").exitCode, 0);
  ASSERT_EQ(Transmill("noise.wav", "comp0.opus", "-convert_to=opus -complexity 0").exitCode, 0);
  std::string sums;
  for (const char* file : {"default.opus", "comp10.opus", "comp0.opus"})
    sums += Sh(std::string("opusdec --quiet ") + file + " - | md5sum | cut -c1-32") + " ";
  EXPECT_EQ(sums.substr(0, 33), sums.substr(33, 33));
  EXPECT_NE(sums.substr(33, 33), sums.substr(66, 33));
}

TEST_F(OpusTest, RefusesSettingsOutOfRangeAndMoreThanEightChannels) {
  // Named with one dash in the message, however many were typed.
  for (const char* setting :
       {"-b 5", "-b 600", "--bitrate fast", "--comp 11", "-complexity 2.5", "-b 1.2.3"}) {
    RunResult r = Transmill("src48.wav", "bad.opus", std::string("-convert_to=opus ") + setting);
    EXPECT_EQ(r.exitCode, 1) << setting;
    std::string named = setting[1] == '-' ? setting + 1 : setting;
    EXPECT_NE(r.err.find("Unknown encoder setting '" + named + "'"), std::string::npos) << r.err;
  }
  Sh("sox -n -r 48000 -c 9 -b 16 nine.wav synth 0.2 sine 300 gain -3");
  RunResult r = Transmill("nine.wav", "nine.opus", "-convert_to=opus");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Opus takes one to eight channels here, the source has 9"),
            std::string::npos)
      << r.err;
}

TEST_F(OpusTest, SurroundChannelsKeepTheirPlacesBothWays) {
  for (int channels : {6, 8}) {
    std::string label = std::to_string(channels) + " channels";
    MakeToneSource("many.wav", channels);
    // Our stream, read by opusdec, which writes WAV order.
    ASSERT_EQ(Transmill("many.wav", "many.opus", "-convert_to=opus -b 256").exitCode, 0) << label;
    EXPECT_EQ(OpusinfoComplaints("many.opus"), "") << label;
    EXPECT_EQ(Probe("many.opus", "channels"), std::to_string(channels));
    OpusdecFrames("many.opus");
    ExpectTonesInPlace("ref.wav", channels, label + " by opusdec");
    // opusenc's stream, read by our decoder.
    Sh("opusenc --quiet --bitrate 256 many.wav theirs.opus 2>/dev/null");
    ASSERT_EQ(Transmill("theirs.opus", "back.wav", "-convert_to=wav").exitCode, 0) << label;
    ExpectTonesInPlace("back.wav", channels, label + " from opusenc");
    EXPECT_EQ(Probe("back.wav", "channel_layout"), channels == 6 ? "5.1" : "7.1") << label;
  }
}

TEST_F(OpusTest, EveryChannelCountSurvivesARoundTripThroughBothPlugins) {
  for (int channels = 1; channels <= 8; ++channels) {
    std::string label = std::to_string(channels) + " channels";
    MakeToneSource("many.wav", channels, 44100);
    ASSERT_EQ(Transmill("many.wav", "many.opus", "-convert_to=opus").exitCode, 0) << label;
    RunResult r = Transmill("many.opus", "back.wav", "-convert_to=wav");
    ASSERT_EQ(r.exitCode, 0) << label << r.err;
    ExpectTonesInPlace("back.wav", channels, label);
  }
}

TEST_F(OpusTest, DecodesOpusencFilesToTheirExactLengthWithTheirTags) {
  Sh("opusenc --quiet --title 'A Title' --artist 'An Artist' src44.wav tagged.opus");
  RunResult r = Transmill("tagged.opus", "out.wav", "-convert_to=wav");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Samples("out.wav"), OpusdecFrames("tagged.opus"));
  EXPECT_EQ(Probe("out.wav", "sample_rate"), "48000");
  EXPECT_EQ(
      Sh("ffprobe -v error -show_entries format_tags=title,artist -of default=nw=1:nk=1 out.wav"),
      "A Title\nAn Artist");
  // The samples line up with opusdec's: pre-skip and end trimming are the same.
  Sh("opusdec --quiet --float --rate 48000 tagged.opus ref.wav");
  DecoderPlugin d("opus");
  TvPluginValue hq{};
  hq.text1 = TV_DECODE_AS_HIGHEST;
  ASSERT_TRUE(d.set(d.instance, TV_KEY_DECODE_AS, &hq));
  std::u16string name = U16(folder / "tagged.opus");
  TvOpenInfo info;
  ASSERT_TRUE(d.Open(name, info)) << d.errors.Text();
  EXPECT_EQ(info.format.Format.wFormatTag, TV_FORMAT_IEEE_FLOAT);
  std::vector<uint8_t> bytes;
  ASSERT_TRUE(d.DecodeAll(bytes));
  Sound ref = ReadSound(folder / "ref.wav");
  ASSERT_EQ(bytes.size(), ref.samples.size() * 4);
  const float* ours = reinterpret_cast<const float*>(bytes.data());
  double worst = 0;
  for (size_t i = 0; i < ref.samples.size(); ++i)
    worst = std::max(worst, double(std::fabs(ours[i] - ref.samples[i])));
  EXPECT_LT(worst, 1e-3);
  std::string tags;
  for (const codec::TagItem& tag : codec::ReadTagItemBlock(info.idTags, info.idTagsSize))
    tags += Narrow(tag.key.c_str()) + "=" + Narrow(tag.value.c_str()) + ";";
  EXPECT_NE(tags.find("Title=A Title;"), std::string::npos) << tags;
  EXPECT_NE(tags.find("Artist=An Artist;"), std::string::npos) << tags;
}

std::string Quality(const TvOpenInfo& info) {
  codec::TagItems items = codec::ReadTagItemBlock(info.properties, info.propertiesSize);
  return items.empty() ? "" : Narrow(items[0].value.c_str());
}

TEST_F(OpusTest, DecoderGivesLengthBitRateQualityAndSeeks) {
  Sh("sox -n -r 48000 -c 2 -b 16 noise.wav synth 1.5 pinknoise vol 0.5");
  Sh("opusenc --quiet --bitrate 128 noise.wav vbr.opus && opusenc --quiet --hard-cbr --bitrate 64 "
     "noise.wav cbr.opus");
  DecoderPlugin d("opus");
  ASSERT_TRUE(d.Complete());
  TvPluginValue entry{};
  ASSERT_TRUE(d.get(d.instance, u"Decodes", &entry));
  EXPECT_EQ(Narrow(entry.text1) + " " + Narrow(entry.text2), ".opus Opus");
  std::u16string name = U16(folder / "vbr.opus");
  TvOpenInfo info;
  ASSERT_TRUE(d.Open(name, info)) << d.errors.Text();
  EXPECT_EQ(info.format.Format.nSamplesPerSec, 48000u);
  EXPECT_EQ(info.format.Format.wBitsPerSample, 16);
  EXPECT_EQ(info.msLength, 1500u);
  EXPECT_EQ(info.byteLength, uint64_t(kFrames) * 4);
  EXPECT_NEAR(double(info.bitRate), FormatBitRate("vbr.opus"), FormatBitRate("vbr.opus") * 0.02);
  EXPECT_EQ(Quality(info), "Lossy, " + std::to_string((info.bitRate + 500) / 1000) + " kbps VBR");
  ASSERT_TRUE(d.setPosition(d.instance, 1000, 0));
  std::vector<uint8_t> rest;
  ASSERT_TRUE(d.DecodeAll(rest));
  EXPECT_EQ(rest.size(), size_t(kFrames - 48000) * 4);
  name = U16(folder / "cbr.opus");
  ASSERT_TRUE(d.Open(name, info)) << d.errors.Text();
  EXPECT_EQ(Quality(info), "Lossy, " + std::to_string((info.bitRate + 500) / 1000) + " kbps CBR");
}

TEST_F(OpusTest, TagsAndPicturesWrittenAfterEncodingReadBackByMutagen) {
  std::string tags = "-tag=\"Title=Written\" -tag=\"Artist=Someone\"";
  RunResult r = Transmill("src48.wav", "tagged.opus", "-convert_to=opus " + tags);
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Mutagen("tagged.opus", "f['title'][0], f['artist'][0]"), "Written Someone");
  EXPECT_EQ(OpusinfoComplaints("tagged.opus"), "");
  EXPECT_EQ(OpusdecFrames("tagged.opus"), kFrames);
  ASSERT_EQ(Transmill("src48.wav", "bare.opus", "-convert_to=opus -notags -tag=\"Title=Dropped\"")
                .exitCode,
            0);
  EXPECT_EQ(Mutagen("bare.opus", "len(f.tags.keys())"), "0");
  // A picture in the source travels into the new file with the texts.
  Sh("sox src48.wav -n spectrogram -x 100 -y 64 -o cover.png");
  Sh("opusenc --quiet --title 'Pictured' --picture cover.png src48.wav source.opus");
  ASSERT_EQ(Transmill("source.opus", "copy.opus", "-convert_to=opus -b 96").exitCode, 0);
  std::string picture = Mutagen("copy.opus",
                                "f['title'][0], len(mutagen.flac.Picture(base64.b64decode("
                                "f['metadata_block_picture'][0])).data)");
  EXPECT_EQ(picture, "Pictured " + std::to_string(FileSize("cover.png")));
  EXPECT_EQ(OpusinfoComplaints("copy.opus"), "");
  EXPECT_EQ(OpusdecFrames("copy.opus"), kFrames);  // Opus to Opus, through float, keeps the length
}

TEST_F(OpusTest, ChainedStreamsDecodeAsOneWhenTheirChannelCountsAgree) {
  Sh("sox src48.wav mono.wav remix 1 && opusenc --quiet src48.wav one.opus && opusenc --quiet "
     "src44.wav two.opus");
  Sh("opusenc --quiet mono.wav three.opus && cat one.opus two.opus > chain.opus");
  Sh("cat one.opus three.opus > mixed.opus");
  ASSERT_EQ(Transmill("chain.opus", "out.wav", "-convert_to=wav").exitCode, 0);
  EXPECT_EQ(Samples("out.wav"), OpusdecFrames("one.opus") + OpusdecFrames("two.opus"));
  RunResult r = Transmill("mixed.opus", "mixed.wav", "-convert_to=wav");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("different channel counts"), std::string::npos) << r.err;
}

TEST_F(OpusTest, DamagedTruncatedAndMislabelledFilesFailTheRunCleanly) {
  Sh("sox -n -r 48000 -c 2 -b 16 noise.wav synth 4 pinknoise vol 0.5 && opusenc --quiet noise.wav "
     "good.opus");
  Sh("head -c 30000 good.opus > cut.opus && head -c 2000 good.opus > short.opus && head -c 100 "
     "good.opus > head.opus");
  Sh("cp good.opus hole.opus && dd if=/dev/zero of=hole.opus bs=1 seek=20000 count=3000 "
     "conv=notrunc 2>/dev/null");
  // Cut exactly where the last page starts: every page left is whole, but the stream has no end.
  Sh("head -c $(grep -abo OggS good.opus | tail -1 | cut -d: -f1) good.opus > nolast.opus");
  Sh("cp src48.wav wave.opus && sox src48.wav vorbis.ogg && cp vorbis.ogg vorbis.opus && : > "
     "empty.opus");
  for (const char* source : {"cut.opus", "short.opus", "head.opus", "hole.opus", "nolast.opus",
                             "wave.opus", "vorbis.opus", "empty.opus"}) {
    RunResult r = Transmill(source, "out.wav", "-convert_to=wav");
    EXPECT_EQ(r.exitCode, 1) << source;
    EXPECT_EQ(r.err.rfind(std::string("Error: Unable to open file '") + source + "': ", 0), 0u)
        << r.err;
    EXPECT_FALSE(std::filesystem::exists(folder / "out.wav")) << source;
  }
  EXPECT_NE(Transmill("wave.opus", "out.wav", "-convert_to=wav").err.find("not an Ogg Opus file"),
            std::string::npos);
  EXPECT_NE(Transmill("cut.opus", "out.wav", "-convert_to=wav").err.find("truncated"),
            std::string::npos);
  EXPECT_NE(Transmill("hole.opus", "out.wav", "-convert_to=wav").err.find("damaged"),
            std::string::npos);
}

}  // namespace
