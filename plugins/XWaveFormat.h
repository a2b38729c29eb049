// Owner of one audio format image, plain or extensible, with its time and size conversions.
#pragma once
#include <cstdint>

#include "foundation/XBuffer.h"
#include "foundation/XString.h"
#include "sdk/tv_plugin.h"

class XFile;

// The image in use is either the inline 18 bytes (a plain format with cbSize 0) or a buffer
// of 18 + cbSize bytes. Every Set normalises: PCM and float derive their block align and byte
// rate from channels, bits and rate, and no divisor field is ever left 0.
class XWaveFormat {
 public:
  XWaveFormat();
  explicit XWaveFormat(const TvWaveFormatEx* format);
  XWaveFormat(const XWaveFormat& other);
  XWaveFormat& operator=(const XWaveFormat& other);

  // A null pointer gives the empty format; the instance's own image is ignored.
  void Set(const TvWaveFormatEx* format);
  // From raw bytes: 18 or more is an image (a cbSize running past the end counts as 0),
  // 14 to 17 an old-style format, fewer or null the empty format. The bytes are only read.
  void Set(const void* bytes, uint32_t length);
  void SetPCM(uint16_t channels, uint32_t rate, uint16_t bits);

  const TvWaveFormatEx* Format() const { return image; }
  // Bytes of the image: 18 + cbSize.
  uint32_t Length() const { return TV_FORMAT_PLAIN_SIZE + image->cbSize; }
  bool IsExtensible() const;
  // The sub-format's tag for an extensible format with a known sub-format, else wFormatTag.
  uint16_t EffectiveTag() const;
  bool HasSubFormat(const TvGuid& guid) const;
  // Extensible: writes the sub-format of 1, 2, 3, 6 or 7 and ignores other tags.
  void SetTag(uint16_t tag);

  uint64_t MsToBytes(uint64_t ms);
  uint64_t BytesToMs(uint64_t bytes);
  uint64_t FloorToBlock(uint64_t bytes);
  uint64_t BytesToSamples(uint64_t bytes) const;
  uint64_t SamplesToBytes(uint64_t samples) const;
  uint64_t FloorToChannels(uint64_t samples) const;

  void Recompute();
  void SetChannels(uint16_t channels, bool recompute);
  void SetBits(uint16_t bits, bool recompute);
  void SetRate(uint32_t rate, bool recompute);
  void SetAvgBytes(uint32_t bytesPerSecond) { image->nAvgBytesPerSec = bytesPerSecond; }
  void SetBlockAlign(uint16_t blockAlign) { image->nBlockAlign = blockAlign; }
  void SetRawTag(uint16_t tag) { image->wFormatTag = tag; }

  // PCM or float to extensible; true at once when already extensible.
  bool ToExtensible();
  // Extensible with a known sub-format to its plain tag, keeping bytes behind the 40.
  bool ToPlain();
  // A 40-byte image: cbSize at most 22 for an extensible format, 0 for a plain one.
  void Copy40(TvWaveFormatExtensible* out) const;
  bool IsStandardDepth() const;
  // Same stream layout; an extensible and a plain image compare through ToPlain.
  static bool IsSame(const TvWaveFormatEx* a, const TvWaveFormatEx* b);

  // One line: "Format Tag: 1  Channels: 2  ..." for the debug log.
  XString LogText() const;
  // A RIFF wave header for `frames` sample frames at the file's present position. Sizes
  // that do not fit 32 bits are written as 0xFFFFFFFF. Returns whether the last write worked.
  bool WriteWaveHeader(XFile& file, uint64_t frames) const;

 private:
  TvWaveFormatExtensible* Extensible() const {
    return reinterpret_cast<TvWaveFormatExtensible*>(image);
  }
  void Normalise();
  void SetEmpty();

  XBuffer buffer;              // holds an image longer than 18 bytes
  TvWaveFormatEx inlineImage;  // holds a plain image
  TvWaveFormatEx* image;       // the image in use: inlineImage or buffer.data
};
