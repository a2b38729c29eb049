// Picture keys of a tag list: "_albumart_<number>_<type>[<subdesc>text]" and the picture types.
#pragma once
#include <cstdint>

#include "foundation/XString.h"

// The reserved word between a picture's type and its sub-description.
inline constexpr char16_t XPictureSubDescWord[] = u"<subdesc>";
inline constexpr char16_t XPicturePrefix[] = u"_albumart_";
// The type an unknown type name stands for: the front cover.
inline constexpr int32_t XPictureFrontCover = 3;

// "_" and the name of picture type index (1 to 20); empty outside that range.
XString PictureSuffix(int32_t index);
// The index of a type name, ignoring ASCII case; an unknown name gives 3.
int32_t PictureIndex(const XString& name);
// "_albumart_<number>_<type>", with "<subdesc>" and the sub-description if that is not empty.
XString PictureKey(int32_t number, const XString& type, const XString& subDescription);
// Splits a picture key into type and sub-description; a key without "_" behind its number
// gives empty outputs.
void ParsePictureKey(const XString& key, XString& outType, XString& outSubDescription);
// A copy of key; with strip, a picture key is cut before its "<subdesc>".
XString KeyWithoutSubDesc(const XString& key, bool strip);
// Whether key starts with "_albumart_", ignoring ASCII case.
bool IsPictureKey(const XString& key);
