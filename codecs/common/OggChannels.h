// Where each channel of an Ogg Vorbis or Opus stream sits in a WAV-ordered block: both keep the
// same speaker order for 1 to 8 channels.
#pragma once
#include "codecs/common/SampleLayout.h"
#include "sdk/tv_plugin.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace codec {

// The speakers an Ogg stream of this many channels names, as a WAV mask; 0 beyond 8 channels.
// From seven channels on they are not those a WAV file takes.
uint32_t OggChannelMask(int channels);

// The decoded image of an Ogg stream: its own speakers in WAV order.
TvWaveFormatExtensible OggDecodedImage(SampleKind kind, int channels, int rate);

// order[v] is the WAV-order channel that belongs in stream channel v. The speakers named by
// mask are matched to the stream's layouts for 1 to 8 channels (side and back pairs stand in
// for each other); a mask that doesn't fit the count is replaced by the usual one. Beyond 8
// channels no order is defined, and the channels keep theirs.
std::vector<int> OggChannelOrder(int channels, uint32_t mask);

// Interleaved frames from a block's order into the stream's, in place, and back.
template <typename Sample>
void ToStreamOrder(Sample* data, size_t frames, const std::vector<int>& order) {
  std::vector<Sample> frame(order.size());
  for (size_t f = 0; f < frames; ++f, data += order.size()) {
    for (size_t v = 0; v < order.size(); ++v) frame[v] = data[order[v]];
    std::copy(frame.begin(), frame.end(), data);
  }
}
template <typename Sample>
void ToBlockOrder(Sample* data, size_t frames, const std::vector<int>& order) {
  std::vector<Sample> frame(order.size());
  for (size_t f = 0; f < frames; ++f, data += order.size()) {
    for (size_t v = 0; v < order.size(); ++v) frame[size_t(order[v])] = data[v];
    std::copy(frame.begin(), frame.end(), data);
  }
}

}  // namespace codec
