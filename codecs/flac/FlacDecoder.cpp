// Decoder plug-in for FLAC files, read with libFLAC: integer PCM at the stream's own depth,
// sample-exact seeking, and damage (CRC, sync, MD5, a short stream) failing the run.
#define TV_DECODER_PLUGIN
#include "CodecSupport.h"
#include "FlacChannelMask.h"
#include "SampleLayout.h"
#include "TagBridge.h"

#include <FLAC/stream_decoder.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>

using namespace codec;

namespace {

constexpr size_t kBlockFrames = 8192;  // a block is filled with whole FLAC frames up to this

struct Decoder {
  TvHostContext host{};
  FLAC__StreamDecoder* flac = nullptr;
  std::string name;
  bool finished = false;  // nothing more to decode (the MD5 check has run): reopen before seeking
  // From the metadata.
  bool haveInfo = false;
  FLAC__StreamMetadata_StreamInfo info{};
  uint32_t maskField = 0;  // the channel mask comment, 0 when absent or not usable
  uint64_t audioStart = 0;
  // The stream as handed out.
  TvWaveFormatExtensible image{};
  SampleKind kind = SampleKind::None;
  int shift = 0;  // odd depths are raised to full scale in their container
  uint32_t bitRate = 0;
  // Decoding.
  int errorStatus = -1;  // the first error libFLAC reported, -1 for none
  std::string formatChange;
  uint64_t decoded = 0;  // the sample number after the last one decoded
  uint64_t handed = 0;   // samples handed out so far, for the block position
  std::vector<int32_t> frameSamples;
  std::vector<uint8_t> data;  // decoded audio in the block layout
  bool dataHandedOut = false;  // data went out in the last block: cleared before decoding on
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
};

Decoder* Cast(TvInstance instance) { return static_cast<Decoder*>(instance); }

void CloseFile(Decoder& d) {
  if (d.flac) FLAC__stream_decoder_delete(d.flac);
  d.flac = nullptr;
}

std::string ErrorText(int status) {
  switch (status) {
    case FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC: return "the stream lost sync (damaged or foreign data)";
    case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER: return "a frame header is damaged";
    case FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH: return "a frame failed its CRC check (damaged data)";
    case FLAC__STREAM_DECODER_ERROR_STATUS_UNPARSEABLE_STREAM: return "the stream cannot be parsed";
    case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_METADATA: return "a metadata block is damaged";
    default: return "libFLAC reported error " + std::to_string(status);
  }
}

bool FailOpen(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Unable to open file '" + d.name + "': " + text));
  CloseFile(d);
  return false;
}

bool FailDecode(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Reading '" + d.name + "' failed: " + text));
  CloseFile(d);
  return false;
}

// 16 and 24-bit, nearly every stream, go straight into the block layout.
template <int Bytes>
void Pack(const FLAC__int32* const buffer[], unsigned channels, unsigned count, int shift, uint8_t* out) {
  for (unsigned i = 0; i < count; ++i)
    for (unsigned c = 0; c < channels; ++c) {
      uint32_t v = uint32_t(buffer[c][i]) << shift;
      for (int b = 0; b < Bytes; ++b) *out++ = uint8_t(v >> (8 * b));
    }
}

void Interleave(Decoder& d, const FLAC__int32* const buffer[], unsigned channels, unsigned count, uint8_t* out) {
  d.frameSamples.resize(size_t(count) * channels);
  int32_t* samples = d.frameSamples.data();
  for (unsigned i = 0; i < count; ++i)
    for (unsigned c = 0; c < channels; ++c) *samples++ = int32_t(uint32_t(buffer[c][i]) << d.shift);
  FromInt32(d.frameSamples.data(), d.frameSamples.size(), d.kind, out);
}

// Appends one frame in the block layout, raised to full scale in its container.
FLAC__StreamDecoderWriteStatus OnWrite(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                       const FLAC__int32* const buffer[], void* client) {
  Decoder& d = *static_cast<Decoder*>(client);
  unsigned channels = frame->header.channels;
  if (channels != d.info.channels || frame->header.bits_per_sample != d.info.bits_per_sample) {
    d.formatChange = "a frame at sample " + std::to_string(d.decoded) + " changes the channels or depth";
    return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
  }
  unsigned count = frame->header.blocksize;
  size_t first = d.data.size();
  d.data.resize(first + size_t(count) * d.image.Format.nBlockAlign);
  uint8_t* out = d.data.data() + first;
  if (d.kind == SampleKind::S16)
    Pack<2>(buffer, channels, count, d.shift, out);
  else if (d.kind == SampleKind::S24)
    Pack<3>(buffer, channels, count, d.shift, out);
  else
    Interleave(d, buffer, channels, count, out);
  d.decoded += count;
  return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void OnMetadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* block, void* client) {
  Decoder& d = *static_cast<Decoder*>(client);
  if (block->type == FLAC__METADATA_TYPE_STREAMINFO) {
    d.info = block->data.stream_info;
    d.haveInfo = true;
  } else if (block->type == FLAC__METADATA_TYPE_VORBIS_COMMENT) {
    d.maskField = flacmask::Parse(flacmask::Find(block).c_str());
  }
}

void OnError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status, void* client) {
  Decoder& d = *static_cast<Decoder*>(client);
  if (d.errorStatus < 0) d.errorStatus = int(status);
}

