// Test side of the codec plug-ins: loads the built libraries with dlopen through the sdk
// types, catches their error channel, makes audio with libsndfile and runs whole conversions.
#pragma once
#include "codecs/common/TagItemBlock.h"
#include "sdk/tv_plugin.h"
#include "tests/support/ScratchFolder.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

inline std::u16string U16(const std::string& text) {
  return std::u16string(text.begin(), text.end());
}
inline std::string Narrow(const char16_t* text) {
  std::string out;
  for (; text && *text; ++text) out += char(*text < 128 ? *text : '?');
  return out;
}

inline std::string PluginPath(const std::string& folder, const std::string& stem) {
  return stem[0] == '/' ? stem : std::string(TV_BIN_DIR) + "/" + folder + "/" + stem + ".so";
}

class PluginLibrary {
 public:
  explicit PluginLibrary(const std::string& path)
      : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {}
  ~PluginLibrary() {
    if (handle) dlclose(handle);
  }
  bool Loaded() const { return handle != nullptr; }
  // An entry point, null when absent; it turns into the function type it is assigned to.
  struct Entry {
    void* address;
    template <typename Fn>
    operator Fn() const {
      return reinterpret_cast<Fn>(address);
    }
  };
  Entry Symbol(const char* name) const { return {handle ? dlsym(handle, name) : nullptr}; }

 private:
  void* handle;
};

// A pipe whose write end is the plug-in's error channel; Text() gives what arrived as ASCII.
class ErrorChannel {
 public:
  ErrorChannel() {
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) ends[0] = ends[1] = -1;
  }
  ~ErrorChannel() {
    for (int fd : ends)
      if (fd >= 0) close(fd);
  }
  TvHostContext Context() const { return TvHostContext{ends[1], 0, 0}; }
  std::string Text() {
    std::string bytes, text;
    char buffer[4096];
    ssize_t n;
    while ((n = read(ends[0], buffer, sizeof buffer)) > 0) bytes.append(buffer, size_t(n));
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
      unsigned unit = uint8_t(bytes[i]) | (uint8_t(bytes[i + 1]) << 8);
      text += char(unit < 128 ? unit : '?');
    }
    return text;
  }

 private:
  int ends[2];
};

// A decoder plug-in (decoder/<stem>.so, pcm by default) with one instance, which keeps the
// record of its last Open(path) with the quality text and the tags ("Key=Value;" each).
struct DecoderPlugin {
  explicit DecoderPlugin(const std::string& stem = "pcm") : library(PluginPath("decoder", stem)) {}
  ~DecoderPlugin() {
    if (instance) destroy(instance);
  }
  // Every block to the end; false if a call fails or no end flag comes.
  bool DecodeAll(std::vector<uint8_t>& out, int* blocks = nullptr) {
    for (int round = 0; round < 100000; ++round) {
      TvAudioBlock block{};
      if (!decodeBlock(instance, &block)) return false;
      const uint8_t* p = static_cast<const uint8_t*>(block.data);
      if (block.byteCount) out.insert(out.end(), p, p + block.byteCount);
      if (blocks) ++*blocks;
      if (block.endOfStream) return true;
    }
    return false;
  }
  bool Open(const std::string& path) {
    name = U16(path);
    info = TvOpenInfo{};
    info.fileName = name.c_str();
    info.interfaceLevel = TV_INTERFACE_LEVEL;
    return open(instance, &info) != 0;
  }
  std::string Quality() const {
    codec::TagItems items = codec::ReadTagItemBlock(info.properties, info.propertiesSize);
    return items.empty() ? "" : Narrow(items[0].value.c_str());
  }
  std::string Tags() const {
    std::string text;
    for (const codec::TagItem& tag : codec::ReadTagItemBlock(info.idTags, info.idTagsSize))
      text += Narrow(tag.key.c_str()) + "=" + Narrow(tag.value.c_str()) + ";";
    return text;
  }
  // Asks for float samples ("Decode As" the highest quality).
  bool AskFloat() {
    TvPluginValue value{};
    value.text1 = TV_DECODE_AS_HIGHEST;
    return set(instance, TV_KEY_DECODE_AS, &value) != 0;
  }

  PluginLibrary library;
  ErrorChannel errors;
  TvHostContext context = errors.Context();
  TvDecoderDestroyFn destroy = library.Symbol(TV_DECODER_DESTROY);
  TvDecoderGetFn get = library.Symbol(TV_DECODER_GET);
  TvDecoderSetFn set = library.Symbol(TV_DECODER_SET);
  TvDecoderOpenFn open = library.Symbol(TV_DECODER_OPEN);
  TvDecoderCloseFn closeFile = library.Symbol(TV_DECODER_CLOSE);
  TvDecoderDecodeBlockFn decodeBlock = library.Symbol(TV_DECODER_DECODE_BLOCK);
  TvDecoderSetPositionFn setPosition = library.Symbol(TV_DECODER_SET_POSITION);
  TvDecoderDeleteATagFn deleteATag = library.Symbol(TV_DECODER_DELETE_A_TAG);
  TvDecoderCreateFn create = library.Symbol(TV_DECODER_CREATE);
  TvInstance instance = create ? create(&context) : nullptr;
  TvOpenInfo info{};
  std::u16string name;
};

