// Encoder plug-in writing Ogg Opus with libopusenc: VBR, constrained VBR or hard CBR at a
// bit rate in kbps, from any sample layout and rate (libopusenc resamples to 48 kHz and keeps
// the source rate in the header).
#define TV_ENCODER_PLUGIN
#include "CodecSupport.h"
#include "OpusChannels.h"
#include "SampleLayout.h"

#include <opusenc.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>
#include <random>

using namespace codec;

namespace {

enum class Mode { Vbr, ConstrainedVbr, HardCbr };

constexpr int kMaxChannels = 8;  // mapping family 1 names speakers up to 7.1
constexpr int kKbpsPerChannel = 64;

struct Settings {
  Mode mode = Mode::Vbr;
  double kbps = 0;  // 0: kKbpsPerChannel for each channel
  int complexity = 10;
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

struct Encoder {
  TvHostContext host{};
  OggOpusEnc* opus = nullptr;
  std::string name;
  TvWaveFormatExtensible image{};
  bool writeTags = true;
  std::vector<float> samples;
};

Encoder* Cast(TvInstance instance) { return static_cast<Encoder*>(instance); }

// A number with at most one decimal point, in [low, high], or -1. Read by hand: strtod would
// follow the host's locale for the decimal point.
double Decimal(std::u16string_view text, double low, double high) {
  if (text.empty() || text == u"." || text.size() > 12) return -1;
  double value = 0, scale = 1;
  bool point = false;
  for (char16_t c : text) {
    if (c == u'.' && !point) {
      point = true;
      continue;
    }
    if (c < u'0' || c > u'9') return -1;
    if (point) scale /= 10;
    value = value * 10 + (c - u'0');
  }
  value *= scale;
  return value >= low && value <= high ? value : -1;
}

// "--bitrate" and "-bitrate" are the same option.
std::u16string_view Name(const std::u16string& key) {
  std::u16string_view name(key);
  while (!name.empty() && name[0] == u'-') name.remove_prefix(1);
  return name;
}

Settings ReadSettings(const char16_t* line) {
  Settings s;
  for (const TextPair& option : ParseOptions(View(line))) {
    std::u16string_view name = Name(option.first);
    bool understood = true;
    if (EqualsNoCase(name, u"b") || EqualsNoCase(name, u"bitrate")) {
      s.kbps = Decimal(option.second, 6, 512);
      understood = s.kbps > 0;
    } else if (EqualsNoCase(name, u"comp") || EqualsNoCase(name, u"complexity")) {
      double n = option.second.find(u'.') == std::u16string::npos ? Decimal(option.second, 0, 10) : -1;
      s.complexity = int(n);
      understood = n >= 0;
    } else if (EqualsNoCase(name, u"vbr")) {
      s.mode = Mode::Vbr;
    } else if (EqualsNoCase(name, u"cvbr")) {
      s.mode = Mode::ConstrainedVbr;
    } else if (EqualsNoCase(name, u"hard-cbr")) {
      s.mode = Mode::HardCbr;
    } else if (EqualsNoCase(name, u"notags")) {
      s.writeTags = false;
    }
    if (!understood && s.problem.empty())
      s.problem = u"-" + std::u16string(name) + (option.second.empty() ? u"" : u" " + option.second);
  }
  return s;
}

void Release(Encoder& e) {
  if (e.opus) ope_encoder_destroy(e.opus);
  e.opus = nullptr;
}

bool Fail(Encoder& e, const std::string& text) {
  ReportError(e.host, FromUtf8(text));
  Release(e);
  return false;
}

bool Readable(const TvWaveFormatExtensible& image) { return KindOfImage(image) != SampleKind::None; }

bool Apply(OggOpusEnc* opus, const Settings& s, int channels) {
  double kbps = s.kbps > 0 ? s.kbps : kKbpsPerChannel * channels;
  opus_int32 bits = opus_int32(std::lround(kbps * 1000));
  return ope_encoder_ctl(opus, OPUS_SET_BITRATE(bits)) == OPE_OK &&
         ope_encoder_ctl(opus, OPUS_SET_COMPLEXITY(s.complexity)) == OPE_OK &&
         ope_encoder_ctl(opus, OPUS_SET_VBR(s.mode != Mode::HardCbr)) == OPE_OK &&
         ope_encoder_ctl(opus, OPUS_SET_VBR_CONSTRAINT(s.mode == Mode::ConstrainedVbr)) == OPE_OK;
}

// The header's comment packet holds no user comments: the engine writes the tags afterwards.
bool Start(Encoder& e, const Settings& s) {
  const TvWaveFormatEx& f = e.image.Format;
  int channels = f.nChannels;
  OggOpusComments* comments = ope_comments_create();
  if (!comments) return Fail(e, "Error: libopusenc could not be set up.");
  int code = OPE_OK;
  e.opus = ope_encoder_create_file(e.name.c_str(), comments, opus_int32(f.nSamplesPerSec), channels,
                                   channels > 2 ? 1 : 0, &code);
  int opened = errno;
  ope_comments_destroy(comments);
  if (code == OPE_CANNOT_OPEN) return Fail(e, "Error: Unable to create file '" + e.name + "': " + strerror(opened));
  if (!e.opus)
    return Fail(e, "Error: Unable to encode '" + e.name + "': libopusenc refused " + std::to_string(channels) +
                       " channels at " + std::to_string(f.nSamplesPerSec) + " Hz (" + ope_strerror(code) + ").");
  // libopusenc draws the serial from an unseeded rand(): every file would share it, and
  // chaining two of them would give one stream where two were meant.
  ope_encoder_ctl(e.opus, OPE_SET_SERIALNO(int(std::random_device{}() & 0x7FFFFFFF)));
  if (!Apply(e.opus, s, channels))
    return Fail(e, "Error: Unable to encode '" + e.name + "': libopusenc refused these settings.");
  return true;
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
    value->text1 = u".opus";
    return 1;
  }
  // Float from the decoder spares a rounding to 16 bits before the encoder's own float path.
  if (EqualsNoCase(key, TV_KEY_NEED_HQ_AUDIO)) return 1;
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
  e.name = ToUtf8(View(info->outputFile));
  e.image = *info->format;
  Settings s = ReadSettings(info->encoderSettings);
  e.writeTags = s.writeTags;
  if (!s.problem.empty()) return Fail(e, "Error: Unknown encoder setting '" + ToUtf8(s.problem) + "'.");
  if (!Readable(e.image))
    return Fail(e, "Error: Unable to encode '" + e.name + "': the source is not PCM or float audio.");
  int channels = e.image.Format.nChannels;
  if (channels > kMaxChannels)
    return Fail(e, "Error: Unable to encode '" + e.name + "': Opus takes one to eight channels here, the source has " +
                       std::to_string(channels) + ".");
  return Start(e, s);
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Encoder& e = *Cast(instance);
  if (!e.opus) return 0;
  if (block->byteCount == 0 || !block->data) return 1;
  const TvWaveFormatEx& f = block->format.Format;
  if (!Readable(block->format) || f.nChannels != e.image.Format.nChannels ||
      f.nSamplesPerSec != e.image.Format.nSamplesPerSec)
    return Fail(e, "Error: Unable to encode '" + e.name + "': the audio changed its format during the conversion.");
  int channels = f.nChannels;
  size_t frames = block->byteCount / f.nBlockAlign;
  e.samples.resize(frames * size_t(channels));
  ToFloat(static_cast<const uint8_t*>(block->data), KindOfImage(block->format), e.samples.size(), e.samples.data());
  opus_order::ToOpusOrder(e.samples.data(), frames, channels);
  int code = ope_encoder_write_float(e.opus, e.samples.data(), int(frames));
  if (code != OPE_OK) return Fail(e, "Error: Encoding '" + e.name + "' failed: " + ope_strerror(code));
  return 1;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo*, int32_t* writeTags) {
  if (!instance) return 0;
  Encoder& e = *Cast(instance);
  if (writeTags) *writeTags = 0;
  if (!e.opus) return 0;  // never begun, or failed already
  int code = ope_encoder_drain(e.opus);
  if (code != OPE_OK) return Fail(e, "Error: Finishing '" + e.name + "' failed: " + ope_strerror(code));
  Release(e);
  if (writeTags) *writeTags = e.writeTags;
  return 1;
}

}  // extern "C"
