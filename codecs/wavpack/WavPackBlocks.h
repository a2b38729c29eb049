// A walk over the blocks of a .wv file before decoding, so that damage and missing blocks are
// found at open rather than halfway through a conversion.
#pragma once
#include <string>

namespace wavpack {

// True when the file is a run of whole blocks with good checksums that hold every sample its
// first block announces (tags may follow). Otherwise false, with a sentence in reason.
bool CheckBlocks(const std::string& path, std::string& reason);

}  // namespace wavpack
