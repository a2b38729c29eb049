// Decoder plug-in for Ogg Opus, read with opusfile: always 48 kHz, pre-skip and end trimming
// as the granule positions give them, 16-bit output or float on request.
#define TV_DECODER_PLUGIN
#include "CodecSupport.h"
#include "OpusChannels.h"
#include "OpusPages.h"
#include "SampleLayout.h"
#include "TagBridge.h"

#include <opusfile.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>

using namespace codec;

namespace {

constexpr int kRate = 48000;
constexpr size_t kBlockFrames = 16384;
constexpr size_t kPacketFrames = 5760;  // the longest Opus packet, 120 ms

struct Decoder {
  TvHostContext host{};
  OggOpusFile* file = nullptr;
  bool asFloat = false;
  std::string name;
  TvWaveFormatExtensible image{};
  int channels = 0;
  int64_t samples = 0;   // frames of the whole stream, trimmed
  int64_t position = 0;  // frames handed out
  uint32_t bitRate = 0;
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
  std::vector<uint8_t> data;
};

Decoder* Cast(TvInstance instance) { return static_cast<Decoder*>(instance); }

void CloseFile(Decoder& d) {
  if (d.file) op_free(d.file);
  d.file = nullptr;
}

bool Fail(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Unable to open file '" + d.name + "': " + text));
  CloseFile(d);
  return false;
}

std::string Reason(int code) {
  switch (code) {
    case OP_HOLE: return "the stream is damaged: data is missing.";
    case OP_EREAD: return "the file could not be read.";
    case OP_EFAULT: return "opusfile ran out of memory or failed inside.";
    case OP_EIMPL: return "the stream uses a feature opusfile does not support.";
    case OP_ENOTFORMAT: return "not an Ogg Opus file (no Opus stream found).";
    case OP_EBADHEADER: return "the Opus headers are missing or damaged.";
    case OP_EVERSION: return "the Opus header has an unknown version.";
    case OP_EBADPACKET: return "an Opus packet is damaged.";
    case OP_EBADLINK: return "a link of the stream could not be found (damaged file).";
    case OP_EBADTIMESTAMP: return "the stream's timestamps are invalid (damaged or truncated file).";
    default: return "opusfile error " + std::to_string(code) + ".";
  }
}

// Chained streams are read as one, so every link must have the same channel count.
bool SameChannels(OggOpusFile* file) {
  int links = op_link_count(file);
  for (int link = 1; link < links; ++link)
    if (op_channel_count(file, link) != op_channel_count(file, 0)) return false;
  return true;
}

bool OpenStream(Decoder& d, opus_pages::PageScan& scan) {
  struct stat st{};
  if (stat(d.name.c_str(), &st) != 0) return Fail(d, std::string(strerror(errno)) + ".");
  int code = 0;
  d.file = op_open_file(d.name.c_str(), &code);
  if (!d.file) return Fail(d, Reason(code));
  scan = opus_pages::ScanPages(d.name);
  if (!scan.problem.empty()) return Fail(d, scan.problem);
  if (!SameChannels(d.file)) return Fail(d, "the links of the chained stream have different channel counts.");
  d.samples = op_pcm_total(d.file, -1);
  if (d.samples < 0) return Fail(d, Reason(int(d.samples)));
  if (d.samples == 0 || scan.audioPackets == 0) return Fail(d, "the stream holds no audio.");
  d.channels = op_channel_count(d.file, 0);
  return true;
}

std::u16string QualityText(uint32_t bitRate, bool constant) {
  return FromUtf8("Lossy, " + std::to_string((bitRate + 500) / 1000) + " kbps " + (constant ? "CBR" : "VBR"));
}

void DescribeStream(Decoder& d, const opus_pages::PageScan& scan, TvOpenInfo& info) {
  d.image = MakeDecodedImage(d.asFloat ? SampleKind::F32 : SampleKind::S16, d.channels, kRate);
  opus_int32 bitRate = op_bitrate(d.file, -1);
  d.bitRate = bitRate > 0 ? uint32_t(bitRate) : 0;
  info.format = d.image;
  info.msLength = uint64_t(d.samples) * 1000 / kRate;
  info.byteLength = uint64_t(d.samples) * d.image.Format.nBlockAlign;
  info.bitRate = d.bitRate;
  d.tags = MakeTagItemBlock(ReadFileTags(d.name));
  d.properties = MakeTagBlock({{TV_TAG_AUDIO_QUALITY, QualityText(d.bitRate, scan.constantSize)}});
  info.idTags = d.tags.data();
  info.idTagsSize = uint32_t(d.tags.size());
  info.properties = d.properties.data();
  info.propertiesSize = uint32_t(d.properties.size());
}

// Frames decoded into the block buffer from frame `at` on; 0 at the end, negative on error.
int ReadSome(Decoder& d, size_t at) {
  int room = int((kBlockFrames - at) * size_t(d.channels));
  if (d.asFloat) return op_read_float(d.file, reinterpret_cast<float*>(d.data.data()) + at * d.channels, room, nullptr);
  return op_read(d.file, reinterpret_cast<opus_int16*>(d.data.data()) + at * d.channels, room, nullptr);
}

void PutInWavOrder(Decoder& d, size_t frames) {
  if (d.asFloat)
    opus_order::ToWavOrder(reinterpret_cast<float*>(d.data.data()), frames, d.channels);
  else
    opus_order::ToWavOrder(reinterpret_cast<opus_int16*>(d.data.data()), frames, d.channels);
}

// Set "IDTags": offset 24 the file, offset 36 the block, offset 4 its length.
int32_t WriteTags(Decoder& d, const TvPluginValue& value) {
  if (!value.text1 || (value.value > 0 && !value.data)) return 0;
  TagItems items = value.value > 0 ? ReadTagItemBlock(value.data, uint32_t(value.value)) : TagItems{};
  std::u16string error;
  if (WriteFileTags(ToUtf8(View(value.text1)), items, &error)) return 1;
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
    value->text1 = u".opus";
    value->text2 = u"Opus";
    return 1;
  }
  return 0;
}

