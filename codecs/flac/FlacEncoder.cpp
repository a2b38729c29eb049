// Encoder plug-in writing FLAC with libFLAC: integer sources bit for bit at their own depth,
// float sources as 24-bit, a seek table when the length is known, optional verification.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/EncoderPlugin.h"
#include "codecs/common/EncoderSettings.h"
#include "codecs/flac/FlacChannelMask.h"

#include <FLAC/metadata.h>
#include <FLAC/stream_encoder.h>

#include <bit>
#include <cerrno>
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
std::u16string_view Plain(std::u16string_view key) {
  return key.starts_with(u'-') ? key.substr(1) : key;
}

// "-5", "--compression-level-5" and "--compression-level=5" all set the level; shown is the
// option as written.
int LevelOption(const TextPairs& options, size_t& i, bool& isLevel, std::u16string& shown) {
  const std::u16string& whole = options[i].first;
  std::u16string_view key = Plain(whole);
  constexpr std::u16string_view kLong = u"compression-level";
  isLevel = true;
  shown = u"-" + whole;
  if (AllDigits(key)) return Level(key);
  if (key.size() >= kLong.size() && EqualsNoCase(key.substr(0, kLong.size()), kLong)) {
    std::u16string_view rest = key.substr(kLong.size());
    if (rest.empty()) {
      const ValuedOption option = TakeValue(options, i, whole.size());
      shown = option.shown;
      return Level(option.value);
    }
    if (rest[0] == u'-') return Level(rest.substr(1));
  }
  isLevel = false;
  return 0;
}

Settings Parse(std::u16string_view line) {
  Settings s;
  const TextPairs options = ParseOptions(line);
  for (size_t i = 0; i < options.size(); i++) {
    const std::u16string& key = options[i].first;
    bool isLevel = false;
    std::u16string shown;
    int level = LevelOption(options, i, isLevel, shown);
    if (isLevel && level >= 0) {
      s.level = level;
    } else if (isLevel && s.problem.empty()) {
      s.problem = shown;
    } else if (EqualsNoCase(key, u"V") || EqualsNoCase(Plain(key), u"verify")) {
      s.verify = true;
    } else if (EqualsNoCase(key, u"notags")) {
      s.writeTags = false;
    }
  }
  return s;
}

// A mask other than the one readers take for the channel count travels in a comment field, when
// it names exactly one speaker per channel.
FLAC__StreamMetadata* MaskComment(const TvWaveFormatExtensible& image) {
  int channels = image.Format.nChannels;
  uint32_t mask = ChannelMaskOf(image);
  if (!mask || mask == flacmask::Assumed(channels) || std::popcount(mask) != channels)
    return nullptr;
  FLAC__StreamMetadata* block = FLAC__metadata_object_new(FLAC__METADATA_TYPE_VORBIS_COMMENT);
  FLAC__StreamMetadata_VorbisComment_Entry entry{};
  if (block &&
      FLAC__metadata_object_vorbiscomment_entry_from_name_value_pair(
          &entry, flacmask::kField, flacmask::Format(mask).c_str()) &&
      FLAC__metadata_object_vorbiscomment_append_comment(block, entry, false))
    return block;
  if (block) FLAC__metadata_object_delete(block);
  return nullptr;
}

FLAC__StreamMetadata* SeekTable(uint64_t total, uint32_t rate) {
  FLAC__StreamMetadata* block = FLAC__metadata_object_new(FLAC__METADATA_TYPE_SEEKTABLE);
  if (block &&
      FLAC__metadata_object_seektable_template_append_spaced_points_by_samples(
          block, rate * kSeekPointSeconds, total) &&
      FLAC__metadata_object_seektable_template_sort(block, true))
    return block;
  if (block) FLAC__metadata_object_delete(block);
  return nullptr;
}

// Samples in the whole stream, from the open record behind the format; 0 when unknown.
uint64_t TotalSamples(const TvConversionInfo& info) {
  uint64_t bytes = 0;
  memcpy(&bytes, reinterpret_cast<const uint8_t*>(info.format) + TV_FORMAT_TO_BYTE_LENGTH,
         sizeof bytes);
  uint32_t align = info.format->Format.nBlockAlign;
  return align ? bytes / align : 0;
}

class Encoder : public EncoderPlugin {
 public:
  void Release() override;

 protected:
  const char16_t* Extension(std::u16string_view) const override { return u".flac"; }
  bool IsLossless(std::u16string_view) const override { return true; }
  bool KeepsSampleKind() const override { return true; }
  std::u16string ReadSettings(std::u16string_view line) override;
  bool Start(const TvConversionInfo& info) override;
  bool Encode(const TvAudioBlock& block) override;
  bool Finish() override;

 private:
  void ChooseDepth();
  void AddMetadata(uint64_t total);
  bool Open(uint64_t total);
  std::string StateText();
  const int32_t* StreamSamples(const TvAudioBlock& block);

  Settings settings;
  FLAC__StreamEncoder* flac = nullptr;
  std::vector<FLAC__StreamMetadata*> metadata;  // libFLAC reads them until the end
  SampleKind kind = SampleKind::None;
  int bits = 0;   // bits per sample in the FLAC stream
  int shift = 0;  // container bits below the valid ones, dropped
  std::vector<int32_t> samples;
  std::vector<uint8_t> bytes;
};

void Encoder::Release() {
  if (flac) FLAC__stream_encoder_delete(flac);
  flac = nullptr;
  for (FLAC__StreamMetadata* block : metadata) FLAC__metadata_object_delete(block);
  metadata.clear();
}

