// The test DSP effect: live or not as configured; maps every audio byte b to b*mul+add.
#define TV_DSP_PLUGIN
#include <sstream>

#include "tests/support/plugins/TestPlugin.h"

using namespace tvtest;

namespace {

TestInstance* Of(TvInstance instance) { return static_cast<TestInstance*>(instance); }

void Transform(const TestInstance& self, uint8_t* data, size_t size) {
  long mul = self.Number("mul", 1), add = self.Number("add", 0);
  for (size_t i = 0; i < size; ++i) data[i] = uint8_t(data[i] * mul + add);
}

// "rate=N": the pass resamples, as far as the format tells.
void SetRate(const TestInstance& self, TvWaveFormatExtensible* format) {
  long rate = self.Number("rate");
  if (format == nullptr || rate <= 0) return;
  format->Format.nSamplesPerSec = uint32_t(rate);
  format->Format.nAvgBytesPerSec = uint32_t(rate) * format->Format.nBlockAlign;
}

}  // namespace

TvInstance DSP_Create(TvHostContext* context) {
  return MakeInstance(reinterpret_cast<void*>(&DSP_Create), "DSP_Create", context);
}

int32_t DSP_Destroy(TvInstance instance) {
  EndInstance(Of(instance), "DSP_Destroy");
  return 1;
}

// IsLive and SendOverReplayGainTags carry the parameters, which may answer them.
int32_t DSP_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (value != nullptr && value->text1 != nullptr) Of(instance)->TakeParameters(value->text1);
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
  self.TakeParameters(parameters);
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
    // Hand on a buffer of our own instead of changing the one we were given.
    if (self.Number("own")) {
      auto* data = static_cast<uint8_t*>(block->data);
      self.buffer.assign(data, data + block->byteCount);
      block->data = self.buffer.data();
    }
    Transform(self, static_cast<uint8_t*>(block->data), block->byteCount);
  }
  if (ok && block->endOfStream) SetRate(self, &block->format);
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
  self.TakeParameters(parameters);
  std::vector<uint8_t> audio = ReadWholeFile(ToUtf8(rawFile));
  std::string line = "DSP_PassNonLive file=" + Quoted(rawFile) +
                     " bytes=" + std::to_string(audio.size()) + " format=" + FormatText(format) +
                     " parameters=" + Quoted(parameters) + " quit=" + Quoted(quitEventName);
  self.quitEvent = quitEventName != nullptr ? quitEventName : u"";
  bool ok = self.Allowed("DSP_PassNonLive") && rawFile != nullptr;
  if (ok) {
    Transform(self, audio.data(), audio.size());
    audio.resize(std::min(audio.size(), size_t(self.Number("cut", long(audio.size())))));
    ok = WriteWholeFile(ToUtf8(rawFile), audio.data(), audio.size());
    SetRate(self, format);
  }
  if (self.Number("quit")) self.RaiseQuit(quitEventName);
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
