// The test DSP effect: live or not as configured; "invert=1" complements every audio byte.
#define TV_DSP_PLUGIN
#include <sstream>

#include "tests/plugins/testplugins/TestPluginCore.h"

namespace {

TestInstance* Of(TvInstance instance) { return static_cast<TestInstance*>(instance); }

void Invert(uint8_t* data, size_t size) {
  for (size_t i = 0; i < size; ++i) data[i] = uint8_t(~data[i]);
}

}  // namespace

TvInstance DSP_Create(TvHostContext* context) {
  return MakeInstance(TVTEST_NAME, "DSP_Create", context, CreateAlwaysFails);
}

int32_t DSP_Destroy(TvInstance instance) {
  EndInstance(Of(instance), "DSP_Destroy");
  return 1;
}

int32_t DSP_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("DSP_Get", "get", key, value);
}

int32_t DSP_Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("DSP_Set", "set", key, value);
}

int32_t DSP_ShowConfigBit(TvInstance instance, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  Of(instance)->Record("DSP_ShowConfigBit " + std::to_string(a) + " " + std::to_string(b) + " " +
                       std::to_string(c) + " " + std::to_string(d));
  return 1;
}

#ifndef TVTEST_OMIT_DSP_RemoveConfigBit
int32_t DSP_RemoveConfigBit(TvInstance instance, uint32_t a) {
  Of(instance)->Record("DSP_RemoveConfigBit " + std::to_string(a));
  return 1;
}
#endif

int32_t DSP_BeginConversion(TvInstance instance, TvConversionInfo* info,
                            const char16_t* parameters) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("DSP_BeginConversion");
  self.Record("DSP_BeginConversion output=" + Quoted(info ? info->outputFile : nullptr) +
              " format=" + FormatText(info ? info->format : nullptr) +
              " parameters=" + Quoted(parameters) + " -> " + std::to_string(ok));
  return ok;
}

int32_t DSP_EndConversion(TvInstance instance, TvConversionInfo* info) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("DSP_EndConversion");
  self.Record("DSP_EndConversion output=" + Quoted(info ? info->outputFile : nullptr) + " -> " +
              std::to_string(ok));
  return ok;
}

int32_t DSP_PassAudioBlock(TvInstance instance, TvAudioBlock* block) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("DSP_PassAudioBlock") && block != nullptr;
  if (ok && block->data != nullptr) {
    // "own=1": hand on a buffer of our own instead of changing the one we were given.
    if (self.Number("own")) {
      auto* data = static_cast<uint8_t*>(block->data);
      self.buffer.assign(data, data + block->byteCount);
      block->data = self.buffer.data();
    }
    if (self.Number("invert")) Invert(static_cast<uint8_t*>(block->data), block->byteCount);
  }
  std::ostringstream line;
  line << "DSP_PassAudioBlock";
  if (block != nullptr)
    line << " bytes=" << block->byteCount << " pos=" << block->msPosition
         << " eos=" << block->endOfStream;
  line << " -> " << ok;
  self.Record(line.str());
  return ok;
}

int32_t DSP_PassNonLive(TvInstance instance, const char16_t* rawFile,
                        TvWaveFormatExtensible* format, const char16_t* parameters,
                        const char16_t* quitEventName) {
  TestInstance& self = *Of(instance);
  std::string line = "DSP_PassNonLive file=" + Quoted(rawFile) + " format=" + FormatText(format) +
                     " parameters=" + Quoted(parameters) + " quit=" + Quoted(quitEventName);
  bool ok = self.Allowed("DSP_PassNonLive") && rawFile != nullptr;
  if (ok && self.Number("invert")) {
    std::vector<uint8_t> audio = ReadWholeFile(ToUtf8(rawFile));
    Invert(audio.data(), audio.size());
    ok = WriteWholeFile(ToUtf8(rawFile), audio.data(), audio.size());
  }
  // "rate=N": the pass resamples, as far as the format tells.
  if (ok && format != nullptr && self.Number("rate")) {
    format->Format.nSamplesPerSec = uint32_t(self.Number("rate"));
    format->Format.nAvgBytesPerSec = format->Format.nSamplesPerSec * format->Format.nBlockAlign;
  }
  self.Record(line + " -> " + std::to_string(ok));
  return ok;
}

int32_t DSP_AfterConversion(TvInstance instance, TvConversionInfo* info) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("DSP_AfterConversion");
  auto* after = reinterpret_cast<TvAfterConversionInfo*>(info);
  self.Record("DSP_AfterConversion output=" + Quoted(info ? info->outputFile : nullptr) +
              " failed=" + (after ? std::to_string(after->failed) : "null") + " -> " +
              std::to_string(ok));
  return ok;
}
