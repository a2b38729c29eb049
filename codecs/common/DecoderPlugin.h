// The export layer every decoder plug-in shares: the C entry points over one small class
// whose subclass does the codec's own work.
#pragma once
#include "sdk/tv_plugin.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace codec {

// One entry of the "Decodes" list.
struct DecodedType {
  const char16_t* extension;  // with its dot
  const char16_t* formatName;
};

// What Describe tells besides the format, the length and the bit rate.
struct Description {
  std::vector<uint8_t> tags;  // the source's tags as a tag block
  std::u16string quality;     // the "Audio Quality" text
};

// Audio a codec decoded for one block.
struct DecodedAudio {
  void* data = nullptr;
  uint64_t frames = 0;
  bool end = false;  // the last block of the stream
};

class DecoderPlugin {
 public:
  virtual ~DecoderPlugin() = default;

  // The entry points, after the instance and record were checked for null.
  int32_t Set(const char16_t* key, TvPluginValue* value);
  int32_t Open(TvOpenInfo& info);
  void Close() { CloseStream(); }
  int32_t DecodeBlock(TvAudioBlock& block);
  int32_t SetPosition(uint64_t ms);

  TvHostContext host{};

 protected:
  // Opens name and sets image and frames; false after FailOpen.
  virtual bool OpenStream() = 0;
  // Called after OpenStream: sets bitRate and gives the tags and the quality text.
  virtual Description Describe() = 0;
  virtual bool IsOpen() const = 0;
  virtual void CloseStream() = 0;
  // The next block's audio, in the layout of image; false after telling the host why.
  virtual bool Decode(DecodedAudio& audio) = 0;
  // Goes to frame (within the stream when its length is known); gives the frame reached,
  // or -1. ms is the time asked for, for messages.
  virtual int64_t Seek(uint64_t frame, uint64_t ms) = 0;
  // Set "IDTags": decoders that write no tags decline it.
  virtual int32_t WriteTags(const TvPluginValue& value) { return 0; }
  // The bit rate each block carries: the source's unless the codec says otherwise.
  virtual uint32_t BlockBitRate() const { return bitRate; }

  // Milliseconds of count frames.
  uint64_t MsOf(uint64_t count) const { return count * 1000 / image.Format.nSamplesPerSec; }
  // Tells the host that the file can't be opened, and closes it; always false.
  bool FailOpen(const std::string& reason);
  // Tells the host that reading failed; always false. The second closes the file too, for a
  // library that can't go on after the failure.
  bool FailRead(const std::string& reason);
  bool FailReadAndClose(const std::string& reason);

  std::string name;      // the source file, UTF-8
  bool asFloat = false;  // "Decode As" asked for the highest quality: float, where the codec can
  TvWaveFormatExtensible image{};  // the decoded stream's format
  int64_t frames = -1;             // of the whole stream; -1 when the file does not say
  int64_t position = 0;            // frames handed out
  uint32_t bitRate = 0;            // of the source

 private:
  void Tell(TvOpenInfo& info, Description about);

  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
};

// Each decoder plug-in defines these: the types it reads, and a new instance (null when out
// of memory).
std::span<const DecodedType> DecodedTypes();
DecoderPlugin* NewDecoder();

}  // namespace codec
