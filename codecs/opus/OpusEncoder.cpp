// Encoder plug-in writing Ogg Opus with libopusenc: VBR, constrained VBR or hard CBR at a
// bit rate in kbps, from any sample layout and rate (libopusenc resamples to 48 kHz and keeps
// the source rate in the header).
#include "codecs/common/CodecSupport.h"
#include "codecs/common/EncoderPlugin.h"
#include "codecs/common/EncoderSettings.h"
#include "codecs/common/OggChannels.h"

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
constexpr size_t kLongestNumber = 12;

struct Settings {
  Mode mode = Mode::Vbr;
  double kbps = 0;  // 0: kKbpsPerChannel for each channel
  int complexity = 10;
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

// "--bitrate" and "-bitrate" are the same option.
std::u16string_view Name(const std::u16string& key) {
  std::u16string_view name(key);
  while (!name.empty() && name[0] == u'-') name.remove_prefix(1);
  return name;
}

// The value of options[i], whose key is a whole name; shown names it with one dash.
std::u16string ValueOf(const TextPairs& options, size_t& i, std::u16string& shown) {
  const std::u16string name(Name(options[i].first));
  ValuedOption option = TakeValue(options, i, options[i].first.size());
  shown = OptionText(name, option.value);
  return option.value;
}

Settings Parse(std::u16string_view line) {
  Settings s;
  const TextPairs options = ParseOptions(line);
  for (size_t i = 0; i < options.size(); i++) {
    std::u16string_view name = Name(options[i].first);
    bool understood = true;
    std::u16string shown;
    if (EqualsNoCase(name, u"b") || EqualsNoCase(name, u"bitrate")) {
      s.kbps = Decimal(ValueOf(options, i, shown), kLongestNumber);
      understood = s.kbps >= 6 && s.kbps <= 512;
    } else if (EqualsNoCase(name, u"comp") || EqualsNoCase(name, u"complexity")) {
      s.complexity = WholeNumber(ValueOf(options, i, shown), 0, 10, kLongestNumber);
      understood = s.complexity >= 0;
    } else if (EqualsNoCase(name, u"vbr")) {
      s.mode = Mode::Vbr;
    } else if (EqualsNoCase(name, u"cvbr")) {
      s.mode = Mode::ConstrainedVbr;
    } else if (EqualsNoCase(name, u"hard-cbr")) {
      s.mode = Mode::HardCbr;
    } else if (EqualsNoCase(name, u"notags")) {
      s.writeTags = false;
    }
    if (!understood && s.problem.empty()) s.problem = shown;
  }
  return s;
}

bool Apply(OggOpusEnc* opus, const Settings& s, int channels) {
  double kbps = s.kbps > 0 ? s.kbps : kKbpsPerChannel * channels;
  opus_int32 bits = opus_int32(std::lround(kbps * 1000));
  return ope_encoder_ctl(opus, OPUS_SET_BITRATE(bits)) == OPE_OK &&
         ope_encoder_ctl(opus, OPUS_SET_COMPLEXITY(s.complexity)) == OPE_OK &&
         ope_encoder_ctl(opus, OPUS_SET_VBR(s.mode != Mode::HardCbr)) == OPE_OK &&
         ope_encoder_ctl(opus, OPUS_SET_VBR_CONSTRAINT(s.mode == Mode::ConstrainedVbr)) == OPE_OK;
}

class Encoder : public EncoderPlugin {
 public:
  void Release() override;

 protected:
  const char16_t* Extension(std::u16string_view) const override { return u".opus"; }
  // Float from the decoder spares a rounding to 16 bits before the encoder's own float path.
  bool NeedsFloat() const override { return true; }
  std::u16string ReadSettings(std::u16string_view line) override;
  bool Start(const TvConversionInfo& info) override;
  bool Encode(const TvAudioBlock& block) override;
  bool Finish() override;

 private:
  bool Open();

  Settings settings;
  OggOpusEnc* opus = nullptr;
  std::vector<int> order;  // WAV position of each stream channel
};

void Encoder::Release() {
  if (opus) ope_encoder_destroy(opus);
  opus = nullptr;
}

std::u16string Encoder::ReadSettings(std::u16string_view line) {
  settings = Parse(line);
  writeTags = settings.writeTags;
  return settings.problem;
}

bool Encoder::Start(const TvConversionInfo&) {
  int channels = image.Format.nChannels;
  if (channels > kMaxChannels)
    return CannotEncode("Opus takes one to eight channels here, the source has " +
                        std::to_string(channels) + ".");
  if (!Open()) return false;
  order = OggChannelOrder(channels, ChannelMaskOf(image));
  // libopusenc draws the serial from an unseeded rand(): every file would share it, and
  // chaining two of them would give one stream where two were meant.
  ope_encoder_ctl(opus, OPE_SET_SERIALNO(int(std::random_device{}() & 0x7FFFFFFF)));
  if (!Apply(opus, settings, channels)) return CannotEncode("libopusenc refused these settings.");
  return true;
}

// The header's comment packet holds no user comments: the engine writes the tags afterwards.
bool Encoder::Open() {
  const TvWaveFormatEx& f = image.Format;
  OggOpusComments* comments = ope_comments_create();
  if (!comments) return Fail("Error: libopusenc could not be set up.");
  int code = OPE_OK;
  opus = ope_encoder_create_file(name.c_str(), comments, opus_int32(f.nSamplesPerSec), f.nChannels,
                                 f.nChannels > 2 ? 1 : 0, &code);
  int opened = errno;
  ope_comments_destroy(comments);
  if (code == OPE_CANNOT_OPEN) return CannotCreate(name, strerror(opened));
  if (!opus)
    return CannotEncode("libopusenc refused " + std::to_string(f.nChannels) + " channels at " +
                        std::to_string(f.nSamplesPerSec) + " Hz (" + ope_strerror(code) + ").");
  return true;
}

bool Encoder::Encode(const TvAudioBlock& block) {
  std::span<float> samples = Floats(block);
  size_t frames = Frames(block);
  ToStreamOrder(samples.data(), frames, order);
  int code = ope_encoder_write_float(opus, samples.data(), int(frames));
  if (code != OPE_OK) return Failed("Encoding", ope_strerror(code));
  return true;
}

bool Encoder::Finish() {
  int code = ope_encoder_drain(opus);
  if (code != OPE_OK) return Failed("Finishing", ope_strerror(code));
  Release();
  return true;
}

}  // namespace

EncoderPlugin* codec::NewEncoder() { return new (std::nothrow) Encoder; }
