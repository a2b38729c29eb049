// A pass over the Ogg pages of a file before decoding: opusfile skips damaged pages and stops
// quietly at a cut, so a hole or a missing end is found here instead. The sizes of the audio
// packets on the way tell a constant bit rate from a variable one.
#pragma once
#include <cstdint>
#include <string>

namespace opus_pages {

struct PageScan {
  std::string problem;        // empty when every page is whole and the last one ends the stream
  uint64_t audioPackets = 0;  // Opus packets after the two headers of each stream
  bool constantSize = false;  // every audio packet but each stream's last has the same size
};

PageScan ScanPages(const std::string& path);

}  // namespace opus_pages
