// The FLAC plug-ins: whole conversions through the transmill program with flac, metaflac, sox
// and mutagen as referees, and the decoder's own calls for the stream image, tags and seeking.
#include "codecs/common/TagBridge.h"
#include "tests/codecs/CodecPlugins.h"

#include <cmath>

namespace {

struct WaveParts {
  std::string fmt, data;
};

// The fmt and data chunks of a WAV file.
WaveParts ReadWave(const std::string& path) {
  std::string bytes = ReadBytes(path, 1 << 26);
  WaveParts parts;
  for (size_t at = 12; at + 8 <= bytes.size();) {
    uint32_t size = 0;
    memcpy(&size, bytes.data() + at + 4, 4);
    std::string body = bytes.substr(at + 8, size);
    if (bytes.compare(at, 4, "fmt ") == 0) parts.fmt = body;
    if (bytes.compare(at, 4, "data") == 0) parts.data = body;
    at += 8 + size + (size & 1);
  }
  return parts;
}

uint16_t ValidBits(const WaveParts& wave) {
  return uint16_t(uint8_t(wave.fmt[18]) | uint8_t(wave.fmt[19]) << 8);
}
uint32_t Mask(const WaveParts& wave) {
  uint32_t mask = 0;
  memcpy(&mask, wave.fmt.data() + 20, 4);
  return mask;
}

// A 16-bit WAVE_FORMAT_EXTENSIBLE file of noise, as no tool at hand writes one: validBits
// below 16 leave the low bits zero.
std::string WaveEx(int channels, int validBits, uint32_t mask, int frames) {
  std::mt19937 random(uint32_t(channels * 31 + validBits));
  std::string data;
  for (int i = 0; i < frames * channels; ++i) {
    uint16_t v = uint16_t(random() >> 16) & uint16_t(0xFFFF << (16 - validBits));
    data += char(v & 0xFF), data += char(v >> 8);
  }
  auto u16 = [](uint32_t v) { return std::string{char(v & 0xFF), char(v >> 8)}; };
  auto u32 = [&](uint32_t v) { return u16(v & 0xFFFF) + u16(v >> 16); };
  std::string fmt = u16(0xFFFE) + u16(uint32_t(channels)) + u32(44100) +
                    u32(44100u * 2 * uint32_t(channels)) + u16(2u * uint32_t(channels)) + u16(16) +
                    u16(22) + u16(uint32_t(validBits)) + u32(mask) + u32(1) + u16(0) + u16(0x10) +
                    std::string("\x80\x00\x00\xAA\x00\x38\x9B\x71", 8);
  std::string body =
      "WAVEfmt " + u32(uint32_t(fmt.size())) + fmt + "data" + u32(uint32_t(data.size())) + data;
  return "RIFF" + u32(uint32_t(body.size())) + body;
}

std::string ItemText(const codec::TagItems& items) {
  std::string text;
  for (const codec::TagItem& item : items)
    text += Narrow(item.key.c_str()) + "=" + Narrow(item.value.c_str()) + ";";
  return text;
}

class FlacTest : public ConversionTest {
 protected:
  // Whether two audio files hold the same sample data, as sox reads them.
  bool SameSamples(const std::string& a, const std::string& b) {
    return Sh("sox '" + a + "' -t raw a.raw && sox '" + b +
              "' -t raw b.raw && cmp -s a.raw b.raw && echo same") == "same";
  }
  std::string Meta(const std::string& file, const std::string& option) {
    return Sh("metaflac " + option + " '" + file + "'");
  }
  long FileSize(const std::string& file) {
    return std::stol("0" + Sh("stat -c %s '" + file + "'"));
  }
  void WriteFile(const std::string& name, const std::string& bytes) {
    std::ofstream(folder / name, std::ios::binary) << bytes;
  }
  // A stereo FLAC made by the flac tool, with tags and a front cover set by metaflac.
  void MakeTaggedFlac() {
    Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 2 sine 440 sine 660 gain -3 && flac -s -f -o "
       "tagged.flac src.wav");
    WriteFile("cover.png", std::string("\x89PNG\r\n\x1A\n", 8) + "picture body");
    Sh("metaflac --set-tag=TITLE=Tagged --set-tag=ARTIST=Someone --set-tag=TRACKNUMBER=3 "
       "--import-picture-from='3|image/png|Sleeve|1x1x24|cover.png' tagged.flac");
  }
};

