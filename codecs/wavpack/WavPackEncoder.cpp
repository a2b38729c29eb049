// Encoder plug-in writing WavPack with libwavpack: lossless, or hybrid at a chosen bit rate with
// an optional correction file. The first block is rewritten at the end with the exact length.
#define TV_ENCODER_PLUGIN
#include "CodecSupport.h"
#include "SampleLayout.h"

#include <wavpack/wavpack.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using namespace codec;

namespace {

struct Settings {
  int mode = 0;            // CONFIG_ flags of the last of -f, -h and -hh
  int extra = 0;           // extra processing level 1..6, 0 for none
  double bitRate = 0;      // hybrid: kbps from 24 up, bits per sample below; 0 for lossless
  bool correction = false; // also write the .wvc
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

struct Encoder {
  TvHostContext host{};
  WavpackContext* wpc = nullptr;
  Sink wv, wvc;
  TvWaveFormatExtensible image{};
  bool writeTags = true;
  std::vector<int32_t> samples;
  std::vector<float> floats;
};

Encoder* Cast(TvInstance instance) { return static_cast<Encoder*>(instance); }

// A decimal number such as "256" or "3.5" in [low, high], or -1.
double Number(std::u16string_view text, double low, double high) {
  if (text.empty() || text.size() > 8) return -1;
  std::string narrow;
  for (char16_t c : text) {
    if ((c < u'0' || c > u'9') && c != u'.') return -1;
    narrow += char(c);
  }
  char* end = nullptr;
  double n = strtod(narrow.c_str(), &end);
  return *end == 0 && n >= low && n <= high ? n : -1;
}

// The value of "-x3" / "-b256" glued on, or of "-x 3" / "-b 256" given apart.
std::u16string_view Attached(const TextPair& option) {
  const std::u16string& key = option.first;
  return key.size() > 1 ? std::u16string_view(key).substr(1) : std::u16string_view(option.second);
}

// False when the option is not one of ours.
bool ReadOption(const TextPair& option, Settings& s) {
  const std::u16string& key = option.first;
  bool plain = option.second.empty();
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
    s.extra = Attached(option).empty() ? 1 : int(Number(Attached(option), 1, 6));
    return s.extra >= 1;
  } else if ((key[0] | 0x20) == u'b') {
    s.bitRate = Number(Attached(option), 2, 9600);
    return s.bitRate > 0;
  } else {
    return false;
  }
  return true;
}

// Options of other names are left to others; one of ours with a bad value is a problem.
bool Ours(const std::u16string& key) {
  static const char16_t* const kNames[] = {u"f", u"h", u"hh", u"c", u"notags"};
  for (const char16_t* name : kNames)
    if (EqualsNoCase(key, name)) return true;
  char16_t first = char16_t(key[0] | 0x20);
  return (first == u'x' || first == u'b') && (key.size() == 1 || (key[1] >= u'0' && key[1] <= u'9'));
}

Settings ReadSettings(const char16_t* line) {
  Settings s;
  for (const TextPair& option : ParseOptions(View(line))) {
    if (option.first.empty() || !Ours(option.first) || ReadOption(option, s)) continue;
    if (s.problem.empty()) s.problem = u"-" + option.first + (option.second.empty() ? u"" : u" " + option.second);
  }
  return s;
}

bool IsLossless(const Settings& s) { return s.bitRate == 0 || s.correction; }

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

void Release(Encoder& e) {
  if (e.wpc) WavpackCloseFile(e.wpc);
  e.wpc = nullptr;
  CloseSink(e.wv);
  CloseSink(e.wvc);
}

// A failed run leaves no correction file behind; the engine takes care of the output.
bool Fail(Encoder& e, const std::string& text) {
  ReportError(e.host, FromUtf8(text));
  bool madeWvc = e.wvc.file != nullptr;
  Release(e);
  if (madeWvc) remove(e.wvc.name.c_str());
  return false;
}

// "a.wv" gives "a.wvc": the name the decoders look for beside the file.
std::string CorrectionName(const std::string& output) {
  size_t dot = output.rfind('.');
  size_t slash = output.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return output + ".wvc";
  return output.substr(0, dot) + ".wvc";
}

bool OpenSink(Encoder& e, Sink& sink, const std::string& name) {
  sink = Sink{};
  sink.name = name;
  sink.file = fopen(name.c_str(), "wb");
  if (!sink.file) return Fail(e, "Error: Unable to create file '" + name + "': " + strerror(errno));
  return true;
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

std::string LibraryError(Encoder& e) {
  const char* text = e.wpc ? WavpackGetErrorMessage(e.wpc) : nullptr;
  return text && *text ? text : "libwavpack refused the stream";
}

bool Start(Encoder& e, const std::string& name, const Settings& s) {
  if (!OpenSink(e, e.wv, name)) return false;
  if (s.correction && !OpenSink(e, e.wvc, CorrectionName(name))) return false;
  e.wpc = WavpackOpenFileOutput(WriteBlock, &e.wv, s.correction ? &e.wvc : nullptr);
  if (!e.wpc) return Fail(e, "Error: libwavpack could not be set up.");
  WavpackConfig config = MakeConfig(e.image, s);
  // The length is not known yet (a DSP may change it): the first block is updated at the end.
  if (!WavpackSetConfiguration64(e.wpc, &config, -1, nullptr) || !WavpackPackInit(e.wpc))
    return Fail(e, "Error: Unable to encode '" + name + "': " + LibraryError(e) + ".");
  return true;
}

// The block's samples as the library takes them: right-aligned integers, or float bits.
void Gather(Encoder& e, const TvAudioBlock& block, size_t count) {
  SampleKind kind = KindOfImage(block.format);
  const uint8_t* data = static_cast<const uint8_t*>(block.data);
  e.samples.resize(count);
  if (kind == SampleKind::F32) {
    memcpy(e.samples.data(), data, count * 4);
  } else if (kind == SampleKind::F64) {
    e.floats.resize(count);
    ToFloat(data, kind, count, e.floats.data());
    memcpy(e.samples.data(), e.floats.data(), count * 4);
  } else {
    ToInt32(data, kind, count, e.samples.data());
  }
}

bool SameLayout(const TvWaveFormatExtensible& a, const TvWaveFormatExtensible& b) {
  return KindOfImage(a) == KindOfImage(b) && a.Format.nChannels == b.Format.nChannels &&
         a.Format.nSamplesPerSec == b.Format.nSamplesPerSec;
}

// The first block of each file gets the final sample count, so readers know the exact length.
bool RewriteFirstBlock(Encoder& e, Sink& sink) {
  if (!sink.file || sink.first.empty()) return true;
  WavpackUpdateNumSamples(e.wpc, sink.first.data());
  return fseek(sink.file, 0, SEEK_SET) == 0 &&
         fwrite(sink.first.data(), 1, sink.first.size(), sink.file) == sink.first.size();
}

bool CloseFiles(Encoder& e) {
  bool closed = fclose(e.wv.file) == 0;
  e.wv.file = nullptr;
  if (e.wvc.file) closed = fclose(e.wvc.file) == 0 && closed;
  e.wvc.file = nullptr;
  return closed;
}

}  // namespace

extern "C" {

TvInstance ENC_Create(TvHostContext* context) {
  Encoder* e = new (std::nothrow) Encoder;
  if (e && context) e->host = *context;
  return e;
}

int32_t ENC_Destroy(TvInstance instance) {
  if (!instance) return 0;
  Release(*Cast(instance));
  delete Cast(instance);
  return 1;
}

int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key || !value) return 0;
  if (EqualsNoCase(key, TV_KEY_EXTENSION)) {
    value->text1 = u".wv";
    return 1;
  }
  if (EqualsNoCase(key, TV_KEY_IS_LOSSLESS)) return IsLossless(ReadSettings(value->text1));
  return 0;
}

