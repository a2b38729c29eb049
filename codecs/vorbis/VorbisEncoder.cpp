// Encoder plug-in writing Ogg Vorbis with libvorbisenc: quality-based VBR or a managed bit
// rate, channels moved from WAV order into Vorbis order. The comment header carries only the
// vendor; the engine writes the tags into the finished file through the Vorbis decoder.
#define TV_ENCODER_PLUGIN
#include "CodecSupport.h"
#include "SampleLayout.h"
#include "VorbisChannels.h"

#include <ogg/ogg.h>
#include <vorbis/vorbisenc.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <random>

using namespace codec;

namespace {

struct Settings {
  bool managed = false;  // a bit rate was asked for, rather than a quality
  float quality = 5;     // -1 to 10
  long kbps = -1, minKbps = -1, maxKbps = -1;
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

struct Encoder {
  TvHostContext host{};
  FILE* file = nullptr;
  std::string name;
  TvWaveFormatExtensible image{};
  std::vector<int> order;  // WAV position of each Vorbis channel
  bool writeTags = true;
  bool started = false;
  vorbis_info info{};
  vorbis_dsp_state dsp{};
  vorbis_block block{};
  ogg_stream_state stream{};
  std::vector<float> samples;
};

Encoder* Cast(TvInstance instance) { return static_cast<Encoder*>(instance); }

// A decimal number from the whole of text ("4", "-1", "4.5"), or NaN.
double Decimal(std::u16string_view text) {
  std::string narrow;
  for (char16_t c : text) {
    if ((c < u'0' || c > u'9') && c != u'.' && c != u'-') return NAN;
    narrow += char(c);
  }
  if (narrow.empty() || narrow.size() > 8) return NAN;
  char* end = nullptr;
  double n = strtod(narrow.c_str(), &end);
  return *end == '\0' ? n : NAN;
}

// The value of "-q5", "-q 5", "-q=5", and of "-q -1", which the option parser splits in two.
std::u16string ValueOf(const TextPairs& options, size_t& i, size_t letters) {
  const TextPair& option = options[i];
  if (option.first.size() > letters) return option.first.substr(letters);
  if (option.second.empty() && i + 1 < options.size() && !std::isnan(Decimal(options[i + 1].first)))
    return u"-" + options[++i].first;
  return option.second;
}

// A bit rate in kbps for -b, -m and -M.
bool TakeKbps(std::u16string_view text, long& out) {
  double n = Decimal(text);
  if (!(n >= 8 && n <= 1000)) return false;
  out = long(n);
  return true;
}

// False when the option is one of ours with a value out of range; its text goes to *shown.
bool TakeOption(const TextPairs& options, size_t& i, Settings& s, std::u16string* shown) {
  const std::u16string& key = options[i].first;
  char16_t letter = key.empty() ? 0 : key[0];
  bool numbered = key.size() == 1 || !std::isnan(Decimal(std::u16string_view(key).substr(1)));
  if (EqualsNoCase(key, u"notags")) return s.writeTags = false, true;
  if (!numbered || (letter != u'q' && letter != u'b' && letter != u'm' && letter != u'M')) return true;
  std::u16string value = ValueOf(options, i, 1);
  *shown = u"-" + std::u16string(1, letter) + (value.empty() ? u"" : u" " + value);
  if (letter == u'q') {
    double q = Decimal(value);
    s.managed = false;
    s.quality = float(q);
    return q >= -1 && q <= 10;
  }
  s.managed = true;
  return TakeKbps(value, letter == u'b' ? s.kbps : letter == u'm' ? s.minKbps : s.maxKbps);
}

Settings ReadSettings(const char16_t* line) {
  Settings s;
  TextPairs options = ParseOptions(View(line));
  for (size_t i = 0; i < options.size(); ++i) {
    std::u16string shown;
    if (!TakeOption(options, i, s, &shown) && s.problem.empty()) s.problem = shown;
  }
  return s;
}

void Release(Encoder& e) {
  if (e.started) {
    ogg_stream_clear(&e.stream);
    vorbis_block_clear(&e.block);
    vorbis_dsp_clear(&e.dsp);
  }
  vorbis_info_clear(&e.info);
  vorbis_info_init(&e.info);
  if (e.file) fclose(e.file);
  e.file = nullptr;
  e.started = false;
}

bool Fail(Encoder& e, const std::string& text) {
  ReportError(e.host, FromUtf8(text));
  Release(e);
  return false;
}

bool Readable(const TvWaveFormatExtensible& image) { return KindOfImage(image) != SampleKind::None; }

int Configure(vorbis_info& info, const Settings& s, int channels, long rate) {
  if (!s.managed) return vorbis_encode_init_vbr(&info, channels, rate, s.quality / 10);
  auto bits = [](long kbps) { return kbps > 0 ? kbps * 1000 : -1; };
  int code = vorbis_encode_setup_managed(&info, channels, rate, bits(s.maxKbps), bits(s.kbps), bits(s.minKbps));
  return code ? code : vorbis_encode_setup_init(&info);
}

bool WritePage(Encoder& e, const ogg_page& page) {
  return fwrite(page.header, 1, size_t(page.header_len), e.file) == size_t(page.header_len) &&
         fwrite(page.body, 1, size_t(page.body_len), e.file) == size_t(page.body_len);
}

// The three headers on pages of their own, so the audio starts on a fresh page.
bool WriteHeaders(Encoder& e) {
  vorbis_comment comment;
  vorbis_comment_init(&comment);
  ogg_packet id, comments, books;
  vorbis_analysis_headerout(&e.dsp, &comment, &id, &comments, &books);
  ogg_stream_packetin(&e.stream, &id);
  ogg_stream_packetin(&e.stream, &comments);
  ogg_stream_packetin(&e.stream, &books);
  vorbis_comment_clear(&comment);
  ogg_page page;
  while (ogg_stream_flush(&e.stream, &page))
    if (!WritePage(e, page)) return false;
  return true;
}

bool Start(Encoder& e, const Settings& s) {
  const TvWaveFormatEx& f = e.image.Format;
  if (Configure(e.info, s, f.nChannels, long(f.nSamplesPerSec)) != 0)
    return Fail(e, "Error: Unable to encode '" + e.name + "': libvorbis can't encode " + std::to_string(f.nChannels) +
                       " channels at " + std::to_string(f.nSamplesPerSec) + " Hz with these settings.");
  e.file = fopen(e.name.c_str(), "wb");
  if (!e.file) return Fail(e, "Error: Unable to create file '" + e.name + "': " + strerror(errno));
  vorbis_analysis_init(&e.dsp, &e.info);
  vorbis_block_init(&e.dsp, &e.block);
  ogg_stream_init(&e.stream, int(std::random_device{}() & 0x7FFFFFFF));
  e.started = true;
  e.order = vorbis::VorbisOrder(f.nChannels, ChannelMaskOf(e.image));
  if (!WriteHeaders(e)) return Fail(e, "Error: Writing '" + e.name + "' failed: " + strerror(errno));
  return true;
}

// Encodes what the analysis has buffered and writes every full page.
bool Drain(Encoder& e) {
  ogg_packet packet;
  ogg_page page;
  while (vorbis_analysis_blockout(&e.dsp, &e.block) == 1) {
    if (vorbis_analysis(&e.block, nullptr) != 0 || vorbis_bitrate_addblock(&e.block) != 0) return false;
    while (vorbis_bitrate_flushpacket(&e.dsp, &packet) == 1) {
      ogg_stream_packetin(&e.stream, &packet);
      while (ogg_stream_pageout(&e.stream, &page))
        if (!WritePage(e, page)) return false;
    }
  }
  return true;
}

// The remaining pages; the last carries the end flag and the exact sample count.
bool Finish(Encoder& e) {
  vorbis_analysis_wrote(&e.dsp, 0);
  if (!Drain(e)) return false;
  ogg_page page;
  while (ogg_stream_flush(&e.stream, &page))
    if (!WritePage(e, page)) return false;
  return true;
}

void Deinterleave(Encoder& e, size_t frames, float** into) {
  int channels = e.image.Format.nChannels;
  for (int v = 0; v < channels; ++v) {
    const float* in = e.samples.data() + e.order[size_t(v)];
    float* out = into[v];
    for (size_t i = 0; i < frames; ++i) out[i] = in[i * size_t(channels)];
  }
}

}  // namespace

extern "C" {

TvInstance ENC_Create(TvHostContext* context) {
  Encoder* e = new (std::nothrow) Encoder;
  if (!e) return nullptr;
  if (context) e->host = *context;
  vorbis_info_init(&e->info);
  return e;
}

int32_t ENC_Destroy(TvInstance instance) {
  if (!instance) return 0;
  Release(*Cast(instance));
  vorbis_info_clear(&Cast(instance)->info);
  delete Cast(instance);
  return 1;
}

int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key || !value) return 0;
  if (EqualsNoCase(key, TV_KEY_EXTENSION)) {
    value->text1 = u".ogg";
    return 1;
  }
  // libvorbis analyses float; float from the decoder spares a rounding to 16 bits.
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
  if (channels > 255)
    return Fail(e, "Error: Unable to encode '" + e.name + "': Vorbis holds up to 255 channels, the source has " +
                       std::to_string(channels) + ".");
  return Start(e, s);
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Encoder& e = *Cast(instance);
  if (!e.started) return 0;
  if (block->byteCount == 0 || !block->data) return 1;
  const TvWaveFormatEx& f = block->format.Format;
  if (!Readable(block->format) || f.nChannels != e.image.Format.nChannels ||
      f.nSamplesPerSec != e.image.Format.nSamplesPerSec)
    return Fail(e, "Error: Unable to encode '" + e.name + "': the audio changed its format during the conversion.");
  size_t frames = block->byteCount / f.nBlockAlign;
  e.samples.resize(frames * f.nChannels);
  ToFloat(static_cast<const uint8_t*>(block->data), KindOfImage(block->format), e.samples.size(), e.samples.data());
  Deinterleave(e, frames, vorbis_analysis_buffer(&e.dsp, int(frames)));
  vorbis_analysis_wrote(&e.dsp, int(frames));
  if (!Drain(e)) return Fail(e, "Error: Encoding '" + e.name + "' failed: " + strerror(errno));
  return 1;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo*, int32_t* writeTags) {
  if (!instance) return 0;
  Encoder& e = *Cast(instance);
  if (writeTags) *writeTags = 0;
  if (!e.started) return 0;  // never begun, or failed already
  if (!Finish(e)) return Fail(e, "Error: Finishing '" + e.name + "' failed: " + strerror(errno));
  int closed = fclose(e.file);
  e.file = nullptr;
  Release(e);
  if (closed != 0) return Fail(e, "Error: Finishing '" + e.name + "' failed: " + strerror(errno));
  if (writeTags) *writeTags = e.writeTags;
  return 1;
}

}  // extern "C"
