// The test decoder: announces what its configuration says and hands out blocks as a script of
// tokens lays them out.
#define TV_DECODER_PLUGIN
#include <unistd.h>

#include <algorithm>

#include "tests/support/plugins/TestPlugin.h"

using namespace tvtest;

namespace {

TvWaveFormatExtensible ConfiguredFormat(const TestInstance& self) {
  TvWaveFormatExtensible format{};
  TvWaveFormatEx& f = format.Format;
  f.wFormatTag = uint16_t(self.Number("tag", TV_FORMAT_PCM));
  f.nChannels = uint16_t(self.Number("channels", 2));
  f.nSamplesPerSec = uint32_t(self.Number("rate", 44100));
  f.wBitsPerSample = uint16_t(self.Number("bits", 16));
  f.nBlockAlign = uint16_t(f.nChannels * f.wBitsPerSample / 8);
  f.nAvgBytesPerSec = f.nBlockAlign * f.nSamplesPerSec;
  return format;
}

uint64_t BytesToMs(const TvWaveFormatExtensible& format, uint64_t bytes) {
  return format.Format.nAvgBytesPerSec ? bytes * 1000 / format.Format.nAvgBytesPerSec : 0;
}

// The next size bytes of the stream into the block.
void Fill(TestInstance& self, TvAudioBlock* block, uint64_t size) {
  self.buffer.resize(size_t(size));
  for (uint64_t i = 0; i < size; ++i)
    self.buffer[i] =
        self.Number("ramp") ? uint8_t(self.position + i) : TvTestAudioByte(self.position + i);
  block->data = size ? self.buffer.data() : nullptr;
  block->byteCount = uint32_t(size);
  block->msDuration = BytesToMs(block->format, size);
  self.position += size;
}

// One token of the "blocks" script (none: nothing); false for "F".
bool ScriptedBlock(TestInstance& self, TvAudioBlock* block) {
  if (self.blocks.empty() || self.blocks[0] == 'N') return true;
  if (self.blocks[0] == 'G' && access(self.Setting("gate").c_str(), F_OK) != 0) return true;
  size_t comma = std::min(self.blocks.find(','), self.blocks.size());
  std::string token = self.blocks.substr(0, comma);
  self.blocks.erase(0, comma + 1);
  if (token == "Q") self.RaiseQuit(self.quitEvent.c_str());
  if (token == "F" || token == "e" || token == "Q") return token != "F";
  char* end = nullptr;
  long count = strtol(token.c_str(), &end, 10);
  if (end != token.c_str()) Fill(self, block, uint64_t(count));
  block->endOfStream = *end == 'E';
  if (token.find('@') != std::string::npos)
    block->msPosition = uint64_t(atol(token.c_str() + token.find('@') + 1));
  return true;
}

}  // namespace

TVTEST_SHARED_EXPORTS()

int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  return Of(instance)->Answer("Get", key, value);
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("Open");
  // A real decoder needs its file.
  if (ok && self.Number("anyfile") == 0) ok = access(ToUtf8(info->fileName).c_str(), R_OK) == 0;
  if (ok) {
    info->format = ConfiguredFormat(self);
    info->bitRate = info->format.Format.nAvgBytesPerSec * 8;
    info->byteLength = uint64_t(self.Number("frames", 44100)) * info->format.Format.nBlockAlign;
    info->msLength =
        uint64_t(self.Number("mslength", long(BytesToMs(info->format, info->byteLength))));
    self.position = 0;
    self.blocks = self.Setting("blocks");
  }
  self.Record("Open file=" + Quoted(info->fileName) +
              " level=" + std::to_string(info->interfaceLevel) + " -> " + std::to_string(ok));
  return ok;
}

int32_t Close(TvInstance instance, TvConversionInfo* info) {
  return Of(instance)->Logged(
      "Close", " source=" + Quoted(info->sourceFile) + " output=" + Quoted(info->outputFile));
}

int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  TestInstance& self = *Of(instance);
  bool ok = self.Allowed("DecodeBlock");
  if (ok) {
    block->format = ConfiguredFormat(self);
    block->bitRate = block->format.Format.nAvgBytesPerSec * 8;
    block->msPosition = BytesToMs(block->format, self.position);
    ok = ScriptedBlock(self, block);
  }
  self.Record(
      "DecodeBlock -> " + std::to_string(ok) + " bytes=" + std::to_string(block->byteCount) +
      " pos=" + std::to_string(block->msPosition) + " eos=" + std::to_string(block->endOfStream));
  return ok;
}

#ifndef TVTEST_OMIT_SetPosition
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  Of(instance)->Record("SetPosition" + Numbers({first, second}));
  return 1;
}
#endif

int32_t DeleteATag(TvInstance instance, uint32_t first, uint32_t second) {
  Of(instance)->Record("DeleteATag" + Numbers({first, second}));
  return 1;
}