// A fresh libFLAC decoder on the file, through its metadata.
bool StartDecoder(Decoder& d) {
  CloseFile(d);
  d.haveInfo = false;
  d.errorStatus = -1;
  d.finished = false;
  d.flac = FLAC__stream_decoder_new();
  if (!d.flac) return FailOpen(d, "libFLAC could not be set up.");
  FLAC__stream_decoder_set_md5_checking(d.flac, true);
  FLAC__stream_decoder_set_metadata_respond(d.flac, FLAC__METADATA_TYPE_VORBIS_COMMENT);
  errno = 0;
  FLAC__StreamDecoderInitStatus status =
      FLAC__stream_decoder_init_file(d.flac, d.name.c_str(), OnWrite, OnMetadata, OnError, &d);
  if (status == FLAC__STREAM_DECODER_INIT_STATUS_ERROR_OPENING_FILE)
    return FailOpen(d, errno ? strerror(errno) : "the file cannot be opened.");
  if (status != FLAC__STREAM_DECODER_INIT_STATUS_OK)
    return FailOpen(d, std::string("libFLAC refused the file (") + FLAC__StreamDecoderInitStatusString[status] + ").");
  bool read = FLAC__stream_decoder_process_until_end_of_metadata(d.flac);
  if (!d.haveInfo) return FailOpen(d, "not a FLAC file (no FLAC stream header found).");
  if (!read || d.errorStatus >= 0) return FailOpen(d, ErrorText(d.errorStatus) + ".");
  return true;
}

// Where the channels go: a usable mask comment wins over the default for the count.
uint32_t ChannelMask(const Decoder& d) {
  int channels = int(d.info.channels);
  if (d.maskField && std::popcount(d.maskField) == channels) return d.maskField;
  uint32_t mask = DefaultChannelMask(channels);
  return mask ? mask : TV_CHANNEL_MASK_UNKNOWN;
}

bool DescribeFormat(Decoder& d) {
  int bits = int(d.info.bits_per_sample);
  int container = (bits + 7) / 8 * 8;
  d.kind = IntegerKind(container);
  if (d.kind == SampleKind::None || d.info.channels == 0 || d.info.sample_rate == 0)
    return FailOpen(d, "unsupported stream (" + std::to_string(bits) + " bits, " + std::to_string(d.info.channels) +
                           " channels, " + std::to_string(d.info.sample_rate) + " Hz).");
  d.shift = container - bits;
  int channels = int(d.info.channels);
  uint32_t mask = ChannelMask(d);
  bool extensible = channels > 2 || d.shift != 0 || mask != DefaultChannelMask(channels);
  d.image = MakeImage(d.kind, channels, int(d.info.sample_rate), extensible, mask);
  if (extensible) d.image.wValidBitsPerSample = uint16_t(bits);
  return true;
}

