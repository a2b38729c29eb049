// Encoder plug-in writing WavPack with libwavpack: lossless, or hybrid at a chosen bit rate with
// an optional correction file. The first block is rewritten at the end with the exact length.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/EncoderPlugin.h"
#include "codecs/common/EncoderSettings.h"

#include <wavpack/wavpack.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using namespace codec;

namespace {

struct Settings {
  int mode = 0;             // CONFIG_ flags of the last of -f, -h and -hh
  int extra = 0;            // extra processing level 1..6, 0 for none
  double bitRate = 0;       // hybrid: kbps from 24 up, bits per sample below; 0 for lossless
  bool correction = false;  // also write the .wvc
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

// Where the library's blocks go: one file, and a copy of its first block for the final rewrite.
struct Sink {
  FILE* file = nullptr;
  std::string name;
  std::vector<uint8_t> first;
  bool failed = false;
};

// A decimal number such as "256" or "3.5" in [low, high], or -1.
double Number(std::u16string_view text, double low, double high) {
  double n = Decimal(text, 8);
  return n >= low && n <= high ? n : -1;
}

// False when the option, one of ours, has a bad value; shown is the option as written.
bool ReadOption(const TextPairs& options, size_t& i, Settings& s, std::u16string& shown) {
  const std::u16string& key = options[i].first;
  bool plain = options[i].second.empty();
  shown = OptionText(key, options[i].second);
  if (EqualsNoCase(key, u"f") && plain) {
    s.mode = CONFIG_FAST_FLAG;
  } else if (EqualsNoCase(key, u"h") && plain) {
    s.mode = CONFIG_HIGH_FLAG;
  } else if (EqualsNoCase(key, u"hh") && plain) {
    s.mode = CONFIG_HIGH_FLAG | CONFIG_VERY_HIGH_FLAG;
  } else if (EqualsNoCase(key, u"c") && plain) {
    s.correction = true;
  } else if (EqualsNoCase(key, u"notags") && plain) {
    s.writeTags = false;
  } else if ((key[0] | 0x20) == u'x') {
    const ValuedOption option = TakeValue(options, i, 1);
    shown = option.shown;
    s.extra = option.value.empty() ? 1 : int(Number(option.value, 1, 6));
    return s.extra >= 1;
  } else if ((key[0] | 0x20) == u'b') {
    const ValuedOption option = TakeValue(options, i, 1);
    shown = option.shown;
    s.bitRate = Number(option.value, 2, 9600);
    return s.bitRate > 0;
  } else {
    return false;
  }
  return true;
}

// Options of other names are left to others; every key that starts with x or b is ours, so
// "-xq" is a bad value rather than another option.
bool Ours(const std::u16string& key) {
  static const char16_t* const kNames[] = {u"f", u"h", u"hh", u"c", u"notags"};
  for (const char16_t* name : kNames)
    if (EqualsNoCase(key, name)) return true;
  char16_t first = char16_t(key[0] | 0x20);
  return first == u'x' || first == u'b';
}

Settings Parse(std::u16string_view line) {
  Settings s;
  const TextPairs options = ParseOptions(line);
  for (size_t i = 0; i < options.size(); i++) {
    std::u16string shown;
    if (options[i].first.empty() || !Ours(options[i].first) || ReadOption(options, i, s, shown))
      continue;
    if (s.problem.empty()) s.problem = shown;
  }
  return s;
}

int WriteBlock(void* id, void* data, int32_t bcount) {
  Sink& sink = *static_cast<Sink*>(id);
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  if (sink.first.empty()) sink.first.assign(bytes, bytes + bcount);
  if (fwrite(data, 1, size_t(bcount), sink.file) != size_t(bcount)) sink.failed = true;
  return !sink.failed;
}

void CloseSink(Sink& sink) {
  if (sink.file) fclose(sink.file);
  sink.file = nullptr;
}

// "a.wv" gives "a.wvc": the name the decoders look for beside the file.
std::string CorrectionName(const std::string& output) {
  size_t dot = output.rfind('.');
  size_t slash = output.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
    return output + ".wvc";
  return output.substr(0, dot) + ".wvc";
}

// The block's own speaker mask when it names one for each channel, else the usual one.
uint32_t ChannelMask(const TvWaveFormatExtensible& image) {
  uint32_t mask = ChannelMaskOf(image);
  int channels = image.Format.nChannels;
  if (mask && mask != TV_CHANNEL_MASK_UNKNOWN && std::popcount(mask) == channels) return mask;
  return DefaultChannelMask(channels);
}

WavpackConfig MakeConfig(const TvWaveFormatExtensible& image, const Settings& s) {
  WavpackConfig config;
  memset(&config, 0, sizeof config);
  SampleKind kind = KindOfImage(image);
  config.bytes_per_sample = IsFloat(kind) ? 4 : BitsOf(kind) / 8;  // 64-bit float goes in as 32-bit
  config.bits_per_sample = config.bytes_per_sample * 8;
  config.float_norm_exp = IsFloat(kind) ? 127 : 0;  // 127: full scale is +-1.0
  config.num_channels = image.Format.nChannels;
  config.sample_rate = int32_t(image.Format.nSamplesPerSec);
  config.channel_mask = int32_t(ChannelMask(image));
  config.flags = s.mode;
  if (s.extra) {
    config.flags |= CONFIG_EXTRA_MODE;
    config.xmode = s.extra;
  }
  if (s.bitRate > 0) {
    config.flags |= CONFIG_HYBRID_FLAG;
    config.bitrate = float(s.bitRate);
    if (s.bitRate >= 24) config.flags |= CONFIG_BITRATE_KBPS;
  }
  if (s.correction) config.flags |= CONFIG_CREATE_WVC;
  return config;
}

class Encoder : public EncoderPlugin {
 public:
  void Release() override;

