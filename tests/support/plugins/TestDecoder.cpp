// The test decoder: announces what its configuration says and decodes a generated stream, or
// blocks as a script of tokens lays them out.
#define TV_DECODER_PLUGIN
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "tests/support/plugins/TestPlugin.h"

using namespace tvtest;

namespace {

TestInstance* Of(TvInstance instance) { return static_cast<TestInstance*>(instance); }

// The configured format, with the derived fields filled.
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

// size bytes of the stream from the current position into the block.
void Fill(TestInstance& self, TvAudioBlock* block, uint64_t size) {
  self.buffer.resize(size_t(size));
  bool ramp = self.Number("ramp") != 0;
  for (uint64_t i = 0; i < size; ++i)
    self.buffer[size_t(i)] = ramp ? uint8_t(self.position + i) : TvTestAudioByte(self.position + i);
  block->data = size ? self.buffer.data() : nullptr;
  block->byteCount = uint32_t(size);
  block->msPosition = BytesToMs(block->format, self.position);
  block->msDuration = BytesToMs(block->format, size);
  self.position += size;
}

// One token of the "blocks" script; false for "F".
bool ScriptedBlock(TestInstance& self, TvAudioBlock* block) {
  if (self.blocks.empty() || self.blocks[0] == 'N') return true;
  size_t comma = self.blocks.find(',');
  std::string token = self.blocks.substr(0, comma);
  self.blocks = comma == std::string::npos ? "" : self.blocks.substr(comma + 1);
  if (token == "F") return false;
  if (token == "Q") self.RaiseQuit(self.quitEvent.c_str());
  if (token == "e" || token == "Q") return true;
  block->msPosition = BytesToMs(block->format, self.position);
  char* end = nullptr;
  long count = strtol(token.c_str(), &end, 10);
  if (end != token.c_str()) Fill(self, block, uint64_t(count));
  block->endOfStream = *end == 'E';
  size_t at = token.find('@');
  if (at != std::string::npos) block->msPosition = uint64_t(strtol(&token[at + 1], nullptr, 10));
  return true;
}

}  // namespace

TvInstance Create(TvHostContext* context) {
  return MakeInstance(reinterpret_cast<void*>(&Create), "Create", context);
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
  // A real decoder needs its file.
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
    self.blocks = self.Setting("blocks");
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
  // The first calls may have nothing yet, which is no failure.
  bool waiting = ok && self.calls["DecodeBlock"] <= self.Number("emptyblocks");
  if (ok && !waiting) {
    block->format = ConfiguredFormat(self);
    block->bitRate = block->format.Format.nAvgBytesPerSec * 8;
    if (!self.Setting("blocks").empty()) {
      ok = ScriptedBlock(self, block);
    } else {
      uint64_t total = TotalBytes(self);
      Fill(self, block,
           std::min<uint64_t>(
               total - std::min(total, self.position),
               uint64_t(self.Number("blockframes", 4410)) * block->format.Format.nBlockAlign));
      block->endOfStream = self.position >= total;
    }
    self.texts[0] = ToUtf16(self.Setting("status"));
    if (!self.texts[0].empty()) block->statusText = self.texts[0].c_str();
  }
  std::ostringstream line;
  line << "DecodeBlock -> " << ok;
  if (block != nullptr)
    line << " bytes=" << block->byteCount << " pos=" << block->msPosition
         << " eos=" << block->endOfStream;
  self.Record(line.str());
  return ok;
}

#ifndef TVTEST_OMIT_SetPosition
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  Of(instance)->Record("SetPosition " + std::to_string(first) + " " + std::to_string(second));
  return 1;
}
#endif

#ifndef TVTEST_OMIT_DeleteATag
int32_t DeleteATag(TvInstance instance, uint32_t first, uint32_t second) {
  Of(instance)->Record("DeleteATag " + std::to_string(first) + " " + std::to_string(second));
  return 1;
}
#endif
