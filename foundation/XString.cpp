// XString storage, reading, searching, changing and narrow conversions.
#include "foundation/XString.h"

#include "foundation/XTextCodec.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <new>

namespace {

// The one zero unit every empty string points at; never written, never freed.
char16_t sharedEmpty[1] = {0};

int Length16(const char16_t* s) {
  int n = 0;
  while (s[n]) ++n;
  return n;
}

char16_t FoldAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

// Sizes that overflow are passed on as the largest request, which then fails to allocate.
int AddSizes(long long a, long long b) {
  long long sum = a + b;
  return sum > INT_MAX ? INT_MAX : int(sum);
}

}  // namespace

// --- Construction, assignment and release ---

XString::XString()
    : text(sharedEmpty), size(1), tag(0), narrow(nullptr), narrowSize(0), capacity(0) {}

XString::XString(const char16_t* source) : XString() { Assign(source, 0); }

XString::XString(std::u16string_view units) : XString() {
  if (!units.empty()) Assign(units.data(), int(std::min<size_t>(units.size(), INT_MAX - 1)) + 1);
}

XString::XString(const XString& other) : XString() {
  Assign(other.text, other.size);
  tag = other.tag;
}

XString::XString(XString&& other) noexcept : XString() { TakeOver(other); }

XString::XString(const char* narrowText, bool isUtf8) : XString() {
  if (!narrowText) return;
  if (!isUtf8) {
    AssignNarrow(narrowText);
    return;
  }
  int n = int(std::min<size_t>(std::strlen(narrowText), INT_MAX - 3));
  Prepare(n + 3);
  std::fill(text, text + n + 3, u'\0');
  int got = XMultiByteToWideChar(XCodePageUtf8, narrowText, -1, text, n + 2);
  size = got < 1 ? 1 : got;
  text[size - 1] = 0;
}

XString::XString(int32_t value) : XString(FromInt64(value)) {}

XString::XString(int64_t value) : XString(FromInt64(value)) {}

XString::~XString() { Release(); }

void XString::TakeOver(XString& other) {
  text = other.text;
  size = other.size;
  tag = other.tag;
  capacity = other.capacity;
  other.text = sharedEmpty;
  other.size = 1;
  other.tag = 0;
  other.capacity = 0;
}

bool XString::Owns(const char16_t* p) const {
  return capacity > 0 && p >= text && p < text + capacity;
}

XString XString::Concat(const XString& a, const char16_t* b) {
  XString result(a);
  result += b;
  return result;
}

XString& XString::Assign(const char16_t* source, int sizeWithTerminator) {
  if (sizeWithTerminator == LastChar) sizeWithTerminator = 0;
  if (!source || sizeWithTerminator == 1 || sizeWithTerminator < 0) {
    Clear();
    return *this;
  }
  int n = sizeWithTerminator == 0 ? Length16(source) + 1 : sizeWithTerminator;
  if (n == 1) {
    Clear();
    return *this;
  }
  if (capacity < n && Owns(source)) {
    XString copy(source);
    return Assign(copy.text, std::min(n, copy.size));
  }
  Prepare(n);
  std::memmove(text, source, size_t(n - 1) * sizeof(char16_t));
  text[n - 1] = 0;
  size = n;
  return *this;
}

XString& XString::operator=(const XString& other) {
  if (this != &other) {
    Assign(other.text, other.size);
    tag = other.tag;
  }
  return *this;
}

XString& XString::operator=(XString&& other) noexcept {
  if (this != &other) {
    Release();
    TakeOver(other);
  }
  return *this;
}

XString& XString::operator=(const char16_t* source) { return Assign(source, 0); }

XString& XString::AssignNarrow(const char* narrowText) {
  int need = narrowText ? XMultiByteToWideChar(XCodePageAnsi, narrowText, -1, nullptr, 0) : 0;
  if (need < 1) {
    Clear();
    return *this;
  }
  Prepare(need);
  int got = XMultiByteToWideChar(XCodePageAnsi, narrowText, -1, text, need);
  if (got < 1) {
    Clear();
    return *this;
  }
  size = got;
  text[size - 1] = 0;
  return *this;
}

void XString::Release() {
  if (text != sharedEmpty) delete[] text;
  text = sharedEmpty;
  capacity = 0;
  delete[] narrow;
  narrow = nullptr;
  narrowSize = 0;
}

const char16_t* XString::SharedEmpty() { return sharedEmpty; }

// --- Reading ---

char16_t XString::CharAt(int pos) const {
  if (pos == LastChar) pos = size - 1;
  return (pos >= 1 && pos <= size - 1) ? text[pos - 1] : u'\0';
}

