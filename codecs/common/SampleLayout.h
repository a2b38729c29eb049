// Sample layouts of audio blocks: format images, channel masks, and samples converted between
// a block and the integer or float buffers that codec libraries take.
#pragma once
#include "sdk/tv_plugin.h"

#include <cstddef>
#include <cstdint>

namespace codec {

// How one sample lies in a block: WAV conventions, so 8-bit is unsigned.
enum class SampleKind { None, U8, S16, S24, S32, F32, F64 };

int BitsOf(SampleKind kind);
bool IsFloat(SampleKind kind);
// The layout of a block with this image; None for anything but PCM 8/16/24/32 and float 32/64.
SampleKind KindOfImage(const TvWaveFormatExtensible& image);
// The integer layout that holds samples of this many bits (8, 16, 24 or 32); None otherwise.
SampleKind IntegerKind(int bits);

// A PCM or float image; extensible ones carry the channel mask and full valid bits.
TvWaveFormatExtensible MakeImage(SampleKind kind, int channels, int rate, bool extensible,
                                 uint32_t mask);
uint32_t ChannelMaskOf(const TvWaveFormatExtensible& image);  // 0 for a plain image
// The usual speaker mask for a channel count (1 to 8: mono, stereo ... 7.1); 0 beyond.
uint32_t DefaultChannelMask(int channels);
// An image for decoded audio: extensible, with the default mask, for more than two channels.
TvWaveFormatExtensible MakeDecodedImage(SampleKind kind, int channels, int rate);

// Integer samples, right-aligned: a 16-bit sample lies in -32768..32767, an 8-bit one is signed.
void ToInt32(const uint8_t* data, SampleKind kind, size_t samples, int32_t* out);
void FromInt32(const int32_t* in, size_t samples, SampleKind kind, uint8_t* data);
// Float samples in -1..1; integers are scaled by 2^(bits-1). Going to integers clips.
void ToFloat(const uint8_t* data, SampleKind kind, size_t samples, float* out);
void FromFloat(const float* in, size_t samples, SampleKind kind, uint8_t* data);

}  // namespace codec