TEST_F(FlacTest, EncodedFilesPassFlacTestAndDecodeToTheSourceSamples) {
  struct Case {
    int channels, bits, rate;
  };
  // 768 kHz lies outside the streamable subset, which must not stop the encoder.
  for (Case c : {Case{1, 16, 48000},
                 {2, 16, 48000},
                 {6, 16, 48000},
                 {1, 24, 48000},
                 {2, 24, 48000},
                 {6, 24, 48000},
                 {2, 8, 48000},
                 {2, 32, 48000},
                 {8, 24, 48000},
                 {2, 24, 768000}}) {
    std::string what = std::to_string(c.channels) + " channels, " + std::to_string(c.bits) +
                       " bits, " + std::to_string(c.rate) + " Hz";
    Sh("sox -n -r " + std::to_string(c.rate) + " -c " + std::to_string(c.channels) + " -b " +
       std::to_string(c.bits) + " src.wav synth 1.5 pinknoise vol 0.5");
    RunResult r = Transmill("src.wav", "out.flac", "-convert_to=flac");
    ASSERT_EQ(r.exitCode, 0) << what << r.err;
    EXPECT_EQ(Sh("flac -t -s out.flac 2>&1 && echo ok"), "ok") << what;
    EXPECT_EQ(Meta("out.flac", "--show-bps"), std::to_string(c.bits)) << what;
    EXPECT_EQ(Meta("out.flac", "--show-total-samples"), std::to_string(c.rate * 3 / 2)) << what;
    EXPECT_NE(Meta("out.flac", "--list --block-type=SEEKTABLE").find("seek points: 1"),
              std::string::npos)
        << what;
    Sh("flac -d -f -s -o back.wav out.flac");
    EXPECT_TRUE(SameSamples("src.wav", "back.wav")) << what;
    // Back through our decoder: the same samples, in WAV order for 5.1 and 7.1.
    ASSERT_EQ(Transmill("out.flac", "ours.wav", "-convert_to=wav").exitCode, 0) << what;
    EXPECT_TRUE(SameSamples("src.wav", "ours.wav")) << what;
  }
}

TEST_F(FlacTest, FloatSourcesBecome24BitClippedAtFullScale) {
  TestAudio audio;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  audio.frames = 4000;
  audio.Generate();
  audio.floats[0] = 1.5f, audio.floats[1] = -2.0f, audio.floats[2] = 0.25f;
  ASSERT_TRUE(audio.Write(folder / "float.wav"));
  ASSERT_EQ(Transmill("float.wav", "out.flac", "-convert_to=flac").exitCode, 0);
  EXPECT_EQ(Meta("out.flac", "--show-bps"), "24");
  Sh("flac -d -f -s -o back.wav out.flac");
  SF_INFO info{};
  SNDFILE* file = sf_open((folder / "back.wav").c_str(), SFM_READ, &info);
  ASSERT_NE(file, nullptr);
  std::vector<int> back(size_t(info.frames * info.channels));
  sf_readf_int(file, back.data(), info.frames);
  sf_close(file);
  ASSERT_EQ(back.size(), audio.floats.size());
  size_t wrong = 0;
  for (size_t i = 0; i < back.size(); ++i) {
    double expected =
        std::clamp(std::nearbyint(double(audio.floats[i]) * 8388608.0), -8388608.0, 8388607.0);
    if (back[i] / 256 != int(expected)) ++wrong;
  }
  EXPECT_EQ(wrong, 0u);
  EXPECT_EQ(back[0] / 256, 8388607);
  EXPECT_EQ(back[1] / 256, -8388608);
}

