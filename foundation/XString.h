// XString: the system's one string type, UTF-16 units with 1-based positions and ASCII-only case
// rules.
#pragma once
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

// A growing UTF-16 string. Its size counts the terminator (1 for an empty string); positions
// run from 1, 0 means "not found", and LastChar stands for the last character. An empty string
// points at one shared static zero unit until it needs a buffer of its own. Copies never share
// buffers. Case folding and comparison are ASCII-only; nothing depends on a locale.
class XString {
 public:
  // Stands for the last character where a position is taken, and for "measure the source up
  // to its terminator" where a unit count is taken.
  static constexpr int LastChar = -12345;

  // --- Construction, assignment and release ---

  // The shared empty string: size 1, no buffer, tag 0.
  XString();
  // A copy of terminated UTF-16 text (u"..." literals); null gives an empty string.
  XString(const char16_t* text);
  // Copies the text and the tag; the narrow cache is not copied.
  XString(const XString& other);
  // A copy of the units of a view.
  explicit XString(std::u16string_view units);
  // Takes the text, size, tag and capacity; the source becomes the shared empty and keeps its
  // own narrow cache.
  XString(XString&& other) noexcept;
  // Converts terminated narrow text: UTF-8 when isUtf8, else code page 0 (also UTF-8 on Linux).
  // A null source gives an empty string.
  explicit XString(const char* narrowText, bool isUtf8);
  // Decimal text of the value, as FromInt64.
  explicit XString(int32_t value);
  explicit XString(int64_t value);
  ~XString();

  // A copy of a with b added by operator+=.
  static XString Concat(const XString& a, const char16_t* b);

  // Copies sizeWithTerminator units of text and forces the last one to zero, so a caller can
  // cut a longer source. 0 (or LastChar) measures the source; a null source or a size of 1
  // clears; another negative size clears as well.
  XString& Assign(const char16_t* text, int sizeWithTerminator = 0);
  // Assign and the tag.
  XString& operator=(const XString& other);
  // Releases this string's buffers, then takes over as the move constructor does.
  XString& operator=(XString&& other) noexcept;
  // As Assign(text, 0).
  XString& operator=(const char16_t* text);
  // Converts terminated narrow text in code page 0; a failed or empty conversion clears.
  XString& AssignNarrow(const char* narrowText);
  // Frees the buffer and the narrow cache and points at the shared empty. Leaves the size as
  // it was (it is the destructor's body): assign or Clear before using the string again.
  void Release();

  // --- Reading ---

  // The terminated text; never null.
  const char16_t* CStr() const { return text; }
  // The text for writing; only valid to write where the string owns a buffer (Capacity() > 0).
  char16_t* Data() { return text; }
  // Units of text, without the terminator.
  int Length() const { return size - 1; }
  // Units in use including the terminator.
  int Size() const { return size; }
  // Units allocated, terminator included; 0 while the string is the shared empty.
  int Capacity() const { return capacity; }
  bool IsEmpty() const { return size <= 1; }
  // The caller's value that travels with copies and moves.
  uint32_t Tag() const { return tag; }
  void SetTag(uint32_t value) { tag = value; }
  // The text as a view, without the terminator.
  std::u16string_view View() const { return std::u16string_view(text, size_t(size - 1)); }
  // The process-wide empty text that empty strings point at.
  static const char16_t* SharedEmpty();

  // The unit at pos (LastChar: the last one); 0 outside 1 to Length().
  char16_t CharAt(int pos) const;
  // Units from to to, inclusive; to is cut to the last character. Empty if from is outside
  // 1 to Length() or to is below from.
  XString Mid(int from, int to) const;
  // The first n units.
  XString Left(int n) const;
  // The last n units (the whole string when n is larger).
  XString Right(int n) const;
  // The units from pos to the end.
  XString From(int pos) const;
  // Copies with only A-Z and a-z changed.
  XString ToLower() const;
  XString ToUpper() const;

  // Orders terminated texts unit by unsigned unit: 1 if b is lower, -1 if higher, 0 if equal.
  // n limits the units compared (0: no limit; -1: the length of b, a prefix test). A null b
  // gives 1. ignoreCase folds A-Z to a-z only, so "_" sorts before letters.
  static int Compare(const char16_t* a, const char16_t* b, int n = 0, bool ignoreCase = false);
  // Compare gave 0.
  static bool Equals(const char16_t* a, const char16_t* b, int n = 0, bool ignoreCase = false);
  // Compare(a, b, 0, true) gave 0.
  static bool EqualsNoCase(const char16_t* a, const char16_t* b);
  // Exact unit-by-unit equality of two terminated texts (null counts as empty).
  static bool SameText(const char16_t* a, const char16_t* b);

