// Ogg channel layouts against WAV speaker masks.
#include "codecs/common/OggChannels.h"

#include <bit>
#include <numeric>

namespace codec {

namespace {

constexpr uint32_t FL = 0x1, FR = 0x2, FC = 0x4, LFE = 0x8, BL = 0x10, BR = 0x20, BC = 0x100,
                   SL = 0x200, SR = 0x400;

// Per stream channel, the speakers that may fill it, first choice first.
const std::vector<std::vector<uint32_t>>& Layout(int channels) {
  static const std::vector<std::vector<uint32_t>> kLayouts[] = {
      {{FC}},
      {{FL}, {FR}},
      {{FL}, {FC}, {FR}},
      {{FL}, {FR}, {BL, SL}, {BR, SR}},
      {{FL}, {FC}, {FR}, {BL, SL}, {BR, SR}},
      {{FL}, {FC}, {FR}, {BL, SL}, {BR, SR}, {LFE}},
      {{FL}, {FC}, {FR}, {SL, BL}, {SR, BR}, {BC}, {LFE}},
      {{FL}, {FC}, {FR}, {SL}, {SR}, {BL}, {BR}, {LFE}},
  };
  return kLayouts[channels - 1];
}

// The WAV-order index of each stream channel under mask; empty when a speaker is missing.
std::vector<int> Match(int channels, uint32_t mask) {
  std::vector<int> order;
  uint32_t free = mask;  // each speaker fills one Vorbis channel
  for (const std::vector<uint32_t>& choices : Layout(channels)) {
    int found = -1;
    for (uint32_t speaker : choices) {
      if (!(free & speaker)) continue;
      found = std::popcount(mask & (speaker - 1));
      free &= ~speaker;
      break;
    }
    if (found < 0) return {};
    order.push_back(found);
  }
  return order;
}

}  // namespace

uint32_t OggChannelMask(int channels) {
  static const uint32_t kMasks[] = {FC,
                                    FL | FR,
                                    FL | FR | FC,
                                    FL | FR | BL | BR,
                                    FL | FR | FC | BL | BR,
                                    FL | FR | FC | LFE | BL | BR,
                                    FL | FR | FC | LFE | BC | SL | SR,
                                    FL | FR | FC | LFE | BL | BR | SL | SR};
  return channels >= 1 && channels <= 8 ? kMasks[channels - 1] : 0;
}

TvWaveFormatExtensible OggDecodedImage(SampleKind kind, int channels, int rate) {
  uint32_t mask = OggChannelMask(channels);
  return MakeImage(kind, channels, rate, channels > 2, mask ? mask : TV_CHANNEL_MASK_UNKNOWN);
}

std::vector<int> OggChannelOrder(int channels, uint32_t mask) {
  std::vector<int> order;
  if (channels >= 3 && channels <= 8) {
    if (mask != TV_CHANNEL_MASK_UNKNOWN && std::popcount(mask) == channels)
      order = Match(channels, mask);
    if (order.empty()) order = Match(channels, DefaultChannelMask(channels));
  }
  if (order.empty()) {
    order.resize(size_t(channels > 0 ? channels : 0));
    std::iota(order.begin(), order.end(), 0);
  }
  return order;
}

}  // namespace codec