std::u16string Encoder::ReadSettings(std::u16string_view line) {
  settings = Parse(line);
  writeTags = settings.writeTags;
  return settings.problem;
}

std::string Encoder::StateText() {
  FLAC__StreamEncoderState state = FLAC__stream_encoder_get_state(flac);
  if (state == FLAC__STREAM_ENCODER_VERIFY_MISMATCH_IN_AUDIO_DATA)
    return "verification failed: the encoded audio does not decode to the source.";
  // Writes go through libFLAC's own file callbacks, whose failure it calls a client error.
  // The system's reason is still in errno: the library returns as soon as a write fails.
  if (state == FLAC__STREAM_ENCODER_IO_ERROR || state == FLAC__STREAM_ENCODER_CLIENT_ERROR)
    return errno != 0 ? std::string("the file could not be written: ") + strerror(errno) + "."
                      : "the file could not be written.";
  return std::string(FLAC__stream_encoder_get_resolved_state_string(flac)) + ".";
}

// Stream depth and the shift into it: float becomes 24-bit; an extensible image's valid bits
// name a smaller depth inside the container.
void Encoder::ChooseDepth() {
  if (IsFloat(kind)) {
    bits = 24, shift = 0;
    return;
  }
  int container = BitsOf(kind);
  bool extensible = image.Format.wFormatTag == TV_FORMAT_EXTENSIBLE &&
                    image.Format.cbSize >= TV_FORMAT_EXTENSIBLE_EXTRA;
  int valid = extensible ? image.wValidBitsPerSample : container;
  if (valid < 4 || valid > container) valid = container;
  bits = valid, shift = container - valid;
}

void Encoder::AddMetadata(uint64_t total) {
  if (total) metadata.push_back(SeekTable(total, image.Format.nSamplesPerSec));
  metadata.push_back(MaskComment(image));
  FLAC__StreamMetadata* padding = FLAC__metadata_object_new(FLAC__METADATA_TYPE_PADDING);
  if (padding) padding->length = kPaddingBytes;
  metadata.push_back(padding);
  std::erase(metadata, nullptr);
  if (!metadata.empty())
    FLAC__stream_encoder_set_metadata(flac, metadata.data(), unsigned(metadata.size()));
}

bool Encoder::Start(const TvConversionInfo& info) {
  kind = KindOfImage(image);
  int channels = image.Format.nChannels;
  if (channels > int(FLAC__MAX_CHANNELS))
    return CannotEncode("FLAC holds 1 to 8 channels, the source has " + std::to_string(channels) +
                        ".");
  ChooseDepth();
  return Open(TotalSamples(info));
}

bool Encoder::Open(uint64_t total) {
  const TvWaveFormatEx& f = image.Format;
  flac = FLAC__stream_encoder_new();
  if (!flac) return Fail("Error: libFLAC could not be set up.");
  FLAC__stream_encoder_set_channels(flac, f.nChannels);
  FLAC__stream_encoder_set_bits_per_sample(flac, unsigned(bits));
  FLAC__stream_encoder_set_sample_rate(flac, f.nSamplesPerSec);
  // Rates above what every player must handle are still valid FLAC, outside the streamable subset.
  FLAC__stream_encoder_set_streamable_subset(flac,
                                             FLAC__format_sample_rate_is_subset(f.nSamplesPerSec));
  FLAC__stream_encoder_set_compression_level(flac, unsigned(settings.level));
  FLAC__stream_encoder_set_verify(flac, settings.verify);
  if (total) FLAC__stream_encoder_set_total_samples_estimate(flac, total);
  AddMetadata(total);
  FLAC__StreamEncoderInitStatus status =
      FLAC__stream_encoder_init_file(flac, name.c_str(), nullptr, nullptr);
  if (status == FLAC__STREAM_ENCODER_INIT_STATUS_ENCODER_ERROR)
    return CannotCreate(name, StateText());
  if (status == FLAC__STREAM_ENCODER_INIT_STATUS_INVALID_SAMPLE_RATE)
    return CannotEncode("FLAC cannot hold " + std::to_string(f.nSamplesPerSec) + " Hz.");
  if (status != FLAC__STREAM_ENCODER_INIT_STATUS_OK)
    return CannotEncode(std::string("libFLAC refused the format (") +
                        FLAC__StreamEncoderInitStatusString[status] + ").");
  return true;
}

// The block's samples as right-aligned integers of the stream's depth.
const int32_t* Encoder::StreamSamples(const TvAudioBlock& block) {
  if (!IsFloat(kind)) {
    std::span<int32_t> integers = Integers(block);
    if (shift)
      for (int32_t& v : integers) v >>= shift;
    return integers.data();
  }
  std::span<float> floats = Floats(block);
  bytes.resize(floats.size() * 3);
  FromFloat(floats.data(), floats.size(), SampleKind::S24, bytes.data());  // clips
  samples.resize(floats.size());
  ToInt32(bytes.data(), SampleKind::S24, samples.size(), samples.data());
  return samples.data();
}

bool Encoder::Encode(const TvAudioBlock& block) {
  errno = 0;
  if (!FLAC__stream_encoder_process_interleaved(flac, StreamSamples(block),
                                                unsigned(Frames(block))))
    return Failed("Encoding", StateText());
  return true;
}

bool Encoder::Finish() {
  errno = 0;
  if (!FLAC__stream_encoder_finish(flac)) return Failed("Finishing", StateText());
  Release();
  return true;
}

}  // namespace

EncoderPlugin* codec::NewEncoder() { return new (std::nothrow) Encoder; }
