// Block walk over a .wv file: headers, checksums and the samples they add up to.
#include "codecs/wavpack/WavPackBlocks.h"

#include <wavpack/wavpack.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace wavpack {

namespace {

constexpr long kSearchBytes = 1 << 20;       // how far into the file the first block may start
constexpr uint32_t kLargestBlock = 1 << 24;  // far beyond any block the library writes

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

// The offset of the first "wvpk" within the search range, or -1.
long FirstBlock(FILE* file) {
  std::vector<char> head(kSearchBytes);
  size_t got = fread(head.data(), 1, head.size(), file);
  for (size_t i = 0; i + 4 <= got; ++i)
    if (memcmp(&head[i], "wvpk", 4) == 0) return long(i);
  return -1;
}

// Reads the block at the file's position; false at the end of the blocks.
bool ReadBlock(FILE* file, std::vector<unsigned char>& block, WavpackHeader& header) {
  block.resize(sizeof header);
  if (fread(block.data(), 1, sizeof header, file) != sizeof header ||
      memcmp(block.data(), "wvpk", 4) != 0)
    return false;
  memcpy(&header, block.data(), sizeof header);
  WavpackLittleEndianToNative(&header, const_cast<char*>(WavpackHeaderFormat));
  if (header.ckSize < sizeof header - 8 || header.ckSize > kLargestBlock) return false;
  block.resize(header.ckSize + 8);
  size_t rest = block.size() - sizeof header;
  return fread(block.data() + sizeof header, 1, rest, file) == rest;
}

bool Refuse(std::string& reason, const std::string& text) {
  reason = text;
  return false;
}

}  // namespace

bool CheckBlocks(const std::string& path, std::string& reason) {
  File file(fopen(path.c_str(), "rb"), fclose);
  if (!file) return Refuse(reason, "the file can't be read.");
  if (fseek(file.get(), 0, SEEK_END) != 0 || ftell(file.get()) == 0)
    return Refuse(reason, "the file is empty.");
  rewind(file.get());
  long start = FirstBlock(file.get());
  if (start < 0) return Refuse(reason, "not a WavPack file (no block header found).");
  fseek(file.get(), start, SEEK_SET);
  std::vector<unsigned char> block;
  WavpackHeader header{};
  int64_t total = -2, found = 0;
  for (long at = start; ReadBlock(file.get(), block, header); at = ftell(file.get())) {
    if (total == -2) total = GET_TOTAL_SAMPLES(header);
    if (!WavpackVerifySingleBlock(block.data(), 1))
      return Refuse(reason,
                    "damaged block at byte " + std::to_string(at) + " (checksum mismatch).");
    if (header.block_samples && (header.flags & INITIAL_BLOCK)) found += header.block_samples;
  }
  if (total == -2) return Refuse(reason, "the first block is cut short.");
  if (total >= 0 && found < total)
    return Refuse(reason, "the file is truncated or blocks are missing: " + std::to_string(found) +
                              " of " + std::to_string(total) + " samples.");
  return true;
}

}  // namespace wavpack
