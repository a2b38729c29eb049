// Encoder plug-in writing WAV, AIFF or W64 with libsndfile; built once per output type, the
// type given by PCM_ENCODER_TYPE ("wav", "aiff" or "w64").
#include "codecs/common/CodecSupport.h"
#include "codecs/common/EncoderPlugin.h"
#include "codecs/common/TagItemBlock.h"
#include "codecs/pcm/PcmFormat.h"

#include <cstring>
#include <new>

using namespace pcm;
using namespace codec;

#ifndef PCM_ENCODER_TYPE
#error PCM_ENCODER_TYPE names the default output type
#endif

namespace {

struct Container {
  const char16_t* type;
  const char16_t* extension;
  int format;
};
const Container kContainers[] = {
    {u"wav", u".wav", SF_FORMAT_WAV},
    {u"aiff", u".aiff", SF_FORMAT_AIFF},
    {u"w64", u".w64", SF_FORMAT_W64},
};

const Container* FindContainer(std::u16string_view type) {
  for (const Container& c : kContainers)
    if (EqualsNoCase(type, c.type)) return &c;
  if (EqualsNoCase(type, u"aif")) return &kContainers[1];
  return nullptr;
}

const Container& DefaultContainer() { return *FindContainer(PCM_ENCODER_TYPE); }

// The tag keys written into the file's text fields.
struct TagField {
  int stringType;
  const char16_t* key;
};
const TagField kTagFields[] = {
    {SF_STR_TITLE, u"Title"},     {SF_STR_ARTIST, u"Artist"},       {SF_STR_ALBUM, u"Album"},
    {SF_STR_DATE, u"Year"},       {SF_STR_GENRE, u"Genre"},         {SF_STR_TRACKNUMBER, u"Track"},
    {SF_STR_COMMENT, u"Comment"}, {SF_STR_COPYRIGHT, u"Copyright"},
};

// What the option line asks for; kind None keeps the source's sample layout.
struct Settings {
  const Container* container = nullptr;
  SampleKind kind = SampleKind::None;
  bool forceExtensible = false;
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

SampleKind KindForBits(int bits, bool isFloat) {
  if (isFloat)
    return bits == 64                ? SampleKind::F64
           : bits == 32 || bits == 0 ? SampleKind::F32
                                     : SampleKind::None;
  switch (bits) {
    case 8:
      return SampleKind::U8;
    case 16:
      return SampleKind::S16;
    case 24:
      return SampleKind::S24;
    case 32:
      return SampleKind::S32;
    case 64:
      return SampleKind::F64;
    default:
      return SampleKind::None;
  }
}

Settings Parse(std::u16string_view line) {
  Settings s;
  TextPairs options = ParseOptions(line);
  s.container = &DefaultContainer();
  bool hasType = false, hasBits = false, hasFloat = false;
  std::u16string type = OptionValue(options, u"type", &hasType);
  std::u16string bitsText = OptionValue(options, u"bits", &hasBits);
  OptionValue(options, u"float", &hasFloat);
  OptionValue(options, u"wavex", &s.forceExtensible);
  bool noTags = false;
  OptionValue(options, u"notags", &noTags);
  s.writeTags = !noTags;
  if (hasType && !(s.container = FindContainer(type))) {
    s.problem = u"-type=" + type;
    return s;
  }
  if (!hasBits && !hasFloat) return s;
  int bits = 0;
  std::string digits = ToUtf8(bitsText);
  if (hasBits && (digits.empty() || digits.size() > 2 ||
                  digits.find_first_not_of("0123456789") != std::string::npos)) {
    s.problem = u"-bits=" + bitsText;
    return s;
  }
  if (hasBits) bits = std::stoi(digits);
  s.kind = KindForBits(bits, hasFloat);
  if (s.kind == SampleKind::None) s.problem = hasBits ? u"-bits=" + bitsText : u"-float";
  return s;
}

class Encoder : public EncoderPlugin {
 public:
  void Release() override;

 protected:
  const char16_t* Extension(std::u16string_view line) const override;
  bool IsLossless(std::u16string_view) const override { return true; }
  std::u16string ReadSettings(std::u16string_view line) override;
  bool TakesSource(const TvWaveFormatExtensible& source) const override;
  bool Start(const TvConversionInfo& info) override;
  bool Encode(const TvAudioBlock& block) override;
  bool Finish() override;