TEST_F(FlacTest, OddDepthsKeepTheirDepthBothWays) {
  WriteFile("w12.wav", WaveEx(2, 12, 0x3, 30000));
  Sh("flac -s -f -o tool12.flac w12.wav");
  ASSERT_EQ(Meta("tool12.flac", "--show-bps"), "12");
  // Decoded: a 16-bit container at full scale, with 12 valid bits in the image.
  DecoderPlugin decoder("flac");
  std::u16string name = U16(folder / "tool12.flac");
  TvOpenInfo info;
  ASSERT_TRUE(decoder.Open(name, info)) << decoder.errors.Text();
  EXPECT_EQ(info.format.Format.wFormatTag, TV_FORMAT_EXTENSIBLE);
  EXPECT_EQ(info.format.Format.wBitsPerSample, 16);
  EXPECT_EQ(info.format.wValidBitsPerSample, 12);
  std::vector<uint8_t> samples;
  ASSERT_TRUE(decoder.DecodeAll(samples)) << decoder.errors.Text();
  EXPECT_TRUE(std::string(samples.begin(), samples.end()) == ReadWave(folder / "w12.wav").data);
  // FLAC to FLAC stays at 12 bits and the flac tool gets the very samples back.
  ASSERT_EQ(Transmill("tool12.flac", "ours12.flac", "-convert_to=flac").exitCode, 0);
  EXPECT_EQ(Meta("ours12.flac", "--show-bps"), "12");
  Sh("flac -d -f -s -o back12.wav ours12.flac");
  EXPECT_EQ(ReadWave(folder / "back12.wav").data, ReadWave(folder / "w12.wav").data);
  EXPECT_EQ(ValidBits(ReadWave(folder / "back12.wav")), 12);
}

TEST_F(FlacTest, UncommonChannelMasksTravelInTheMaskComment) {
  WriteFile("quad.wav", WaveEx(4, 16, 0x107, 20000));  // FL FR FC BC: not the default for four
  RunResult r = Transmill("quad.wav", "quad.flac", "-convert_to=flac -tag=\"Title=Four Ways\"");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Meta("quad.flac", "--show-tag=WAVEFORMATEXTENSIBLE_CHANNEL_MASK"),
            "WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x0107");  // kept when the engine wrote the title
  EXPECT_EQ(Meta("quad.flac", "--show-tag=TITLE"), "TITLE=Four Ways");
  Sh("flac -d -f -s -o tool.wav quad.flac");
  EXPECT_EQ(Mask(ReadWave(folder / "tool.wav")), 0x107u);
  ASSERT_EQ(Transmill("quad.flac", "ours.wav", "-convert_to=wav").exitCode, 0);
  WaveParts ours = ReadWave(folder / "ours.wav");
  EXPECT_EQ(Mask(ours), 0x107u);
  EXPECT_EQ(ours.data, ReadWave(folder / "quad.wav").data);
  // The field describes the layout; it is no tag to carry into another file.
  ASSERT_EQ(Transmill("quad.flac", "again.flac", "-convert_to=flac").exitCode, 0);
  EXPECT_EQ(Sh("metaflac --export-tags-to=- again.flac | sort | tr '\\n' ';'"),
            "TITLE=Four Ways;WAVEFORMATEXTENSIBLE_CHANNEL_MASK=0x0107;");
}

TEST_F(FlacTest, FilesOfTheFlacToolDecodeWithTheirTagsPictureAndLength) {
  MakeTaggedFlac();
  ASSERT_EQ(Transmill("tagged.flac", "out.wav", "-convert_to=wav").exitCode, 0);
  EXPECT_TRUE(SameSamples("src.wav", "out.wav"));
  DecoderPlugin decoder("flac");
  std::u16string name = U16(folder / "tagged.flac");
  TvOpenInfo info;
  ASSERT_TRUE(decoder.Open(name, info)) << decoder.errors.Text();
  EXPECT_EQ(info.msLength, 2000u);
  EXPECT_EQ(info.byteLength, 88200u * 4);
  // The audio frames alone: the metadata blocks with tags and picture are left out.
  long audioBytes = FileSize(folder / "tagged.flac") -
                    std::stol(Sh("metaflac --list tagged.flac | awk "
                                 "'$1 == \"length:\" {n += $2 + 4} END {print n + 4}'"));
  EXPECT_NEAR(double(info.bitRate), audioBytes * 8 / 2.0, 8.0);
  codec::TagItems props = codec::ReadTagItemBlock(info.properties, info.propertiesSize);
  EXPECT_EQ(ItemText(props), "Audio Quality=Lossless;");
  codec::TagItems tags = codec::ReadTagItemBlock(info.idTags, info.idTagsSize);
  std::string text = ItemText(tags);
  for (const char* expected :
       {"Title=Tagged;", "Artist=Someone;", "Track=3;", "_albumart_1_Front Album Cover"})
    EXPECT_NE(text.find(expected), std::string::npos) << text;
  std::string png = ReadBytes(folder / "cover.png", 100);
  bool pictureFound = false;
  for (const codec::TagItem& tag : tags)
    pictureFound = pictureFound || tag.binary == std::vector<uint8_t>(png.begin(), png.end());
  EXPECT_TRUE(pictureFound) << text;
}

