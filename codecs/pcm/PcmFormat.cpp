// Sample layouts of the audio blocks, their format images and channel masks, and the
// frame transfer between blocks and libsndfile.
#include "codecs/pcm/PcmFormat.h"

#include <cstring>

namespace pcm {

namespace {

// Speaker bit i of a channel mask, as libsndfile names it.
const int kSpeakers[] = {
    SF_CHANNEL_MAP_LEFT,
    SF_CHANNEL_MAP_RIGHT,
    SF_CHANNEL_MAP_CENTER,
    SF_CHANNEL_MAP_LFE,
    SF_CHANNEL_MAP_REAR_LEFT,
    SF_CHANNEL_MAP_REAR_RIGHT,
    SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
    SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
    SF_CHANNEL_MAP_REAR_CENTER,
    SF_CHANNEL_MAP_SIDE_LEFT,
    SF_CHANNEL_MAP_SIDE_RIGHT,
    SF_CHANNEL_MAP_TOP_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_LEFT,
    SF_CHANNEL_MAP_TOP_FRONT_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_RIGHT,
    SF_CHANNEL_MAP_TOP_REAR_LEFT,
    SF_CHANNEL_MAP_TOP_REAR_CENTER,
    SF_CHANNEL_MAP_TOP_REAR_RIGHT,
};
constexpr int kSpeakerCount = int(sizeof(kSpeakers) / sizeof(kSpeakers[0]));

int SpeakerBit(int position) {
  // libsndfile has a second name for the three front speakers.
  if (position == SF_CHANNEL_MAP_FRONT_LEFT) position = SF_CHANNEL_MAP_LEFT;
  if (position == SF_CHANNEL_MAP_FRONT_RIGHT) position = SF_CHANNEL_MAP_RIGHT;
  if (position == SF_CHANNEL_MAP_FRONT_CENTER || position == SF_CHANNEL_MAP_MONO)
    position = SF_CHANNEL_MAP_CENTER;
  for (int bit = 0; bit < kSpeakerCount; ++bit)
    if (kSpeakers[bit] == position) return bit;
  return -1;
}

}  // namespace

SampleKind KindOfSubFormat(int subFormat) {
  switch (subFormat) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return SampleKind::U8;
    case SF_FORMAT_PCM_24:
      return SampleKind::S24;
    case SF_FORMAT_PCM_32:
      return SampleKind::S32;
    case SF_FORMAT_FLOAT:
      return SampleKind::F32;
    case SF_FORMAT_DOUBLE:
      return SampleKind::F64;
    default:
      return SampleKind::S16;
  }
}

int SubFormatOf(SampleKind kind, int container) {
  switch (kind) {
    case SampleKind::U8:
      return container == SF_FORMAT_AIFF ? SF_FORMAT_PCM_S8 : SF_FORMAT_PCM_U8;
    case SampleKind::S16:
      return SF_FORMAT_PCM_16;
    case SampleKind::S24:
      return SF_FORMAT_PCM_24;
    case SampleKind::S32:
      return SF_FORMAT_PCM_32;
    case SampleKind::F32:
      return SF_FORMAT_FLOAT;
    case SampleKind::F64:
      return SF_FORMAT_DOUBLE;
    default:
      return 0;
  }
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

sf_count_t ReadFrames(SNDFILE* file, SampleKind kind, int channels, sf_count_t frames,
                      std::vector<uint8_t>& out) {
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
      for (size_t i = 0; i < size_t(got) * size_t(channels); ++i)
        out[i] = uint8_t((wide[i] >> 8) + 128);
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

bool WriteFrames(SNDFILE* file, SampleKind kind, int channels, const uint8_t* data,
                 sf_count_t frames) {
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
