// The export layer every encoder plug-in shares: the C entry points over one small class
// whose subclass does the codec's own work.
#define TV_ENCODER_PLUGIN
#include "codecs/common/EncoderPlugin.h"
#include "codecs/common/CodecSupport.h"
#include "codecs/common/ExportGuard.h"

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace codec {

int32_t EncoderPlugin::Get(const char16_t* key, TvPluginValue& value) {
  if (EqualsNoCase(key, TV_KEY_EXTENSION)) {
    value.text1 = Extension(View(value.text1));
    return 1;
  }
  if (EqualsNoCase(key, TV_KEY_IS_LOSSLESS)) return IsLossless(View(value.text1));
  if (EqualsNoCase(key, TV_KEY_NEED_HQ_AUDIO)) return NeedsFloat();
  return 0;
}

int32_t EncoderPlugin::Begin(const TvConversionInfo& info) {
  Release();
  running = false;
  name = ToUtf8(View(info.outputFile));
  struct stat st {};
  createdOutput = lstat(name.c_str(), &st) != 0 && errno == ENOENT;
  image = *info.format;
  std::u16string problem = ReadSettings(View(info.encoderSettings));
  if (!problem.empty()) return Fail("Error: Unknown encoder setting '" + ToUtf8(problem) + "'.");
  std::string conflict = SettingsConflict();
  if (!conflict.empty()) return Fail(conflict);
  if (!TakesSource(image)) return CannotEncode("the source is not PCM or float audio.");
  running = Start(info);
  return running;
}

bool EncoderPlugin::TakesSource(const TvWaveFormatExtensible& source) const {
  return KindOfImage(source) != SampleKind::None;
}

int32_t EncoderPlugin::EncodeBlock(const TvAudioBlock& block) {
  if (!running) return 0;
  if (block.byteCount == 0 || !block.data) return 1;
  if (!SameFormat(block.format))
    return CannotEncode("the audio changed its format during the conversion.");
  return Encode(block);
}

bool EncoderPlugin::SameFormat(const TvWaveFormatExtensible& format) const {
  SampleKind kind = KindOfImage(format);
  return kind != SampleKind::None && (!KeepsSampleKind() || kind == KindOfImage(image)) &&
         format.Format.nChannels == image.Format.nChannels &&
         format.Format.nSamplesPerSec == image.Format.nSamplesPerSec;
}

namespace {
// The engine keeps the run's failed flag in the word behind the record; its relay thread may
// raise it at any time.
bool RunFailed(TvConversionInfo* info) {
  if (!info) return false;
  uint32_t& flag = reinterpret_cast<TvAfterConversionInfo*>(info)->failed;
  return std::atomic_ref<uint32_t>(flag).load() != 0;
}
}  // namespace

int32_t EncoderPlugin::End(TvConversionInfo* info, int32_t* writeTagsOut) {
  if (writeTagsOut) *writeTagsOut = 0;
  if (!running) return 0;  // never begun, or failed already
  if (RunFailed(info)) {
    // A partial output would look like a finished one at the final name.
    Discard();
    return 0;
  }
  if (!Finish()) return 0;
  running = false;
  if (writeTagsOut) *writeTagsOut = writeTags;
  return 1;
}

void EncoderPlugin::Discard() {
  ReleaseFailed();
  running = false;
  if (createdOutput) remove(name.c_str());
}

bool EncoderPlugin::Fail(const std::string& text) {
  ReportError(host, FromUtf8(text));
  Discard();
  return false;
}

bool EncoderPlugin::CannotEncode(const std::string& why) {
  return Fail("Error: Unable to encode '" + name + "': " + why);
}

bool EncoderPlugin::CannotCreate(const std::string& file, const std::string& why) {
  return Fail("Error: Unable to create file '" + file + "': " + why);
}

bool EncoderPlugin::Failed(const std::string& doing, const std::string& why) {
  return Fail("Error: " + doing + " '" + name + "' failed: " + why);
}

size_t EncoderPlugin::Frames(const TvAudioBlock& block) {
  return block.byteCount / block.format.Format.nBlockAlign;
}

std::span<float> EncoderPlugin::Floats(const TvAudioBlock& block) {
  std::vector<float>& out = floatSamples;
  out.resize(Frames(block) * block.format.Format.nChannels);
  ToFloat(static_cast<const uint8_t*>(block.data), KindOfImage(block.format), out.size(),
          out.data());
  return out;
}

std::span<int32_t> EncoderPlugin::Integers(const TvAudioBlock& block) {
  std::vector<int32_t>& out = integerSamples;
  out.resize(Frames(block) * block.format.Format.nChannels);
  ToInt32(static_cast<const uint8_t*>(block.data), KindOfImage(block.format), out.size(),
          out.data());
  return out;
}

}  // namespace codec

using codec::EncoderPlugin;
using codec::Guarded;

namespace {

EncoderPlugin* Cast(TvInstance instance) { return static_cast<EncoderPlugin*>(instance); }
const TvHostContext* HostOf(TvInstance instance) { return &Cast(instance)->host; }

}  // namespace

extern "C" {

TvInstance ENC_Create(TvHostContext* context) {
  return Guarded(context, "ENC_Create", [&]() -> TvInstance {
    EncoderPlugin* encoder = codec::NewEncoder();
    if (encoder && context) encoder->host = *context;
    return encoder;
  });
}

int32_t ENC_Destroy(TvInstance instance) {
  if (!instance) return 0;
  return Guarded(HostOf(instance), "ENC_Destroy", [&] {
    Cast(instance)->Release();
    delete Cast(instance);
    return 1;
  });
}

int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key || !value) return 0;
  return Guarded(HostOf(instance), "ENC_Get", [&] { return Cast(instance)->Get(key, *value); });
}

int32_t ENC_Set(TvInstance instance, const char16_t* key, TvPluginValue*) {
  if (!instance || !key) return 0;
  return codec::EqualsNoCase(key, TV_KEY_EVENT_QUIT) || codec::EqualsNoCase(key, TV_KEY_BATCH_ID) ||
         codec::EqualsNoCase(key, TV_KEY_PRIORITY);
}

int32_t ENC_ShowConfigBit(TvInstance, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }
int32_t ENC_RemoveConfigBit(TvInstance, uint32_t) { return 0; }

int32_t ENC_BeginConversion(TvInstance instance, TvConversionInfo* info) {
  if (!instance || !info || !info->format) return 0;
  return Guarded(HostOf(instance), "ENC_BeginConversion",
                 [&] { return int32_t(Cast(instance)->Begin(*info)); });
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  return Guarded(HostOf(instance), "ENC_EncodeBlock",
                 [&] { return Cast(instance)->EncodeBlock(*block); });
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo* info, int32_t* writeTags) {
  if (!instance) return 0;
  return Guarded(HostOf(instance), "ENC_EndConversion",
                 [&] { return Cast(instance)->End(info, writeTags); });
}

}  // extern "C"
