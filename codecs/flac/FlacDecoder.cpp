// Decoder plug-in for FLAC files, read with libFLAC: integer PCM at the stream's own depth,
// sample-exact seeking, and damage (CRC, sync, MD5, a short stream) failing the run.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/DecoderTags.h"
#include "codecs/common/SampleLayout.h"
#include "codecs/flac/FlacChannelMask.h"

#include <FLAC/stream_decoder.h>

#include <sys/stat.h>
#include <bit>
#include <cerrno>
#include <cstring>
#include <new>

using namespace codec;

namespace {

const DecodedType kTypes[] = {{u".flac", u"FLAC"}};
constexpr size_t kBlockFrames = 8192;  // a block is filled with whole FLAC frames up to this

std::string ErrorText(int status) {
  switch (status) {
    case FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC:
      return "the stream lost sync (damaged or foreign data)";
    case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER:
      return "a frame header is damaged";
    case FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH:
      return "a frame failed its CRC check (damaged data)";
    case FLAC__STREAM_DECODER_ERROR_STATUS_UNPARSEABLE_STREAM:
      return "the stream cannot be parsed";
    case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_METADATA:
      return "a metadata block is damaged";
    default:
      return "libFLAC reported error " + std::to_string(status);
  }
}

// 16 and 24-bit, nearly every stream, go straight into the block layout.
template <int Bytes>
void Pack(const FLAC__int32* const buffer[], unsigned channels, unsigned count, int shift,
          uint8_t* out) {
  for (unsigned i = 0; i < count; ++i)
    for (unsigned c = 0; c < channels; ++c) {
      uint32_t v = uint32_t(buffer[c][i]) << shift;
      for (int b = 0; b < Bytes; ++b) *out++ = uint8_t(v >> (8 * b));
    }
}

uint64_t FileSize(const std::string& name) {
  struct stat st {};
  return stat(name.c_str(), &st) == 0 ? uint64_t(st.st_size) : 0;
}

// The channel mask field belongs to the audio layout, not to the tags the engine carries on.
TagItems WithoutMaskField(TagItems items) {
  std::erase_if(items, [](const TagItem& item) {
    return EqualsNoCase(item.key, FromUtf8(flacmask::kField));
  });
  return items;
}

class FlacDecoder : public TaggedDecoder {
 protected:
  bool OpenStream() override;
  Description Describe() override;
  bool IsOpen() const override { return flac != nullptr; }
  void CloseStream() override;
  bool Decode(DecodedAudio& audio) override;
  int64_t Seek(uint64_t frame, uint64_t ms) override;
  TagItems TagsToWrite(const std::string& path, TagItems items) override;

 private:
  static FLAC__StreamDecoderWriteStatus OnWrite(const FLAC__StreamDecoder*,
                                                const FLAC__Frame* frame,
                                                const FLAC__int32* const buffer[], void* client);
  static void OnMetadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* block,
                         void* client);
  static void OnError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status,
                      void* client);
  void Interleave(const FLAC__int32* const buffer[], unsigned channels, unsigned count,
                  uint8_t* out);
  bool StartDecoder();
  uint32_t ChannelMask() const;
  bool DescribeFormat();
  bool FinishStream();
  bool Fill(bool& end);

  FLAC__StreamDecoder* flac = nullptr;
  bool finished = false;  // nothing more to decode (the MD5 check has run): reopen before seeking
  // From the metadata.
  bool haveInfo = false;
  FLAC__StreamMetadata_StreamInfo info{};
  uint32_t maskField = 0;  // the channel mask comment, 0 when absent or not usable
  uint64_t audioStart = 0;
  // The stream as handed out.
  SampleKind kind = SampleKind::None;
  int shift = 0;  // odd depths are raised to full scale in their container
  // Decoding.
  int errorStatus = -1;  // the first error libFLAC reported, -1 for none
  std::string formatChange;
  uint64_t decoded = 0;  // the sample number after the last one decoded
  std::vector<int32_t> frameSamples;
  std::vector<uint8_t> data;   // decoded audio in the block layout
  bool dataHandedOut = false;  // data went out in the last block: cleared before decoding on
};

void FlacDecoder::CloseStream() {
  if (flac) FLAC__stream_decoder_delete(flac);
  flac = nullptr;
}

