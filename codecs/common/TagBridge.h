// Tags and pictures between audio files and tag blocks, through TagLib. Each decoder plug-in
// reads its source's tags at Open and writes a block into a finished file on Set "IDTags".
#pragma once
#include "codecs/common/TagItemBlock.h"

#include <cstdint>
#include <string>
#include <vector>

namespace codec {

// The file's tags and pictures, in the keys of the tag list; none for a file without tags or
// one that can't be read. path is UTF-8; the type is found from the content, not the name.
// docs/tags.md maps the keys to each format's fields.
TagItems ReadFileTags(const std::string& path);

// Replaces the file's tags and pictures by items; items the format can't hold are left out.
// False, with a sentence in *error (error may be null), when the file can't be opened, isn't
// a type that holds tags, or can't be saved.
bool WriteFileTags(const std::string& path, const TagItems& items, std::u16string* error);

}  // namespace codec