  // Position of the first match at or after from, or 0. An empty needle matches at from.
  // ignoreCase compares ASCII letters without case.
  int Find(const char16_t* needle, int from = 1, bool ignoreCase = false) const;
  // Find with a one-unit needle; c of 0 gives from when from is in range.
  int FindChar(char16_t c, int from = 1) const;
  // Position of the last match, or 0.
  int FindLast(const char16_t* needle, bool ignoreCase = false) const;
  // Scans from from (LastChar: the last character) down to 1; 0 if not found, if from is out
  // of range, or if a zero unit is met first.
  int ReverseFindChar(char16_t c, int from = LastChar) const;
  // Whether the string ends with text; false when text is longer or null.
  bool EndsWith(const char16_t* text, bool ignoreCase = false) const;

  // --- Changing ---

  // Adds terminated text, growing with 25 spare units. Returns the new size.
  int operator+=(const char16_t* more);
  int operator+=(const XString& more);
  // Adds terminated text, growing with a third of the new size spare; null or empty does nothing.
  void Append(const char16_t* more);
  void Append(const XString& more);
  // Adds one unit; 0 adds nothing.
  void AppendChar(char16_t c);
  // Adds c unless the string already ends with it.
  void AppendUnique(char16_t c);
  // Inserts c before pos (1 to Size(); LastChar means before the terminator). Grows with 32
  // spare units even when pos is out of range and nothing else changes.
  void InsertChar(char16_t c, int pos);
  // Inserts terminated text before pos, as InsertChar. Null or empty does nothing.
  void Insert(const char16_t* more, int pos);
  // Removes the unit at pos (LastChar allowed) and returns it; 0 and no change when out of range.
  char16_t RemoveAt(int pos);
  // Removes the units from to to. Nothing when from is outside 1 to Length() or the count is
  // below 1. A to past the end subtracts the whole requested count from the size, so
  // Remove(3, 100) on "abcdef" empties it; use ChopRight to drop a tail.
  void Remove(int from, int to);
  // Remove(1, n).
  void ChopLeft(int n);
  // Removes the last n units (all when n is larger).
  void ChopRight(int n);
  // Removes leading or trailing blanks (U+0020 only).
  void TrimLeft();
  void TrimRight();
  // Removes trailing units equal to c.
  void TrimRightChar(char16_t c);
  // Replaces every match of find by with, left to right; replaced text is not searched again.
  // With ignoreCase the search is ASCII case-blind and the text outside the hits keeps its case.
  // Returns the number of replacements.
  int Replace(const char16_t* find, const char16_t* with, bool ignoreCase = false);
  // Sets the length to n, padding new units with pad. Without allowGrow only shortens.
  // Negative n does nothing.
  void SetLength(int n, char16_t pad = u' ', bool allowGrow = false);
  // Makes room for minSize units (plus extra when it must grow); the contents stay.
  void Reserve(int minSize, int extra = 0);
  // Makes room for exactly n units when smaller; the contents become undefined.
  void Prepare(int n);
  // Empties the string, keeping its buffer, tag and narrow cache.
  void Clear();

  // --- Numbers ---

  // Decimal text; "0" for zero.
  static XString FromInt64(int64_t value);
  static XString FromUInt64(uint64_t value);
  // Exactly digits upper-case hex digits; digits below 1 gives an empty string.
  static XString Hex(uint64_t value, int digits);
  // Upper-case hex without leading zeros ("0" for zero).
  static XString HexMin(uint64_t value);
  // Two upper-case hex digits a byte, first byte first.
  static XString HexBytes(const void* data, int byteCount);
  // Leading blanks skipped, optional sign, decimal digits up to the first other character;
  // no overflow test (the value wraps). 0 for text without leading digits.
  int64_t ToInt64() const;
  // As ToInt64, but a "-" ends the number.
  uint64_t ToUInt64() const;
  // Non-zero low 32 bits of ToInt64, or the text "true" in any case.
  bool ToBool() const;
  // The text is "NAN" in any case.
  bool IsNanText() const;
  // Parses [sign]digits[.digits] up to the first blank; a stray character ends the parse.
  double ToDouble() const;
  // As ToDouble, with an exponent after "e" or "E".
  double ToDoubleExp() const;
  // Fixed-point text with decimals places; without keepZeros trailing zeros (and a bare point)
  // are dropped. A NaN gives "NAN"; a value of 1e100 or more gives "NaN". Only about sixteen
  // leading digits are significant; the rest print as zeros. decimals is held to 18 at most.
  static XString FromDouble(double value, int decimals, bool keepZeros);