TEST_F(FlacTest, StreamsWrittenToAPipeDecodeToTheirEndWithoutALength) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 1 pinknoise vol 0.5 && sox src.wav -t raw src.raw");
  Sh("flac -s --force-raw-format --endian=little --sign=signed --channels=2 --bps=16 "
     "--sample-rate=44100 -c - "
     "< src.raw 2>/dev/null | cat > piped.flac");
  ASSERT_EQ(Meta("piped.flac", "--show-total-samples"), "0");
  DecoderPlugin decoder("flac");
  std::u16string name = U16(folder / "piped.flac");
  TvOpenInfo info;
  ASSERT_TRUE(decoder.Open(name, info)) << decoder.errors.Text();
  EXPECT_EQ(info.msLength, 0u);
  std::vector<uint8_t> samples;
  ASSERT_TRUE(decoder.DecodeAll(samples)) << decoder.errors.Text();
  EXPECT_TRUE(std::string(samples.begin(), samples.end()) ==
              ReadBytes(folder / "src.raw", 1 << 24));
}

TEST_F(FlacTest, TagsAndPicturesWrittenByTheEngineAreReadByMutagen) {
  MakeTaggedFlac();
  RunResult r = Transmill("tagged.flac", "out.flac",
                          "-convert_to=flac -8 -tag=\"Title=New Title\" -tag=Album=Disc");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  std::string read =
      Sh("/usr/bin/python3 -c \"import mutagen.flac as m; f = m.FLAC('out.flac'); "
         "print(f['title'], f['artist'], f['album'], f['tracknumber'], "
         "[(p.type, p.desc, p.data) for p in f.pictures])\"");
  EXPECT_EQ(read,
            "['New Title'] ['Someone'] ['Disc'] ['3'] [(3, 'Sleeve', "
            "b'\\x89PNG\\r\\n\\x1a\\npicture body')]");
  EXPECT_EQ(Sh("flac -t -s out.flac 2>&1 && echo ok"), "ok");
  ASSERT_EQ(Transmill("tagged.flac", "bare.flac", "-convert_to=flac -notags").exitCode, 0);
  EXPECT_EQ(Sh("/usr/bin/python3 -c \"import mutagen.flac as m; f = m.FLAC('bare.flac'); "
               "print(len(f.tags or []), len(f.pictures))\""),
            "0 0");
}

TEST_F(FlacTest, SettingsPickLevelAndVerifyAndBadOnesAreRefused) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 3 pinknoise vol 0.5");
  struct Case {
    const char* settings;
    const char* out;
  };
  for (Case c : {Case{"-0", "fast.flac"},
                 {"-8", "best.flac"},
                 {"--compression-level-8 -V", "long.flac"},
                 {"--verify -3", "verified.flac"}}) {
    RunResult r =
        Transmill("src.wav", c.out, std::string("-convert_to=flac -notags ") + c.settings);
    ASSERT_EQ(r.exitCode, 0) << c.settings << r.err;
    EXPECT_EQ(Sh(std::string("flac -t -s ") + c.out + " 2>&1 && echo ok"), "ok") << c.settings;
  }
  EXPECT_LT(FileSize(folder / "best.flac"), FileSize(folder / "fast.flac"));
  EXPECT_EQ(Sh("cmp -s best.flac long.flac && echo same"), "same");
  // The tool at the same level makes the same frames.
  Sh("flac -s -f -8 -o tool8.flac src.wav");
  EXPECT_EQ(Meta("tool8.flac", "--show-min-framesize --show-max-framesize"),
            Meta("best.flac", "--show-min-framesize --show-max-framesize"));
  // Long options reach the encoder with one dash, as the engine passes them on.
  for (Case bad : {Case{"-9", "-9"},
                   {"--compression-level-12", "-compression-level-12"},
                   {"--compression-level=x", "-compression-level x"}}) {
    RunResult r = Transmill("src.wav", "bad.flac", std::string("-convert_to=flac ") + bad.settings);
    EXPECT_EQ(r.exitCode, 1) << bad.settings;
    EXPECT_NE(r.err.find(std::string("Error: Unknown encoder setting '") + bad.out + "'."),
              std::string::npos)
        << r.err;
  }
  Sh("sox -n -r 44100 -c 9 nine.wav synth 0.2 sine 300");
  RunResult r = Transmill("nine.wav", "nine.flac", "-convert_to=flac");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("FLAC holds 1 to 8 channels, the source has 9"), std::string::npos) << r.err;
}

