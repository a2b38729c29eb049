// Tag list block forms: a count, then records of size, key, value and raw binary, in UTF-16LE
// or UTF-8. The reader trusts no length in the block.
#include "tags/XTagList.h"

#include <cstring>
#include <string>

#include "foundation/XBuffer.h"

namespace {

constexpr int64_t MaxBlockSize = INT32_MAX;

void PutInt32(uint8_t*& out, int32_t value) {
  uint32_t v = uint32_t(value);
  for (int i = 0; i < 4; ++i) *out++ = uint8_t(v >> (8 * i));
}

int32_t GetInt32(const uint8_t* in) {
  return int32_t(uint32_t(in[0]) | uint32_t(in[1]) << 8 | uint32_t(in[2]) << 16 |
                 uint32_t(in[3]) << 24);
}

void PutWide(uint8_t*& out, const XString& text) {
  for (int i = 0; i <= text.Length(); ++i) {  // the terminator too
    char16_t c = text.CStr()[i];
    *out++ = uint8_t(c);
    *out++ = uint8_t(c >> 8);
  }
}

void PutBytes(uint8_t*& out, const void* data, size_t n) {
  if (n) std::memcpy(out, data, n);
  out += n;
}

// A record field as it will be written: UTF-16 units or UTF-8 bytes, each with a terminator.
struct FieldSizes {
  int64_t key;
  int64_t value;
};

// Each form measures the key and value as it will write them; the total is checked before
// anything is allocated, so no size can wrap.
template <typename Measure>
int64_t BlockSize(const XTagList& list, Measure measure) {
  int64_t total = 4;
  for (int32_t i = 0; i < list.Count(); ++i) {
    FieldSizes f = measure(list.At(i));
    int64_t record = 4 + f.key + f.value + int64_t(list.At(i).binary.size);
    if (record > MaxBlockSize) return -1;
    total += record;
    if (total > MaxBlockSize) return -1;
  }
  return total;
}

bool Prepare(XBuffer& buffer, int64_t total) {
  if (total < 0 || !buffer.Resize(uint32_t(total), false, false, 0, false)) {
    buffer.Free();
    return false;
  }
  return true;
}

// The bytes of one record after its size field, consumed front to back.
struct Cursor {
  const uint8_t* at;
  int64_t left;
};

// A terminated UTF-16LE text inside the record. With no terminator in reach the text is empty
// and nothing is consumed.
XString ReadWide(Cursor& c) {
  if (c.left < 2) return XString();
  int64_t units = c.left / 2;
  for (int64_t n = 0; n < units; ++n) {
    if (c.at[2 * n] != 0 || c.at[2 * n + 1] != 0) continue;
    std::u16string text(size_t(n), u'\0');
    for (int64_t k = 0; k < n; ++k) text[size_t(k)] = char16_t(c.at[2 * k] | c.at[2 * k + 1] << 8);
    c.at += 2 * (n + 1);
    c.left -= 2 * (n + 1);
    return XString(std::u16string_view(text));
  }
  return XString();
}

// A terminated UTF-8 text inside the record. False when no terminator is in reach: the
// text would run past the record, so the record can't be read further.
bool ReadNarrow(Cursor& c, XString& out) {
  const void* zero = c.left > 0 ? std::memchr(c.at, 0, size_t(c.left)) : nullptr;
  if (!zero) return false;
  int64_t n = static_cast<const uint8_t*>(zero) - c.at;
  out = XString::FromUtf8(std::string_view(reinterpret_cast<const char*>(c.at), size_t(n)));
  c.at += n + 1;
  c.left -= n + 1;
  return true;
}

// Reads one record's fields into item; false when the parse must end after this record.
bool ReadWideRecord(Cursor& c, XTagItem& item) {
  item.key = ReadWide(c);
  if (c.left <= 0) return false;
  item.value = ReadWide(c);
  return true;
}

bool ReadNarrowRecord(Cursor& c, XTagItem& item) {
  if (!ReadNarrow(c, item.key) || c.left < 1) return false;
  return ReadNarrow(c, item.value);
}

// The walk both forms share: the count, then records until the count, the data or a record
// that can't be read runs out. Every length is held against the bytes left before use.
template <typename ReadRecord>
void ReadRecords(XTagList& list, const void* data, int64_t size, ReadRecord readRecord) {
  if (!data || size <= 4) return;
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  int32_t count = GetInt32(bytes);
  int64_t pos = 4;
  for (int32_t read = 0; read < count && pos < size; ++read) {
    if (size - pos < 4) return;
    int32_t recordSize = GetInt32(bytes + pos);
    if (recordSize < 0 || recordSize > size - pos) return;
    XTagItem* item = list.Add(XString(), XString());
    Cursor c{bytes + pos + 4, int64_t(recordSize) - 4};
    if (!readRecord(c, *item)) return;
    if (c.left > 0) item->binary.AssignData(c.at, uint32_t(c.left));
    pos += recordSize;
  }
}

// The block may lie inside one of the list's own payloads, so the old items go only after
// the read.
template <typename ReadRecord>
void ReadBlock(XTagList& list, const void* data, int64_t size, ReadRecord readRecord) {
  XTagList read;
  ReadRecords(read, data, size, readRecord);
  list.AssignMove(read);
}

}  // namespace

bool XTagList::ToBlock(XBuffer& buffer) const {
  int64_t total = BlockSize(*this, [](const XTagItem& item) {
    return FieldSizes{2 * (int64_t(item.key.Length()) + 1), 2 * (int64_t(item.value.Length()) + 1)};
  });
  if (!Prepare(buffer, total)) return false;
  uint8_t* out = buffer.data;
  PutInt32(out, Count());
  for (int32_t i = 0; i < Count(); ++i) {
    const XTagItem& item = At(i);
    int64_t record = 4 + 2 * (int64_t(item.key.Length()) + 1) +
                     2 * (int64_t(item.value.Length()) + 1) + item.binary.size;
    PutInt32(out, int32_t(record));
    PutWide(out, item.key);
    PutWide(out, item.value);
    PutBytes(out, item.binary.data, item.binary.size);
  }
  return true;
}

bool XTagList::ToBlockUtf8(XBuffer& buffer) const {
  // Each text is converted twice (measure, write) so that the block needs one allocation
  // and no table of conversions.
  int64_t total = BlockSize(*this, [](const XTagItem& item) {
    return FieldSizes{int64_t(item.key.ToUtf8String().size()) + 1,
                      int64_t(item.value.ToUtf8String().size()) + 1};
  });
  if (!Prepare(buffer, total)) return false;
  uint8_t* out = buffer.data;
  PutInt32(out, Count());
  for (int32_t i = 0; i < Count(); ++i) {
    const XTagItem& item = At(i);
    std::string key = item.key.ToUtf8String();
    std::string value = item.value.ToUtf8String();
    PutInt32(out, int32_t(4 + key.size() + 1 + value.size() + 1 + item.binary.size));
    PutBytes(out, key.c_str(), key.size() + 1);
    PutBytes(out, value.c_str(), value.size() + 1);
    PutBytes(out, item.binary.data, item.binary.size);
  }
  return true;
}

void XTagList::FromBlock(const void* data, int64_t size) {
  ReadBlock(*this, data, size, ReadWideRecord);
}

void XTagList::FromBlockUtf8(const void* data, int64_t size) {
  ReadBlock(*this, data, size, ReadNarrowRecord);
}