int32_t ENC_Set(TvInstance instance, const char16_t* key, TvPluginValue*) {
  if (!instance || !key) return 0;
  return EqualsNoCase(key, TV_KEY_EVENT_QUIT) || EqualsNoCase(key, TV_KEY_BATCH_ID) ||
         EqualsNoCase(key, TV_KEY_PRIORITY);
}

int32_t ENC_ShowConfigBit(TvInstance, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }
int32_t ENC_RemoveConfigBit(TvInstance, uint32_t) { return 0; }

int32_t ENC_BeginConversion(TvInstance instance, TvConversionInfo* info) {
  if (!instance || !info || !info->format) return 0;
  Encoder& e = *Cast(instance);
  Release(e);
  std::string name = ToUtf8(View(info->outputFile));
  e.image = *info->format;
  Settings s = ReadSettings(info->encoderSettings);
  e.writeTags = s.writeTags;
  if (!s.problem.empty()) return Fail(e, "Error: Unknown encoder setting '" + ToUtf8(s.problem) + "'.");
  if (s.correction && s.bitRate == 0) return Fail(e, "Error: Encoder setting '-c' needs hybrid mode (-b<n>).");
  if (KindOfImage(e.image) == SampleKind::None)
    return Fail(e, "Error: Unable to encode '" + name + "': the source is not PCM or float audio.");
  return Start(e, name, s);
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Encoder& e = *Cast(instance);
  if (!e.wpc) return 0;
  if (block->byteCount == 0 || !block->data) return 1;
  if (!SameLayout(block->format, e.image))
    return Fail(e, "Error: Unable to encode '" + e.wv.name + "': the audio changed its format during the conversion.");
  size_t frames = block->byteCount / block->format.Format.nBlockAlign;
  Gather(e, *block, frames * e.image.Format.nChannels);
  if (!WavpackPackSamples(e.wpc, e.samples.data(), uint32_t(frames)) || e.wv.failed || e.wvc.failed)
    return Fail(e, "Error: Writing '" + e.wv.name + "' failed: " + LibraryError(e) + ".");
  return 1;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo*, int32_t* writeTags) {
  if (!instance) return 0;
  Encoder& e = *Cast(instance);
  if (writeTags) *writeTags = 0;
  if (!e.wpc) return 0;  // never begun, or failed already
  if (!WavpackFlushSamples(e.wpc) || e.wv.failed || e.wvc.failed)
    return Fail(e, "Error: Finishing '" + e.wv.name + "' failed: " + LibraryError(e) + ".");
  if (WavpackGetSampleIndex64(e.wpc) == 0)
    return Fail(e, "Error: Unable to encode '" + e.wv.name + "': the source holds no audio samples.");
  if (!RewriteFirstBlock(e, e.wv) || !RewriteFirstBlock(e, e.wvc))
    return Fail(e, "Error: Finishing '" + e.wv.name + "' failed: " + strerror(errno));
  WavpackCloseFile(e.wpc);
  e.wpc = nullptr;
  if (!CloseFiles(e)) return Fail(e, "Error: Finishing '" + e.wv.name + "' failed: " + strerror(errno));
  if (writeTags) *writeTags = e.writeTags;
  return 1;
}

}  // extern "C"
