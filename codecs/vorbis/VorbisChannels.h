// Where each channel of a Vorbis stream sits in a WAV-ordered block.
#pragma once
#include <cstdint>
#include <vector>

namespace vorbis {

// order[v] is the WAV-order channel that belongs in Vorbis channel v. The speakers named by
// mask are matched to Vorbis's layouts for 1 to 8 channels (side and back pairs stand in for
// each other); a mask that doesn't fit the count is replaced by the usual one. Beyond 8
// channels Vorbis defines no order, and the channels keep theirs.
std::vector<int> VorbisOrder(int channels, uint32_t mask);

}  // namespace vorbis