XString XString::Mid(int from, int to) const {
  if (from == LastChar) from = size - 1;
  if (to == LastChar || to > size - 1) to = size - 1;
  XString result;
  if (from < 1 || from >= size || to < from) return result;
  result.Assign(text + from - 1, to - from + 2);
  return result;
}

XString XString::Left(int n) const { return Mid(1, n); }

XString XString::Right(int n) const {
  return Mid(std::max(int(std::min<long long>(INT_MAX, (long long)size - n)), 1), size - 1);
}

XString XString::From(int pos) const { return Mid(pos, size - 1); }

XString XString::ToLower() const {
  XString result(*this);
  for (int i = 0; i < result.size - 1; ++i) result.text[i] = FoldAscii(result.text[i]);
  return result;
}

XString XString::ToUpper() const {
  XString result(*this);
  for (int i = 0; i < result.size - 1; ++i) {
    char16_t c = result.text[i];
    if (c >= u'a' && c <= u'z') result.text[i] = char16_t(c - 32);
  }
  return result;
}

int XString::Compare(const char16_t* a, const char16_t* b, int n, bool ignoreCase) {
  if (!b) return 1;
  if (n == -1) n = Length16(b);
  if (!a || !a[0]) return b[0] ? -1 : 0;
  for (int i = 0;; ++i) {
    if (n > 0 && i == n) return 0;
    char16_t ua = a[i], ub = b[i];
    if (ignoreCase) {
      ua = FoldAscii(ua);
      ub = FoldAscii(ub);
    }
    if (ua == 0) return ub ? -1 : 0;
    if (ua != ub) return ub < ua ? 1 : -1;
  }
}

bool XString::Equals(const char16_t* a, const char16_t* b, int n, bool ignoreCase) {
  return Compare(a, b, n, ignoreCase) == 0;
}

bool XString::EqualsNoCase(const char16_t* a, const char16_t* b) {
  return Compare(a, b, 0, true) == 0;
}

bool XString::SameText(const char16_t* a, const char16_t* b) {
  if (!a) a = sharedEmpty;
  if (!b) b = sharedEmpty;
  for (;; ++a, ++b) {
    if (*a != *b) return false;
    if (!*a) return true;
  }
}

int XString::Find(const char16_t* needle, int from, bool ignoreCase) const {
  if (from == LastChar) from = size - 1;
  if (from < 1 || from >= size || !needle) return 0;
  if (ignoreCase) {
    XString upperText = ToUpper();
    XString upperNeedle = XString(needle).ToUpper();
    return upperText.Find(upperNeedle.text, from, false);
  }
  int needleLength = Length16(needle);
  if (needleLength == 0) return from;
  for (int start = from - 1; start + needleLength <= size - 1; ++start) {
    if (std::memcmp(text + start, needle, size_t(needleLength) * sizeof(char16_t)) == 0)
      return start + 1;
  }
  return 0;
}

int XString::FindChar(char16_t c, int from) const {
  const char16_t needle[2] = {c, 0};
  return Find(needle, from, false);
}

int XString::FindLast(const char16_t* needle, bool ignoreCase) const {
  int last = 0;
  for (int hit = Find(needle, 1, ignoreCase); hit; hit = Find(needle, hit + 1, ignoreCase))
    last = hit;
  return last;
}

int XString::ReverseFindChar(char16_t c, int from) const {
  if (from == LastChar) from = size - 1;
  if (from < 1 || from > size - 1) return 0;
  for (int pos = from; pos >= 1; --pos) {
    if (text[pos - 1] == 0) return 0;
    if (text[pos - 1] == c) return pos;
  }
  return 0;
}

bool XString::EndsWith(const char16_t* tail, bool ignoreCase) const {
  if (!tail) return false;
  int n = Length16(tail);
  if (n > size - 1) return false;
  return Compare(Right(n).text, tail, 0, ignoreCase) == 0;
}

// --- Changing ---

void XString::AppendUnits(const char16_t* units, int count, int extra) {
  if (count <= 0) return;
  if (Owns(units)) {
    std::u16string copy(units, size_t(count));
    AppendUnits(copy.data(), count, extra);
    return;
  }
  int newSize = AddSizes(size, count);
  Reserve(newSize, extra);
  std::memcpy(text + size - 1, units, size_t(count) * sizeof(char16_t));
  size = newSize;
  text[size - 1] = 0;
}

int XString::operator+=(const char16_t* more) {
  if (more) AppendUnits(more, Length16(more), 25);
  return size;
}