uint64_t FileSize(const std::string& name) {
  struct stat st{};
  return stat(name.c_str(), &st) == 0 ? uint64_t(st.st_size) : 0;
}

// The channel mask field belongs to the audio layout, not to the tags the engine carries on.
TagItems WithoutMaskField(TagItems items) {
  std::erase_if(items, [](const TagItem& item) { return EqualsNoCase(item.key, FromUtf8(flacmask::kField)); });
  return items;
}

void DescribeStream(Decoder& d, TvOpenInfo& info) {
  uint64_t rate = d.info.sample_rate;
  uint64_t total = d.info.total_samples;
  uint64_t ms = total * 1000 / rate;
  uint64_t audioBytes = FileSize(d.name);
  audioBytes = audioBytes > d.audioStart ? audioBytes - d.audioStart : 0;
  d.bitRate = total ? uint32_t(audioBytes * 8 * rate / total) : 0;
  info.format = d.image;
  info.msLength = ms;
  info.byteLength = total * d.image.Format.nBlockAlign;
  info.bitRate = d.bitRate;
  d.tags = MakeTagItemBlock(WithoutMaskField(ReadFileTags(d.name)));
  d.properties = MakeTagBlock({{TV_TAG_AUDIO_QUALITY, u"Lossless"}});
  info.idTags = d.tags.data();
  info.idTagsSize = uint32_t(d.tags.size());
  info.properties = d.properties.data();
  info.propertiesSize = uint32_t(d.properties.size());
}

// The end of the stream: every announced sample must have come, and the MD5 must match.
bool FinishStream(Decoder& d) {
  uint64_t total = d.info.total_samples;
  if (total && d.decoded != total)
    return FailDecode(d, "the stream is truncated: " + std::to_string(d.decoded) + " of " + std::to_string(total) +
                             " samples.");
  d.finished = true;
  if (!FLAC__stream_decoder_finish(d.flac))
    return FailDecode(d, "the decoded audio does not match the stream's MD5 signature.");
  return true;
}

// Decodes whole frames until a block's worth is there or the stream ends.
bool Fill(Decoder& d, bool& end) {
  end = false;
  while (d.data.size() < kBlockFrames * d.image.Format.nBlockAlign) {
    bool ok = FLAC__stream_decoder_process_single(d.flac);
    FLAC__StreamDecoderState state = FLAC__stream_decoder_get_state(d.flac);
    if (!d.formatChange.empty()) return FailDecode(d, d.formatChange + ".");
    // A stream cut inside a frame loses sync at its end: say that it is short.
    bool atEnd = state == FLAC__STREAM_DECODER_END_OF_STREAM;
    if (d.errorStatus >= 0 && !(atEnd && d.decoded < d.info.total_samples))
      return FailDecode(d, ErrorText(d.errorStatus) + " after sample " + std::to_string(d.decoded) + ".");
    if (atEnd) {
      end = true;
      return FinishStream(d);
    }
    if (!ok) return FailDecode(d, std::string(FLAC__StreamDecoderStateString[state]) + ".");
  }
  return true;
}

// Set "IDTags": the engine's tag block replaces the file's tags; the channel mask field stays.
int32_t WriteTags(Decoder& d, const TvPluginValue& value) {
  if (!value.text1 || (value.value > 0 && !value.data)) return 0;
  std::string path = ToUtf8(View(value.text1));
  TagItems items = value.value > 0 ? ReadTagItemBlock(value.data, uint32_t(value.value)) : TagItems{};
  items = WithoutMaskField(std::move(items));
  FLAC__StreamMetadata* comments = nullptr;
  if (FLAC__metadata_get_tags(path.c_str(), &comments)) {
    std::string mask = flacmask::Find(comments);
    if (!mask.empty()) items.push_back({FromUtf8(flacmask::kField), FromUtf8(mask), {}});
    FLAC__metadata_object_delete(comments);
  }
  std::u16string error;
  if (WriteFileTags(path, items, &error)) return 1;
  ReportError(d.host, u"Error: " + error);
  return 0;
}

}  // namespace

