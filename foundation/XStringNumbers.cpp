// XString numbers: integer and hex text, integer and floating-point parsing and printing, sort
// order.
#include "foundation/XString.h"

#include <algorithm>
#include <cmath>

namespace {

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Parses an optional sign and decimal digits; allowMinus false lets a "-" end the number.
uint64_t ParseDecimal(const XString& source, bool allowMinus, bool* negative) {
  XString s(source);
  s.TrimLeft();
  *negative = false;
  int pos = 1;
  if (s.CharAt(1) == u'-' && allowMinus) {
    *negative = true;
    pos = 2;
  } else if (s.CharAt(1) == u'+') {
    pos = 2;
  }
  uint64_t value = 0;
  for (; IsDigit(s.CharAt(pos)); ++pos) value = value * 10 + uint64_t(s.CharAt(pos) - u'0');
  return value;
}

// Latin-1 Supplement and Latin Extended-A letters and their base letters, by code.
constexpr struct {
  char16_t from, to;
} kFoldTable[] = {
    {0x00C0, u'A'}, {0x00C1, u'A'}, {0x00C2, u'A'}, {0x00C3, u'A'}, {0x00C4, u'A'}, {0x00C5, u'A'},
    {0x00C7, u'C'}, {0x00C8, u'E'}, {0x00C9, u'E'}, {0x00CA, u'E'}, {0x00CB, u'E'}, {0x00CC, u'I'},
    {0x00CD, u'I'}, {0x00CE, u'I'}, {0x00CF, u'I'}, {0x00D1, u'N'}, {0x00D2, u'O'}, {0x00D3, u'O'},
    {0x00D4, u'O'}, {0x00D5, u'O'}, {0x00D6, u'O'}, {0x00D8, u'O'}, {0x00D9, u'U'}, {0x00DA, u'U'},
    {0x00DB, u'U'}, {0x00DC, u'U'}, {0x00DD, u'Y'}, {0x00E0, u'a'}, {0x00E1, u'a'}, {0x00E2, u'a'},
    {0x00E3, u'a'}, {0x00E4, u'a'}, {0x00E5, u'a'}, {0x00E7, u'c'}, {0x00E8, u'e'}, {0x00E9, u'e'},
    {0x00EA, u'e'}, {0x00EB, u'e'}, {0x00EC, u'i'}, {0x00ED, u'i'}, {0x00EE, u'i'}, {0x00EF, u'i'},
    {0x00F0, u'o'}, {0x00F1, u'n'}, {0x00F2, u'o'}, {0x00F3, u'o'}, {0x00F4, u'o'}, {0x00F5, u'o'},
    {0x00F6, u'o'}, {0x00F8, u'o'}, {0x00F9, u'u'}, {0x00FA, u'u'}, {0x00FB, u'u'}, {0x00FC, u'u'},
    {0x00FD, u'y'}, {0x0100, u'A'}, {0x0101, u'a'}, {0x0102, u'A'}, {0x0103, u'a'}, {0x0104, u'A'},
    {0x0105, u'a'}, {0x0106, u'C'}, {0x0107, u'c'}, {0x0108, u'C'}, {0x0109, u'c'}, {0x010A, u'C'},
    {0x010B, u'c'}, {0x010C, u'C'}, {0x010D, u'c'}, {0x010E, u'D'}, {0x010F, u'd'}, {0x0110, u'D'},
    {0x0111, u'd'}, {0x0112, u'E'}, {0x0113, u'e'}, {0x0114, u'E'}, {0x0115, u'e'}, {0x0116, u'E'},
    {0x0117, u'e'}, {0x0118, u'E'}, {0x0119, u'e'}, {0x011A, u'E'}, {0x011B, u'e'}, {0x011C, u'G'},
    {0x011D, u'g'}, {0x011E, u'G'}, {0x011F, u'g'}, {0x0120, u'G'}, {0x0121, u'g'}, {0x0122, u'G'},
    {0x0123, u'g'}, {0x0128, u'I'}, {0x0129, u'i'}, {0x012A, u'I'}, {0x012B, u'i'}, {0x012C, u'I'},
    {0x012D, u'i'}, {0x012E, u'I'}, {0x012F, u'i'}, {0x0130, u'I'}, {0x0131, u'i'}, {0x0134, u'J'},
    {0x0135, u'j'}, {0x0136, u'K'}, {0x0137, u'k'}, {0x0139, u'L'}, {0x013A, u'l'}, {0x013B, u'L'},
    {0x013C, u'l'}, {0x013D, u'L'}, {0x013E, u'l'}, {0x013F, u'L'}, {0x0140, u'l'}, {0x0141, u'L'},
    {0x0142, u'l'}, {0x0143, u'N'}, {0x0144, u'n'}, {0x0145, u'N'}, {0x0146, u'n'}, {0x0147, u'N'},
    {0x0148, u'n'}, {0x0149, u'n'}, {0x014A, u'N'}, {0x014B, u'n'}, {0x014C, u'O'}, {0x014D, u'o'},
    {0x014E, u'O'}, {0x014F, u'o'}, {0x0150, u'O'}, {0x0151, u'o'}, {0x0154, u'R'}, {0x0155, u'r'},
    {0x0156, u'R'}, {0x0157, u'r'}, {0x0158, u'R'}, {0x0159, u'r'}, {0x015A, u'S'}, {0x015B, u's'},
    {0x015C, u'S'}, {0x015D, u's'}, {0x015E, u'S'}, {0x015F, u's'}, {0x0160, u'S'}, {0x0161, u's'},
    {0x0162, u'T'}, {0x0163, u't'}, {0x0164, u'T'}, {0x0165, u't'}, {0x0166, u'T'}, {0x0167, u't'},
    {0x0168, u'U'}, {0x0169, u'u'}, {0x016A, u'U'}, {0x016B, u'u'}, {0x016C, u'U'}, {0x016D, u'u'},
    {0x016E, u'U'}, {0x016F, u'u'}, {0x0170, u'U'}, {0x0171, u'u'}, {0x0172, u'U'}, {0x0173, u'u'},
    {0x0174, u'W'}, {0x0175, u'w'}, {0x0176, u'Y'}, {0x0177, u'y'}, {0x0178, u'Y'}, {0x0179, u'Z'},
    {0x017A, u'z'}, {0x017B, u'Z'}, {0x017C, u'z'}, {0x017D, u'Z'}, {0x017E, u'z'},
};
static_assert(sizeof(kFoldTable) / sizeof(kFoldTable[0]) == 173);

char16_t LowerAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

int DigitRunLength(const char16_t* p) {
  int n = 0;
  while (IsDigit(p[n])) ++n;
  return n;
}

// Compares two digit runs right-aligned, as if the shorter had leading zeros.
int CompareDigitRuns(const char16_t* a, int lengthA, const char16_t* b, int lengthB) {
  int width = std::max(lengthA, lengthB);
  for (int i = 0; i < width; ++i) {
    int ia = i - (width - lengthA), ib = i - (width - lengthB);
    char16_t ca = ia < 0 ? u'0' : a[ia];
    char16_t cb = ib < 0 ? u'0' : b[ib];
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  return 0;
}

}  // namespace

XString XString::FromInt64(int64_t value) {
  if (value == INT64_MIN) return XString(u"-9223372036854775808");
  if (value < 0) {
    XString result = FromUInt64(uint64_t(-value));
    result.InsertChar(u'-', 1);
    return result;
  }
  return FromUInt64(uint64_t(value));
}

XString XString::FromUInt64(uint64_t value) {
  char16_t digits[24];
  int pos = 23;
  digits[pos] = 0;
  do {
    digits[--pos] = char16_t(u'0' + value % 10);
    value /= 10;
  } while (value);
  return XString(digits + pos);
}

XString XString::Hex(uint64_t value, int digits) {
  static const char16_t kDigits[] = u"0123456789ABCDEF";
  XString result;
  if (digits < 1) return result;
  result.SetLength(digits, u'0', true);
  for (int i = digits - 1, shift = 0; i >= 0 && shift < 64; --i, shift += 4)
    result.text[i] = kDigits[(value >> shift) & 0xF];
  return result;
}

XString XString::HexMin(uint64_t value) {
  XString result = Hex(value, 16);
  int zeros = 0;
  while (zeros < 15 && result.text[zeros] == u'0') ++zeros;
  result.ChopLeft(zeros);
  return result;
}

XString XString::HexBytes(const void* data, int byteCount) {
  XString result;
  if (!data || byteCount < 1) return result;
  const auto* bytes = static_cast<const unsigned char*>(data);
  result.Reserve(byteCount * 2 + 1);
  for (int i = 0; i < byteCount; ++i) result += Hex(bytes[i], 2).text;
  return result;
}

int64_t XString::ToInt64() const {
  bool negative;
  uint64_t value = ParseDecimal(*this, true, &negative);
  return int64_t(negative ? 0 - value : value);
}

uint64_t XString::ToUInt64() const {
  bool negative;
  return ParseDecimal(*this, false, &negative);
}

bool XString::ToBool() const {
  return uint32_t(uint64_t(ToInt64())) != 0 || EqualsNoCase(text, u"tRue");
}

bool XString::IsNanText() const { return EqualsNoCase(text, u"NAN"); }

double XString::ToDouble() const {
  XString s(*this);
  s.TrimLeft();
  int blank = s.FindChar(u' ');
  if (blank) s.SetLength(blank - 1, u' ', true);
  bool negative = false;
  if (s.CharAt(1) == u'+') {
    s.ChopLeft(1);
  } else if (s.CharAt(1) == u'-') {
    negative = true;
    s.ChopLeft(1);
  }
  double whole = 0;
  int pos = 1;
  for (; IsDigit(s.CharAt(pos)); ++pos) whole = whole * 10 + (s.CharAt(pos) - u'0');
  double fraction = 0;
  if (s.CharAt(pos) == u'.') {
    // Folding from the last digit back keeps the rounding error small.
    for (int back = s.Length(); back > pos && IsDigit(s.CharAt(back)); --back)
      fraction = (fraction + (s.CharAt(back) - u'0')) * 0.1;
  }
  double value = whole + fraction;
  return negative ? -value : value;
}

double XString::ToDoubleExp() const {
  int at = FindChar(u'e');
  if (!at) at = FindChar(u'E');
  if (!at) return ToDouble();
  double mantissa = Left(at - 1).ToDouble();
  double exponent = From(at + 1).ToDouble();
  return mantissa * std::pow(10.0, exponent);
}

XString XString::FromDouble(double value, int decimals, bool keepZeros) {
  if (std::isnan(value)) return XString(u"NAN");
  decimals = std::min(decimals, 18);
  XString result;
  if (value < 0) {
    result += u"-";
    value = -value;
  }
  value += 0.5 * std::pow(10.0, -decimals);
  double whole;
  double fraction = std::modf(value, &whole);
  if (whole <= 0) {
    result += u"0";
  } else {
    double e = std::floor(std::log10(whole));
    if (e >= 100) return XString(u"NaN");  // the printer's overflow mark, unlike a real NaN's "NAN"
    int limit = int(std::floor(std::log10(std::pow(2.0, 52.0)))) + 1;
    int dropped = 0;
    if (e > limit) {
      dropped = int(e) - limit;
      whole *= std::pow(10.0, -dropped);
    }
    result += FromUInt64(uint64_t(std::floor(whole)));
    for (int i = 0; i < dropped; ++i) result += u"0";
  }
  if (decimals > 0) {
    double m = std::pow(10.0, decimals);
    // The added m is a leading "1" that keeps the fraction's leading zeros.
    uint64_t digits = uint64_t(std::floor(m * fraction)) + uint64_t(m);
    if (!keepZeros) {
      while (digits && digits % 10 == 0) digits /= 10;
    }
    XString tail = FromUInt64(digits);
    if (tail.Length() > 1) {
      tail.text[0] = u'.';
      result += tail;
    }
  }
  return result;
}

char16_t XString::FoldChar(char16_t c) {
  if (c < 128) return c;
  auto it = std::lower_bound(std::begin(kFoldTable), std::end(kFoldTable), c,
                             [](const auto& pair, char16_t key) { return pair.from < key; });
  return (it != std::end(kFoldTable) && it->from == c) ? it->to : u'_';
}

int XString::NaturalCompare(const char16_t* a, const char16_t* b) {
  if (!a) a = SharedEmpty();
  if (!b) b = SharedEmpty();
  for (;;) {
    if (IsDigit(*a) && IsDigit(*b)) {
      int lengthA = DigitRunLength(a), lengthB = DigitRunLength(b);
      if (int order = CompareDigitRuns(a, lengthA, b, lengthB)) return order;
      a += lengthA;
      b += lengthB;
      continue;
    }
    char16_t fa = LowerAscii(FoldChar(*a)), fb = LowerAscii(FoldChar(*b));
    if (fa != fb) return fa < fb ? -1 : 1;
    if (*a != *b) return *a < *b ? -1 : 1;
    if (!*a) return 0;
    ++a;
    ++b;
  }
}
