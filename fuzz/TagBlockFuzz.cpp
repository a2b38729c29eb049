// libFuzzer target: any bytes through both tag block readers, with a write-and-read-back check.
#include <cstdint>
#include <cstdlib>

#include "foundation/XBuffer.h"
#include "foundation/XStringList.h"
#include "tags/XTagList.h"

namespace {

bool SameLists(const XTagList& a, const XTagList& b) {
  if (a.Count() != b.Count()) return false;
  for (int32_t i = 0; i < a.Count(); ++i) {
    const XTagItem& x = a.At(i);
    const XTagItem& y = b.At(i);
    if (x.key != y.key || x.value != y.value || x.binary.size != y.binary.size) return false;
    for (uint32_t k = 0; k < x.binary.size; ++k)
      if (x.binary.data[k] != y.binary.data[k]) return false;
  }
  return true;
}

// Whatever a reader made of the bytes must survive its own writer unchanged.
void CheckRoundTrip(const XTagList& list, bool utf8) {
  XBuffer block;
  if (!(utf8 ? list.ToBlockUtf8(block) : list.ToBlock(block))) std::abort();
  XTagList again;
  if (utf8)
    again.FromBlockUtf8(block.data, block.size);
  else
    again.FromBlock(block.data, block.size);
  if (!SameLists(list, again)) std::abort();
}

// The list operations that walk keys a block can make up.
void TouchList(XTagList& list) {
  (void)list.ToText();
  (void)list.SummaryNames();
  XString type;
  XString sub;
  list.GetPicture(1, type, sub);
  list.RemovePictures(type, sub);
  list.Take(u"_albumart_1_x");
  list.RemoveHidden(XTagKeepRiff | XTagKeepCrc);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  XTagList wide;
  wide.FromBlock(data, int64_t(size));
  CheckRoundTrip(wide, false);
  TouchList(wide);

  XTagList narrow;
  narrow.FromBlockUtf8(data, int64_t(size));
  CheckRoundTrip(narrow, true);
  TouchList(narrow);
  return 0;
}