 private:
  void WriteTags(const TvConversionInfo& info);
  void SetChannelMap();

  Settings settings;
  SNDFILE* file = nullptr;
};

void Encoder::Release() {
  if (file) sf_close(file);
  file = nullptr;
}

const char16_t* Encoder::Extension(std::u16string_view line) const {
  Settings s = Parse(line);
  return (s.container ? s.container : &DefaultContainer())->extension;
}

std::u16string Encoder::ReadSettings(std::u16string_view line) {
  settings = Parse(line);
  writeTags = false;  // they go into the file's own text fields at the start
  return settings.problem;
}

// A sample layout asked for in the settings stands in for one the source lacks.
bool Encoder::TakesSource(const TvWaveFormatExtensible& source) const {
  return settings.kind != SampleKind::None || KindOfImage(source) != SampleKind::None;
}

void Encoder::WriteTags(const TvConversionInfo& info) {
  TagItems tags = ReadTagItemBlock(info.idTags, info.idTagsSize);
  for (const TagField& field : kTagFields) {
    // A text field holds one value: several values of a key are joined.
    std::u16string text;
    for (const TagItem& tag : tags) {
      if (!EqualsNoCase(tag.key, field.key) || tag.value.empty()) continue;
      if (!text.empty()) text += u"; ";
      text += tag.value;
    }
    // A type without the field declines.
    if (!text.empty()) sf_set_string(file, field.stringType, ToUtf8(text).c_str());
  }
}

void Encoder::SetChannelMap() {
  uint32_t mask = ChannelMaskOf(image);
  std::vector<int> map;
  if (mask == 0 || mask == TV_CHANNEL_MASK_UNKNOWN ||
      !MapFromMask(mask, image.Format.nChannels, map))
    return;
  sf_command(file, SFC_SET_CHANNEL_MAP_INFO, map.data(), int(map.size() * sizeof(int)));
}

bool Encoder::Start(const TvConversionInfo& info) {
  SampleKind kind = settings.kind != SampleKind::None ? settings.kind : KindOfImage(image);
  int channels = image.Format.nChannels;
  int container = settings.container->format;
  // Samples wider than 16 bits and more than two channels call for the extensible header.
  bool extensible = image.Format.wFormatTag == TV_FORMAT_EXTENSIBLE || channels > 2 ||
                    BitsOf(kind) > 16 || settings.forceExtensible;
  if (container == SF_FORMAT_WAV && extensible) container = SF_FORMAT_WAVEX;
  SF_INFO out{};
  out.samplerate = int(image.Format.nSamplesPerSec);
  out.channels = channels;
  out.format = container | SubFormatOf(kind, settings.container->format);
  if (!sf_format_check(&out))
    return CannotEncode("this format cannot be stored in the output type.");
  file = sf_open(name.c_str(), SFM_WRITE, &out);
  if (!file) return CannotCreate(name, sf_strerror(nullptr));
  sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  sf_command(file, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
  sf_command(file, SFC_SET_NORM_DOUBLE, nullptr, SF_TRUE);
  // Integer samples going into a float file are scaled to -1..1, not stored as big numbers.
  sf_command(file, SFC_SET_SCALE_INT_FLOAT_WRITE, nullptr, SF_TRUE);
  SetChannelMap();
  if (settings.writeTags) WriteTags(info);
  return true;
}

bool Encoder::Encode(const TvAudioBlock& block) {
  SampleKind kind = KindOfImage(block.format);
  int channels = image.Format.nChannels;
  sf_count_t frames = block.byteCount / (uint32_t(BitsOf(kind) / 8) * uint32_t(channels));
  if (!WriteFrames(file, kind, channels, static_cast<const uint8_t*>(block.data), frames))
    return Failed("Writing", sf_strerror(file));
  return true;
}

bool Encoder::Finish() {
  sf_write_sync(file);
  int result = sf_close(file);
  file = nullptr;
  if (result != 0) return Failed("Finishing", sf_error_number(result));
  return true;
}

}  // namespace

EncoderPlugin* codec::NewEncoder() { return new (std::nothrow) Encoder; }
