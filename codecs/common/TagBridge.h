// Tags and pictures between audio files and tag blocks, through TagLib. Each decoder plug-in
// reads its source's tags at Open and writes a block into a finished file on Set "IDTags".
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

// The block form the engine exchanges with plug-ins, binary payloads included. A damaged
// record ends the reading with the items before it.
std::vector<uint8_t> MakeTagItemBlock(const TagItems& items);
TagItems ReadTagItemBlock(const void* data, uint32_t size);

// The file's tags and pictures, in the keys of the tag list; none for a file without tags or
// one that can't be read. path is UTF-8; the type is found from the content, not the name.
// docs/tags.md maps the keys to each format's fields.
TagItems ReadFileTags(const std::string& path);

// Replaces the file's tags and pictures by items; items the format can't hold are left out.
// False, with a sentence in *error (error may be null), when the file can't be opened, isn't
// a type that holds tags, or can't be saved.
bool WriteFileTags(const std::string& path, const TagItems& items, std::u16string* error);

}  // namespace codec