  // Replaces the string with printf-style text, wide: %s and %ls take const char16_t*, %hs
  // and %S take UTF-8 const char*, %c takes a UTF-16 unit. Flags - + space 0 #, width and
  // precision (also *), lengths hh h l ll L I I32 I64 z j t w, conversions d i u o x X c C s S
  // f F e E g G a A p %. A bad format (or %n) gives an empty string. Results too long for the
  // standard path (about 78 million units) are made by FormatSlow. The string is cleared
  // before the arguments are read, so they must not point into it (fmt may).
  XString& Format(const char16_t* fmt, ...);
  XString& FormatV(const char16_t* fmt, va_list args);
  // A new string built as Format would.
  static XString Formatted(const char16_t* fmt, ...);
  // The unlimited fallback formatter with a small repertoire: %%, flags "+", width (leading 0
  // pads with zeros), precision for f (default 6), and c d i u x X f s (s ignores width and
  // precision; f ignores width). Other characters inside a conversion are skipped. A format
  // that ends inside a conversion or has a second "." clears the string.
  XString& FormatSlow(const char16_t* fmt, ...);
  XString& FormatSlowV(const char16_t* fmt, va_list args);
  // Format with its ladder of scratch sizes given: tries firstSize units, then five times as
  // many, until the next size would reach giveUpSize, then FormatSlow. Lets tests reach the
  // fallback without huge buffers.
  XString& FormatLadderV(int firstSize, int giveUpSize, const char16_t* fmt, va_list args);

  // --- Conversions ---

  // The text converted to the code page (0 and 65001: UTF-8, 20127: US-ASCII), terminated.
  // The buffer belongs to the string and stays valid until its next conversion or release.
  const char* ToNarrow(unsigned codePage) const;
  // ToNarrow(0).
  const char* ToAnsi() const;
  // UTF-8 in the string's narrow cache, as ToNarrow.
  const char* ToUtf8() const;
  // UTF-8 as an owned std::string.
  std::string ToUtf8String() const;
  // The text with every unit outside ASCII replaced by "?".
  static XString AsciiOnly(const char16_t* text);
  // Converts n bytes of code page 0 text, UTF-8 text, or UTF-16 units (n bytes, so n / 2
  // units); the bytes need no terminator.
  static XString FromAnsiBytes(const void* data, int byteCount);
  static XString FromUtf8Bytes(const void* data, int byteCount);
  static XString FromWideBytes(const void* data, int byteCount);
  // UTF-8 text; null gives an empty string.
  static XString FromUtf8(const char* utf8);
  static XString FromUtf8(std::string_view utf8);

  // --- Sort order ---

  // Units below 128 unchanged; Latin-1 and Latin Extended-A letters to their base letter
  // (same case); anything else "_".
  static char16_t FoldChar(char16_t c);
  // Order for file lists: digit runs compare by value, letters by FoldChar without case, and
  // letters that fold alike by their exact units. Returns -1, 0 or 1.
  static int NaturalCompare(const char16_t* a, const char16_t* b);

 private:
  void TakeOver(XString& other);
  bool Owns(const char16_t* p) const;
  void InsertUnits(const char16_t* units, int count, int pos);
  void AppendUnits(const char16_t* units, int count, int extra);

  char16_t* text;
  int32_t size;
  uint32_t tag;
  mutable char* narrow;
  mutable int32_t narrowSize;
  int32_t capacity;
};

// Exact comparisons of the text (the tag does not count).
bool operator==(const XString& a, const XString& b);
bool operator==(const XString& a, const char16_t* b);
bool operator!=(const XString& a, const XString& b);
bool operator!=(const XString& a, const char16_t* b);
// Exact order, as XString::Compare without case folding; lets XString key ordered containers.
bool operator<(const XString& a, const XString& b);
XString operator+(const XString& a, const XString& b);
XString operator+(const XString& a, const char16_t* b);
XString operator+(const char16_t* a, const XString& b);

// The platform-independent wide formatter behind Format, with the legacy wide printf contract:
// writes at most limit units plus a terminator into dst (which holds limit + 1 units) and
// returns the unit count, or -1 when the text is longer than limit, or -2 for a bad format.
int XFormatUnits(char16_t* dst, int limit, const char16_t* fmt, va_list args);

template <>
struct std::hash<XString> {
  size_t operator()(const XString& s) const noexcept {
    return std::hash<std::u16string_view>()(s.View());
  }
};
