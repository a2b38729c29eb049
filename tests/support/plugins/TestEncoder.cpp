// The test encoder: writes the raw audio it receives to the output file it is given.
#define TV_ENCODER_PLUGIN
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <sstream>

#include "tests/support/plugins/TestPlugin.h"

using namespace tvtest;

namespace {

TestInstance* Of(TvInstance instance) { return static_cast<TestInstance*>(instance); }

// The value of the "_encoder" item of the extra block, which the host adds for the encoder.
std::string EncoderItem(const TvConversionInfo* info) {
  static const char16_t key[] = u"_encoder";
  const auto* bytes = static_cast<const uint8_t*>(info->extraInfo);
  for (uint32_t at = 0; bytes != nullptr && at + sizeof key <= info->extraInfoSize; at += 2) {
    if (memcmp(bytes + at, key, sizeof key) != 0) continue;
    std::u16string value;
    for (at += sizeof key; at + 2 <= info->extraInfoSize; at += 2) {
      char16_t unit;
      memcpy(&unit, bytes + at, 2);
      if (unit == 0) break;
      value += unit;
    }
    return ToUtf8(value.c_str());
  }
  return "";
}

std::string Describe(const TvConversionInfo* info) {
  if (info == nullptr) return " info=null";
  std::ostringstream text;
  text << " source=" << Quoted(info->sourceFile) << " output=" << Quoted(info->outputFile)
       << " settings=" << Quoted(info->encoderSettings) << " format=" << FormatText(info->format)
       << " tags=" << info->idTagsSize << " extra=" << info->extraInfoSize;
  std::string encoder = EncoderItem(info);
  if (!encoder.empty()) text << " encoder=" << encoder;
  return text.str();
}

}  // namespace

TvInstance ENC_Create(TvHostContext* context) {
  return MakeInstance(reinterpret_cast<void*>(&ENC_Create), "ENC_Create", context);
}

int32_t ENC_Destroy(TvInstance instance) {
  EndInstance(Of(instance), "ENC_Destroy");
  return 1;
}

int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("ENC_Get", "get", key, value);
}

int32_t ENC_Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("ENC_Set", "set", key, value);
}

int32_t ENC_ShowConfigBit(TvInstance instance, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  Of(instance)->Record("ENC_ShowConfigBit " + std::to_string(a) + " " + std::to_string(b) + " " +
                       std::to_string(c) + " " + std::to_string(d));
  return 1;
}

#ifndef TVTEST_OMIT_ENC_RemoveConfigBit
int32_t ENC_RemoveConfigBit(TvInstance instance, uint32_t a) {
  Of(instance)->Record("ENC_RemoveConfigBit " + std::to_string(a));
  return 1;
}
#endif

int32_t ENC_BeginConversion(TvInstance instance, TvConversionInfo* info) {
  TestInstance& self = *Of(instance);
  // The file is made before the encoder may fail, as a real one would.
  if (info != nullptr && info->outputFile != nullptr && self.Number("output", 1) != 0)
    self.fd =
        open(ToUtf8(info->outputFile).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  bool ok = self.Allowed("ENC_BeginConversion") && info != nullptr;
  self.Record("ENC_BeginConversion" + Describe(info) + " -> " + std::to_string(ok));
  return ok;
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("ENC_EncodeBlock") && block != nullptr;
  if (ok && block->data != nullptr && self.fd >= 0 && self.Number("write", 1) != 0)
    ok = write(self.fd, block->data, block->byteCount) == ssize_t(block->byteCount);
  std::ostringstream line;
  line << "ENC_EncodeBlock";
  if (block != nullptr)
    line << " bytes=" << block->byteCount << " pos=" << block->msPosition
         << " eos=" << block->endOfStream << " format=" << FormatText(&block->format)
         << " status=" << Quoted(block->statusText);
  line << " -> " << ok;
  self.Record(line.str());
  return ok;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo* info, int32_t* writeTags) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("ENC_EndConversion");
  std::string line = "ENC_EndConversion" + Describe(info) +
                     " writeTags=" + (writeTags ? std::to_string(*writeTags) : "null");
  if (self.fd >= 0) close(self.fd);
  self.fd = -1;
  if (writeTags != nullptr) *writeTags = int32_t(self.Number("writetags"));
  // A tag block left in the record, e.g. several output names.
  self.buffer = ReadWholeFile(self.Setting("extrainfo"));
  if (info != nullptr && !self.buffer.empty()) {
    info->extraInfo = self.buffer.data();
    info->extraInfoSize = uint32_t(self.buffer.size());
  }
  self.Record(line + " -> " + std::to_string(ok));
  return ok;
}
