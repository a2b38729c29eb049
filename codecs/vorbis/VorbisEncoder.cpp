// Encoder plug-in writing Ogg Vorbis with libvorbisenc: quality-based VBR or a managed bit
// rate, channels moved from WAV order into Vorbis order. The comment header carries only the
// vendor; the engine writes the tags into the finished file through the Vorbis decoder.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/EncoderPlugin.h"
#include "codecs/common/EncoderSettings.h"
#include "codecs/common/OggChannels.h"

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

// A decimal number from the whole of text ("4", "-1", "4.5"), or NaN.
double Signed(std::u16string_view text) {
  if (text.starts_with(u'-')) return -Decimal(text.substr(1), 7);
  return Decimal(text, 8);
}

// A bit rate in kbps for -b, -m and -M.
bool TakeKbps(std::u16string_view text, long& out) {
  double n = Signed(text);
  if (!(n >= 8 && n <= 1000)) return false;
  out = long(n);
  return true;
}

// False when the option is one of ours with a value out of range; its text goes to *shown.
bool TakeOption(const TextPairs& options, size_t& i, Settings& s, std::u16string* shown) {
  const std::u16string& key = options[i].first;
  char16_t letter = key.empty() ? 0 : key[0];
  if (EqualsNoCase(key, u"notags")) return s.writeTags = false, true;
  if (letter != u'q' && letter != u'b' && letter != u'm' && letter != u'M') return true;
  // "-q5", "-q 5", "-q=5", "-q -1"; any other key that starts with the letter is a bad value.
  const ValuedOption option = TakeValue(options, i, 1);
  const std::u16string& value = option.value;
  *shown = option.shown;
  if (letter == u'q') {
    double q = Signed(value);
    s.managed = false;
    s.quality = float(q);
    return q >= -1 && q <= 10;
  }
  s.managed = true;
  return TakeKbps(value, letter == u'b' ? s.kbps : letter == u'm' ? s.minKbps : s.maxKbps);
}

Settings Parse(std::u16string_view line) {
  Settings s;
  TextPairs options = ParseOptions(line);
  for (size_t i = 0; i < options.size(); ++i) {
    std::u16string shown;
    if (!TakeOption(options, i, s, &shown) && s.problem.empty()) s.problem = shown;
  }
  return s;
}

int Configure(vorbis_info& info, const Settings& s, int channels, long rate) {
  if (!s.managed) return vorbis_encode_init_vbr(&info, channels, rate, s.quality / 10);
  auto bits = [](long kbps) { return kbps > 0 ? kbps * 1000 : -1; };
  int code = vorbis_encode_setup_managed(&info, channels, rate, bits(s.maxKbps), bits(s.kbps),
                                         bits(s.minKbps));
  return code ? code : vorbis_encode_setup_init(&info);
}

class Encoder : public EncoderPlugin {
 public:
  Encoder() { vorbis_info_init(&info); }
  ~Encoder() override { vorbis_info_clear(&info); }
  void Release() override;

 protected:
  const char16_t* Extension(std::u16string_view) const override { return u".ogg"; }
  // libvorbis analyses float; float from the decoder spares a rounding to 16 bits.
  bool NeedsFloat() const override { return true; }
  std::u16string ReadSettings(std::u16string_view line) override;
  bool Start(const TvConversionInfo& info) override;
  bool Encode(const TvAudioBlock& block) override;
  bool Finish() override;

 private:
  bool WritePage(const ogg_page& page);
  bool WriteHeaders();
  bool Drain();
  bool Flush();
  void Deinterleave(std::span<const float> samples, size_t frames, float** into);

  Settings settings;
  FILE* file = nullptr;
  std::vector<int> order;  // WAV position of each Vorbis channel
  bool started = false;
  vorbis_info info{};
  vorbis_dsp_state dsp{};
  vorbis_block block{};
  ogg_stream_state stream{};
};

void Encoder::Release() {
  if (started) {
    ogg_stream_clear(&stream);
    vorbis_block_clear(&block);
    vorbis_dsp_clear(&dsp);
  }
  vorbis_info_clear(&info);
  vorbis_info_init(&info);
  if (file) fclose(file);
  file = nullptr;
  started = false;
}

