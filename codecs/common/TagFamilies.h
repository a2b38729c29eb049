// Reading and replacing the tags of one tag family: Xiph comments (with FLAC pictures),
// ID3v2 tags and APEv2 tags.
#pragma once
#include <taglib/apetag.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/xiphcomment.h>

#include "codecs/common/TagBridge.h"

namespace codec::tagfamily {

// Text fields of a Xiph comment; pictures come from the caller's list.
void ReadXiph(const TagLib::Ogg::XiphComment& comment, TagItems& out);
void AppendPictures(const TagLib::List<TagLib::FLAC::Picture*>& pictures, TagItems& out);
// Replaces the comment's fields by the items' text; pictures go in the comment itself only
// with embedPictures (Ogg streams), else the caller stores them.
void WriteXiph(TagLib::Ogg::XiphComment& comment, const TagItems& items, bool embedPictures);
// The items' pictures as FLAC picture blocks, owned by the caller.
std::vector<TagLib::FLAC::Picture*> MakeFlacPictures(const TagItems& items);

void ReadId3(const TagLib::ID3v2::Tag& tag, TagItems& out);
void WriteId3(TagLib::ID3v2::Tag& tag, const TagItems& items);

void ReadApe(const TagLib::APE::Tag& tag, TagItems& out);
void WriteApe(TagLib::APE::Tag& tag, const TagItems& items);

}  // namespace codec::tagfamily