int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key) return 0;
  Decoder& d = *Cast(instance);
  if (EqualsNoCase(key, TV_KEY_DECODE_AS)) {
    d.asFloat = value && EqualsNoCase(View(value->text1), TV_DECODE_AS_HIGHEST);
    return 1;
  }
  if (EqualsNoCase(key, TV_KEY_ID_TAGS)) return value ? WriteTags(d, *value) : 0;
  return EqualsNoCase(key, TV_KEY_EVENT_QUIT) || EqualsNoCase(key, TV_KEY_BATCH_ID);
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  if (!instance || !info) return 0;
  Decoder& d = *Cast(instance);
  CloseFile(d);
  d.name = ToUtf8(View(info->fileName));
  d.position = 0;
  opus_pages::PageScan scan;
  if (!OpenStream(d, scan)) return 0;
  DescribeStream(d, scan, *info);
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
  if (!d.file) return 0;
  uint32_t align = d.image.Format.nBlockAlign;
  d.data.resize(kBlockFrames * align);
  size_t frames = 0;
  bool end = false;
  while (!end && kBlockFrames - frames >= kPacketFrames) {
    int got = ReadSome(d, frames);
    if (got < 0) {
      ReportError(d.host, FromUtf8("Error: Reading '" + d.name + "' failed: " + Reason(got)));
      return 0;
    }
    end = got == 0;
    frames += size_t(got);
  }
  PutInWavOrder(d, frames);
  block->data = frames ? d.data.data() : nullptr;
  block->byteCount = uint32_t(frames * align);
  block->format = d.image;
  block->bitRate = d.bitRate;
  block->msDuration = frames * 1000 / kRate;
  block->msPosition = uint64_t(d.position) * 1000 / kRate;
  d.position += int64_t(frames);
  block->endOfStream = end;
  return 1;
}

// first: position in milliseconds, low half; second: the high half.
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  if (!instance || !Cast(instance)->file) return 0;
  Decoder& d = *Cast(instance);
  uint64_t ms = (uint64_t(second) << 32) | first;
  uint64_t frame = std::min(ms, uint64_t(d.samples)) * kRate / 1000;
  if (frame > uint64_t(d.samples)) frame = uint64_t(d.samples);
  if (op_pcm_seek(d.file, ogg_int64_t(frame)) != 0) return 0;
  d.position = int64_t(frame);
  return 1;
}

int32_t DeleteATag(TvInstance, uint32_t, uint32_t) { return 0; }

}  // extern "C"
