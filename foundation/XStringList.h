// Owned list of strings, each with its tag, on top of the pointer array.
#pragma once
#include "foundation/XPtrArray.h"
#include "foundation/XString.h"

#include <cstdint>

class XBuffer;

// Each word is a pointer to an XString that the list creates and destroys. Indices are
// 0-based with -1 for not found; an index outside the range makes a removal a no-op.
class XStringList : public XPtrArray {
 public:
  XStringList() = default;
  XStringList(const XStringList& other) : XPtrArray() { AddAll(other, true, false); }
  XStringList(XStringList&& other) noexcept = default;
  XStringList& operator=(const XStringList& other);
  XStringList& operator=(XStringList&& other) noexcept;
  ~XStringList() { Clear(); }

  XString& At(int32_t index) { return *reinterpret_cast<XString*>(items[index]); }
  const XString& At(int32_t index) const { return *reinterpret_cast<const XString*>(items[index]); }
  XString& operator[](int32_t index) { return At(index); }
  const XString& operator[](int32_t index) const { return At(index); }

  XString& Add(const char16_t* text, uint32_t tag = 0);
  XString& Add(const XString& text, uint32_t tag = 0) { return Add(text.CStr(), tag); }
  // Takes over `string` (its tag too), leaving it empty.
  XString& AddMove(XString& string);
  XString& InsertAt(int32_t index, const char16_t* text);
  void RemoveAt(int32_t index);
  // Destroys every string and goes back to the inline store with capacity 16.
  void Clear();

  int32_t IndexOf(const char16_t* text, bool ignoreCase = true) const;
  int32_t IndexOf(const XString& text, bool ignoreCase = true) const {
    return IndexOf(text.CStr(), ignoreCase);
  }
  bool Contains(const char16_t* text, bool ignoreCase = true) const {
    return IndexOf(text, ignoreCase) != -1;
  }
  bool Contains(const XString& text, bool ignoreCase = true) const {
    return IndexOf(text.CStr(), ignoreCase) != -1;
  }
  bool Find(const char16_t* text, bool ignoreCase, int32_t* outIndex) const;
  // Adds copies with their tags; without allowDuplicates a string already present
  // (also one added earlier in this call) is passed over.
  void AddAll(const XStringList& source, bool allowDuplicates, bool ignoreCase);
  // Same count, and each pair the same by exact comparison.
  bool Equals(const XStringList& other) const;

  // The strings with `separator` between them; a null separator gives an empty string.
  XString Join(const char16_t* separator) const;
  // The strings joined by one blank, each through QuoteIfNeeded.
  XString ToCommandText() const;

  // Each of these clears the list first.
  void Split(const char16_t* text, const char16_t* separator);
  void SplitLines(const char16_t* text);
  void SplitAtCr(const char16_t* text);
  // Plain arguments: blanks separate, double quotes group and are dropped.
  void SplitArgs(const char16_t* text);

  // Flat form: terminated strings and one extra terminator, "[Empty]" for an empty item.
  // `wide` 0 or 1 gives UTF-16, any other value narrow (UTF-8) text.
  bool ToMultiString(XBuffer& buffer, int wide) const;
  // `size` is in bytes. A non-zero separator is read as a terminator; with keepGoing,
  // runs of zeros do not end the walk before the end of the data.
  void FromMultiString(const void* data, uint32_t size, int wide, char16_t separator = 0,
                       bool keepGoing = false);

  void Sort(bool ignoreCase);
  void SortNatural();

 private:
  void AddUnits(const char16_t* from, int32_t n);
  template <typename Before>
  void QuickSort(int32_t low, int32_t high, Before before);
};

// Text starting with "-" and holding "=" keeps the part up to the "=" and treats the rest by
// this same rule; other text with a blank and no double quote is put in double quotes.
XString QuoteIfNeeded(const char16_t* text);
inline XString QuoteIfNeeded(const XString& text) { return QuoteIfNeeded(text.CStr()); }
// Text between double quotes, always.
XString Quoted(const char16_t* text);
inline XString Quoted(const XString& text) { return Quoted(text.CStr()); }
