// Sample layouts of the audio blocks, their format images and channel masks, and the
// frame transfer between blocks and libsndfile.
#pragma once
#include "tv_plugin.h"

#include <sndfile.h>

#include <cstdint>
#include <vector>

namespace pcm {

// How one sample lies in a block: WAV conventions, so 8-bit is unsigned.
enum class SampleKind { None, U8, S16, S24, S32, F32, F64 };

int BitsOf(SampleKind kind);
bool IsFloat(SampleKind kind);
// The layout of a block with this image; None for anything but PCM 8/16/24/32 and float 32/64.
SampleKind KindOfImage(const TvWaveFormatExtensible& image);
// The layout that keeps every sample of a libsndfile sub-format exactly; 16-bit for codecs.
SampleKind KindOfSubFormat(int subFormat);
// The libsndfile sub-format that stores this layout in a container (AIFF keeps 8-bit signed).
int SubFormatOf(SampleKind kind, int container);

// A PCM or float image; extensible ones carry the channel mask and full valid bits.
TvWaveFormatExtensible MakeImage(SampleKind kind, int channels, int rate, bool extensible, uint32_t mask);
uint32_t ChannelMaskOf(const TvWaveFormatExtensible& image);  // 0 for a plain image

// Speaker mask from a libsndfile channel map and back; 0 or false when a channel has no bit.
uint32_t MaskFromMap(const std::vector<int>& map);
bool MapFromMask(uint32_t mask, int channels, std::vector<int>& map);

// Reads up to frames frames into out in the block layout; returns the frames read.
sf_count_t ReadFrames(SNDFILE* file, SampleKind kind, int channels, sf_count_t frames, std::vector<uint8_t>& out);
// Writes whole frames from a block; returns whether all were written.
bool WriteFrames(SNDFILE* file, SampleKind kind, int channels, const uint8_t* data, sf_count_t frames);

}  // namespace pcm
