// Owned list of strings: editing, searching, splitting, joining, flat form and sorting.
#include "foundation/XStringList.h"

#include "foundation/XBuffer.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace {

const char16_t EmptyMarker[] = u"[Empty]";
constexpr int32_t EmptyMarkerLength = 7;

int32_t UnitCount(const char16_t* text) {
  int32_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

// A string of `n` units from `from`, which need not be terminated.
XString Units(const char16_t* from, int32_t n) {
  return XString::FromWideBytes(from, n * int(sizeof(char16_t)));
}

XString* Item(XPtrArray::Word word) { return reinterpret_cast<XString*>(word); }
XPtrArray::Word WordOf(XString* s) { return reinterpret_cast<XPtrArray::Word>(s); }

bool IsWideForm(int wide) { return wide == 0 || wide == 1; }

// Whether `text` starts with the whole of `prefix`; stops at the end of either.
bool StartsWith(const char16_t* text, const char16_t* prefix) {
  while (*prefix && *text == *prefix) {
    ++text;
    ++prefix;
  }
  return *prefix == 0;
}

}  // namespace

XStringList& XStringList::operator=(const XStringList& other) {
  if (this != &other) {
    Clear();
    AddAll(other, true, false);
  }
  return *this;
}

XStringList& XStringList::operator=(XStringList&& other) noexcept {
  if (this != &other) {
    Clear();
    XPtrArray::operator=(std::move(other));
  }
  return *this;
}

XString& XStringList::Add(const char16_t* text, uint32_t tag) {
  XString* s = new XString(text ? text : u"");
  s->SetTag(tag);
  try {
    Push(WordOf(s));
  } catch (...) {
    delete s;
    throw;
  }
  return *s;
}

XString& XStringList::AddMove(XString& string) {
  XString* s = new XString(std::move(string));
  try {
    Push(WordOf(s));
  } catch (...) {
    delete s;
    throw;
  }
  return *s;
}

XString& XStringList::InsertAt(int32_t index, const char16_t* text) {
  XString* s = new XString(text ? text : u"");
  try {
    XPtrArray::InsertAt(index, WordOf(s));
  } catch (...) {
    delete s;
    throw;
  }
  return *s;
}

void XStringList::RemoveAt(int32_t index) {
  if (index < 0 || index >= count) return;
  delete Item(items[index]);
  XPtrArray::RemoveAt(index);
}

void XStringList::Clear() {
  for (int32_t i = 0; i < count; ++i) delete Item(items[i]);
  Reset();
}

int32_t XStringList::IndexOf(const char16_t* text, bool ignoreCase) const {
  for (int32_t i = 0; i < count; ++i) {
    if (XString::Compare(At(i).CStr(), text, 0, ignoreCase) == 0) return i;
  }
  return -1;
}

bool XStringList::Find(const char16_t* text, bool ignoreCase, int32_t* outIndex) const {
  int32_t index = IndexOf(text, ignoreCase);
  if (outIndex) *outIndex = index;
  return index != -1;
}

void XStringList::AddAll(const XStringList& source, bool allowDuplicates, bool ignoreCase) {
  int32_t n = source.count;  // adding to itself must not chase its own tail
  for (int32_t i = 0; i < n; ++i) {
    const XString& s = source.At(i);
    if (allowDuplicates || IndexOf(s.CStr(), ignoreCase) == -1) Add(s.CStr(), s.Tag());
  }
}

bool XStringList::Equals(const XStringList& other) const {
  if (count != other.count) return false;
  for (int32_t i = 0; i < count; ++i) {
    if (At(i).Size() != other.At(i).Size() ||
        XString::Compare(At(i).CStr(), other.At(i).CStr(), 0, false) != 0)
      return false;
  }
  return true;
}

XString XStringList::Join(const char16_t* separator) const {
  XString joined;
  if (!separator) return joined;
  for (int32_t i = 0; i < count; ++i) {
    if (i > 0) joined.Append(separator);
    joined.Append(At(i).CStr());
  }
  return joined;
}

