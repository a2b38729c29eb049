// Encoder plug-in writing WAV, AIFF or W64 with libsndfile; built once per output type, the
// type given by PCM_ENCODER_TYPE ("wav", "aiff" or "w64").
#define TV_ENCODER_PLUGIN
#include "PcmFormat.h"
#include "CodecSupport.h"

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
    {SF_STR_TITLE, u"Title"},     {SF_STR_ARTIST, u"Artist"},   {SF_STR_ALBUM, u"Album"},
    {SF_STR_DATE, u"Year"},       {SF_STR_GENRE, u"Genre"},     {SF_STR_TRACKNUMBER, u"Track"},
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

struct Encoder {
  TvHostContext host{};
  SNDFILE* file = nullptr;
  std::string name;
  int channels = 0;
  int rate = 0;
  bool failed = false;
};

Encoder* Cast(TvInstance instance) { return static_cast<Encoder*>(instance); }

SampleKind KindForBits(int bits, bool isFloat) {
  if (isFloat) return bits == 64 ? SampleKind::F64 : bits == 32 || bits == 0 ? SampleKind::F32 : SampleKind::None;
  switch (bits) {
    case 8: return SampleKind::U8;
    case 16: return SampleKind::S16;
    case 24: return SampleKind::S24;
    case 32: return SampleKind::S32;
    case 64: return SampleKind::F64;
    default: return SampleKind::None;
  }
}

Settings ReadSettings(const char16_t* line) {
  Settings s;
  TextPairs options = ParseOptions(View(line));
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
  if (hasBits && (digits.empty() || digits.size() > 2 || digits.find_first_not_of("0123456789") != std::string::npos)) {
    s.problem = u"-bits=" + bitsText;
    return s;
  }
  if (hasBits) bits = std::stoi(digits);
  s.kind = KindForBits(bits, hasFloat);
  if (s.kind == SampleKind::None) s.problem = hasBits ? u"-bits=" + bitsText : u"-float";
  return s;
}

bool Fail(Encoder& e, const std::string& text) {
  ReportError(e.host, FromUtf8(text));
  if (e.file) sf_close(e.file);
  e.file = nullptr;
  e.failed = true;
  return false;
}

void WriteTags(Encoder& e, const TvConversionInfo& info) {
  TextPairs tags = ReadTagBlock(info.idTags, info.idTagsSize);
  for (const TagField& field : kTagFields) {
    for (const TextPair& tag : tags) {
      if (!EqualsNoCase(tag.first, field.key) || tag.second.empty()) continue;
      sf_set_string(e.file, field.stringType, ToUtf8(tag.second).c_str());  // a type without the field declines
      break;
    }
  }
}

void SetChannelMap(Encoder& e, const TvWaveFormatExtensible& image) {
  uint32_t mask = ChannelMaskOf(image);
  std::vector<int> map;
  if (mask == 0 || mask == TV_CHANNEL_MASK_UNKNOWN || !MapFromMask(mask, e.channels, map)) return;
  sf_command(e.file, SFC_SET_CHANNEL_MAP_INFO, map.data(), int(map.size() * sizeof(int)));
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
  Encoder* e = Cast(instance);
  if (e->file) sf_close(e->file);
  delete e;
  return 1;
}

int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key || !value) return 0;
  if (EqualsNoCase(key, TV_KEY_EXTENSION)) {
    Settings s = ReadSettings(value->text1);
    value->text1 = (s.container ? s.container : &DefaultContainer())->extension;
    return 1;
  }
  if (EqualsNoCase(key, TV_KEY_IS_LOSSLESS)) return 1;
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
  if (e.file) sf_close(e.file);
  e.file = nullptr;
  e.failed = false;
  e.name = ToUtf8(View(info->outputFile));
  Settings s = ReadSettings(info->encoderSettings);
  if (!s.problem.empty()) return Fail(e, "Error: Unknown encoder setting '" + ToUtf8(s.problem) + "'.");
  const TvWaveFormatExtensible& image = *info->format;
  SampleKind source = KindOfImage(image);
  SampleKind kind = s.kind != SampleKind::None ? s.kind : source;
  if (kind == SampleKind::None)
    return Fail(e, "Error: Unable to encode '" + e.name + "': the source is not PCM or float audio.");
  e.channels = image.Format.nChannels;
  e.rate = int(image.Format.nSamplesPerSec);
  int container = s.container->format;
  // Samples wider than 16 bits and more than two channels call for the extensible header.
  bool extensible = image.Format.wFormatTag == TV_FORMAT_EXTENSIBLE || e.channels > 2 || BitsOf(kind) > 16 ||
                    s.forceExtensible;
  if (container == SF_FORMAT_WAV && extensible) container = SF_FORMAT_WAVEX;
  SF_INFO out{};
  out.samplerate = e.rate;
  out.channels = e.channels;
  out.format = container | SubFormatOf(kind, s.container->format);
  if (!sf_format_check(&out))
    return Fail(e, "Error: Unable to encode '" + e.name + "': this format cannot be stored in the output type.");
  e.file = sf_open(e.name.c_str(), SFM_WRITE, &out);
  if (!e.file) return Fail(e, "Error: Unable to create file '" + e.name + "': " + sf_strerror(nullptr));
  sf_command(e.file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  sf_command(e.file, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
  sf_command(e.file, SFC_SET_NORM_DOUBLE, nullptr, SF_TRUE);
  // Integer samples going into a float file are scaled to -1..1, not stored as big numbers.
  sf_command(e.file, SFC_SET_SCALE_INT_FLOAT_WRITE, nullptr, SF_TRUE);
  SetChannelMap(e, image);
  if (s.writeTags) WriteTags(e, *info);
  return 1;
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Encoder& e = *Cast(instance);
  if (!e.file) return 0;
  if (block->byteCount == 0 || !block->data) return 1;
  const TvWaveFormatExtensible& image = block->format;
  SampleKind kind = KindOfImage(image);
  if (kind == SampleKind::None || image.Format.nChannels != e.channels || int(image.Format.nSamplesPerSec) != e.rate)
    return Fail(e, "Error: Unable to encode '" + e.name + "': the audio changed its format during the conversion.");
  sf_count_t frames = block->byteCount / (uint32_t(BitsOf(kind) / 8) * uint32_t(e.channels));
  if (!WriteFrames(e.file, kind, e.channels, static_cast<const uint8_t*>(block->data), frames))
    return Fail(e, "Error: Writing '" + e.name + "' failed: " + sf_strerror(e.file));
  return 1;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo*, int32_t* writeTags) {
  if (!instance) return 0;
  Encoder& e = *Cast(instance);
  if (writeTags) *writeTags = 0;  // the tags went into the file's own text fields
  if (!e.file) return 0;  // never begun, or failed already
  sf_write_sync(e.file);
  int result = sf_close(e.file);
  e.file = nullptr;
  if (result != 0) return Fail(e, "Error: Finishing '" + e.name + "' failed: " + sf_error_number(result));
  return 1;
}

}  // extern "C"