int XString::operator+=(const XString& more) { return *this += more.text; }

void XString::Append(const char16_t* more) {
  if (!more || !more[0]) return;
  int count = Length16(more);
  AppendUnits(more, count, AddSizes(size, count) / 3);
}

void XString::Append(const XString& more) { Append(more.text); }

void XString::AppendChar(char16_t c) {
  const char16_t run[2] = {c, 0};
  Append(run);
}

void XString::AppendUnique(char16_t c) {
  if (size > 1 && text[size - 2] == c) return;
  AppendChar(c);
}

void XString::InsertUnits(const char16_t* units, int count, int pos) {
  if (Owns(units)) {
    std::u16string copy(units, size_t(count));
    InsertUnits(copy.data(), count, pos);
    return;
  }
  int newSize = AddSizes(size, count);
  Reserve(newSize, 32);
  if (pos == LastChar) pos = size;
  if (pos < 1 || pos > size) return;
  std::memmove(text + pos - 1 + count, text + pos - 1, size_t(size - pos + 1) * sizeof(char16_t));
  std::memcpy(text + pos - 1, units, size_t(count) * sizeof(char16_t));
  size = newSize;
}

void XString::InsertChar(char16_t c, int pos) { InsertUnits(&c, 1, pos); }

void XString::Insert(const char16_t* more, int pos) {
  if (!more || !more[0]) return;
  InsertUnits(more, Length16(more), pos);
}

char16_t XString::RemoveAt(int pos) {
  if (pos == LastChar) pos = size - 1;
  if (pos < 1 || pos > size - 1) return 0;
  char16_t removed = text[pos - 1];
  std::memmove(text + pos - 1, text + pos, size_t(size - pos) * sizeof(char16_t));
  --size;
  return removed;
}

void XString::Remove(int from, int to) {
  if (from == LastChar) from = size - 1;
  if (to == LastChar) to = size - 1;
  long long count = (long long)to - from + 1;
  if (from < 1 || from >= size || count < 1) return;
  if (to <= size - 1) {
    std::memmove(text + from - 1, text + to, size_t(size - to) * sizeof(char16_t));
    size -= int(count);
    return;
  }
  // A range past the end takes the whole requested count off the size.
  long long newSize = size - count;
  size = newSize < 1 ? 1 : int(newSize);
  text[size - 1] = 0;
}

void XString::ChopLeft(int n) { Remove(1, n); }

void XString::ChopRight(int n) {
  if (n < 1) return;
  Remove(std::max(size - n, 1), size - 1);
}

void XString::TrimLeft() {
  int blanks = 0;
  while (blanks < size - 1 && text[blanks] == u' ') ++blanks;
  if (blanks > 0) Remove(1, blanks);
}

void XString::TrimRight() { TrimRightChar(u' '); }

void XString::TrimRightChar(char16_t c) {
  int newSize = size;
  while (newSize > 1 && text[newSize - 2] == c) --newSize;
  if (newSize != size) {
    size = newSize;
    text[size - 1] = 0;
  }
}

int XString::Replace(const char16_t* find, const char16_t* with, bool ignoreCase) {
  if (!find || !find[0]) return 0;
  // Own copies: find or with may point into this string.
  XString needle(find);
  XString replacement(with);
  int needleLength = needle.Length();
  int replacementLength = replacement.Length();
  int replaced = 0;
  if (!ignoreCase) {
    for (int hit = Find(needle.text, 1); hit; hit = Find(needle.text, hit + replacementLength)) {
      Remove(hit, hit + needleLength - 1);
      Insert(replacement.text, hit);
      ++replaced;
    }
    return replaced;
  }
  XString upper = ToUpper();
  XString upperNeedle = needle.ToUpper();
  for (int hit = upper.Find(upperNeedle.text, 1); hit;
       hit = upper.Find(upperNeedle.text, hit + replacementLength)) {
    upper.Remove(hit, hit + needleLength - 1);
    upper.Insert(replacement.text, hit);
    Remove(hit, hit + needleLength - 1);
    Insert(replacement.text, hit);
    ++replaced;
  }
  return replaced;
}

void XString::SetLength(int n, char16_t pad, bool allowGrow) {
  if (n < 0 || (!allowGrow && n >= size - 1)) return;
  Reserve(AddSizes(n, 1), 0);
  for (int i = size - 1; i < n; ++i) text[i] = pad;
  text[n] = 0;
  size = n + 1;
}