XString XStringList::ToCommandText() const {
  XString joined;
  for (int32_t i = 0; i < count; ++i) {
    if (i > 0) joined.AppendChar(u' ');
    joined.Append(QuoteIfNeeded(At(i).CStr()).CStr());
  }
  return joined;
}

void XStringList::AddUnits(const char16_t* from, int32_t n) {
  XString s = Units(from, n);
  AddMove(s);
}

void XStringList::Split(const char16_t* text, const char16_t* separator) {
  Clear();
  if (!text || !separator || !separator[0]) return;
  int32_t sepLength = UnitCount(separator);
  const char16_t* field = text;
  const char16_t* p = text;
  while (*p) {
    if (StartsWith(p, separator)) {
      AddUnits(field, int32_t(p - field));
      p += sepLength;
      field = p;
    } else {
      ++p;
    }
  }
  AddUnits(field, int32_t(p - field));
}

void XStringList::SplitLines(const char16_t* text) {
  Clear();
  if (!text) return;
  const char16_t* line = text;
  const char16_t* p = text;
  for (; *p; ++p) {
    if (*p != u'\n') continue;
    int32_t n = int32_t(p - line);
    if (n > 0 && line[n - 1] == u'\r') --n;
    AddUnits(line, n);
    line = p + 1;
  }
  if (p > line) AddUnits(line, int32_t(p - line));
}

void XStringList::SplitAtCr(const char16_t* text) {
  Clear();
  if (!text) return;
  const char16_t* line = text;
  const char16_t* p = text;
  while (*p) {
    if (*p != u'\r') {
      ++p;
      continue;
    }
    AddUnits(line, int32_t(p - line));
    ++p;
    while (*p == u'\n') ++p;
    line = p;
  }
  if (p > line) AddUnits(line, int32_t(p - line));
}

void XStringList::SplitArgs(const char16_t* text) {
  Clear();
  if (!text) return;
  XString token;
  bool inQuotes = false;
  bool hasToken = false;
  for (const char16_t* p = text;; ++p) {
    if (*p == 0 || (*p == u' ' && !inQuotes)) {
      if (hasToken) AddMove(token);
      token.Clear();
      inQuotes = hasToken = false;
      if (*p == 0) break;
    } else if (*p == u'"') {
      inQuotes = !inQuotes;
      hasToken = true;
    } else {
      token.AppendChar(*p);
      hasToken = true;
    }
  }
}

bool XStringList::ToMultiString(XBuffer& buffer, int wide) const {
  uint64_t elements = 1;
  for (int32_t i = 0; i < count; ++i)
    elements += At(i).Length() > 0 ? uint64_t(At(i).Size()) : EmptyMarkerLength + 1;
  if (elements < 2) elements = 2;
  bool isWide = IsWideForm(wide);
  uint64_t bytes = isWide ? elements * 2 : elements;
  if (bytes > UINT32_MAX) {
    buffer.Free();
    return false;
  }
  if (!buffer.Resize(uint32_t(bytes), false, true, 0, true)) return false;
  uint8_t* out = buffer.data;
  for (int32_t i = 0; i < count; ++i) {
    const XString& item = At(i);
    bool empty = item.Length() == 0;
    int32_t units = empty ? EmptyMarkerLength : item.Length();
    if (isWide) {
      std::memcpy(out, empty ? EmptyMarker : item.CStr(), sizeof(char16_t) * units);
      out += sizeof(char16_t) * (units + 1);
    } else {
      // Exactly one byte per unit: a longer narrow form is cut.
      const char* narrow = empty ? "[Empty]" : item.ToAnsi();
      size_t n = std::min<size_t>(std::strlen(narrow), size_t(units));
      std::memcpy(out, narrow, n);
      out += units + 1;
    }
  }
  return true;
}

