// The test DSP effect: live or not as configured; maps every audio byte b to b*mul+add.
#define TV_DSP_PLUGIN
#include <algorithm>

#include "tests/support/plugins/TestPlugin.h"

using namespace tvtest;

namespace {

void Transform(const TestInstance& self, uint8_t* data, size_t size) {
  long mul = self.Number("mul", 1), add = self.Number("add", 0);
  for (size_t i = 0; i < size; ++i) data[i] = uint8_t(data[i] * mul + add);
}

// "rate=N": the pass resamples, as far as the format tells.
void SetRate(const TestInstance& self, TvWaveFormatExtensible* format) {
  if (self.Number("rate") <= 0) return;
  format->Format.nSamplesPerSec = uint32_t(self.Number("rate"));
  format->Format.nAvgBytesPerSec = format->Format.nSamplesPerSec * format->Format.nBlockAlign;
}

}  // namespace

TVTEST_SHARED_EXPORTS(DSP_)
TVTEST_CONFIG_BIT_EXPORTS(DSP_)

// IsLive and SendOverReplayGainTags carry the parameters, which may answer them.
int32_t DSP_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (value->text1 != nullptr) Of(instance)->TakeParameters(value->text1);
  return Of(instance)->Answer("DSP_Get", key, value);
}

int32_t DSP_BeginConversion(TvInstance instance, TvConversionInfo* info,
                            const char16_t* parameters) {
  TestInstance& self = *Of(instance);
  self.TakeParameters(parameters);
  return self.Logged("DSP_BeginConversion", " output=" + Quoted(info->outputFile) +
                                                " format=" + FormatText(info->format) +
                                                " parameters=" + Quoted(parameters));
}

int32_t DSP_EndConversion(TvInstance instance, TvConversionInfo* info) {
  return Of(instance)->Logged("DSP_EndConversion", " output=" + Quoted(info->outputFile));
}

int32_t DSP_PassAudioBlock(TvInstance instance, TvAudioBlock* block) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("DSP_PassAudioBlock");
  if (ok && block->data != nullptr)
    Transform(self, static_cast<uint8_t*>(block->data), block->byteCount);
  if (ok && block->endOfStream) SetRate(self, &block->format);
  self.Record("DSP_PassAudioBlock bytes=" + std::to_string(block->byteCount) +
              " pos=" + std::to_string(block->msPosition) +
              " eos=" + std::to_string(block->endOfStream) + " -> " + std::to_string(ok));
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
  bool ok = self.Allowed("DSP_PassNonLive");
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
  auto* after = reinterpret_cast<TvAfterConversionInfo*>(info);
  return Of(instance)->Logged(
      "DSP_AfterConversion",
      " output=" + Quoted(info->outputFile) + " failed=" + std::to_string(after->failed));
}
