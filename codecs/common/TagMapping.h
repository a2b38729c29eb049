// Between tag items and TagLib: key names per tag family, number pairs and picture keys.
#pragma once
#include <taglib/tpropertymap.h>

#include <string>

#include "codecs/common/TagBridge.h"

namespace codec::tagmap {

// Tag families differ in a few field names: Xiph comments, ID3v2 frames, APEv2 items.
enum class Family { Xiph, Id3, Ape };

TagLib::String ToTagLib(const std::u16string& text);
std::u16string FromTagLib(const TagLib::String& text);

// The text items as a property map of the family; pictures and other hidden keys stay out.
TagLib::PropertyMap ToProperties(const TagItems& items, Family family);
// Appends the map's fields as items: known fields first in a fixed order, then the others.
void AppendProperties(const TagLib::PropertyMap& map, Family family, TagItems& out);

// A picture to store: its type index (0 to 20), sub-description, bytes and MIME type.
struct PictureOut {
  int type = 3;
  std::u16string subDescription;
  const std::vector<uint8_t>* data = nullptr;
  std::string mime;
};
// Whether the item is a picture with bytes; fills out if so.
bool ParsePicture(const TagItem& item, PictureOut& out);
// The item of picture number n (from 1) read from a file.
TagItem MakePicture(int number, int type, const std::u16string& subDescription, const char* data,
                    size_t size);

}  // namespace codec::tagmap
