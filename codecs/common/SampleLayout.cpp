// Sample layouts of audio blocks: format images, channel masks and sample conversions.
#include "codecs/common/SampleLayout.h"

#include <cmath>
#include <cstring>

namespace codec {

namespace {

uint16_t EffectiveTag(const TvWaveFormatExtensible& image) {
  if (image.Format.wFormatTag != TV_FORMAT_EXTENSIBLE ||
      image.Format.cbSize < TV_FORMAT_EXTENSIBLE_EXTRA)
    return image.Format.wFormatTag;
  const TvGuid pcmGuid = TV_SUBFORMAT_GUID(0);
  const TvGuid& guid = image.SubFormat;
  if (guid.data2 != pcmGuid.data2 || guid.data3 != pcmGuid.data3 ||
      memcmp(guid.data4, pcmGuid.data4, 8) != 0)
    return image.Format.wFormatTag;
  return uint16_t(guid.data1);
}

int32_t ReadInt(const uint8_t* p, SampleKind kind) {
  switch (kind) {
    case SampleKind::U8:
      return int32_t(p[0]) - 128;
    case SampleKind::S16:
      return int16_t(uint16_t(p[0] | (p[1] << 8)));
    case SampleKind::S24:
      return int32_t(uint32_t(p[0] | (p[1] << 8) | (p[2] << 16)) << 8) >> 8;
    default:
      return int32_t(uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) |
                     (uint32_t(p[3]) << 24));
  }
}

void WriteInt(uint8_t* p, SampleKind kind, int32_t v) {
  if (kind == SampleKind::U8) {
    p[0] = uint8_t(v + 128);
    return;
  }
  for (int b = 0; b < BitsOf(kind) / 8; ++b) p[b] = uint8_t(uint32_t(v) >> (8 * b));
}

double ReadFloat(const uint8_t* p, SampleKind kind) {
  if (kind == SampleKind::F64) {
    double v;
    memcpy(&v, p, 8);
    return v;
  }
  float v;
  memcpy(&v, p, 4);
  return v;
}

}  // namespace

int BitsOf(SampleKind kind) {
  switch (kind) {
    case SampleKind::U8:
      return 8;
    case SampleKind::S16:
      return 16;
    case SampleKind::S24:
      return 24;
    case SampleKind::S32:
    case SampleKind::F32:
      return 32;
    case SampleKind::F64:
      return 64;
    default:
      return 0;
  }
}

bool IsFloat(SampleKind kind) { return kind == SampleKind::F32 || kind == SampleKind::F64; }

SampleKind KindOfImage(const TvWaveFormatExtensible& image) {
  uint16_t tag = EffectiveTag(image);
  int bits = image.Format.wBitsPerSample;
  if (image.Format.nChannels == 0) return SampleKind::None;
  if (tag == TV_FORMAT_PCM) return IntegerKind(bits);
  if (tag == TV_FORMAT_IEEE_FLOAT) {
    if (bits == 32) return SampleKind::F32;
    if (bits == 64) return SampleKind::F64;
  }
  return SampleKind::None;
}

SampleKind IntegerKind(int bits) {
  switch (bits) {
    case 8:
      return SampleKind::U8;
    case 16:
      return SampleKind::S16;
    case 24:
      return SampleKind::S24;
    case 32:
      return SampleKind::S32;
    default:
      return SampleKind::None;
  }
}

TvWaveFormatExtensible MakeImage(SampleKind kind, int channels, int rate, bool extensible,
                                 uint32_t mask) {
  TvWaveFormatExtensible image;
  memset(&image, 0, sizeof image);
  uint16_t tag = IsFloat(kind) ? TV_FORMAT_IEEE_FLOAT : TV_FORMAT_PCM;
  TvWaveFormatEx& f = image.Format;
  f.wFormatTag = tag;
  f.nChannels = uint16_t(channels);
  f.nSamplesPerSec = uint32_t(rate);
  f.wBitsPerSample = uint16_t(BitsOf(kind));
  f.nBlockAlign = uint16_t(f.wBitsPerSample / 8 * channels);
  f.nAvgBytesPerSec = f.nBlockAlign * uint32_t(rate);
  if (extensible) {
    f.wFormatTag = TV_FORMAT_EXTENSIBLE;
    f.cbSize = TV_FORMAT_EXTENSIBLE_EXTRA;
    image.wValidBitsPerSample = f.wBitsPerSample;
    image.dwChannelMask = mask;
    image.SubFormat = TvGuid TV_SUBFORMAT_GUID(tag);
  }
  return image;
}

uint32_t ChannelMaskOf(const TvWaveFormatExtensible& image) {
  if (image.Format.wFormatTag != TV_FORMAT_EXTENSIBLE ||
      image.Format.cbSize < TV_FORMAT_EXTENSIBLE_EXTRA)
    return 0;
  return image.dwChannelMask;
}

uint32_t DefaultChannelMask(int channels) {
  // mono, stereo, 2.1, quad, 5.0, 5.1, 6.1, 7.1 as WAV files name their speakers
  static const uint32_t kMasks[] = {0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
  return channels >= 1 && channels <= 8 ? kMasks[channels - 1] : 0;
}

TvWaveFormatExtensible MakeDecodedImage(SampleKind kind, int channels, int rate) {
  uint32_t mask = DefaultChannelMask(channels);
  return MakeImage(kind, channels, rate, channels > 2, mask ? mask : TV_CHANNEL_MASK_UNKNOWN);
}

void ToInt32(const uint8_t* data, SampleKind kind, size_t samples, int32_t* out) {
  size_t width = size_t(BitsOf(kind) / 8);
  for (size_t i = 0; i < samples; ++i, data += width) out[i] = ReadInt(data, kind);
}

void FromInt32(const int32_t* in, size_t samples, SampleKind kind, uint8_t* data) {
  size_t width = size_t(BitsOf(kind) / 8);
  for (size_t i = 0; i < samples; ++i, data += width) WriteInt(data, kind, in[i]);
}

void ToFloat(const uint8_t* data, SampleKind kind, size_t samples, float* out) {
  size_t width = size_t(BitsOf(kind) / 8);
  if (IsFloat(kind)) {
    for (size_t i = 0; i < samples; ++i, data += width) out[i] = float(ReadFloat(data, kind));
    return;
  }
  double scale = 1.0 / double(1u << (BitsOf(kind) - 1));
  for (size_t i = 0; i < samples; ++i, data += width) out[i] = float(ReadInt(data, kind) * scale);
}

void FromFloat(const float* in, size_t samples, SampleKind kind, uint8_t* data) {
  size_t width = size_t(BitsOf(kind) / 8);
  if (kind == SampleKind::F32) {
    memcpy(data, in, samples * 4);
    return;
  }
  if (kind == SampleKind::F64) {
    for (size_t i = 0; i < samples; ++i) {
      double v = in[i];
      memcpy(data + 8 * i, &v, 8);
    }
    return;
  }
  double scale = double(1u << (BitsOf(kind) - 1));
  double high = scale - 1;
  for (size_t i = 0; i < samples; ++i, data += width) {
    double v = std::nearbyint(double(in[i]) * scale);
    WriteInt(data, kind, int32_t(v > high ? high : v < -scale ? -scale : v));
  }
}

}  // namespace codec
