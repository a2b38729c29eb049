// Tag families through TagLib: text by property maps, pictures by each family's own frames.
#include "codecs/common/TagFamilies.h"

#include <taglib/apeitem.h>
#include <taglib/attachedpictureframe.h>

#include <algorithm>
#include <set>

#include "codecs/common/CodecSupport.h"
#include "codecs/common/TagMapping.h"

namespace codec::tagfamily {

namespace {

using namespace TagLib;
using tagmap::Family;
using tagmap::PictureOut;

// APEv2 cover items by picture type, as players name them.
const char* const kApeCovers[] = {"Cover Art (Other)",
                                  "Cover Art (Png Icon)",
                                  "Cover Art (Icon)",
                                  "Cover Art (Front)",
                                  "Cover Art (Back)",
                                  "Cover Art (Leaflet)",
                                  "Cover Art (Media)",
                                  "Cover Art (Lead Artist)",
                                  "Cover Art (Artist)",
                                  "Cover Art (Conductor)",
                                  "Cover Art (Band)",
                                  "Cover Art (Composer)",
                                  "Cover Art (Lyricist)",
                                  "Cover Art (Recording Location)",
                                  "Cover Art (During Recording)",
                                  "Cover Art (During Performance)",
                                  "Cover Art (Video Capture)",
                                  "Cover Art (Fish)",
                                  "Cover Art (Illustration)",
                                  "Cover Art (Band Logotype)",
                                  "Cover Art (Publisher Logotype)"};

ByteVector Bytes(const std::vector<uint8_t>& data) {
  return ByteVector(reinterpret_cast<const char*>(data.data()),
                    static_cast<unsigned int>(data.size()));
}

std::vector<PictureOut> Pictures(const TagItems& items) {
  std::vector<PictureOut> pictures;
  for (const TagItem& item : items) {
    PictureOut picture;
    if (tagmap::ParsePicture(item, picture)) pictures.push_back(picture);
  }
  return pictures;
}

int NextPictureNumber(const TagItems& items) {
  int count = 0;
  for (const TagItem& item : items)
    if (!item.binary.empty()) ++count;
  return count + 1;
}

void AppendPicture(int type, const String& description, const ByteVector& data, TagItems& out) {
  if (data.isEmpty()) return;
  out.push_back(tagmap::MakePicture(NextPictureNumber(out), type, tagmap::FromTagLib(description),
                                    data.data(), data.size()));
}

// An APE cover's text part is a file name by custom; only other text is a sub-description.
bool IsImageFileName(const std::string& text) {
  static const char* const extensions[] = {".jpg", ".jpeg", ".png", ".gif", ".bmp", ".webp"};
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return char(std::tolower(c)); });
  for (const char* ext : extensions) {
    std::string e = ext;
    if (lower.size() >= e.size() && lower.compare(lower.size() - e.size(), e.size(), e) == 0)
      return true;
  }
  return false;
}

std::string ApeCoverName(const PictureOut& picture) {
  if (!picture.subDescription.empty()) return ToUtf8(picture.subDescription);
  size_t slash = picture.mime.find('/');
  std::string ext = picture.mime.rfind("image/", 0) == 0 ? picture.mime.substr(slash + 1) : "bin";
  return "cover." + std::string(ext == "jpeg" ? "jpg" : ext);
}

}  // namespace

void ReadXiph(const Ogg::XiphComment& comment, TagItems& out) {
  tagmap::AppendProperties(comment.properties(), Family::Xiph, out);
}

void AppendPictures(const List<FLAC::Picture*>& pictures, TagItems& out) {
  for (const FLAC::Picture* picture : pictures)
    AppendPicture(int(picture->type()), picture->description(), picture->data(), out);
}

void WriteXiph(Ogg::XiphComment& comment, const TagItems& items, bool embedPictures) {
  comment.removeAllFields();
  comment.removeAllPictures();
  comment.setProperties(tagmap::ToProperties(items, Family::Xiph));
  if (!embedPictures) return;
  for (FLAC::Picture* picture : MakeFlacPictures(items)) comment.addPicture(picture);
}

std::vector<FLAC::Picture*> MakeFlacPictures(const TagItems& items) {
  std::vector<FLAC::Picture*> blocks;
  for (const PictureOut& picture : Pictures(items)) {
    auto* block = new FLAC::Picture;
    block->setType(FLAC::Picture::Type(picture.type));
    block->setMimeType(picture.mime);
    block->setDescription(tagmap::ToTagLib(picture.subDescription));
    block->setData(Bytes(*picture.data));
    blocks.push_back(block);
  }
  return blocks;
}

void ReadId3(const ID3v2::Tag& tag, TagItems& out) {
  tagmap::AppendProperties(tag.properties(), Family::Id3, out);
  for (const ID3v2::Frame* frame : tag.frameListMap()["APIC"]) {
    auto* picture = dynamic_cast<const ID3v2::AttachedPictureFrame*>(frame);
    if (picture)
      AppendPicture(int(picture->type()), picture->description(), picture->picture(), out);
  }
}

void WriteId3(ID3v2::Tag& tag, const TagItems& items) {
  ID3v2::FrameList frames = tag.frameList();
  for (ID3v2::Frame* frame : frames) tag.removeFrame(frame, true);
  tag.setProperties(tagmap::ToProperties(items, Family::Id3));
  for (const PictureOut& picture : Pictures(items)) {
    auto* frame = new ID3v2::AttachedPictureFrame;
    frame->setTextEncoding(String::UTF8);
    frame->setType(ID3v2::AttachedPictureFrame::Type(picture.type));
    frame->setMimeType(picture.mime);
    frame->setDescription(tagmap::ToTagLib(picture.subDescription));
    frame->setPicture(Bytes(*picture.data));
    tag.addFrame(frame);
  }
}

void ReadApe(const APE::Tag& tag, TagItems& out) {
  tagmap::AppendProperties(tag.properties(), Family::Ape, out);
  // Covers by type, since the items stand in no fixed order.
  for (int type = 0; type < int(std::size(kApeCovers)); ++type) {
    for (const auto& [key, item] : tag.itemListMap()) {
      if (item.type() != APE::Item::Binary || key.upper() != String(kApeCovers[type]).upper())
        continue;
      ByteVector value = item.binaryData();
      int zero = value.find('\0');
      if (zero < 0) continue;
      std::string name(value.data(), size_t(zero));
      String description = IsImageFileName(name) ? String() : String(name, String::UTF8);
      AppendPicture(type, description, value.mid(zero + 1), out);
    }
  }
}

void WriteApe(APE::Tag& tag, const TagItems& items) {
  APE::ItemListMap old = tag.itemListMap();
  for (const auto& entry : old) tag.removeItem(entry.first);
  tag.setProperties(tagmap::ToProperties(items, Family::Ape));
  std::set<int> used;  // one cover item per type
  for (const PictureOut& picture : Pictures(items)) {
    if (!used.insert(picture.type).second) continue;
    ByteVector value(ApeCoverName(picture).c_str());
    value.append('\0');
    value.append(Bytes(*picture.data));
    tag.setItem(kApeCovers[picture.type], APE::Item(kApeCovers[picture.type], value, true));
  }
}

}  // namespace codec::tagfamily
