// Channel order between blocks (WAV order, the default masks of SampleLayout.h) and Opus
// streams of mapping family 1, which keep the order Ogg Vorbis uses for 1 to 8 channels.
#pragma once
#include <cstddef>

namespace opus_order {

// kWavFromOpus[n - 1][i]: the stream channel that goes to block channel i, for n channels.
// Opus side channels of 6.1 stand on the back positions of the 6.1 default mask (0x13F).
constexpr int kWavFromOpus[8][8] = {
    {0},
    {0, 1},
    {0, 2, 1},
    {0, 1, 2, 3},
    {0, 2, 1, 3, 4},
    {0, 2, 1, 5, 3, 4},
    {0, 2, 1, 6, 3, 4, 5},
    {0, 2, 1, 7, 5, 6, 3, 4},
};

inline bool Reordered(int channels) { return channels > 2 && channels <= 8; }

// Interleaved frames from the stream's order into WAV order, in place.
template <typename Sample>
void ToWavOrder(Sample* data, size_t frames, int channels) {
  if (!Reordered(channels)) return;
  const int* map = kWavFromOpus[channels - 1];
  Sample frame[8];
  for (size_t f = 0; f < frames; ++f, data += channels) {
    for (int c = 0; c < channels; ++c) frame[c] = data[map[c]];
    for (int c = 0; c < channels; ++c) data[c] = frame[c];
  }
}

// Interleaved frames from WAV order into the stream's order, in place.
template <typename Sample>
void ToOpusOrder(Sample* data, size_t frames, int channels) {
  if (!Reordered(channels)) return;
  const int* map = kWavFromOpus[channels - 1];
  Sample frame[8];
  for (size_t f = 0; f < frames; ++f, data += channels) {
    for (int c = 0; c < channels; ++c) frame[map[c]] = data[c];
    for (int c = 0; c < channels; ++c) data[c] = frame[c];
  }
}

}  // namespace opus_order