std::u16string Encoder::ReadSettings(std::u16string_view line) {
  settings = Parse(line);
  writeTags = settings.writeTags;
  return settings.problem;
}

bool Encoder::WritePage(const ogg_page& page) {
  return fwrite(page.header, 1, size_t(page.header_len), file) == size_t(page.header_len) &&
         fwrite(page.body, 1, size_t(page.body_len), file) == size_t(page.body_len);
}

// The three headers on pages of their own, so the audio starts on a fresh page.
bool Encoder::WriteHeaders() {
  vorbis_comment comment;
  vorbis_comment_init(&comment);
  ogg_packet id, comments, books;
  vorbis_analysis_headerout(&dsp, &comment, &id, &comments, &books);
  ogg_stream_packetin(&stream, &id);
  ogg_stream_packetin(&stream, &comments);
  ogg_stream_packetin(&stream, &books);
  vorbis_comment_clear(&comment);
  ogg_page page;
  while (ogg_stream_flush(&stream, &page))
    if (!WritePage(page)) return false;
  return true;
}

bool Encoder::Start(const TvConversionInfo&) {
  const TvWaveFormatEx& f = image.Format;
  if (f.nChannels > 255)
    return CannotEncode("Vorbis holds up to 255 channels, the source has " +
                        std::to_string(f.nChannels) + ".");
  if (Configure(info, settings, f.nChannels, long(f.nSamplesPerSec)) != 0)
    return CannotEncode("libvorbis can't encode " + std::to_string(f.nChannels) + " channels at " +
                        std::to_string(f.nSamplesPerSec) + " Hz with these settings.");
  file = fopen(name.c_str(), "wb");
  if (!file) return CannotCreate(name, strerror(errno));
  vorbis_analysis_init(&dsp, &info);
  vorbis_block_init(&dsp, &block);
  ogg_stream_init(&stream, int(std::random_device{}() & 0x7FFFFFFF));
  started = true;
  order = OggChannelOrder(f.nChannels, ChannelMaskOf(image));
  if (!WriteHeaders()) return Failed("Writing", strerror(errno));
  return true;
}

// Encodes what the analysis has buffered and writes every full page.
bool Encoder::Drain() {
  ogg_packet packet;
  ogg_page page;
  while (vorbis_analysis_blockout(&dsp, &block) == 1) {
    if (vorbis_analysis(&block, nullptr) != 0 || vorbis_bitrate_addblock(&block) != 0) return false;
    while (vorbis_bitrate_flushpacket(&dsp, &packet) == 1) {
      ogg_stream_packetin(&stream, &packet);
      while (ogg_stream_pageout(&stream, &page))
        if (!WritePage(page)) return false;
    }
  }
  return true;
}

// The remaining pages; the last carries the end flag and the exact sample count.
bool Encoder::Flush() {
  vorbis_analysis_wrote(&dsp, 0);
  if (!Drain()) return false;
  ogg_page page;
  while (ogg_stream_flush(&stream, &page))
    if (!WritePage(page)) return false;
  return true;
}

void Encoder::Deinterleave(std::span<const float> samples, size_t frames, float** into) {
  size_t channels = image.Format.nChannels;
  for (size_t v = 0; v < channels; ++v) {
    const float* in = samples.data() + order[v];
    float* out = into[v];
    for (size_t i = 0; i < frames; ++i) out[i] = in[i * channels];
  }
}

bool Encoder::Encode(const TvAudioBlock& audio) {
  size_t frames = Frames(audio);
  Deinterleave(Floats(audio), frames, vorbis_analysis_buffer(&dsp, int(frames)));
  vorbis_analysis_wrote(&dsp, int(frames));
  if (!Drain()) return Failed("Encoding", strerror(errno));
  return true;
}

bool Encoder::Finish() {
  if (!Flush()) return Failed("Finishing", strerror(errno));
  int closed = fclose(file);
  file = nullptr;
  Release();
  if (closed != 0) return Failed("Finishing", strerror(errno));
  return true;
}

}  // namespace

EncoderPlugin* codec::NewEncoder() { return new (std::nothrow) Encoder; }