void FlacDecoder::Interleave(const FLAC__int32* const buffer[], unsigned channels, unsigned count,
                             uint8_t* out) {
  frameSamples.resize(size_t(count) * channels);
  int32_t* samples = frameSamples.data();
  for (unsigned i = 0; i < count; ++i)
    for (unsigned c = 0; c < channels; ++c) *samples++ = int32_t(uint32_t(buffer[c][i]) << shift);
  FromInt32(frameSamples.data(), frameSamples.size(), kind, out);
}

// Appends one frame in the block layout, raised to full scale in its container.
FLAC__StreamDecoderWriteStatus FlacDecoder::OnWrite(const FLAC__StreamDecoder*,
                                                    const FLAC__Frame* frame,
                                                    const FLAC__int32* const buffer[],
                                                    void* client) {
  FlacDecoder& d = *static_cast<FlacDecoder*>(client);
  unsigned channels = frame->header.channels;
  if (channels != d.info.channels || frame->header.bits_per_sample != d.info.bits_per_sample) {
    d.formatChange =
        "a frame at sample " + std::to_string(d.decoded) + " changes the channels or depth";
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
    d.Interleave(buffer, channels, count, out);
  d.decoded += count;
  return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void FlacDecoder::OnMetadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* block,
                             void* client) {
  FlacDecoder& d = *static_cast<FlacDecoder*>(client);
  if (block->type == FLAC__METADATA_TYPE_STREAMINFO) {
    d.info = block->data.stream_info;
    d.haveInfo = true;
  } else if (block->type == FLAC__METADATA_TYPE_VORBIS_COMMENT) {
    d.maskField = flacmask::Parse(flacmask::Find(block).c_str());
  }
}

void FlacDecoder::OnError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus status,
                          void* client) {
  FlacDecoder& d = *static_cast<FlacDecoder*>(client);
  if (d.errorStatus < 0) d.errorStatus = int(status);
}

// A fresh libFLAC decoder on the file, through its metadata.
bool FlacDecoder::StartDecoder() {
  CloseStream();
  haveInfo = false;
  errorStatus = -1;
  finished = false;
  flac = FLAC__stream_decoder_new();
  if (!flac) return FailOpen("libFLAC could not be set up.");
  FLAC__stream_decoder_set_md5_checking(flac, true);
  FLAC__stream_decoder_set_metadata_respond(flac, FLAC__METADATA_TYPE_VORBIS_COMMENT);
  errno = 0;
  FLAC__StreamDecoderInitStatus status =
      FLAC__stream_decoder_init_file(flac, name.c_str(), OnWrite, OnMetadata, OnError, this);
  if (status == FLAC__STREAM_DECODER_INIT_STATUS_ERROR_OPENING_FILE)
    return FailOpen(errno ? strerror(errno) : "the file cannot be opened.");
  if (status != FLAC__STREAM_DECODER_INIT_STATUS_OK)
    return FailOpen(std::string("libFLAC refused the file (") +
                    FLAC__StreamDecoderInitStatusString[status] + ").");
  bool read = FLAC__stream_decoder_process_until_end_of_metadata(flac);
  if (!haveInfo) return FailOpen("not a FLAC file (no FLAC stream header found).");
  if (!read || errorStatus >= 0) return FailOpen(ErrorText(errorStatus) + ".");
  return true;
}

// Where the channels go: a usable mask comment wins over what FLAC takes for the count.
uint32_t FlacDecoder::ChannelMask() const {
  int channels = int(info.channels);
  if (maskField && std::popcount(maskField) == channels) return maskField;
  uint32_t mask = flacmask::Assumed(channels);
  return mask ? mask : TV_CHANNEL_MASK_UNKNOWN;
}

bool FlacDecoder::DescribeFormat() {
  int bits = int(info.bits_per_sample);
  int container = (bits + 7) / 8 * 8;
  kind = IntegerKind(container);
  if (kind == SampleKind::None || info.channels == 0 || info.sample_rate == 0)
    return FailOpen("unsupported stream (" + std::to_string(bits) + " bits, " +
                    std::to_string(info.channels) + " channels, " +
                    std::to_string(info.sample_rate) + " Hz).");
  shift = container - bits;
  int channels = int(info.channels);
  uint32_t mask = ChannelMask();
  bool extensible = channels > 2 || shift != 0 || mask != DefaultChannelMask(channels);
  image = MakeImage(kind, channels, int(info.sample_rate), extensible, mask);
  if (extensible) image.wValidBitsPerSample = uint16_t(bits);
  return true;
}

