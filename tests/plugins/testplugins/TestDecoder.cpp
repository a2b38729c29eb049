// The test decoder: announces what its configuration says and decodes a generated stream.
#define TV_DECODER_PLUGIN
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "tests/plugins/testplugins/TestPluginCore.h"
#include "tests/plugins/testplugins/tvtest_audio.h"

namespace {

TestInstance* Of(TvInstance instance) { return static_cast<TestInstance*>(instance); }

// "rate", "channels", "bits" and "tag" of the configuration, with derived fields filled.
TvWaveFormatExtensible ConfiguredFormat(const TestInstance& self) {
  TvWaveFormatExtensible format{};
  format.Format.wFormatTag = uint16_t(self.Number("tag", TV_FORMAT_PCM));
  format.Format.nChannels = uint16_t(self.Number("channels", 2));
  format.Format.nSamplesPerSec = uint32_t(self.Number("rate", 44100));
  format.Format.wBitsPerSample = uint16_t(self.Number("bits", 16));
  format.Format.nBlockAlign = uint16_t(format.Format.nChannels * format.Format.wBitsPerSample / 8);
  format.Format.nAvgBytesPerSec = format.Format.nBlockAlign * format.Format.nSamplesPerSec;
  return format;
}

uint64_t TotalBytes(const TestInstance& self) {
  return uint64_t(self.Number("frames", 44100)) * ConfiguredFormat(self).Format.nBlockAlign;
}

uint64_t BytesToMs(const TvWaveFormatExtensible& format, uint64_t bytes) {
  return format.Format.nAvgBytesPerSec ? bytes * 1000 / format.Format.nAvgBytesPerSec : 0;
}

}  // namespace

TvInstance Create(TvHostContext* context) {
  return MakeInstance(TVTEST_NAME, "Create", context, CreateAlwaysFails);
}

int32_t Destroy(TvInstance instance) {
  EndInstance(Of(instance), "Destroy");
  return 1;
}

int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("Get", "get", key, value);
}

int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("Set", "set", key, value);
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  TestInstance& self = *Of(instance);
  std::ostringstream line;
  line << "Open file=" << Quoted(info ? info->fileName : nullptr)
       << " level=" << (info ? info->interfaceLevel : 0);
  bool ok = self.Allowed("Open") && info != nullptr;
  // A real decoder needs its file; "-" stands for no file at all.
  if (ok && self.Number("anyfile") == 0) ok = access(ToUtf8(info->fileName).c_str(), R_OK) == 0;
  if (ok) {
    info->format = ConfiguredFormat(self);
    info->bitRate = info->format.Format.nAvgBytesPerSec * 8;
    info->byteLength = TotalBytes(self);
    info->msLength =
        uint64_t(self.Number("mslength", long(BytesToMs(info->format, info->byteLength))));
    self.tags = ReadWholeFile(self.Setting("tags"));
    self.properties = ReadWholeFile(self.Setting("properties"));
    info->idTags = self.tags.empty() ? nullptr : self.tags.data();
    info->idTagsSize = uint32_t(self.tags.size());
    info->properties = self.properties.empty() ? nullptr : self.properties.data();
    info->propertiesSize = uint32_t(self.properties.size());
    self.position = 0;
  }
  line << " -> " << ok;
  self.Record(line.str());
  return ok;
}

int32_t Close(TvInstance instance, TvConversionInfo* info) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("Close");
  self.Record("Close source=" + Quoted(info ? info->sourceFile : nullptr) +
              " output=" + Quoted(info ? info->outputFile : nullptr) + " -> " + std::to_string(ok));
  return ok;
}

int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("DecodeBlock") && block != nullptr;
  // "emptyblocks=N": the first N calls have nothing yet, which is no failure.
  bool waiting = ok && self.calls["DecodeBlock"] <= self.Number("emptyblocks");
  if (ok && !waiting) {
    TvWaveFormatExtensible format = ConfiguredFormat(self);
    uint64_t total = TotalBytes(self);
    uint64_t size =
        std::min<uint64_t>(total - std::min(total, self.position),
                           uint64_t(self.Number("blockframes", 4410)) * format.Format.nBlockAlign);
    self.buffer.resize(size_t(size));
    for (uint64_t i = 0; i < size; ++i) self.buffer[size_t(i)] = TvTestAudioByte(self.position + i);
    block->data = size ? self.buffer.data() : nullptr;
    block->byteCount = uint32_t(size);
    block->format = format;
    block->bitRate = format.Format.nAvgBytesPerSec * 8;
    block->msPosition = BytesToMs(format, self.position);
    block->msDuration = BytesToMs(format, size);
    self.position += size;
    block->endOfStream = self.position >= total;
    self.texts[0] = ToUtf16(self.Setting("status"));
    if (!self.texts[0].empty()) block->statusText = self.texts[0].c_str();
  }
  std::ostringstream line;
  line << "DecodeBlock -> " << ok;
  if (ok) line << " bytes=" << block->byteCount << " eos=" << block->endOfStream;
  self.Record(line.str());
  return ok;
}

#ifndef TVTEST_OMIT_SetPosition
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  Of(instance)->Record("SetPosition " + std::to_string(first) + " " + std::to_string(second));
  return 1;
}
#endif

int32_t DeleteATag(TvInstance instance, uint32_t first, uint32_t second) {
  Of(instance)->Record("DeleteATag " + std::to_string(first) + " " + std::to_string(second));
  return 1;
}