extern "C" {

TvInstance Create(TvHostContext* context) {
  Decoder* d = new (std::nothrow) Decoder;
  if (d && context) d->host = *context;
  return d;
}

int32_t Destroy(TvInstance instance) {
  if (!instance) return 0;
  CloseFile(*Cast(instance));
  delete Cast(instance);
  return 1;
}

int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !value || !key) return 0;
  if (EqualsNoCase(key, TV_KEY_DECODES)) {
    if (value->index != 0) return 0;
    value->text1 = u".flac";
    value->text2 = u"FLAC";
    return 1;
  }
  return 0;
}

int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key) return 0;
  Decoder& d = *Cast(instance);
  if (EqualsNoCase(key, TV_KEY_ID_TAGS)) return value ? WriteTags(d, *value) : 0;
  // Integer samples at the stream's depth are already the highest quality there is.
  return EqualsNoCase(key, TV_KEY_DECODE_AS) || EqualsNoCase(key, TV_KEY_EVENT_QUIT) ||
         EqualsNoCase(key, TV_KEY_BATCH_ID);
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  if (!instance || !info) return 0;
  Decoder& d = *Cast(instance);
  d.name = ToUtf8(View(info->fileName));
  d.maskField = 0;
  d.formatChange.clear();
  d.data.clear();
  d.dataHandedOut = false;
  d.decoded = d.handed = 0;
  if (!StartDecoder(d) || !DescribeFormat(d)) return 0;
  FLAC__uint64 start = 0;
  d.audioStart = FLAC__stream_decoder_get_decode_position(d.flac, &start) ? start : 0;
  DescribeStream(d, *info);
  return 1;
}

int32_t Close(TvInstance instance, TvConversionInfo*) {
  if (!instance) return 0;
  CloseFile(*Cast(instance));
  return 1;
}

int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Decoder& d = *Cast(instance);
  if (!d.flac) return 0;
  if (d.dataHandedOut) d.data.clear();
  d.dataHandedOut = true;
  bool end = false;
  if (!d.finished && !Fill(d, end)) return 0;
  end = end || d.finished;
  size_t frames = d.data.size() / d.image.Format.nBlockAlign;
  uint64_t rate = d.info.sample_rate;
  block->data = frames ? d.data.data() : nullptr;
  block->byteCount = uint32_t(d.data.size());
  block->format = d.image;
  block->bitRate = d.bitRate;
  block->msDuration = frames * 1000 / rate;
  block->msPosition = d.handed * 1000 / rate;
  d.handed += frames;
  block->endOfStream = end;
  return 1;
}

// first: position in milliseconds, low half; second: the high half.
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  if (!instance || !Cast(instance)->flac) return 0;
  Decoder& d = *Cast(instance);
  if (d.finished && !StartDecoder(d)) return 0;
  uint64_t ms = (uint64_t(second) << 32) | first;
  uint64_t sample = ms * d.info.sample_rate / 1000;
  d.data.clear();
  d.dataHandedOut = false;
  d.errorStatus = -1;
  if (d.info.total_samples && sample >= d.info.total_samples) {  // libFLAC refuses to seek to the very end
    d.finished = true;
    d.handed = d.decoded = d.info.total_samples;
    return 1;
  }
  if (!FLAC__stream_decoder_seek_absolute(d.flac, sample)) {
    if (FLAC__stream_decoder_get_state(d.flac) == FLAC__STREAM_DECODER_SEEK_ERROR) FLAC__stream_decoder_flush(d.flac);
    d.data.clear();
    return 0;
  }
  // libFLAC hands the frame holding the target over during the seek, trimmed to start there.
  d.decoded = sample + d.data.size() / d.image.Format.nBlockAlign;
  d.handed = sample;
  return 1;
}

int32_t DeleteATag(TvInstance, uint32_t, uint32_t) { return 0; }

}  // extern "C"