TEST_F(FlacTest, DamagedTruncatedAndMislabelledFilesFailTheRunCleanly) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 3 sine 440 sine 661 gain -3 && flac -s -f -o "
     "good.flac src.wav");
  long size = FileSize(folder / "good.flac");
  std::string middle = std::to_string(size / 2);
  // Foreign bytes (the tail of the WAV) and zeros over the middle of the stream.
  Sh("cp good.flac noise.flac && tail -c 3000 src.wav | dd of=noise.flac bs=1 seek=" + middle +
     " conv=notrunc 2>/dev/null");
  Sh("cp good.flac zeros.flac && dd if=/dev/zero of=zeros.flac bs=1 seek=" + middle +
     " count=500 conv=notrunc 2>/dev/null");
  Sh("head -c " + middle + " good.flac > cut.flac && head -c 30 good.flac > stub.flac");
  // A wrong MD5 in the stream header: every frame is sound, the whole is not.
  Sh("cp good.flac md5.flac && printf '\\125' | dd of=md5.flac bs=1 seek=30 conv=notrunc "
     "2>/dev/null");
  Sh("cp src.wav wave.flac && yes 'no audio in here' | head -c 40000 > text.flac && : > "
     "empty.flac");
  struct Case {
    const char* file;
    const char* error;
  };
  for (Case c :
       {Case{"noise.flac", "' failed: "},
        {"zeros.flac", "' failed: "},
        {"cut.flac", "' failed: the stream is truncated"},
        {"md5.flac", "' failed: the decoded audio does not match the stream's MD5 signature."},
        {"stub.flac", "': not a FLAC file"},
        {"wave.flac", "': not a FLAC file"},
        {"text.flac", "': not a FLAC file"},
        {"empty.flac", "': not a FLAC file"}}) {
    EXPECT_EQ(Sh(std::string("flac -t -s ") + c.file + " 2>/dev/null || echo refused"), "refused")
        << c.file;
    RunResult r = Transmill(c.file, "out.wav", "-convert_to=wav");
    EXPECT_EQ(r.exitCode, 1) << c.file;
    bool opening = c.error[1] == ':';
    std::string start =
        (opening ? "Error: Unable to open file '" : "Error: Reading '") + std::string(c.file);
    EXPECT_EQ(r.err.rfind(start + c.error, 0), 0u) << r.err;
  }
}

TEST_F(FlacTest, DecoderSeeksToTheExactSampleAgainAfterTheEnd) {
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 3 pinknoise vol 0.5 && flac -s -f -o src.flac "
     "src.wav");
  std::string source = ReadWave(folder / "src.wav").data;
  DecoderPlugin decoder("flac");
  std::u16string name = U16(folder / "src.flac");
  TvOpenInfo info;
  ASSERT_TRUE(decoder.Open(name, info)) << decoder.errors.Text();
  for (uint32_t ms : {1000u, 2999u, 10u, 3000u}) {  // the last two after a whole decode
    ASSERT_NE(decoder.setPosition(decoder.instance, ms, 0), 0) << ms;
    std::vector<uint8_t> rest;
    ASSERT_TRUE(decoder.DecodeAll(rest)) << ms << decoder.errors.Text();
    size_t from = size_t(ms) * 441 / 10 * 4;
    EXPECT_TRUE(std::string(rest.begin(), rest.end()) == source.substr(from))
        << ms << ": " << rest.size();
  }
  EXPECT_EQ(decoder.errors.Text(), "");
}

}  // namespace
