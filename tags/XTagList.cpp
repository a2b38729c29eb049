// Tag list: adding, finding, changing, merging and the text form for logs.
#include "tags/XTagList.h"

#include <utility>

#include "tags/XTagPicture.h"

namespace {

XPtrArray::Word WordOf(XTagItem* item) { return reinterpret_cast<XPtrArray::Word>(item); }

bool KeysMatch(const XString& a, const XString& b, bool ignoreSubDesc) {
  if (!ignoreSubDesc) return XString::Compare(a.CStr(), b.CStr(), 0, true) == 0;
  return XString::Compare(KeyWithoutSubDesc(a, true).CStr(), KeyWithoutSubDesc(b, true).CStr(), 0,
                          true) == 0;
}

bool StartsWithNoCase(const XString& text, const char16_t* prefix) {
  return XString::Compare(text.CStr(), prefix, -1, true) == 0;
}

}  // namespace

XTagList& XTagList::operator=(const XTagList& other) {
  Assign(other);
  return *this;
}

XTagList& XTagList::operator=(XTagList&& other) noexcept {
  AssignMove(other);
  return *this;
}

XTagItem* XTagList::Append(XTagItem* item) {
  items.Push(WordOf(item));
  current = item;
  return item;
}

XTagItem* XTagList::Add(const XString& key, const XString& value) {
  return Append(new XTagItem(key, value));
}

XTagItem* XTagList::AddData(const XString& key, const void* data, int64_t size) {
  XTagItem* item = Append(new XTagItem(key, XString()));
  if (data && size > 0 && size <= int64_t(UINT32_MAX))
    item->binary.AssignData(data, uint32_t(size));
  return item;
}

XTagItem* XTagList::AddItem(const XTagItem& item) { return Append(new XTagItem(item)); }

XTagItem* XTagList::AddItemMove(XTagItem& item) { return Append(new XTagItem(std::move(item))); }

int32_t XTagList::IndexOf(const XString& key, bool ignoreSubDesc) const {
  for (int32_t i = 0; i < Count(); ++i)
    if (KeysMatch(ItemAt(i)->key, key, ignoreSubDesc)) return i;
  return -1;
}

XTagItem* XTagList::Find(const XString& key, bool ignoreSubDesc) {
  int32_t index = IndexOf(key, ignoreSubDesc);
  if (index < 0) return nullptr;
  current = ItemAt(index);
  return current;
}

const XTagItem* XTagList::Find(const XString& key, bool ignoreSubDesc) const {
  int32_t index = IndexOf(key, ignoreSubDesc);
  return index < 0 ? nullptr : ItemAt(index);
}

XString XTagList::GetValue(const XString& key) const {
  const XTagItem* item = Find(key, false);
  return item ? item->value : XString();
}

XString XTagList::GetFirstLine(const XString& key) const {
  XString value = GetValue(key);
  int cr = value.FindChar(u'\r');
  if (cr > 0) value.ChopRight(value.Length() - cr + 1);
  return value;
}

XTagItem* XTagList::Set(const XString& key, const XString& value) {
  XTagItem* item = Find(key, false);
  if (!item) return Add(key, value);
  item->value = value;
  return item;
}

XTagItem* XTagList::SetItem(XTagItem& item) {
  XTagItem* match = Find(item.key, false);
  if (!match) return AddItemMove(item);
  if (match != &item) *match = std::move(item);
  return match;
}

bool XTagList::Remove(const XString& key) {
  bool any = false;
  for (int32_t i = Count() - 1; i >= 0; --i) {
    if (KeysMatch(ItemAt(i)->key, key, false)) {
      RemoveAt(i);
      any = true;
    }
  }
  return any;
}

void XTagList::RemoveAt(int32_t index) {
  if (index < 0 || index >= Count()) return;
  XTagItem* item = ItemAt(index);
  items.RemoveAt(index);
  if (current == item) current = nullptr;
  delete item;
}

XString XTagList::Take(const XString& key) {
  if (!IsPictureKey(key)) {
    XTagItem* item = Find(key, false);
    if (!item) return XString();
    XString value = std::move(item->value);
    Remove(key);
    return value;
  }
  // Only the prefix and the number count: the first picture of that number goes.
  XString prefix = key;
  int cut = key.FindChar(u'_', 11);
  if (cut > 0) prefix = key.Left(cut - 1);
  for (int32_t i = 0; i < Count(); ++i) {
    if (StartsWithNoCase(ItemAt(i)->key, prefix.CStr())) {
      RemoveAt(i);
      break;
    }
  }
  return XString();
}