void XString::Reserve(int minSize, int extra) {
  if (capacity >= minSize) return;
  int newCapacity = AddSizes(minSize, std::max(extra, 0));
  auto* block = new char16_t[size_t(newCapacity)];
  std::memcpy(block, text, size_t(std::min(size, newCapacity)) * sizeof(char16_t));
  if (text != sharedEmpty) delete[] text;
  text = block;
  capacity = newCapacity;
}

void XString::Prepare(int n) {
  if (capacity >= n) return;
  n = std::max(n, 1);
  auto* block = new char16_t[size_t(n)];
  block[0] = 0;
  if (text != sharedEmpty) delete[] text;
  text = block;
  capacity = n;
}

void XString::Clear() {
  if (text == sharedEmpty) {
    size = 1;  // only differs from 1 after Release
    return;
  }
  text[0] = 0;
  size = 1;
}

// --- Conversions ---

const char* XString::ToNarrow(unsigned codePage) const {
  int need = XWideCharToMultiByte(codePage, text, -1, nullptr, 0) + 4;
  if (need != narrowSize || !narrow) {
    delete[] narrow;
    narrow = new char[size_t(need)];
    narrowSize = need;
  }
  std::memset(narrow, 0, size_t(narrowSize));
  XWideCharToMultiByte(codePage, text, -1, narrow, narrowSize);
  return narrow;
}

const char* XString::ToAnsi() const { return ToNarrow(XCodePageAnsi); }

const char* XString::ToUtf8() const {
  int need = AddSizes((long long)(size + 2) * 6, 0);
  if (need != narrowSize || !narrow) {
    delete[] narrow;
    narrow = new char[size_t(need)];
    narrowSize = need;
  }
  narrow[0] = 0;
  XWideCharToMultiByte(XCodePageUtf8, text, -1, narrow, narrowSize);
  return narrow;
}

std::string XString::ToUtf8String() const { return XUtf16ToUtf8(View()); }

XString XString::AsciiOnly(const char16_t* source) {
  XString result;
  if (!source) return result;
  int need = XWideCharToMultiByte(XCodePageAscii, source, -1, nullptr, 0);
  if (need < 1) return result;
  std::string ascii(size_t(need), '\0');
  XWideCharToMultiByte(XCodePageAscii, source, -1, ascii.data(), need);
  result.AssignNarrow(ascii.c_str());
  return result;
}

namespace {

// A terminated copy of raw bytes; null when the scratch block cannot be had.
std::unique_ptr<char[]> ScratchCopy(const void* data, int byteCount, int terminatorBytes) {
  if (!data || byteCount < 0) return nullptr;
  std::unique_ptr<char[]> scratch(new (std::nothrow) char[size_t(byteCount) + terminatorBytes]);
  if (!scratch) return nullptr;
  std::memcpy(scratch.get(), data, size_t(byteCount));
  std::memset(scratch.get() + byteCount, 0, size_t(terminatorBytes));
  return scratch;
}

}  // namespace

XString XString::FromAnsiBytes(const void* data, int byteCount) {
  auto scratch = ScratchCopy(data, byteCount, 1);
  return scratch ? XString(scratch.get(), false) : XString();
}

XString XString::FromUtf8Bytes(const void* data, int byteCount) {
  auto scratch = ScratchCopy(data, byteCount, 1);
  return scratch ? XString(scratch.get(), true) : XString();
}

XString XString::FromWideBytes(const void* data, int byteCount) {
  // Room for an odd last byte and a whole zero unit after it.
  auto scratch = ScratchCopy(data, byteCount, 3);
  if (!scratch) return XString();
  XString result;
  result.Assign(reinterpret_cast<const char16_t*>(scratch.get()), 0);
  return result;
}

XString XString::FromUtf8(const char* utf8) { return XString(utf8, true); }

XString XString::FromUtf8(std::string_view utf8) {
  return XString(std::u16string_view(XUtf8ToUtf16(utf8)));
}

// --- Operators ---

bool operator==(const XString& a, const XString& b) { return a.View() == b.View(); }

bool operator==(const XString& a, const char16_t* b) { return XString::SameText(a.CStr(), b); }

bool operator!=(const XString& a, const XString& b) { return !(a == b); }

bool operator!=(const XString& a, const char16_t* b) { return !(a == b); }

bool operator<(const XString& a, const XString& b) { return a.View() < b.View(); }

XString operator+(const XString& a, const XString& b) { return XString::Concat(a, b.CStr()); }

XString operator+(const XString& a, const char16_t* b) { return XString::Concat(a, b); }

XString operator+(const char16_t* a, const XString& b) {
  return XString::Concat(XString(a), b.CStr());
}
