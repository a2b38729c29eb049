// Tag items and the block form in which the engine and the plug-ins exchange them.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace codec {

// One tag item: a text value, or binary data (pictures: keys "_albumart_<n>..." as the tag
// list names them) with its text part.
struct TagItem {
  std::u16string key;
  std::u16string value;
  std::vector<uint8_t> binary;

  friend bool operator==(const TagItem&, const TagItem&) = default;
};
using TagItems = std::vector<TagItem>;

// The block: a count, then records of size, UTF-16LE key and value and binary payload. A
// damaged record ends the reading with the items before it.
std::vector<uint8_t> MakeTagItemBlock(const TagItems& items);
TagItems ReadTagItemBlock(const void* data, uint32_t size);

}  // namespace codec