 protected:
  const char16_t* Extension(std::u16string_view) const override { return u".wv"; }
  bool IsLossless(std::u16string_view line) const override;
  bool KeepsSampleKind() const override { return true; }
  std::u16string ReadSettings(std::u16string_view line) override;
  std::string SettingsConflict() const override;
  bool Start(const TvConversionInfo& info) override;
  bool Encode(const TvAudioBlock& block) override;
  bool Finish() override;
  void ReleaseFailed() override;

 private:
  bool OpenSink(Sink& sink, const std::string& file);
  std::string LibraryError();
  int32_t* LibrarySamples(const TvAudioBlock& block);
  bool RewriteFirstBlock(Sink& sink);
  bool CloseFiles();

  Settings settings;
  WavpackContext* wpc = nullptr;
  Sink wv, wvc;
  std::vector<int32_t> samples;
};

void Encoder::Release() {
  if (wpc) WavpackCloseFile(wpc);
  wpc = nullptr;
  CloseSink(wv);
  CloseSink(wvc);
}

// A failed run leaves no correction file behind; the engine takes care of the output.
void Encoder::ReleaseFailed() {
  bool madeWvc = wvc.file != nullptr;
  Release();
  if (madeWvc) remove(wvc.name.c_str());
}

bool Encoder::IsLossless(std::u16string_view line) const {
  Settings s = Parse(line);
  return s.bitRate == 0 || s.correction;
}

std::u16string Encoder::ReadSettings(std::u16string_view line) {
  settings = Parse(line);
  writeTags = settings.writeTags;
  return settings.problem;
}

std::string Encoder::SettingsConflict() const {
  if (settings.correction && settings.bitRate == 0)
    return "Error: Encoder setting '-c' needs hybrid mode (-b<n>).";
  return {};
}

bool Encoder::OpenSink(Sink& sink, const std::string& file) {
  sink = Sink{};
  sink.name = file;
  sink.file = fopen(file.c_str(), "wb");
  if (!sink.file) return CannotCreate(file, strerror(errno));
  return true;
}

std::string Encoder::LibraryError() {
  const char* text = wpc ? WavpackGetErrorMessage(wpc) : nullptr;
  return text && *text ? text : "libwavpack refused the stream";
}

bool Encoder::Start(const TvConversionInfo&) {
  if (!OpenSink(wv, name)) return false;
  if (settings.correction && !OpenSink(wvc, CorrectionName(name))) return false;
  wpc = WavpackOpenFileOutput(WriteBlock, &wv, settings.correction ? &wvc : nullptr);
  if (!wpc) return Fail("Error: libwavpack could not be set up.");
  WavpackConfig config = MakeConfig(image, settings);
  // The length is not known yet (a DSP may change it): the first block is updated at the end.
  if (!WavpackSetConfiguration64(wpc, &config, -1, nullptr) || !WavpackPackInit(wpc))
    return CannotEncode(LibraryError() + ".");
  return true;
}

// The block's samples as the library takes them: right-aligned integers, or float bits.
int32_t* Encoder::LibrarySamples(const TvAudioBlock& block) {
  SampleKind kind = KindOfImage(block.format);
  if (!IsFloat(kind)) return Integers(block).data();
  size_t count = Frames(block) * image.Format.nChannels;
  samples.resize(count);
  if (kind == SampleKind::F32)
    memcpy(samples.data(), block.data, count * 4);
  else
    memcpy(samples.data(), Floats(block).data(), count * 4);
  return samples.data();
}

bool Encoder::Encode(const TvAudioBlock& block) {
  if (!WavpackPackSamples(wpc, LibrarySamples(block), uint32_t(Frames(block))) || wv.failed ||
      wvc.failed)
    return Failed("Writing", LibraryError() + ".");
  return true;
}

// The first block of each file gets the final sample count, so readers know the exact length.
bool Encoder::RewriteFirstBlock(Sink& sink) {
  if (!sink.file || sink.first.empty()) return true;
  WavpackUpdateNumSamples(wpc, sink.first.data());
  return fseek(sink.file, 0, SEEK_SET) == 0 &&
         fwrite(sink.first.data(), 1, sink.first.size(), sink.file) == sink.first.size();
}

bool Encoder::CloseFiles() {
  bool closed = fclose(wv.file) == 0;
  wv.file = nullptr;
  if (wvc.file) closed = fclose(wvc.file) == 0 && closed;
  wvc.file = nullptr;
  return closed;
}

bool Encoder::Finish() {
  if (!WavpackFlushSamples(wpc) || wv.failed || wvc.failed)
    return Failed("Finishing", LibraryError() + ".");
  if (WavpackGetSampleIndex64(wpc) == 0) return CannotEncode("the source holds no audio samples.");
  if (!RewriteFirstBlock(wv) || !RewriteFirstBlock(wvc))
    return Failed("Finishing", strerror(errno));
  WavpackCloseFile(wpc);
  wpc = nullptr;
  if (!CloseFiles()) return Failed("Finishing", strerror(errno));
  return true;
}

}  // namespace

EncoderPlugin* codec::NewEncoder() { return new (std::nothrow) Encoder; }
