// The export layer every decoder plug-in shares: the C entry points over one small class
// whose subclass does the codec's own work.
#define TV_DECODER_PLUGIN
#include "codecs/common/DecoderPlugin.h"
#include "codecs/common/CodecSupport.h"
#include "codecs/common/ExportGuard.h"
#include "codecs/common/TagItemBlock.h"

#include <algorithm>
#include <limits>

namespace codec {

int32_t DecoderPlugin::Set(const char16_t* key, TvPluginValue* value) {
  // Decoders with exact integer samples take the request and keep handing those out.
  if (EqualsNoCase(key, TV_KEY_DECODE_AS)) {
    asFloat = value && EqualsNoCase(View(value->text1), TV_DECODE_AS_HIGHEST);
    return 1;
  }
  if (EqualsNoCase(key, TV_KEY_ID_TAGS)) return value ? WriteTags(*value) : 0;
  // Stop requests do not matter to a reader of whole files.
  return EqualsNoCase(key, TV_KEY_EVENT_QUIT) || EqualsNoCase(key, TV_KEY_BATCH_ID);
}

int32_t DecoderPlugin::Open(TvOpenInfo& info) {
  CloseStream();
  name = ToUtf8(View(info.fileName));
  frames = -1;
  position = 0;
  if (!OpenStream()) return 0;
  Tell(info, Describe());
  return 1;
}

void DecoderPlugin::Tell(TvOpenInfo& info, Description about) {
  uint64_t known = frames > 0 ? uint64_t(frames) : 0;
  info.format = image;
  info.msLength = MsOf(known);
  info.byteLength = known * image.Format.nBlockAlign;
  info.bitRate = bitRate;
  tags = std::move(about.tags);
  properties = MakeTagItemBlock({{TV_TAG_AUDIO_QUALITY, about.quality, {}}});
  info.idTags = tags.data();
  info.idTagsSize = uint32_t(tags.size());
  info.properties = properties.data();
  info.propertiesSize = uint32_t(properties.size());
}

int32_t DecoderPlugin::DecodeBlock(TvAudioBlock& block) {
  if (!IsOpen()) return 0;
  DecodedAudio audio;
  if (!Decode(audio)) return 0;
  block.data = audio.frames ? audio.data : nullptr;
  block.byteCount = uint32_t(audio.frames * image.Format.nBlockAlign);
  block.format = image;
  block.bitRate = BlockBitRate();
  block.msDuration = MsOf(audio.frames);
  block.msPosition = MsOf(uint64_t(position));
  position += int64_t(audio.frames);
  block.endOfStream = audio.end;
  return 1;
}

int32_t DecoderPlugin::SetPosition(uint64_t ms) {
  if (!IsOpen()) return 0;
  uint64_t rate = image.Format.nSamplesPerSec;
  uint64_t frame = ms > std::numeric_limits<uint64_t>::max() / rate
                       ? std::numeric_limits<uint64_t>::max()
                       : ms * rate / 1000;
  if (frames >= 0) frame = std::min(frame, uint64_t(frames));
  int64_t reached = Seek(frame, ms);
  if (reached < 0) return 0;
  position = reached;
  return 1;
}

bool DecoderPlugin::FailOpen(const std::string& reason) {
  ReportError(host, FromUtf8("Error: Unable to open file '" + name + "': " + reason));
  CloseStream();
  return false;
}

bool DecoderPlugin::FailRead(const std::string& reason) {
  ReportError(host, FromUtf8("Error: Reading '" + name + "' failed: " + reason));
  return false;
}

bool DecoderPlugin::FailReadAndClose(const std::string& reason) {
  FailRead(reason);
  CloseStream();
  return false;
}

}  // namespace codec

using codec::DecoderPlugin;
using codec::Guarded;

namespace {

DecoderPlugin* Cast(TvInstance instance) { return static_cast<DecoderPlugin*>(instance); }
const TvHostContext* HostOf(TvInstance instance) { return &Cast(instance)->host; }

}  // namespace

extern "C" {

TvInstance Create(TvHostContext* context) {
  return Guarded(context, "Create", [&]() -> TvInstance {
    DecoderPlugin* d = codec::NewDecoder();
    if (d && context) d->host = *context;
    return d;
  });
}

int32_t Destroy(TvInstance instance) {
  if (!instance) return 0;
  return Guarded(HostOf(instance), "Destroy", [&] {
    Cast(instance)->Close();
    delete Cast(instance);
    return 1;
  });
}

int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !value || !key) return 0;
  return Guarded(HostOf(instance), "Get", [&] {
    if (!codec::EqualsNoCase(key, TV_KEY_DECODES)) return 0;
    std::span<const codec::DecodedType> types = codec::DecodedTypes();
    if (value->index < 0 || size_t(value->index) >= types.size()) return 0;
    value->text1 = types[size_t(value->index)].extension;
    value->text2 = types[size_t(value->index)].formatName;
    return 1;
  });
}

int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key) return 0;
  return Guarded(HostOf(instance), "Set", [&] { return Cast(instance)->Set(key, value); });
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  if (!instance || !info) return 0;
  return Guarded(HostOf(instance), "Open", [&] { return Cast(instance)->Open(*info); });
}

int32_t Close(TvInstance instance, TvConversionInfo*) {
  if (!instance) return 0;
  return Guarded(HostOf(instance), "Close", [&] {
    Cast(instance)->Close();
    return 1;
  });
}

int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  return Guarded(HostOf(instance), "DecodeBlock",
                 [&] { return Cast(instance)->DecodeBlock(*block); });
}

// first: position in milliseconds, low half; second: the high half.
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  if (!instance) return 0;
  return Guarded(HostOf(instance), "SetPosition",
                 [&] { return Cast(instance)->SetPosition((uint64_t(second) << 32) | first); });
}

int32_t DeleteATag(TvInstance, uint32_t, uint32_t) { return 0; }

}  // extern "C"
