// The idtags file: the tag block a host writes for audio that comes on standard input.
#pragma once
#include "foundation/XBuffer.h"
#include "foundation/XString.h"

class XTagList;

// Reads the whole file into bytes (the caller keeps them for the run), logging
// "Reading StdIn Tmp File IDTags: " and "Read". A file that can't be opened, is empty, is
// 4 GiB or more, or reads short leaves bytes empty and gives false; that is no failure of a
// conversion, which simply has no tags.
bool ReadIdTagsFile(const XString& path, XBuffer& bytes);
// ReadIdTagsFile, then the block into list (cleared first). False when the file gave nothing.
bool LoadIdTagsFile(const XString& path, XTagList& list);
