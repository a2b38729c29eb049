// XTagItem: one tag of a tag list, a key with a text value and an optional binary payload.
#pragma once
#include "foundation/XBuffer.h"
#include "foundation/XString.h"

// A text item has an empty binary (size 0). Keys are compared without regard to ASCII case;
// a key that starts with "_" is a hidden key (pictures, CD table of contents, CRC, RIFF).
class XTagItem {
 public:
  XTagItem() = default;
  XTagItem(const XString& itemKey, const XString& itemValue) : key(itemKey), value(itemValue) {}

  bool IsHidden() const { return key.CharAt(1) == u'_'; }
  bool HasBinary() const { return binary.size != 0; }

  XString key;
  XString value;
  XBuffer binary;
};