void XTagList::Clear() {
  for (int32_t i = 0; i < Count(); ++i) delete ItemAt(i);
  items.Reset();
  current = nullptr;
}

void XTagList::MergeOne(XTagItem& item, bool overwrite, bool ignoreSubDesc, bool move) {
  XTagItem* match = Find(item.key, ignoreSubDesc);
  if (match && !overwrite) return;
  if (!match) match = Append(new XTagItem());
  if (move)
    *match = std::move(item);
  else
    *match = item;
}

void XTagList::Merge(const XTagList& source, bool overwrite, bool ignoreSubDesc) {
  if (&source == this) {
    XTagList copy(source);
    Merge(copy, overwrite, ignoreSubDesc);
    return;
  }
  for (int32_t i = 0; i < source.Count(); ++i)
    MergeOne(*source.ItemAt(i), overwrite, ignoreSubDesc, false);
}

void XTagList::MergeMove(XTagList& source, bool overwrite, bool ignoreSubDesc) {
  if (&source == this) {
    Merge(source, overwrite, ignoreSubDesc);
    return;
  }
  for (int32_t i = 0; i < source.Count(); ++i)
    MergeOne(*source.ItemAt(i), overwrite, ignoreSubDesc, true);
  source.Clear();
}

void XTagList::Assign(const XTagList& source) {
  if (&source == this) return;
  Clear();
  for (int32_t i = 0; i < source.Count(); ++i) AddItem(*source.ItemAt(i));
}

void XTagList::AssignMove(XTagList& source) {
  if (&source == this) return;
  Clear();
  for (int32_t i = 0; i < source.Count(); ++i) items.Push(source.items[i]);
  source.items.Reset();
  source.current = nullptr;
  current = nullptr;
}

void XTagList::RemoveHidden(uint32_t keepFlags) {
  for (int32_t i = Count() - 1; i >= 0; --i) {
    const XString& key = ItemAt(i)->key;
    if (key.CharAt(1) != u'_') continue;
    bool keep = ((keepFlags & XTagKeepRiff) && StartsWithNoCase(key, u"_riff_")) ||
                ((keepFlags & XTagKeepCdToc) && XString::EqualsNoCase(key.CStr(), u"_cdtoc")) ||
                ((keepFlags & XTagKeepPictures) && IsPictureKey(key)) ||
                ((keepFlags & XTagKeepCrc) && XString::EqualsNoCase(key.CStr(), u"_crc"));
    if (!keep) RemoveAt(i);
  }
}

void XTagList::RemoveBinaryItems() {
  for (int32_t i = Count() - 1; i >= 0; --i)
    if (ItemAt(i)->HasBinary()) RemoveAt(i);
}

void XTagList::RemoveLarger(int64_t limit) {
  for (int32_t i = Count() - 1; i >= 0; --i) {
    const XTagItem* item = ItemAt(i);
    int64_t bytes = 2 * (int64_t(item->key.Length()) + item->value.Length()) + item->binary.size;
    if (bytes > limit) RemoveAt(i);
  }
}

XString XTagList::ToText() const {
  XString text;
  for (int32_t i = 0; i < Count(); ++i) {
    const XTagItem* item = ItemAt(i);
    if (i > 0) text.Append(u"\r\n");
    text.Append(item->key);
    text.Append(u": ");
    if (!item->HasBinary()) {
      text.Append(item->value);
      continue;
    }
    text.Append(u"  [DATA]");
    uint32_t shown = item->binary.size < 100 ? item->binary.size : 100;
    for (uint32_t b = 0; b < shown; ++b) {
      text.AppendChar(u' ');
      text.Append(XString::Hex(item->binary.data[b], 2));
    }
  }
  return text;
}

XString XTagList::NumberPairText(const XString& key) const {
  int64_t number = 0;
  int64_t total = 0;
  ParseNumberPair(GetValue(key), number, total);
  if (number == 0) return XString();
  // Single digits get a leading zero; a negative number is printed as it stands.
  XString text = number > 0 && number < 10 ? XString(u"0") : XString();
  text.Append(XString::FromInt64(number));
  if (total != 0) {
    text.Append(total > 0 && total < 10 ? u"/0" : u"/");
    text.Append(XString::FromInt64(total));
  }
  return text;
}

void ParseNumberPair(const XString& text, int64_t& outNumber, int64_t& outTotal) {
  outNumber = text.ToInt64();
  outTotal = 0;
  int slash = text.FindChar(u'/');
  if (slash == 0) return;
  XString total = text.From(slash + 1);
  total.TrimLeft();
  total.TrimRight();
  outTotal = total.ToInt64();
}
