// The export layer every encoder plug-in shares: the C entry points over one small class
// whose subclass does the codec's own work.
#pragma once
#include "codecs/common/SampleLayout.h"
#include "sdk/tv_plugin.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace codec {

class EncoderPlugin {
 public:
  virtual ~EncoderPlugin() = default;

  // The entry points, after the instance and record were checked for null.
  int32_t Get(const char16_t* key, TvPluginValue& value);
  int32_t Begin(const TvConversionInfo& info);
  int32_t EncodeBlock(const TvAudioBlock& block);
  // info is the engine's record, with the run's failed flag behind it, or null.
  int32_t End(TvConversionInfo* info, int32_t* writeTagsOut);
  // Frees the codec and closes the output; harmless when nothing is open.
  virtual void Release() = 0;

  TvHostContext host{};

 protected:
  // Answers to "Extension" and "IsLossless", given the option line.
  virtual const char16_t* Extension(std::u16string_view settings) const = 0;
  virtual bool IsLossless(std::u16string_view settings) const { return false; }
  // The answer to "NeedHQAudio": float samples from the decoder.
  virtual bool NeedsFloat() const { return false; }

  // Reads the option line into the subclass's settings and sets writeTags; gives the first
  // option not understood, as written ("-b 999"), or nothing.
  virtual std::u16string ReadSettings(std::u16string_view line) = 0;
  // A full error message for settings that do not go together; empty when they do.
  virtual std::string SettingsConflict() const { return {}; }
  // Whether a source in this layout can be encoded; by default any PCM or float layout.
  virtual bool TakesSource(const TvWaveFormatExtensible& source) const;
  // True when the stream is set up for the source's sample kind, so every block must keep it.
  virtual bool KeepsSampleKind() const { return false; }

  // Creates the output `name` for audio in `image`; false after Fail.
  virtual bool Start(const TvConversionInfo& info) = 0;
  // Encodes and writes a block in the source's channels and rate; false after Fail.
  virtual bool Encode(const TvAudioBlock& block) = 0;
  // Flushes and closes the output; false after Fail.
  virtual bool Finish() = 0;
  // What a failed run releases with; a codec may also remove files it wrote beside the output.
  virtual void ReleaseFailed() { Release(); }

  // Each tells the host, releases, removes an output this run created and gives false.
  bool Fail(const std::string& text);
  bool CannotEncode(const std::string& why);  // Unable to encode '<name>': why
  bool CannotCreate(const std::string& file,
                    const std::string& why);  // Unable to create file '<file>': why
  bool Failed(const std::string& doing, const std::string& why);  // <doing> '<name>' failed: why

  // A block's sample frames, and its samples as float (-1..1) or right-aligned integers.
  static size_t Frames(const TvAudioBlock& block);
  std::span<float> Floats(const TvAudioBlock& block);
  std::span<int32_t> Integers(const TvAudioBlock& block);

  std::string name;                // the output file, UTF-8
  TvWaveFormatExtensible image{};  // the source's format
  bool writeTags = true;           // asks the engine to write the tags into the finished output

 private:
  bool SameFormat(const TvWaveFormatExtensible& format) const;
  // Releases after a failure and removes the output, if this run created it.
  void Discard();

  bool running = false;        // begun, and neither failed nor finished
  bool createdOutput = false;  // the output did not exist before this run began
  std::vector<float> floatSamples;
  std::vector<int32_t> integerSamples;
};

// Each encoder plug-in defines this: a new instance, or null when out of memory.
EncoderPlugin* NewEncoder();

}  // namespace codec