struct EncoderPlugin {
  explicit EncoderPlugin(const std::string& stem) : library(PluginPath("encoder", stem)) {}
  ~EncoderPlugin() {
    if (instance) destroy(instance);
  }

  PluginLibrary library;
  ErrorChannel errors;
  TvHostContext context = errors.Context();
  TvEncoderDestroyFn destroy = library.Symbol(TV_ENCODER_DESTROY);
  TvEncoderGetFn get = library.Symbol(TV_ENCODER_GET);
  TvEncoderSetFn set = library.Symbol(TV_ENCODER_SET);
  TvEncoderShowConfigBitFn showConfigBit = library.Symbol(TV_ENCODER_SHOW_CONFIG_BIT);
  TvEncoderRemoveConfigBitFn removeConfigBit = library.Symbol(TV_ENCODER_REMOVE_CONFIG_BIT);
  TvEncoderBeginConversionFn begin = library.Symbol(TV_ENCODER_BEGIN_CONVERSION);
  TvEncoderEndConversionFn end = library.Symbol(TV_ENCODER_END_CONVERSION);
  TvEncoderEncodeBlockFn encodeBlock = library.Symbol(TV_ENCODER_ENCODE_BLOCK);
  TvEncoderCreateFn create = library.Symbol(TV_ENCODER_CREATE);
  TvInstance instance = create ? create(&context) : nullptr;
};

// Test audio: deterministic noise over the full range of the sample type.
struct TestAudio {
  int channels = 2;
  int rate = 44100;
  int frames = 20000;
  int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  std::vector<int> channelMap;                       // written when not empty
  std::vector<std::pair<int, std::string>> strings;  // libsndfile text fields to write
  std::vector<int> ints;                             // integer samples, left-aligned in 32 bits
  std::vector<float> floats;                         // float samples

  bool IsFloat() const { return (format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT; }
  int Bits() const {
    int sub = format & SF_FORMAT_SUBMASK;
    return sub == SF_FORMAT_PCM_24 ? 24 : sub == SF_FORMAT_PCM_32 || IsFloat() ? 32 : 16;
  }
  void Generate() {
    std::mt19937 random(uint32_t(channels * 7 + Bits()));
    size_t count = size_t(frames) * size_t(channels);
    ints.resize(count);
    floats.resize(count);
    uint32_t dropBits = 32 - uint32_t(Bits());
    for (size_t i = 0; i < count; ++i) {
      ints[i] = int(random() >> dropBits << dropBits);
      floats[i] = float(int32_t(random()) / 2147483648.0);
    }
  }
  bool Write(const std::string& path) {
    if (ints.empty()) Generate();
    SF_INFO info{};
    info.channels = channels;
    info.samplerate = rate;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) return false;
    if (!channelMap.empty())
      sf_command(file, SFC_SET_CHANNEL_MAP_INFO, channelMap.data(),
                 int(channelMap.size() * sizeof(int)));
    for (const auto& [type, text] : strings) sf_set_string(file, type, text.c_str());
    sf_count_t done = IsFloat() ? sf_writef_float(file, floats.data(), frames)
                                : sf_writef_int(file, ints.data(), frames);
    return sf_close(file) == 0 && done == frames;
  }
};

struct Sound {
  int channels = 0;
  int rate = 0;
  std::vector<float> samples;
  long Frames() const { return channels ? long(samples.size()) / channels : 0; }
};

inline Sound ReadSound(const std::string& path) {
  Sound sound;
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (!file) return sound;
  sound.channels = info.channels;
  sound.rate = info.samplerate;
  sound.samples.resize(size_t(info.frames * info.channels));
  sf_readf_float(file, sound.samples.data(), info.frames);
  sf_close(file);
  return sound;
}

// Of the tones given, the one that stands ten times above the others in a channel, or -1.
inline int DominantTone(const Sound& sound, int channel, const std::vector<int>& tones) {
  int best = -1;
  double top = 0, second = 0;
  for (int tone : tones) {
    double c = 2 * std::cos(2 * M_PI * tone / sound.rate), s1 = 0, s2 = 0;
    for (long i = 0; i < sound.Frames(); ++i) {
      double s0 = sound.samples[size_t(i * sound.channels + channel)] + c * s1 - s2;
      s2 = s1, s1 = s0;
    }
    double power = s1 * s1 + s2 * s2 - c * s1 * s2;
    if (power > top)
      second = top, top = power, best = tone;
    else if (power > second)
      second = power;
  }
  return top > 10 * second ? best : -1;
}

inline std::string RunCommand(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return out;
  char buffer[512];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
  pclose(pipe);
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
  return out;
}

