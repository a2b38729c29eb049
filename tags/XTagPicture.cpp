// Picture keys, picture types, and the list operations that work on pictures and hidden items.
#include "tags/XTagPicture.h"

#include "foundation/XStringList.h"
#include "tags/XTagList.h"

namespace {

// Index i + 1 is the picture type of an attached picture frame.
const char16_t* const PictureNames[] = {
    u"32x32 Icon",
    u"Other Icon",
    u"Front Album Cover",
    u"Back Album Cover",
    u"Leaflet Page",
    u"Media",
    u"Lead Artist",
    u"Artist",
    u"Conductor",
    u"Band",
    u"Composer",
    u"Writer",
    u"Recording Location",
    u"During Recording",
    u"During Performance",
    u"Video Capture",
    u"A Bright Coloured Fish",
    u"Illustration",
    u"Artist Logo",
    u"Publisher Logo",
};
constexpr int32_t PictureTypeCount = 20;

// The position of the "_" behind a picture key's number: the search starts at the number's
// first digit, so the prefix's own underscores are passed over.
int NumberEnd(const XString& key) { return key.FindChar(u'_', 11); }

bool SameCase(const XString& a, const XString& b) {
  return a.Length() == b.Length() && XString::Compare(a.CStr(), b.CStr()) == 0;
}

XString PictureNumberPrefix(int32_t number) {
  XString prefix = XPicturePrefix;
  prefix.Append(XString::FromInt64(number));
  return prefix;
}

}  // namespace

XString PictureSuffix(int32_t index) {
  if (index < 1 || index > PictureTypeCount) return XString();
  return XString::Concat(XString(u"_"), PictureNames[index - 1]);
}

int32_t PictureIndex(const XString& name) {
  for (int32_t i = 0; i < PictureTypeCount; ++i)
    if (XString::EqualsNoCase(name.CStr(), PictureNames[i])) return i + 1;
  return XPictureFrontCover;
}

XString PictureKey(int32_t number, const XString& type, const XString& subDescription) {
  // "_albumart_%i_%s", built directly: types are free text of any length.
  XString key = PictureNumberPrefix(number);
  key.AppendChar(u'_');
  key.Append(type);
  if (!subDescription.IsEmpty()) {
    key.Append(XPictureSubDescWord);
    key.Append(subDescription);
  }
  return key;
}

void ParsePictureKey(const XString& key, XString& outType, XString& outSubDescription) {
  outType.Clear();
  outSubDescription.Clear();
  int end = NumberEnd(key);
  if (end == 0) return;
  outType = key.From(end + 1);
  int word = outType.Find(XPictureSubDescWord, 1, true);
  if (word == 0) return;
  outSubDescription = outType.From(word + XString(XPictureSubDescWord).Length());
  outType = outType.Left(word - 1);
}

XString KeyWithoutSubDesc(const XString& key, bool strip) {
  if (!strip || !IsPictureKey(key)) return key;
  int word = key.Find(XPictureSubDescWord, 1, true);
  return word == 0 ? key : key.Left(word - 1);
}

bool IsPictureKey(const XString& key) {
  return XString::Compare(key.CStr(), XPicturePrefix, -1, true) == 0;
}

XTagItem* XTagList::GetPicture(int32_t number, XString& outType, XString& outSubDescription) {
  outType.Clear();
  outSubDescription.Clear();
  XString prefix = PictureNumberPrefix(number);
  for (int32_t i = 0; i < Count(); ++i) {
    XTagItem* item = ItemAt(i);
    if (XString::Compare(item->key.CStr(), prefix.CStr(), -1, true) == 0) {
      ParsePictureKey(item->key, outType, outSubDescription);
      current = item;
      return item;
    }
  }
  return nullptr;
}

bool XTagList::RemovePictures(const XString& type, const XString& subDescription) {
  XTagList kept;
  bool changed = false;
  int32_t counter = 1;
  XString itemType;
  XString itemSub;
  for (int32_t i = 0; i < Count(); ++i) {
    XTagItem* item = ItemAt(i);
    if (!IsPictureKey(item->key)) continue;
    ParsePictureKey(item->key, itemType, itemSub);
    bool goes = (!type.IsEmpty() && SameCase(itemType, type)) ||
                (!subDescription.IsEmpty() && SameCase(itemSub, subDescription));
    if (goes) {
      changed = true;
      continue;
    }
    XTagItem* copy = kept.AddItem(*item);
    copy->key = PictureKey(counter++, itemType, itemSub);
  }
  if (!changed) return false;
  RemoveHidden(XTagKeepRiff | XTagKeepCdToc | XTagKeepCrc);
  for (int32_t i = 0; i < kept.Count(); ++i) AddItemMove(kept.At(i));
  return true;
}

XStringList XTagList::SummaryNames() {
  XStringList names;
  XString type;
  XString subDescription;
  if (GetPicture(1, type, subDescription)) names.Add(u"Album Art");
  if (Find(u"_cdtoc", false)) names.Add(u"CD TOC");
  if (Find(u"_CRC", false)) names.Add(u"CRC");
  if (Find(u"replaygain_track_gain", false) || Find(u"replaygain_album_gain", false))
    names.Add(u"ReplayGain");
  return names;
}
