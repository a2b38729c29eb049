// XTagList: the ordered list of a file's tags, and its block form that crosses plug-in borders.
#pragma once
#include <cstdint>

#include "foundation/XPtrArray.h"
#include "foundation/XString.h"
#include "tags/XTagItem.h"

class XBuffer;
class XStringList;

// Flags of RemoveHidden: which hidden items stay.
enum : uint32_t {
  XTagKeepRiff = 2,      // keys starting with "_riff_"
  XTagKeepCdToc = 4,     // "_cdtoc"
  XTagKeepPictures = 8,  // keys starting with "_albumart_"
  XTagKeepCrc = 16,      // "_crc"
};

// Insertion order is kept and a key may stand more than once. Look-ups are walks of the list
// and take the first match; keys match ignoring ASCII case. The list owns its items.
class XTagList {
 public:
  XTagList() = default;
  XTagList(const XTagList& other) { Assign(other); }
  XTagList(XTagList&& other) noexcept { AssignMove(other); }
  XTagList& operator=(const XTagList& other);
  XTagList& operator=(XTagList&& other) noexcept;
  ~XTagList() { Clear(); }

  int32_t Count() const { return items.Count(); }
  XTagItem& At(int32_t index) { return *ItemAt(index); }
  const XTagItem& At(int32_t index) const { return *ItemAt(index); }

  // --- Adding ---

  // Appends, also when the key is already present. Returns the new item.
  XTagItem* Add(const XString& key, const XString& value);
  // Appends an item with an empty value and a copy of size bytes; a negative size (or a null
  // data pointer) copies nothing, and a failed allocation leaves the binary empty.
  XTagItem* AddData(const XString& key, const void* data, int64_t size);
  XTagItem* AddItem(const XTagItem& item);
  // Takes over the item's strings and buffer, leaving it empty.
  XTagItem* AddItemMove(XTagItem& item);

  // --- Finding ---

  // The first item whose key equals key ignoring ASCII case; null if none. With
  // ignoreSubDesc, picture keys are compared without their "<subdesc>" part.
  XTagItem* Find(const XString& key, bool ignoreSubDesc = false);
  const XTagItem* Find(const XString& key, bool ignoreSubDesc = false) const;
  int32_t IndexOf(const XString& key, bool ignoreSubDesc = false) const;
  // A copy of the first match's value; empty if none.
  XString GetValue(const XString& key) const;
  // GetValue cut before the first carriage return.
  XString GetFirstLine(const XString& key) const;

  // --- Changing ---

  // Replaces the first match's value, or adds the pair.
  XTagItem* Set(const XString& key, const XString& value);
  // The first match for the item's key takes over the item's key, value and binary;
  // without a match the item is appended. The item is left empty.
  XTagItem* SetItem(XTagItem& item);
  // Removes every item with that key; true if any went.
  bool Remove(const XString& key);
  // An index outside the list does nothing.
  void RemoveAt(int32_t index);
  // Pulls a tag out: the first match's value, every item of the key removed. A key starting
  // with "_albumart_" removes the first picture of that number instead and gives empty text.
  XString Take(const XString& key);
  void Clear();

  // Adds the source's items in order: an item whose key is not yet present (the items added
  // by this call included) is appended; a present one is overwritten only with overwrite.
  void Merge(const XTagList& source, bool overwrite, bool ignoreSubDesc);
  // Merge, taking strings and buffers from source, which is left cleared.
  void MergeMove(XTagList& source, bool overwrite, bool ignoreSubDesc);
  void Assign(const XTagList& source);
  // Takes every item over in order; source is left cleared.
  void AssignMove(XTagList& source);

  // Removes hidden items (keys starting with "_") except those kept by XTagKeep... flags.
  void RemoveHidden(uint32_t keepFlags);
  void RemoveBinaryItems();
  // Removes every item whose 2 * (key length + value length) + binary size exceeds limit.
  void RemoveLarger(int64_t limit);

  // One line per item for logs: "key: value", or "key:   [DATA]" and up to 100 bytes in hex.
  XString ToText() const;

  // --- Block forms ---

  // Writes the block (UTF-16LE key and value) into buffer, sized once; the buffer's size is
  // the block size. False, with an empty buffer, if the block would pass 2 GiB or the
  // allocation fails.
  bool ToBlock(XBuffer& buffer) const;
  // Replaces the list by the items of a block. A malformed block gives the items read before
  // the fault; nothing is read outside data[0, size).
  void FromBlock(const void* data, int64_t size);
  // The same with UTF-8 key and value, each with a one-byte terminator.
  bool ToBlockUtf8(XBuffer& buffer) const;
  void FromBlockUtf8(const void* data, int64_t size);

  // --- Number pairs and pictures ---

  // The value of key as "number/total" text: the number with a leading "0" below 10, then,
  // if the total is not zero, "/" and the total likewise. A number of 0 gives empty text.
  XString NumberPairText(const XString& key) const;

  // The first picture whose key starts with "_albumart_<number>", its type and
  // sub-description parsed from the key; null and empty outputs if none.
  XTagItem* GetPicture(int32_t number, XString& outType, XString& outSubDescription);
  // Takes out every picture with that type or that sub-description (case-sensitive; an
  // empty argument matches nothing) and numbers the others anew from 1 in their old order.
  // Pictures move behind the other items. True if anything was removed.
  bool RemovePictures(const XString& type, const XString& subDescription);
  // "Album Art", "CD TOC", "CRC", "ReplayGain" for what the list holds beyond text.
  XStringList SummaryNames();

  XPtrArray items;
  // The item touched last by adding or finding; null once that item is removed.
  XTagItem* current = nullptr;

 private:
  XTagItem* ItemAt(int32_t index) const { return reinterpret_cast<XTagItem*>(items[index]); }
  XTagItem* Append(XTagItem* item);
  void MergeOne(XTagItem& item, bool overwrite, bool ignoreSubDesc, bool move);
};

// outNumber is the text's number; outTotal the number behind a "/", or 0 without one.
void ParseNumberPair(const XString& text, int64_t& outNumber, int64_t& outTotal);
