// Decoder plug-in for WavPack, read with libwavpack: integer PCM at the stream's own sample
// size or 32-bit float, bit-exact, with the correction file (.wvc) beside it when there is one.
#define TV_DECODER_PLUGIN
#include "CodecSupport.h"
#include "SampleLayout.h"
#include "TagBridge.h"
#include "WavPackBlocks.h"

#include <wavpack/wavpack.h>

#include <bit>
#include <cstring>
#include <new>
#include <unistd.h>

using namespace codec;

namespace {

constexpr uint32_t kBlockFrames = 4096;

struct Decoder {
  TvHostContext host{};
  WavpackContext* wpc = nullptr;
  std::string name;
  TvWaveFormatExtensible image{};
  SampleKind kind = SampleKind::None;
  int channels = 0;
  int64_t samples = -1;  // frames of the whole stream; -1 when the file does not say
  int64_t position = 0;  // frames handed out
  uint32_t bitRate = 0;
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
  std::vector<int32_t> unpacked;
  std::vector<uint8_t> data;
};

Decoder* Cast(TvInstance instance) { return static_cast<Decoder*>(instance); }

void CloseFile(Decoder& d) {
  if (d.wpc) WavpackCloseFile(d.wpc);
  d.wpc = nullptr;
}

bool Fail(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Unable to open file '" + d.name + "': " + text));
  CloseFile(d);
  return false;
}

bool FailReading(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Reading '" + d.name + "' failed: " + text));
  CloseFile(d);
  return false;
}

// The file's mask when it names as many speakers as it has channels, else the usual one.
uint32_t ChannelMask(WavpackContext* wpc, int channels) {
  uint32_t mask = uint32_t(WavpackGetChannelMask(wpc));
  if (mask && std::popcount(mask) == channels) return mask;
  uint32_t usual = DefaultChannelMask(channels);
  return usual ? usual : TV_CHANNEL_MASK_UNKNOWN;
}

TvWaveFormatExtensible ImageOf(WavpackContext* wpc, SampleKind kind, int channels) {
  uint32_t mask = ChannelMask(wpc, channels);
  bool extensible = channels > 2 || mask != DefaultChannelMask(channels);
  return MakeImage(kind, channels, int(WavpackGetSampleRate(wpc)), extensible, mask);
}

// The file and its correction file, when there is one, must be sound before decoding starts.
bool CheckFiles(Decoder& d) {
  std::string reason, correction = d.name + "c";  // the name the library looks for
  if (!wavpack::CheckBlocks(d.name, reason)) return Fail(d, reason);
  if (access(correction.c_str(), F_OK) == 0 && !wavpack::CheckBlocks(correction, reason))
    return Fail(d, "its correction file: " + reason);
  return true;
}

bool OpenStream(Decoder& d) {
  if (!CheckFiles(d)) return false;
  char error[128] = {};
  // Normalising leaves ordinary float files (exponent 127) as they are and scales odd ones to +-1.
  d.wpc = WavpackOpenFileInput(d.name.c_str(), error, OPEN_WVC | OPEN_NORMALIZE, 0);
  if (!d.wpc) return Fail(d, error[0] ? error : "not a WavPack file.");
  d.channels = WavpackGetNumChannels(d.wpc);
  bool isFloat = (WavpackGetMode(d.wpc) & MODE_FLOAT) != 0;
  int bytes = WavpackGetBytesPerSample(d.wpc);
  d.kind = isFloat ? (bytes == 4 ? SampleKind::F32 : SampleKind::None) : IntegerKind(bytes * 8);
  if (d.kind == SampleKind::None || d.channels < 1 || WavpackGetSampleRate(d.wpc) == 0)
    return Fail(d, "unsupported sample layout (" + std::to_string(bytes) + " bytes per sample).");
  d.image = ImageOf(d.wpc, d.kind, d.channels);
  d.samples = WavpackGetNumSamples64(d.wpc);
  if (d.samples == 0) return Fail(d, "the stream holds no audio.");
  return true;
}

std::u16string QualityText(WavpackContext* wpc) {
  if (WavpackGetMode(wpc) & MODE_LOSSLESS) return u"Lossless";
  long kbps = long(WavpackGetAverageBitrate(wpc, 0) / 1000 + 0.5);
  return FromUtf8("Lossy, " + std::to_string(kbps) + " kbps hybrid");
}

void DescribeStream(Decoder& d, TvOpenInfo& info) {
  uint64_t rate = d.image.Format.nSamplesPerSec;
  uint64_t frames = d.samples > 0 ? uint64_t(d.samples) : 0;
  d.bitRate = uint32_t(WavpackGetAverageBitrate(d.wpc, 1) + 0.5);
  info.format = d.image;
  info.msLength = frames * 1000 / rate;
  info.byteLength = frames * d.image.Format.nBlockAlign;
  info.bitRate = d.bitRate;
  d.tags = MakeTagItemBlock(ReadFileTags(d.name));
  d.properties = MakeTagBlock({{TV_TAG_AUDIO_QUALITY, QualityText(d.wpc)}});
  info.idTags = d.tags.data();
  info.idTagsSize = uint32_t(d.tags.size());
  info.properties = d.properties.data();
  info.propertiesSize = uint32_t(d.properties.size());
}

// Unpacks the next frames into d.data; false (reported) on damage or a stream that ends early.
bool Unpack(Decoder& d, uint32_t& frames) {
  size_t count = size_t(kBlockFrames) * size_t(d.channels);
  d.unpacked.resize(count);
  bool atEnd = d.samples > 0 && d.position >= d.samples;  // after a seek to the very end
  frames = atEnd ? 0 : WavpackUnpackSamples(d.wpc, d.unpacked.data(), kBlockFrames);
  if (int errors = WavpackGetNumErrors(d.wpc))
    return FailReading(d, std::to_string(errors) + " damaged block(s) (CRC error).");
  if (frames == 0 && d.samples > 0 && d.position < d.samples)
    return FailReading(d, "the stream ends after " + std::to_string(d.position) + " of " +
                              std::to_string(d.samples) + " samples (truncated file).");
  size_t values = size_t(frames) * size_t(d.channels);
  d.data.resize(values * size_t(BitsOf(d.kind) / 8));
  if (d.kind == SampleKind::F32)
    memcpy(d.data.data(), d.unpacked.data(), values * 4);  // the library hands out the float bits
  else
    FromInt32(d.unpacked.data(), values, d.kind, d.data.data());
  return true;
}

// Set "IDTags": text1 the file, data the tag block, value its length.
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
  if (EqualsNoCase(key, TV_KEY_DECODES) && value->index == 0) {
    value->text1 = u".wv";
    value->text2 = u"WavPack";
    return 1;
  }
  return 0;
}

