// Sample layouts of the audio blocks, their format images and channel masks, and the
// frame transfer between blocks and libsndfile.
#include "PcmFormat.h"

#include <cstring>

namespace pcm {

namespace {

// Speaker bit i of a channel mask, as libsndfile names it.
const int kSpeakers[] = {
    SF_CHANNEL_MAP_LEFT,          SF_CHANNEL_MAP_RIGHT,         SF_CHANNEL_MAP_CENTER,
    SF_CHANNEL_MAP_LFE,           SF_CHANNEL_MAP_REAR_LEFT,     SF_CHANNEL_MAP_REAR_RIGHT,
    SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER, SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
    SF_CHANNEL_MAP_REAR_CENTER,   SF_CHANNEL_MAP_SIDE_LEFT,     SF_CHANNEL_MAP_SIDE_RIGHT,
    SF_CHANNEL_MAP_TOP_CENTER,    SF_CHANNEL_MAP_TOP_FRONT_LEFT, SF_CHANNEL_MAP_TOP_FRONT_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_RIGHT, SF_CHANNEL_MAP_TOP_REAR_LEFT, SF_CHANNEL_MAP_TOP_REAR_CENTER,
    SF_CHANNEL_MAP_TOP_REAR_RIGHT,
};
constexpr int kSpeakerCount = int(sizeof(kSpeakers) / sizeof(kSpeakers[0]));

int SpeakerBit(int position) {
  // libsndfile has a second name for the three front speakers.
  if (position == SF_CHANNEL_MAP_FRONT_LEFT) position = SF_CHANNEL_MAP_LEFT;
  if (position == SF_CHANNEL_MAP_FRONT_RIGHT) position = SF_CHANNEL_MAP_RIGHT;
  if (position == SF_CHANNEL_MAP_FRONT_CENTER || position == SF_CHANNEL_MAP_MONO) position = SF_CHANNEL_MAP_CENTER;
  for (int bit = 0; bit < kSpeakerCount; ++bit)
    if (kSpeakers[bit] == position) return bit;
  return -1;
}

uint16_t EffectiveTag(const TvWaveFormatExtensible& image) {
  if (image.Format.wFormatTag != TV_FORMAT_EXTENSIBLE || image.Format.cbSize < TV_FORMAT_EXTENSIBLE_EXTRA)
    return image.Format.wFormatTag;
  const TvGuid pcmGuid = TV_SUBFORMAT_GUID(0);
  const TvGuid& guid = image.SubFormat;
  if (guid.data2 != pcmGuid.data2 || guid.data3 != pcmGuid.data3 || memcmp(guid.data4, pcmGuid.data4, 8) != 0)
    return image.Format.wFormatTag;
  return uint16_t(guid.data1);
}

}  // namespace

int BitsOf(SampleKind kind) {
  switch (kind) {
    case SampleKind::U8: return 8;
    case SampleKind::S16: return 16;
    case SampleKind::S24: return 24;
    case SampleKind::S32: case SampleKind::F32: return 32;
    case SampleKind::F64: return 64;
    default: return 0;
  }
}

bool IsFloat(SampleKind kind) { return kind == SampleKind::F32 || kind == SampleKind::F64; }

SampleKind KindOfImage(const TvWaveFormatExtensible& image) {
  uint16_t tag = EffectiveTag(image);
  int bits = image.Format.wBitsPerSample;
  if (image.Format.nChannels == 0) return SampleKind::None;
  if (tag == TV_FORMAT_PCM) {
    if (bits == 8) return SampleKind::U8;
    if (bits == 16) return SampleKind::S16;
    if (bits == 24) return SampleKind::S24;
    if (bits == 32) return SampleKind::S32;
  } else if (tag == TV_FORMAT_IEEE_FLOAT) {
    if (bits == 32) return SampleKind::F32;
    if (bits == 64) return SampleKind::F64;
  }
  return SampleKind::None;
}

SampleKind KindOfSubFormat(int subFormat) {
  switch (subFormat) {
    case SF_FORMAT_PCM_S8: case SF_FORMAT_PCM_U8: return SampleKind::U8;
    case SF_FORMAT_PCM_24: return SampleKind::S24;
    case SF_FORMAT_PCM_32: return SampleKind::S32;
    case SF_FORMAT_FLOAT: return SampleKind::F32;
    case SF_FORMAT_DOUBLE: return SampleKind::F64;
    default: return SampleKind::S16;
  }
}

int SubFormatOf(SampleKind kind, int container) {
  switch (kind) {
    case SampleKind::U8: return container == SF_FORMAT_AIFF ? SF_FORMAT_PCM_S8 : SF_FORMAT_PCM_U8;
    case SampleKind::S16: return SF_FORMAT_PCM_16;
    case SampleKind::S24: return SF_FORMAT_PCM_24;
    case SampleKind::S32: return SF_FORMAT_PCM_32;
    case SampleKind::F32: return SF_FORMAT_FLOAT;
    case SampleKind::F64: return SF_FORMAT_DOUBLE;
    default: return 0;
  }
}

TvWaveFormatExtensible MakeImage(SampleKind kind, int channels, int rate, bool extensible, uint32_t mask) {
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
  if (image.Format.wFormatTag != TV_FORMAT_EXTENSIBLE || image.Format.cbSize < TV_FORMAT_EXTENSIBLE_EXTRA) return 0;
  return image.dwChannelMask;
}

uint32_t MaskFromMap(const std::vector<int>& map) {
  uint32_t mask = 0;
  for (int position : map) {
    int bit = SpeakerBit(position);
    if (bit < 0 || (mask & (1u << bit))) return 0;
    mask |= 1u << bit;
  }
  return mask;
}

bool MapFromMask(uint32_t mask, int channels, std::vector<int>& map) {
  map.clear();
  for (int bit = 0; bit < kSpeakerCount && int(map.size()) < channels; ++bit)
    if (mask & (1u << bit)) map.push_back(kSpeakers[bit]);
  return int(map.size()) == channels;
}

sf_count_t ReadFrames(SNDFILE* file, SampleKind kind, int channels, sf_count_t frames, std::vector<uint8_t>& out) {
  size_t samples = size_t(frames) * size_t(channels);
  out.resize(samples * size_t(BitsOf(kind) / 8));
  sf_count_t got = 0;
  switch (kind) {
    case SampleKind::S16:
      return sf_readf_short(file, reinterpret_cast<short*>(out.data()), frames);
    case SampleKind::S32:
      return sf_readf_int(file, reinterpret_cast<int*>(out.data()), frames);
    case SampleKind::F32:
      return sf_readf_float(file, reinterpret_cast<float*>(out.data()), frames);
    case SampleKind::F64:
      return sf_readf_double(file, reinterpret_cast<double*>(out.data()), frames);
    case SampleKind::U8: {
      std::vector<short> wide(samples);
      got = sf_readf_short(file, wide.data(), frames);
      for (size_t i = 0; i < size_t(got) * size_t(channels); ++i) out[i] = uint8_t((wide[i] >> 8) + 128);
      return got;
    }
    case SampleKind::S24: {
      std::vector<int> wide(samples);
      got = sf_readf_int(file, wide.data(), frames);
      for (size_t i = 0; i < size_t(got) * size_t(channels); ++i) {
        uint32_t v = uint32_t(wide[i]) >> 8;
        out[3 * i] = uint8_t(v);
        out[3 * i + 1] = uint8_t(v >> 8);
        out[3 * i + 2] = uint8_t(v >> 16);
      }
      return got;
    }
    default:
      return 0;
  }
}

bool WriteFrames(SNDFILE* file, SampleKind kind, int channels, const uint8_t* data, sf_count_t frames) {
  size_t samples = size_t(frames) * size_t(channels);
  switch (kind) {
    case SampleKind::S16: {
      std::vector<short> v(samples);
      memcpy(v.data(), data, samples * 2);
      return sf_writef_short(file, v.data(), frames) == frames;
    }
    case SampleKind::S32: {
      std::vector<int> v(samples);
      memcpy(v.data(), data, samples * 4);
      return sf_writef_int(file, v.data(), frames) == frames;
    }
    case SampleKind::F32: {
      std::vector<float> v(samples);
      memcpy(v.data(), data, samples * 4);
      return sf_writef_float(file, v.data(), frames) == frames;
    }
    case SampleKind::F64: {
      std::vector<double> v(samples);
      memcpy(v.data(), data, samples * 8);
      return sf_writef_double(file, v.data(), frames) == frames;
    }
    case SampleKind::U8: {
      std::vector<short> v(samples);
      for (size_t i = 0; i < samples; ++i) v[i] = short((int(data[i]) - 128) * 256);
      return sf_writef_short(file, v.data(), frames) == frames;
    }
    case SampleKind::S24: {
      std::vector<int> v(samples);
      for (size_t i = 0; i < samples; ++i) {
        uint32_t u = data[3 * i] | (data[3 * i + 1] << 8) | (uint32_t(data[3 * i + 2]) << 16);
        v[i] = int(u << 8);  // the top 24 bits of a 32-bit sample
      }
      return sf_writef_int(file, v.data(), frames) == frames;
    }
    default:
      return false;
  }
}

}  // namespace pcm
