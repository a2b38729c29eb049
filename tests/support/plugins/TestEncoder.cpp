// The test encoder: writes the raw audio it receives to the output file it is given.
#define TV_ENCODER_PLUGIN
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "tests/support/plugins/TestPlugin.h"

using namespace tvtest;

namespace {

// The record as logged; the "_encoder" item of the extra block is the name the host added.
std::string Describe(const TvConversionInfo* info) {
  std::string text =
      " source=" + Quoted(info->sourceFile) + " output=" + Quoted(info->outputFile) +
      " settings=" + Quoted(info->encoderSettings) + " format=" + FormatText(info->format) +
      " tags=" + std::to_string(info->idTagsSize) + " extra=" + std::to_string(info->extraInfoSize);
  const auto* bytes = static_cast<const char*>(info->extraInfo);
  std::u16string extra(info->extraInfoSize / 2, u'\0');
  if (bytes != nullptr) memcpy(extra.data(), bytes, extra.size() * 2);
  size_t at = extra.find(std::u16string(u"_encoder", 9));
  if (at != std::u16string::npos) text += " encoder=" + ToUtf8(extra.c_str() + at + 9);
  return text;
}

}  // namespace

TVTEST_SHARED_EXPORTS(ENC_)
TVTEST_CONFIG_BIT_EXPORTS(ENC_)

int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("ENC_Get", key, value);
}

int32_t ENC_BeginConversion(TvInstance instance, TvConversionInfo* info) {
  TestInstance& self = *Of(instance);
  // The file is made before the encoder may fail, as a real one would.
  if (info->outputFile != nullptr && self.Number("output", 1) != 0)
    self.fd =
        open(ToUtf8(info->outputFile).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  return self.Logged("ENC_BeginConversion", Describe(info));
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("ENC_EncodeBlock");
  if (ok && block->data != nullptr && self.fd >= 0 && self.Number("write", 1) != 0)
    ok = write(self.fd, block->data, block->byteCount) == ssize_t(block->byteCount);
  self.Record("ENC_EncodeBlock bytes=" + std::to_string(block->byteCount) + " pos=" +
              std::to_string(block->msPosition) + " eos=" + std::to_string(block->endOfStream) +
              " format=" + FormatText(&block->format) + " status=" + Quoted(block->statusText) +
              " -> " + std::to_string(ok));
  return ok;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo* info, int32_t* writeTags) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("ENC_EndConversion");
  std::string line =
      "ENC_EndConversion" + Describe(info) + " writeTags=" + std::to_string(*writeTags);
  if (self.fd >= 0) close(self.fd);
  self.fd = -1;
  *writeTags = int32_t(self.Number("writetags"));
  self.Record(line + " -> " + std::to_string(ok));
  return ok;
}