bool FlacDecoder::OpenStream() {
  maskField = 0;
  formatChange.clear();
  data.clear();
  dataHandedOut = false;
  decoded = 0;
  if (!StartDecoder() || !DescribeFormat()) return false;
  FLAC__uint64 start = 0;
  audioStart = FLAC__stream_decoder_get_decode_position(flac, &start) ? start : 0;
  frames = info.total_samples ? int64_t(info.total_samples) : -1;  // 0: the header does not say
  return true;
}

Description FlacDecoder::Describe() {
  uint64_t total = info.total_samples;
  uint64_t audioBytes = FileSize(name);
  audioBytes = audioBytes > audioStart ? audioBytes - audioStart : 0;
  bitRate = total ? uint32_t(audioBytes * 8 * info.sample_rate / total) : 0;
  return {MakeTagItemBlock(WithoutMaskField(ReadFileTags(name))), u"Lossless"};
}

// The end of the stream: every announced sample must have come, and the MD5 must match.
bool FlacDecoder::FinishStream() {
  uint64_t total = info.total_samples;
  if (total && decoded != total)
    return FailReadAndClose("the stream is truncated: " + std::to_string(decoded) + " of " +
                            std::to_string(total) + " samples.");
  finished = true;
  if (!FLAC__stream_decoder_finish(flac))
    return FailReadAndClose("the decoded audio does not match the stream's MD5 signature.");
  return true;
}

// Decodes whole frames until a block's worth is there or the stream ends.
bool FlacDecoder::Fill(bool& end) {
  end = false;
  while (data.size() < kBlockFrames * image.Format.nBlockAlign) {
    bool ok = FLAC__stream_decoder_process_single(flac);
    FLAC__StreamDecoderState state = FLAC__stream_decoder_get_state(flac);
    if (!formatChange.empty()) return FailReadAndClose(formatChange + ".");
    // A stream cut inside a frame loses sync at its end: say that it is short.
    bool atEnd = state == FLAC__STREAM_DECODER_END_OF_STREAM;
    if (errorStatus >= 0 && !(atEnd && decoded < info.total_samples))
      return FailReadAndClose(ErrorText(errorStatus) + " after sample " + std::to_string(decoded) +
                              ".");
    if (atEnd) {
      end = true;
      return FinishStream();
    }
    if (!ok) return FailReadAndClose(std::string(FLAC__StreamDecoderStateString[state]) + ".");
  }
  return true;
}

bool FlacDecoder::Decode(DecodedAudio& audio) {
  if (dataHandedOut) data.clear();
  dataHandedOut = true;
  bool end = false;
  if (!finished && !Fill(end)) return false;
  audio.data = data.data();
  audio.frames = data.size() / image.Format.nBlockAlign;
  audio.end = end || finished;
  return true;
}

int64_t FlacDecoder::Seek(uint64_t sample, uint64_t) {
  if (finished && !StartDecoder()) return -1;
  data.clear();
  dataHandedOut = false;
  errorStatus = -1;
  if (info.total_samples &&
      sample >= info.total_samples) {  // libFLAC refuses to seek to the very end
    finished = true;
    decoded = info.total_samples;
    return int64_t(decoded);
  }
  if (!FLAC__stream_decoder_seek_absolute(flac, sample)) {
    if (FLAC__stream_decoder_get_state(flac) == FLAC__STREAM_DECODER_SEEK_ERROR)
      FLAC__stream_decoder_flush(flac);
    data.clear();
    return -1;
  }
  // libFLAC hands the frame holding the target over during the seek, trimmed to start there.
  decoded = sample + data.size() / image.Format.nBlockAlign;
  return int64_t(sample);
}

// The engine's tag block replaces the file's tags; the channel mask field stays.
TagItems FlacDecoder::TagsToWrite(const std::string& path, TagItems items) {
  items = WithoutMaskField(std::move(items));
  FLAC__StreamMetadata* comments = nullptr;
  if (FLAC__metadata_get_tags(path.c_str(), &comments)) {
    std::string mask = flacmask::Find(comments);
    if (!mask.empty()) items.push_back({FromUtf8(flacmask::kField), FromUtf8(mask), {}});
    FLAC__metadata_object_delete(comments);
  }
  return items;
}

}  // namespace

std::span<const DecodedType> codec::DecodedTypes() { return kTypes; }
DecoderPlugin* codec::NewDecoder() { return new (std::nothrow) FlacDecoder; }
