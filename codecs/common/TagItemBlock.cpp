// The tag block with binary payloads: a count, then records of size, UTF-16LE key and value,
// each with a terminator, and the raw payload. The reader trusts no length in the block.
#include "codecs/common/TagItemBlock.h"

#include <cstring>

namespace codec {

namespace {

constexpr uint64_t kMaxBlockSize = INT32_MAX;

void PutU32(uint8_t*& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) *out++ = uint8_t(v >> (8 * i));
}

void PutText(uint8_t*& out, const std::u16string& text) {
  for (char16_t c : text) {
    *out++ = uint8_t(c);
    *out++ = uint8_t(c >> 8);
  }
  *out++ = 0;
  *out++ = 0;
}

int32_t GetI32(const uint8_t* p) {
  return int32_t(uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 |
                 uint32_t(p[3]) << 24);
}

uint64_t RecordSize(const TagItem& item) {
  return 4 + 2 * (uint64_t(item.key.size()) + 1) + 2 * (uint64_t(item.value.size()) + 1) +
         item.binary.size();
}

// The bytes of one record behind its size field, consumed front to back.
struct Cursor {
  const uint8_t* at;
  int64_t left;
};

// A terminated text inside the record; with no terminator in reach it is empty and nothing is
// consumed.
std::u16string ReadText(Cursor& c) {
  for (int64_t n = 0; 2 * n + 1 < c.left; ++n) {
    if (c.at[2 * n] != 0 || c.at[2 * n + 1] != 0) continue;
    std::u16string text(size_t(n), u'\0');
    for (int64_t k = 0; k < n; ++k) text[size_t(k)] = char16_t(c.at[2 * k] | c.at[2 * k + 1] << 8);
    c.at += 2 * (n + 1);
    c.left -= 2 * (n + 1);
    return text;
  }
  return {};
}

}  // namespace

std::vector<uint8_t> MakeTagItemBlock(const TagItems& items) {
  // Items that would carry the block past 2 GiB are left out; the count says what is there.
  uint64_t total = 4;
  uint32_t count = 0;
  std::vector<bool> keep(items.size(), false);
  for (size_t i = 0; i < items.size(); ++i) {
    uint64_t record = RecordSize(items[i]);
    if (total + record > kMaxBlockSize) continue;
    total += record;
    keep[i] = true;
    ++count;
  }
  std::vector<uint8_t> block(static_cast<size_t>(total));
  uint8_t* out = block.data();
  PutU32(out, count);
  for (size_t i = 0; i < items.size(); ++i) {
    if (!keep[i]) continue;
    const TagItem& item = items[i];
    PutU32(out, uint32_t(RecordSize(item)));
    PutText(out, item.key);
    PutText(out, item.value);
    if (!item.binary.empty()) std::memcpy(out, item.binary.data(), item.binary.size());
    out += item.binary.size();
  }
  return block;
}

TagItems ReadTagItemBlock(const void* data, uint32_t size) {
  TagItems items;
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  if (!bytes || size <= 4) return items;
  int32_t count = GetI32(bytes);
  int64_t pos = 4;
  for (int32_t read = 0; read < count && pos < int64_t(size); ++read) {
    if (int64_t(size) - pos < 4) break;
    int32_t recordSize = GetI32(bytes + pos);
    if (recordSize < 0 || recordSize > int64_t(size) - pos) break;
    TagItem& item = items.emplace_back();
    Cursor c{bytes + pos + 4, int64_t(recordSize) - 4};
    item.key = ReadText(c);
    if (c.left <= 0) break;  // no room for a value: the record is cut
    item.value = ReadText(c);
    if (c.left > 0) item.binary.assign(c.at, c.at + c.left);
    pos += recordSize;
  }
  return items;
}

}  // namespace codec
