// Sample layouts of the audio blocks, their format images and channel masks, and the
// frame transfer between blocks and libsndfile.
#pragma once
#include "codecs/common/SampleLayout.h"
#include "sdk/tv_plugin.h"

#include <sndfile.h>

#include <cstdint>
#include <vector>

namespace pcm {

using codec::BitsOf;
using codec::ChannelMaskOf;
using codec::IsFloat;
using codec::KindOfImage;
using codec::MakeImage;
using codec::SampleKind;

// The layout that keeps every sample of a libsndfile sub-format exactly; 16-bit for codecs.
SampleKind KindOfSubFormat(int subFormat);
// The libsndfile sub-format that stores this layout in a container (AIFF keeps 8-bit signed).
int SubFormatOf(SampleKind kind, int container);

// Speaker mask from a libsndfile channel map and back; 0 or false when a channel has no bit.
uint32_t MaskFromMap(const std::vector<int>& map);
bool MapFromMask(uint32_t mask, int channels, std::vector<int>& map);

// Reads up to frames frames into out in the block layout; returns the frames read.
sf_count_t ReadFrames(SNDFILE* file, SampleKind kind, int channels, sf_count_t frames,
                      std::vector<uint8_t>& out);
// Writes whole frames from a block; returns whether all were written.
bool WriteFrames(SNDFILE* file, SampleKind kind, int channels, const uint8_t* data,
                 sf_count_t frames);

}  // namespace pcm
