// Encoder plug-in writing MP3 with LAME: VBR, CBR or ABR, and the info tag in the first frame
// so that readers know the exact length and the encoder delay and padding.
#define TV_ENCODER_PLUGIN
#include "CodecSupport.h"
#include "SampleLayout.h"

#include <lame/lame.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using namespace codec;

namespace {

enum class Mode { Vbr, Cbr, Abr };

struct Settings {
  Mode mode = Mode::Vbr;
  int vbrQuality = 2;
  int kbps = 128;
  int quality = -1;  // LAME's algorithm quality 0..9; -1 keeps its default
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

struct Encoder {
  TvHostContext host{};
  lame_global_flags* lame = nullptr;
  FILE* file = nullptr;
  std::string name;
  TvWaveFormatExtensible image{};
  bool writeTags = true;
  std::vector<float> samples, left, right;
  std::vector<unsigned char> out;
};

Encoder* Cast(TvInstance instance) { return static_cast<Encoder*>(instance); }

// A whole number in [low, high] from text, or -1.
int Number(std::u16string_view text, int low, int high) {
  if (text.empty() || text.size() > 4) return -1;
  int n = 0;
  for (char16_t c : text) {
    if (c < u'0' || c > u'9') return -1;
    n = n * 10 + (c - u'0');
  }
  return n >= low && n <= high ? n : -1;
}

// "-V2", "-V 2" and "-V=2" all mean the same: the value is glued on or given apart.
bool Numbered(const TextPair& option, char16_t letter, int low, int high, int& out) {
  const std::u16string& key = option.first;
  if (key.empty() || (key[0] | 0x20) != letter) return false;
  std::u16string_view text = key.size() > 1 ? std::u16string_view(key).substr(1) : std::u16string_view(option.second);
  if (key.size() > 1 && Number(text, 0, 9999) < 0) return false;  // another option that starts with the letter
  out = Number(text, low, high);
  return true;
}

Settings ReadSettings(const char16_t* line) {
  Settings s;
  for (const TextPair& option : ParseOptions(View(line))) {
    int n = 0;
    const std::u16string& key = option.first;
    if (Numbered(option, u'v', 0, 9, n)) {
      s.mode = Mode::Vbr, s.vbrQuality = n;
    } else if (Numbered(option, u'q', 0, 9, n)) {
      s.quality = n;
    } else if (Numbered(option, u'b', 8, 320, n)) {
      s.mode = Mode::Cbr, s.kbps = n;
    } else if (EqualsNoCase(key, u"cbr")) {
      s.mode = Mode::Cbr;
    } else if (EqualsNoCase(key, u"-abr") || EqualsNoCase(key, u"abr")) {
      s.mode = Mode::Abr, s.kbps = n = Number(option.second, 8, 320);
    } else if (EqualsNoCase(key, u"notags")) {
      s.writeTags = false;
    }
    if (n < 0 && s.problem.empty()) s.problem = u"-" + key + (option.second.empty() ? u"" : u" " + option.second);
  }
  return s;
}

void ApplySettings(lame_global_flags* lame, const Settings& s) {
  if (s.mode == Mode::Vbr) {
    lame_set_VBR(lame, vbr_default);
    lame_set_VBR_quality(lame, float(s.vbrQuality));
  } else if (s.mode == Mode::Cbr) {
    lame_set_VBR(lame, vbr_off);
    lame_set_brate(lame, s.kbps);
  } else {
    lame_set_VBR(lame, vbr_abr);
    lame_set_VBR_mean_bitrate_kbps(lame, s.kbps);
  }
  if (s.quality >= 0) lame_set_quality(lame, s.quality);
  lame_set_bWriteVbrTag(lame, 1);
}

void Release(Encoder& e) {
  if (e.lame) lame_close(e.lame);
  if (e.file) fclose(e.file);
  e.lame = nullptr;
  e.file = nullptr;
}

bool Fail(Encoder& e, const std::string& text) {
  ReportError(e.host, FromUtf8(text));
  Release(e);
  return false;
}

bool Readable(const TvWaveFormatExtensible& image) { return KindOfImage(image) != SampleKind::None; }

bool WriteAll(Encoder& e, const unsigned char* data, int size) {
  return size <= 0 || fwrite(data, 1, size_t(size), e.file) == size_t(size);
}

bool Start(Encoder& e, const Settings& s) {
  const TvWaveFormatEx& f = e.image.Format;
  e.lame = lame_init();
  if (!e.lame) return Fail(e, "Error: LAME could not be set up.");
  lame_set_in_samplerate(e.lame, int(f.nSamplesPerSec));
  lame_set_num_channels(e.lame, f.nChannels);
  ApplySettings(e.lame, s);
  if (lame_init_params(e.lame) < 0)
    return Fail(e, "Error: Unable to encode '" + e.name + "': LAME refused these settings for " +
                       std::to_string(f.nSamplesPerSec) + " Hz.");
  e.file = fopen(e.name.c_str(), "wb");
  if (!e.file) return Fail(e, "Error: Unable to create file '" + e.name + "': " + strerror(errno));
  return true;
}

// The info tag goes over the placeholder frame LAME left at the start of the stream.
bool WriteInfoTag(Encoder& e) {
  std::vector<unsigned char> frame(2880);
  size_t size = lame_get_lametag_frame(e.lame, frame.data(), frame.size());
  if (size == 0) return true;
  if (size > frame.size()) return false;
  return fseek(e.file, 0, SEEK_SET) == 0 && fwrite(frame.data(), 1, size, e.file) == size;
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
    value->text1 = u".mp3";
    return 1;
  }
  // Float from the decoder spares LAME a rounding to 16 bits.
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
  if (channels < 1 || channels > 2)
    return Fail(e, "Error: Unable to encode '" + e.name + "': MP3 holds one or two channels, the source has " +
                       std::to_string(channels) + ".");
  return Start(e, s);
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Encoder& e = *Cast(instance);
  if (!e.lame) return 0;
  if (block->byteCount == 0 || !block->data) return 1;
  const TvWaveFormatEx& f = block->format.Format;
  if (!Readable(block->format) || f.nChannels != e.image.Format.nChannels ||
      f.nSamplesPerSec != e.image.Format.nSamplesPerSec)
    return Fail(e, "Error: Unable to encode '" + e.name + "': the audio changed its format during the conversion.");
  SampleKind kind = KindOfImage(block->format);
  int channels = f.nChannels;
  size_t frames = block->byteCount / f.nBlockAlign;
  e.samples.resize(frames * size_t(channels));
  ToFloat(static_cast<const uint8_t*>(block->data), kind, e.samples.size(), e.samples.data());
  e.left.resize(frames);
  e.right.resize(frames);
  for (size_t i = 0; i < frames; ++i) {
    e.left[i] = e.samples[i * channels];
    e.right[i] = e.samples[i * channels + channels - 1];
  }
  e.out.resize(frames * 5 / 4 + 7200);
  int size = lame_encode_buffer_ieee_float(e.lame, e.left.data(), e.right.data(), int(frames), e.out.data(),
                                           int(e.out.size()));
  if (size < 0) return Fail(e, "Error: Encoding '" + e.name + "' failed (LAME error " + std::to_string(size) + ").");
  if (!WriteAll(e, e.out.data(), size)) return Fail(e, "Error: Writing '" + e.name + "' failed: " + strerror(errno));
  return 1;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo*, int32_t* writeTags) {
  if (!instance) return 0;
  Encoder& e = *Cast(instance);
  if (writeTags) *writeTags = 0;
  if (!e.lame) return 0;  // never begun, or failed already
  e.out.resize(7200);
  int size = lame_encode_flush(e.lame, e.out.data(), int(e.out.size()));
  if (size < 0 || !WriteAll(e, e.out.data(), size) || !WriteInfoTag(e))
    return Fail(e, "Error: Finishing '" + e.name + "' failed.");
  lame_close(e.lame);
  e.lame = nullptr;
  int closed = fclose(e.file);
  e.file = nullptr;
  if (closed != 0) return Fail(e, "Error: Finishing '" + e.name + "' failed: " + strerror(errno));
  if (writeTags) *writeTags = e.writeTags;
  return 1;
}

}  // extern "C"