namespace {

// Walks a run of terminated strings of `Unit`, calling `take(start, count)` for each.
template <typename Unit, typename Take>
void WalkMultiString(const void* data, uint32_t n, Unit separator, bool keepGoing, Take take) {
  if (n == 0) return;
  std::vector<Unit> units(n);
  std::memcpy(units.data(), data, sizeof(Unit) * n);
  if (separator != 0) {
    for (uint32_t i = 0; i < n && units[i] != 0; ++i) {
      if (units[i] == separator) units[i] = 0;
    }
  }
  uint32_t offset = 0;
  while (offset < n) {
    if (units[offset] == 0) {
      if (!keepGoing) break;
      ++offset;
      continue;
    }
    uint32_t end = offset;
    while (end < n && units[end] != 0) ++end;
    take(units.data() + offset, end - offset);
    offset = end + 1;
  }
}

template <typename Unit>
bool IsEmptyMarker(const Unit* units, uint32_t n) {
  if (n != EmptyMarkerLength) return false;
  for (uint32_t i = 0; i < n; ++i) {
    if (units[i] != Unit(EmptyMarker[i])) return false;
  }
  return true;
}

}  // namespace

void XStringList::FromMultiString(const void* data, uint32_t size, int wide, char16_t separator,
                                  bool keepGoing) {
  Clear();
  if (!data) return;
  if (IsWideForm(wide)) {
    WalkMultiString<char16_t>(data, size / 2, separator, keepGoing,
                              [this](const char16_t* units, uint32_t n) {
                                AddUnits(units, IsEmptyMarker(units, n) ? 0 : int32_t(n));
                              });
  } else {
    WalkMultiString<char>(data, size, char(separator), keepGoing,
                          [this](const char* units, uint32_t n) {
                            XString s;
                            if (!IsEmptyMarker(units, n)) s = XString::FromAnsiBytes(units, int(n));
                            AddMove(s);
                          });
  }
}

template <typename Before>
void XStringList::QuickSort(int32_t low, int32_t high, Before before) {
  // Recursing into the smaller side only keeps the stack shallow on hostile input.
  while (low < high) {
    XString* pivot = Item(items[(low + high) / 2]);
    int32_t i = low;
    int32_t j = high;
    while (i <= j) {
      while (before(Item(items[i]), pivot)) ++i;
      while (before(pivot, Item(items[j]))) --j;
      if (i <= j) {
        std::swap(items[i], items[j]);
        ++i;
        --j;
      }
    }
    if (j - low < high - i) {
      QuickSort(low, j, before);
      low = i;
    } else {
      QuickSort(i, high, before);
      high = j;
    }
  }
}

void XStringList::Sort(bool ignoreCase) {
  QuickSort(0, count - 1, [ignoreCase](const XString* a, const XString* b) {
    return XString::Compare(a->CStr(), b->CStr(), 0, ignoreCase) == -1;
  });
}

void XStringList::SortNatural() {
  QuickSort(0, count - 1, [](const XString* a, const XString* b) {
    return XString::NaturalCompare(a->CStr(), b->CStr()) == -1;
  });
}

XString QuoteIfNeeded(const char16_t* text) {
  XString result;
  if (!text) return result;
  // "-key=" prefixes stay as they are; only the innermost value may need quotes.
  const char16_t* rest = text;
  while (rest[0] == u'-') {
    const char16_t* equals = rest;
    while (*equals && *equals != u'=') ++equals;
    if (!*equals) break;
    result.Append(Units(rest, int32_t(equals - rest) + 1).CStr());
    rest = equals + 1;
  }
  bool hasBlank = false;
  bool hasQuote = false;
  for (const char16_t* p = rest; *p; ++p) {
    hasBlank |= *p == u' ';
    hasQuote |= *p == u'"';
  }
  if (hasBlank && !hasQuote)
    result.Append(Quoted(rest).CStr());
  else
    result.Append(rest);
  return result;
}

XString Quoted(const char16_t* text) {
  XString result(u"\"");
  result.Append(text);
  result.AppendChar(u'"');
  return result;
}