// "Decode As" is taken but changes nothing: the samples are already exact.
int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key) return 0;
  if (EqualsNoCase(key, TV_KEY_ID_TAGS)) return value ? WriteTags(*Cast(instance), *value) : 0;
  return EqualsNoCase(key, TV_KEY_DECODE_AS) || EqualsNoCase(key, TV_KEY_EVENT_QUIT) ||
         EqualsNoCase(key, TV_KEY_BATCH_ID);
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  if (!instance || !info) return 0;
  Decoder& d = *Cast(instance);
  CloseFile(d);
  d.name = ToUtf8(View(info->fileName));
  d.position = 0;
  if (!OpenStream(d)) return 0;
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
  uint32_t frames = 0;
  if (!d.wpc || !Unpack(d, frames)) return 0;
  uint64_t rate = d.image.Format.nSamplesPerSec;
  block->data = frames ? d.data.data() : nullptr;
  block->byteCount = uint32_t(d.data.size());
  block->format = d.image;
  block->bitRate = d.bitRate;
  block->msDuration = uint64_t(frames) * 1000 / rate;
  block->msPosition = uint64_t(d.position) * 1000 / rate;
  d.position += frames;
  block->endOfStream = frames == 0 || (d.samples > 0 && d.position >= d.samples);
  return 1;
}

// first: position in milliseconds, low half; second: the high half. A failed seek leaves the
// library's context unusable, so the file is closed.
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  if (!instance || !Cast(instance)->wpc) return 0;
  Decoder& d = *Cast(instance);
  uint64_t ms = (uint64_t(second) << 32) | first;
  int64_t frame = int64_t(ms * d.image.Format.nSamplesPerSec / 1000);
  if (d.samples > 0 && frame >= d.samples) {
    d.position = d.samples;
    return 1;
  }
  if (!WavpackSeekSample64(d.wpc, frame)) {
    FailReading(d, "seeking to " + std::to_string(ms) + " ms failed.");
    return 0;
  }
  d.position = frame;
  return 1;
}

int32_t DeleteATag(TvInstance, uint32_t, uint32_t) { return 0; }

}  // extern "C"
