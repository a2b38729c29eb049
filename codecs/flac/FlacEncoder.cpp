// Encoder plug-in writing FLAC with libFLAC: integer sources bit for bit at their own depth,
// float sources as 24-bit, a seek table when the length is known, optional verification.
#define TV_ENCODER_PLUGIN
#include "CodecSupport.h"
#include "FlacChannelMask.h"
#include "SampleLayout.h"

#include <FLAC/metadata.h>
#include <FLAC/stream_encoder.h>

#include <bit>
#include <cstring>
#include <new>

using namespace codec;

namespace {

constexpr int kDefaultLevel = 5;
constexpr uint32_t kSeekPointSeconds = 10;
constexpr uint32_t kPaddingBytes = 8192;  // room for tags written after the audio is done

struct Settings {
  int level = kDefaultLevel;
  bool verify = false;
  bool writeTags = true;
  std::u16string problem;  // the first option that could not be understood
};

struct Encoder {
  TvHostContext host{};
  FLAC__StreamEncoder* flac = nullptr;
  std::vector<FLAC__StreamMetadata*> metadata;  // libFLAC reads them until the end
  std::string name;
  TvWaveFormatExtensible image{};
  SampleKind kind = SampleKind::None;
  int bits = 0;   // bits per sample in the FLAC stream
  int shift = 0;  // container bits below the valid ones, dropped
  bool writeTags = true;
  std::vector<int32_t> samples;
  std::vector<float> floats;
  std::vector<uint8_t> bytes;
};

Encoder* Cast(TvInstance instance) { return static_cast<Encoder*>(instance); }

// A level 0..8 from text, or -1.
int Level(std::u16string_view text) {
  return text.size() == 1 && text[0] >= u'0' && text[0] <= u'8' ? text[0] - u'0' : -1;
}

bool AllDigits(std::u16string_view text) {
  if (text.empty()) return false;
  for (char16_t c : text)
    if (c < u'0' || c > u'9') return false;
  return true;
}

// The key without the second dash of a long option: the engine passes those on with one.
std::u16string_view Plain(std::u16string_view key) { return key.starts_with(u'-') ? key.substr(1) : key; }

// "-5", "--compression-level-5" and "--compression-level=5" all set the level.
int LevelOption(const TextPair& option, bool& isLevel) {
  std::u16string_view key = Plain(option.first);
  constexpr std::u16string_view kLong = u"compression-level";
  isLevel = true;
  if (AllDigits(key)) return Level(key);
  if (key.size() >= kLong.size() && EqualsNoCase(key.substr(0, kLong.size()), kLong)) {
    std::u16string_view rest = key.substr(kLong.size());
    if (rest.empty()) return Level(option.second);
    if (rest[0] == u'-') return Level(rest.substr(1));
  }
  isLevel = false;
  return 0;
}

Settings ReadSettings(const char16_t* line) {
  Settings s;
  for (const TextPair& option : ParseOptions(View(line))) {
    const std::u16string& key = option.first;
    bool isLevel = false;
    int level = LevelOption(option, isLevel);
    if (isLevel && level >= 0) {
      s.level = level;
    } else if (isLevel && s.problem.empty()) {
      s.problem = u"-" + key + (option.second.empty() ? u"" : u" " + option.second);
    } else if (EqualsNoCase(key, u"V") || EqualsNoCase(Plain(key), u"verify")) {
      s.verify = true;
    } else if (EqualsNoCase(key, u"notags")) {
      s.writeTags = false;
    }
  }
  return s;
}

void Release(Encoder& e) {
  if (e.flac) FLAC__stream_encoder_delete(e.flac);
  e.flac = nullptr;
  for (FLAC__StreamMetadata* block : e.metadata) FLAC__metadata_object_delete(block);
  e.metadata.clear();
}

bool Fail(Encoder& e, const std::string& text) {
  ReportError(e.host, FromUtf8(text));
  Release(e);
  return false;
}

std::string StateText(Encoder& e) {
  FLAC__StreamEncoderState state = FLAC__stream_encoder_get_state(e.flac);
  if (state == FLAC__STREAM_ENCODER_VERIFY_MISMATCH_IN_AUDIO_DATA)
    return "verification failed: the encoded audio does not decode to the source.";
  if (state == FLAC__STREAM_ENCODER_IO_ERROR) return "the file could not be written.";
  return std::string(FLAC__stream_encoder_get_resolved_state_string(e.flac)) + ".";
}

// Stream depth and the shift into it: float becomes 24-bit; an extensible image's valid bits
// name a smaller depth inside the container.
void ChooseDepth(Encoder& e) {
  if (IsFloat(e.kind)) {
    e.bits = 24, e.shift = 0;
    return;
  }
  int container = BitsOf(e.kind);
  bool extensible =
      e.image.Format.wFormatTag == TV_FORMAT_EXTENSIBLE && e.image.Format.cbSize >= TV_FORMAT_EXTENSIBLE_EXTRA;
  int valid = extensible ? e.image.wValidBitsPerSample : container;
  if (valid < 4 || valid > container) valid = container;
  e.bits = valid, e.shift = container - valid;
}

// A mask other than the default for the channel count travels in a comment field, when it
// names exactly one speaker per channel.
FLAC__StreamMetadata* MaskComment(const TvWaveFormatExtensible& image) {
  int channels = image.Format.nChannels;
  uint32_t mask = ChannelMaskOf(image);
  if (!mask || mask == DefaultChannelMask(channels) || std::popcount(mask) != channels) return nullptr;
  FLAC__StreamMetadata* block = FLAC__metadata_object_new(FLAC__METADATA_TYPE_VORBIS_COMMENT);
  FLAC__StreamMetadata_VorbisComment_Entry entry{};
  if (block && FLAC__metadata_object_vorbiscomment_entry_from_name_value_pair(&entry, flacmask::kField,
                                                                               flacmask::Format(mask).c_str()) &&
      FLAC__metadata_object_vorbiscomment_append_comment(block, entry, false))
    return block;
  if (block) FLAC__metadata_object_delete(block);
  return nullptr;
}

FLAC__StreamMetadata* SeekTable(uint64_t total, uint32_t rate) {
  FLAC__StreamMetadata* block = FLAC__metadata_object_new(FLAC__METADATA_TYPE_SEEKTABLE);
  if (block && FLAC__metadata_object_seektable_template_append_spaced_points_by_samples(block, rate * kSeekPointSeconds,
                                                                                        total) &&
      FLAC__metadata_object_seektable_template_sort(block, true))
    return block;
  if (block) FLAC__metadata_object_delete(block);
  return nullptr;
}

void AddMetadata(Encoder& e, uint64_t total) {
  if (total) e.metadata.push_back(SeekTable(total, e.image.Format.nSamplesPerSec));
  e.metadata.push_back(MaskComment(e.image));
  FLAC__StreamMetadata* padding = FLAC__metadata_object_new(FLAC__METADATA_TYPE_PADDING);
  if (padding) padding->length = kPaddingBytes;
  e.metadata.push_back(padding);
  std::erase(e.metadata, nullptr);
  if (!e.metadata.empty()) FLAC__stream_encoder_set_metadata(e.flac, e.metadata.data(), unsigned(e.metadata.size()));
}

// Samples in the whole stream, from the open record behind the format; 0 when unknown.
uint64_t TotalSamples(const TvConversionInfo& info) {
  uint64_t bytes = 0;
  memcpy(&bytes, reinterpret_cast<const uint8_t*>(info.format) + TV_FORMAT_TO_BYTE_LENGTH, sizeof bytes);
  uint32_t align = info.format->Format.nBlockAlign;
  return align ? bytes / align : 0;
}

bool Start(Encoder& e, const Settings& s, uint64_t total) {
  const TvWaveFormatEx& f = e.image.Format;
  e.flac = FLAC__stream_encoder_new();
  if (!e.flac) return Fail(e, "Error: libFLAC could not be set up.");
  FLAC__stream_encoder_set_channels(e.flac, f.nChannels);
  FLAC__stream_encoder_set_bits_per_sample(e.flac, unsigned(e.bits));
  FLAC__stream_encoder_set_sample_rate(e.flac, f.nSamplesPerSec);
  // Rates above what every player must handle are still valid FLAC, outside the streamable subset.
  FLAC__stream_encoder_set_streamable_subset(e.flac, FLAC__format_sample_rate_is_subset(f.nSamplesPerSec));
  FLAC__stream_encoder_set_compression_level(e.flac, unsigned(s.level));
  FLAC__stream_encoder_set_verify(e.flac, s.verify);
  if (total) FLAC__stream_encoder_set_total_samples_estimate(e.flac, total);
  AddMetadata(e, total);
  FLAC__StreamEncoderInitStatus status = FLAC__stream_encoder_init_file(e.flac, e.name.c_str(), nullptr, nullptr);
  if (status == FLAC__STREAM_ENCODER_INIT_STATUS_ENCODER_ERROR)
    return Fail(e, "Error: Unable to create file '" + e.name + "': " + StateText(e));
  if (status == FLAC__STREAM_ENCODER_INIT_STATUS_INVALID_SAMPLE_RATE)
    return Fail(e, "Error: Unable to encode '" + e.name + "': FLAC cannot hold " + std::to_string(f.nSamplesPerSec) +
                       " Hz.");
  if (status != FLAC__STREAM_ENCODER_INIT_STATUS_OK)
    return Fail(e, "Error: Unable to encode '" + e.name + "': libFLAC refused the format (" +
                       FLAC__StreamEncoderInitStatusString[status] + ").");
  return true;
}

bool SameFormat(const Encoder& e, const TvWaveFormatExtensible& image) {
  return KindOfImage(image) == e.kind && image.Format.nChannels == e.image.Format.nChannels &&
         image.Format.nSamplesPerSec == e.image.Format.nSamplesPerSec;
}

// The block's samples as right-aligned integers of the stream's depth.
void ToStreamSamples(Encoder& e, const uint8_t* data, size_t count) {
  e.samples.resize(count);
  if (IsFloat(e.kind)) {
    e.floats.resize(count);
    ToFloat(data, e.kind, count, e.floats.data());
    e.bytes.resize(count * 3);
    FromFloat(e.floats.data(), count, SampleKind::S24, e.bytes.data());  // clips
    ToInt32(e.bytes.data(), SampleKind::S24, count, e.samples.data());
    return;
  }
  ToInt32(data, e.kind, count, e.samples.data());
  if (e.shift)
    for (int32_t& v : e.samples) v >>= e.shift;
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
    value->text1 = u".flac";
    return 1;
  }
  return EqualsNoCase(key, TV_KEY_IS_LOSSLESS);
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
  e.kind = KindOfImage(e.image);
  Settings s = ReadSettings(info->encoderSettings);
  e.writeTags = s.writeTags;
  if (!s.problem.empty()) return Fail(e, "Error: Unknown encoder setting '" + ToUtf8(s.problem) + "'.");
  if (e.kind == SampleKind::None)
    return Fail(e, "Error: Unable to encode '" + e.name + "': the source is not PCM or float audio.");
  int channels = e.image.Format.nChannels;
  if (channels > int(FLAC__MAX_CHANNELS))
    return Fail(e, "Error: Unable to encode '" + e.name + "': FLAC holds 1 to 8 channels, the source has " +
                       std::to_string(channels) + ".");
  ChooseDepth(e);
  return Start(e, s, TotalSamples(*info));
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Encoder& e = *Cast(instance);
  if (!e.flac) return 0;
  if (block->byteCount == 0 || !block->data) return 1;
  if (!SameFormat(e, block->format))
    return Fail(e, "Error: Unable to encode '" + e.name + "': the audio changed its format during the conversion.");
  const TvWaveFormatEx& f = block->format.Format;
  size_t frames = block->byteCount / f.nBlockAlign;
  ToStreamSamples(e, static_cast<const uint8_t*>(block->data), frames * f.nChannels);
  if (!FLAC__stream_encoder_process_interleaved(e.flac, e.samples.data(), unsigned(frames)))
    return Fail(e, "Error: Encoding '" + e.name + "' failed: " + StateText(e));
  return 1;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo*, int32_t* writeTags) {
  if (!instance) return 0;
  Encoder& e = *Cast(instance);
  if (writeTags) *writeTags = 0;
  if (!e.flac) return 0;  // never begun, or failed already
  if (!FLAC__stream_encoder_finish(e.flac)) return Fail(e, "Error: Finishing '" + e.name + "' failed: " + StateText(e));
  Release(e);
  if (writeTags) *writeTags = e.writeTags;
  return 1;
}

}  // extern "C"