inline std::string ReadBytes(const std::string& path, size_t count = size_t(1) << 28) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes(count, '\0');
  in.read(bytes.data(), std::streamsize(count));
  bytes.resize(size_t(in.gcount()));
  return bytes;
}

// A file's tags as mutagen sees them: values by key in file order, pictures in order.
struct RefereePicture {
  int type;
  std::string description, mime;
  std::vector<uint8_t> data;
};
using Fields = std::map<std::string, std::vector<std::string>>;
struct Referee {
  Fields text;
  std::vector<RefereePicture> pictures;
  int id3Version = 0;
};

inline std::string Unhex(const std::string& hex) {
  std::string text;
  for (size_t i = 0; hex != "-" && i + 1 < hex.size(); i += 2)
    text += char(std::stoi(hex.substr(i, 2), nullptr, 16));
  return text;
}

inline Referee ReadWithMutagen(const std::string& path, const std::string& kind,
                               const ScratchFolder& folder) {
  std::string script = std::string(TV_SOURCE_DIR) + "/tests/codecs/support/mutagen_tags.py";
  std::istringstream lines(RunCommand("/usr/bin/python3 '" + script + "' '" + path + "' " + kind +
                                      " '" + folder / "pic" + "'"));
  Referee referee;
  std::string tag, a, b, c;
  while (lines >> tag) {
    if (tag == "V") {
      lines >> referee.id3Version;
    } else if (tag == "T" && lines >> a >> b) {
      referee.text[Unhex(a)].push_back(Unhex(b));
    } else if (tag == "P" && lines >> a >> b >> c) {
      std::string data = folder / ("pic" + std::to_string(referee.pictures.size() + 1));
      std::string bytes = ReadBytes(data);
      referee.pictures.push_back({std::stoi(a), Unhex(b), c, {bytes.begin(), bytes.end()}});
    }
  }
  return referee;
}

struct RunResult {
  int exitCode = -1;
  std::string err;  // the error channel, UTF-8
};

// A scratch folder in which whole conversions run through the transmill program as a process,
// with a home of the test's own; shell commands run in the folder too.
class ConversionTest : public ::testing::Test {
 protected:
  std::string Sh(const std::string& command) {
    return RunCommand("cd '" + folder.Folder() + "' && " + command);
  }
  RunResult Transmill(const std::string& in, const std::string& out, const std::string& args) {
    std::string env = "HOME=. XDG_CONFIG_HOME=./cfg XDG_DATA_HOME=./data ";
    RunResult r;
    r.exitCode =
        std::stoi(Sh("rm -f '" + out + "'; " + env + TV_BIN_DIR "/transmill -infile=" + in +
                     " -outfile=" + out + " " + args + " >out.txt 2>err.txt </dev/null; echo $?"));
    r.err = Sh("iconv -f UTF-16LE -t UTF-8 err.txt");
    return r;
  }
  long Samples(const std::string& file) { return std::stol("0" + Sh("soxi -s '" + file + "'")); }
  bool SameSamples(const std::string& a, const std::string& b) {
    return Sh("sox '" + a + "' -t raw a.raw 2>/dev/null && sox '" + b +
              "' -t raw b.raw 2>/dev/null && cmp -s a.raw b.raw && echo same") == "same";
  }
  // One stream entry as ffprobe reads it ("codec_name", "channels", "channel_layout", ...).
  std::string Probe(const std::string& file, const std::string& entry) {
    return Sh("ffprobe -v error -show_entries stream=" + entry + " -of default=nw=1:nk=1 '" + file +
              "'");
  }
  long FileSize(const std::string& file) { return long(std::filesystem::file_size(folder / file)); }
  // A tone of its own per channel (from kTones; the LFE place, 3, gets a low one).
  void MakeTones(const std::string& name, int channels, int rate = 48000, int bits = 16) {
    std::string synth;
    for (int c = 0; c < channels; ++c) synth += " sine " + std::to_string(kTones[size_t(c)]);
    Sh("sox -n -r " + std::to_string(rate) + " -c " + std::to_string(channels) + " -b " +
       std::to_string(bits) + " " + name + " synth 1" + synth + " gain -9");
  }
  // Every channel of a decoded file carries the tone of the same source channel.
  void ExpectTonesInPlace(const std::string& file, int channels, const std::string& label) {
    Sound sound = ReadSound(folder / file);
    ASSERT_EQ(sound.channels, channels) << label;
    std::vector<int> tones(kTones.begin(), kTones.begin() + channels);
    for (int c = 0; c < channels; ++c)
      EXPECT_EQ(DominantTone(sound, c, tones), kTones[size_t(c)]) << label << " channel " << c;
  }
  static bool Built(const std::string& folder, const std::string& stem) {
    return std::filesystem::exists(PluginPath(folder, stem));
  }

  static inline const std::vector<int> kTones = {300, 500, 700, 60, 900, 1100, 1300, 1500};
  ScratchFolder folder;
};
