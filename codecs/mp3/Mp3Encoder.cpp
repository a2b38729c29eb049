// Encoder plug-in writing MP3 with LAME: VBR, CBR or ABR, and the info tag in the first frame
// so that readers know the exact length and the encoder delay and padding.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/EncoderPlugin.h"
#include "codecs/common/EncoderSettings.h"

#include <lame/lame.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using namespace codec;

namespace {

enum class Mode { Vbr, Cbr, Abr };

constexpr size_t kLongestNumber = 4;

struct Settings {
  Mode mode = Mode::Vbr;
  int vbrQuality = 2;
  int kbps = 128;
  int quality = -1;  // LAME's algorithm quality 0..9; -1 keeps its default
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

// "-V2", "-V 2" and "-V=2" all mean the same: the value is glued on or given apart. Every
// option that starts with the letter is this one, so "-Vx" is a bad value, not another option.
bool Numbered(const TextPairs& options, size_t& i, char16_t letter, int low, int high, int& out,
              std::u16string& shown) {
  const std::u16string& key = options[i].first;
  if (key.empty() || (key[0] | 0x20) != letter) return false;
  const ValuedOption option = TakeValue(options, i, 1);
  out = WholeNumber(option.value, low, high, kLongestNumber);
  shown = option.shown;
  return true;
}

Settings Parse(std::u16string_view line) {
  Settings s;
  const TextPairs options = ParseOptions(line);
  for (size_t i = 0; i < options.size(); i++) {
    int n = 0;
    const std::u16string& key = options[i].first;
    std::u16string shown;
    if (Numbered(options, i, u'v', 0, 9, n, shown)) {
      s.mode = Mode::Vbr, s.vbrQuality = n;
    } else if (Numbered(options, i, u'q', 0, 9, n, shown)) {
      s.quality = n;
    } else if (Numbered(options, i, u'b', 8, 320, n, shown)) {
      s.mode = Mode::Cbr, s.kbps = n;
    } else if (EqualsNoCase(key, u"cbr")) {
      s.mode = Mode::Cbr;
    } else if (EqualsNoCase(key, u"-abr") || EqualsNoCase(key, u"abr")) {
      const ValuedOption option = TakeValue(options, i, key.size());
      s.mode = Mode::Abr, s.kbps = n = WholeNumber(option.value, 8, 320, kLongestNumber);
      shown = option.shown;
    } else if (EqualsNoCase(key, u"notags")) {
      s.writeTags = false;
    }
    if (n < 0 && s.problem.empty()) s.problem = shown;
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

class Encoder : public EncoderPlugin {
 public:
  void Release() override;

 protected:
  const char16_t* Extension(std::u16string_view) const override { return u".mp3"; }
  // Float from the decoder spares LAME a rounding to 16 bits.
  bool NeedsFloat() const override { return true; }
  std::u16string ReadSettings(std::u16string_view line) override;
  bool Start(const TvConversionInfo& info) override;
  bool Encode(const TvAudioBlock& block) override;
  bool Finish() override;

 private:
  bool Write(const unsigned char* data, int size);
  bool WriteInfoTag();

  Settings settings;
  lame_global_flags* lame = nullptr;
  FILE* file = nullptr;
  std::vector<float> left, right;
  std::vector<unsigned char> out;
};

void Encoder::Release() {
  if (lame) lame_close(lame);
  if (file) fclose(file);
  lame = nullptr;
  file = nullptr;
}

std::u16string Encoder::ReadSettings(std::u16string_view line) {
  settings = Parse(line);
  writeTags = settings.writeTags;
  return settings.problem;
}

bool Encoder::Start(const TvConversionInfo&) {
  const TvWaveFormatEx& f = image.Format;
  if (f.nChannels < 1 || f.nChannels > 2)
    return CannotEncode("MP3 holds one or two channels, the source has " +
                        std::to_string(f.nChannels) + ".");
  lame = lame_init();
  if (!lame) return Fail("Error: LAME could not be set up.");
  lame_set_in_samplerate(lame, int(f.nSamplesPerSec));
  lame_set_num_channels(lame, f.nChannels);
  ApplySettings(lame, settings);
  if (lame_init_params(lame) < 0)
    return CannotEncode("LAME refused these settings for " + std::to_string(f.nSamplesPerSec) +
                        " Hz.");
  file = fopen(name.c_str(), "wb");
  if (!file) return CannotCreate(name, strerror(errno));
  return true;
}

bool Encoder::Write(const unsigned char* data, int size) {
  return size <= 0 || fwrite(data, 1, size_t(size), file) == size_t(size);
}

bool Encoder::Encode(const TvAudioBlock& block) {
  std::span<float> samples = Floats(block);
  size_t frames = Frames(block);
  size_t channels = image.Format.nChannels;
  left.resize(frames);
  right.resize(frames);
  for (size_t i = 0; i < frames; ++i) {
    left[i] = samples[i * channels];
    right[i] = samples[i * channels + channels - 1];
  }
  out.resize(frames * 5 / 4 + 7200);
  int size = lame_encode_buffer_ieee_float(lame, left.data(), right.data(), int(frames), out.data(),
                                           int(out.size()));
  if (size < 0)
    return Fail("Error: Encoding '" + name + "' failed (LAME error " + std::to_string(size) + ").");
  if (!Write(out.data(), size)) return Failed("Writing", strerror(errno));
  return true;
}

// The info tag goes over the placeholder frame LAME left at the start of the stream.
bool Encoder::WriteInfoTag() {
  std::vector<unsigned char> frame(2880);
  size_t size = lame_get_lametag_frame(lame, frame.data(), frame.size());
  if (size == 0) return true;
  if (size > frame.size()) return false;
  return fseek(file, 0, SEEK_SET) == 0 && fwrite(frame.data(), 1, size, file) == size;
}

bool Encoder::Finish() {
  out.resize(7200);
  int size = lame_encode_flush(lame, out.data(), int(out.size()));
  if (size < 0 || !Write(out.data(), size) || !WriteInfoTag())
    return Fail("Error: Finishing '" + name + "' failed.");
  lame_close(lame);
  lame = nullptr;
  int closed = fclose(file);
  file = nullptr;
  if (closed != 0) return Failed("Finishing", strerror(errno));
  return true;
}

}  // namespace

EncoderPlugin* codec::NewEncoder() { return new (std::nothrow) Encoder; }
