// XString formatting: a wide printf over 16-bit units, the size ladder of Format, and FormatSlow.
#include "foundation/XString.h"

#include "foundation/XTextCodec.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int kFirstScratch = 1000;
constexpr int kGiveUpScratch = 104857600;
constexpr int kTooLong = -1;
constexpr int kBadFormat = -2;

// Output with a hard limit: the first unit beyond it marks the result too long.
struct Output {
  char16_t* dst;
  int limit;
  int count = 0;
  bool tooLong = false;

  void Put(char16_t c) {
    if (count >= limit) {
      tooLong = true;
      return;
    }
    dst[count++] = c;
  }
  void Put(const char16_t* s, size_t n) {
    for (size_t i = 0; i < n && !tooLong; ++i) Put(s[i]);
  }
  void Repeat(char16_t c, int n) {
    for (int i = 0; i < n && !tooLong; ++i) Put(c);
  }
};

struct Spec {
  std::string flags;
  int width = 0;
  int precision = -1;
  bool leftAlign = false;
  enum Size {
    Default,
    Char,
    Short,
    Long,
    LongLong,
    SizeT,
    PtrDiff,
    IntMax,
    LongDouble,
    Wide
  } size = Default;
  bool narrowText = false;  // %hs, %S, %hc, %C
};

bool IsFlag(char16_t c) { return c == u'-' || c == u'+' || c == u' ' || c == u'0' || c == u'#'; }

int ReadNumber(const char16_t*& p) {
  long long n = 0;
  while (*p >= u'0' && *p <= u'9') {
    n = n * 10 + (*p++ - u'0');
    if (n > 100000000) n = 100000000;  // a width beyond this cannot fit any scratch size anyway
  }
  return int(n);
}

// Reads the length modifier; false when it is malformed.
bool ReadSize(const char16_t*& p, Spec& spec) {
  switch (*p) {
    case u'h':
      ++p;
      spec.size = Spec::Short;
      spec.narrowText = true;
      if (*p == u'h') {
        ++p;
        spec.size = Spec::Char;
      }
      return true;
    case u'l':
      ++p;
      spec.size = Spec::Long;
      if (*p == u'l') {
        ++p;
        spec.size = Spec::LongLong;
      }
      return true;
    case u'L':
      ++p;
      spec.size = Spec::LongDouble;
      return true;
    case u'z':
      ++p;
      spec.size = Spec::SizeT;
      return true;
    case u't':
      ++p;
      spec.size = Spec::PtrDiff;
      return true;
    case u'j':
      ++p;
      spec.size = Spec::IntMax;
      return true;
    case u'w':
      ++p;
      spec.size = Spec::Wide;
      return true;
    case u'I':
      ++p;
      if (p[0] == u'6' && p[1] == u'4') {
        p += 2;
        spec.size = Spec::LongLong;
      } else if (p[0] == u'3' && p[1] == u'2') {
        p += 2;
        spec.size = Spec::Default;
      } else {
        spec.size = Spec::SizeT;
      }
      return true;
    default:
      return true;
  }
}

void PutPadded(Output& out, const Spec& spec, const char16_t* s, size_t n) {
  int pad = spec.width > int(n) ? spec.width - int(n) : 0;
  if (!spec.leftAlign) out.Repeat(u' ', pad);
  out.Put(s, n);
  if (spec.leftAlign) out.Repeat(u' ', pad);
}

// Runs the C library's narrow printf for one number; its output is ASCII.
template <typename T>
void PutNumber(Output& out, const Spec& spec, const char* lengthAndConversion, T value) {
  if (spec.width > out.limit - out.count) {
    out.tooLong = true;  // the field alone would not fit
    return;
  }
  std::string fmt = "%" + spec.flags + (spec.leftAlign ? "-" : "");
  if (spec.width > 0) fmt += std::to_string(spec.width);
  if (spec.precision >= 0) fmt += "." + std::to_string(spec.precision);
  fmt += lengthAndConversion;
  int n = std::snprintf(nullptr, 0, fmt.c_str(), value);
  if (n <= 0) return;
  std::string text(size_t(n) + 1, '\0');
  std::snprintf(text.data(), text.size(), fmt.c_str(), value);
  for (int i = 0; i < n && !out.tooLong; ++i)
    out.Put(char16_t(static_cast<unsigned char>(text[size_t(i)])));
}

void PutSigned(Output& out, const Spec& spec, char conversion, va_list& args) {
  long long v;
  switch (spec.size) {
    case Spec::Char:
      v = static_cast<signed char>(va_arg(args, int));
      break;
    case Spec::Short:
      v = static_cast<short>(va_arg(args, int));
      break;
    case Spec::Long:
      v = va_arg(args, long);
      break;
    case Spec::LongLong:
      v = va_arg(args, long long);
      break;
    case Spec::SizeT:
    case Spec::PtrDiff:
      v = va_arg(args, ptrdiff_t);
      break;
    case Spec::IntMax:
      v = va_arg(args, intmax_t);
      break;
    default:
      v = va_arg(args, int);
      break;
  }
  const char conv[] = {'l', 'l', conversion, 0};
  PutNumber(out, spec, conv, v);
}

void PutUnsigned(Output& out, const Spec& spec, char conversion, va_list& args) {
  unsigned long long v;
  switch (spec.size) {
    case Spec::Char:
      v = static_cast<unsigned char>(va_arg(args, unsigned));
      break;
    case Spec::Short:
      v = static_cast<unsigned short>(va_arg(args, unsigned));
      break;
    case Spec::Long:
      v = va_arg(args, unsigned long);
      break;
    case Spec::LongLong:
      v = va_arg(args, unsigned long long);
      break;
    case Spec::SizeT:
    case Spec::PtrDiff:
      v = va_arg(args, size_t);
      break;
    case Spec::IntMax:
      v = va_arg(args, uintmax_t);
      break;
    default:
      v = va_arg(args, unsigned);
      break;
  }
  const char conv[] = {'l', 'l', conversion, 0};
  PutNumber(out, spec, conv, v);
}

void PutFloat(Output& out, const Spec& spec, char conversion, va_list& args) {
  if (spec.size == Spec::LongDouble) {
    const char conv[] = {'L', conversion, 0};
    PutNumber(out, spec, conv, va_arg(args, long double));
  } else {
    const char conv[] = {conversion, 0};
    PutNumber(out, spec, conv, va_arg(args, double));
  }
}

void PutText(Output& out, const Spec& spec, va_list& args) {
  std::u16string converted;
  const char16_t* s;
  if (spec.narrowText) {
    const char* narrow = va_arg(args, const char*);
    converted = narrow ? XUtf8ToUtf16(narrow) : u"(null)";
    s = converted.c_str();
  } else {
    s = va_arg(args, const char16_t*);
    if (!s) s = u"(null)";
  }
  size_t n = 0;
  while (s[n] && (spec.precision < 0 || n < size_t(spec.precision))) ++n;
  PutPadded(out, spec, s, n);
}

void PutChar(Output& out, const Spec& spec, va_list& args) {
  unsigned v = va_arg(args, unsigned);
  char16_t c = spec.narrowText ? (v & 0xFF) < 0x80 ? char16_t(v & 0xFF) : u'\xFFFD' : char16_t(v);
  PutPadded(out, spec, &c, 1);
}

// Reads flags, width and precision of one conversion.
void ReadSpec(const char16_t*& p, Spec& spec, va_list& args) {
  for (; IsFlag(*p); ++p) {
    if (*p == u'-')
      spec.leftAlign = true;
    else
      spec.flags += char(*p);
  }
  if (*p == u'*') {
    ++p;
    spec.width = va_arg(args, int);
    if (spec.width < 0) {
      spec.leftAlign = true;
      spec.width = spec.width == INT32_MIN ? 100000000 : -spec.width;
    }
  } else {
    spec.width = ReadNumber(p);
  }
  if (*p == u'.') {
    ++p;
    if (*p == u'*') {
      ++p;
      spec.precision = va_arg(args, int);
      if (spec.precision < 0) spec.precision = -1;
    } else {
      spec.precision = ReadNumber(p);
    }
  }
}

// Formats one conversion after its "%"; false for a bad conversion.
bool PutConversion(Output& out, const char16_t*& p, va_list& args) {
  Spec spec;
  ReadSpec(p, spec, args);
  if (!ReadSize(p, spec)) return false;
  char16_t conversion = *p;
  if (conversion == 0) return false;  // the format ends inside the conversion
  ++p;
  switch (conversion) {
    case u'%':
      out.Put(u'%');
      return true;
    case u'd':
    case u'i':
      PutSigned(out, spec, 'd', args);
      return true;
    case u'u':
    case u'o':
    case u'x':
    case u'X':
      PutUnsigned(out, spec, char(conversion), args);
      return true;
    case u'f':
    case u'F':
    case u'e':
    case u'E':
    case u'g':
    case u'G':
    case u'a':
    case u'A':
      PutFloat(out, spec, char(conversion), args);
      return true;
    case u'S':
      spec.narrowText = true;
      [[fallthrough]];
    case u's':
      if (spec.size == Spec::Long || spec.size == Spec::Wide) spec.narrowText = false;
      PutText(out, spec, args);
      return true;
    case u'C':
      spec.narrowText = true;
      [[fallthrough]];
    case u'c':
      if (spec.size == Spec::Long || spec.size == Spec::Wide) spec.narrowText = false;
      PutChar(out, spec, args);
      return true;
    case u'p':
      PutNumber(out, spec, "p", va_arg(args, void*));
      return true;
    default:
      return false;  // includes %n and a format that ends inside a conversion
  }
}

}  // namespace

int XFormatUnits(char16_t* dst, int limit, const char16_t* fmt, va_list args) {
  if (!dst || limit < 0 || !fmt) return kBadFormat;
  va_list ap;
  va_copy(ap, args);
  Output out{dst, limit};
  const char16_t* p = fmt;
  bool bad = false;
  while (!bad && !out.tooLong && *p) {
    if (*p != u'%')
      out.Put(*p++);
    else
      bad = !PutConversion(out, ++p, ap);
  }
  va_end(ap);
  if (bad) return kBadFormat;
  if (out.tooLong) return kTooLong;
  dst[out.count] = 0;
  return out.count;
}

XString& XString::Format(const char16_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  FormatV(fmt, args);
  va_end(args);
  return *this;
}

XString& XString::FormatV(const char16_t* fmt, va_list args) {
  return FormatLadderV(kFirstScratch, kGiveUpScratch, fmt, args);
}

XString XString::Formatted(const char16_t* fmt, ...) {
  XString result;
  va_list args;
  va_start(args, fmt);
  result.FormatV(fmt, args);
  va_end(args);
  return result;
}

XString& XString::FormatLadderV(int firstSize, int giveUpSize, const char16_t* fmt, va_list args) {
  if (Owns(fmt)) {
    XString format(fmt);
    return FormatLadderV(firstSize, giveUpSize, format.text, args);
  }
  Clear();
  if (!fmt) return *this;
  for (long long scratchSize = firstSize; scratchSize < giveUpSize; scratchSize *= 5) {
    XString scratch;
    scratch.Prepare(int(scratchSize));
    int limit = int(scratchSize) - 1;
    int result = XFormatUnits(scratch.text, limit, fmt, args);
    if (result == kBadFormat) return *this;
    if (result >= 0 && result <= limit) {
      scratch.text[result] = 0;
      scratch.size = result + 1;
      *this = scratch.text;
      return *this;
    }
  }
  return FormatSlowV(fmt, args);
}

XString& XString::FormatSlow(const char16_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  FormatSlowV(fmt, args);
  va_end(args);
  return *this;
}

namespace {

// One conversion of the slow formatter: what it read before its conversion letter.
struct SlowSpec {
  bool plus = false;
  bool inPrecision = false;
  bool seenWidthDigit = false;
  char16_t pad = u' ';
  int width = 0;
  int precision = 6;
};

void PadLeft(XString& out, const XString& digits, const SlowSpec& spec) {
  for (int n = digits.Length(); n < spec.width; ++n) out.AppendChar(spec.pad);
  out += digits;
}

void PutSlowSigned(XString& out, int value, const SlowSpec& spec) {
  XString digits = XString::FromUInt64(value < 0 ? 0 - uint64_t(int64_t(value)) : uint64_t(value));
  const char16_t* sign = value < 0 ? u"-" : (spec.plus ? u"+" : nullptr);
  SlowSpec rest = spec;
  if (sign) rest.width = spec.width - 1;  // the sign takes one place of the width
  if (sign && spec.pad == u'0') out += sign;
  XString padded;
  for (int n = digits.Length(); n < rest.width; ++n) padded.AppendChar(spec.pad);
  out += padded;
  if (sign && spec.pad != u'0') out += sign;
  out += digits;
}

// Takes one character before the conversion letter into the spec; false for a second ".".
bool ReadSlowSpec(char16_t c, SlowSpec& spec) {
  if (c == u'+') {
    spec.plus = true;
  } else if (c == u'.') {
    if (spec.inPrecision) return false;
    spec.inPrecision = true;
    spec.precision = 0;
  } else if (c >= u'0' && c <= u'9' && spec.inPrecision) {
    spec.precision = std::min(spec.precision * 10 + (c - u'0'), 18);
  } else if (c >= u'0' && c <= u'9') {
    if (!spec.seenWidthDigit && c == u'0') spec.pad = u'0';
    spec.seenWidthDigit = true;
    spec.width = std::min(spec.width * 10 + (c - u'0'), 100000000);
  }
  // Anything else inside a conversion is skipped.
  return true;
}

// Adds one argument for the conversion letter c; false when c is not a conversion letter.
bool PutSlowArgument(XString& out, char16_t c, const SlowSpec& spec, va_list& ap) {
  switch (c) {
    case u'c':
      out.AppendChar(char16_t(va_arg(ap, int)));
      return true;
    case u'd':
    case u'i':
      PutSlowSigned(out, va_arg(ap, int), spec);
      return true;
    case u'u':
      PadLeft(out, XString::FromUInt64(va_arg(ap, unsigned)), spec);
      return true;
    case u'x':
      PadLeft(out, XString::HexMin(va_arg(ap, unsigned)).ToLower(), spec);
      return true;
    case u'X':
      PadLeft(out, XString::HexMin(va_arg(ap, unsigned)), spec);
      return true;
    case u'f': {
      double v = va_arg(ap, double);
      if (spec.plus && v > 0) out.AppendChar(u'+');
      out += XString::FromDouble(v, spec.precision, true);
      return true;
    }
    case u's':
      out += va_arg(ap, const char16_t*);
      return true;
    default:
      return false;
  }
}

// Reads one conversion after its "%" and adds its argument; false for a bad conversion.
bool PutSlowConversion(XString& out, const char16_t*& p, va_list& ap) {
  SlowSpec spec;
  for (; *p; ++p) {
    if (PutSlowArgument(out, *p, spec, ap)) {
      ++p;
      return true;
    }
    if (!ReadSlowSpec(*p, spec)) return false;
  }
  return false;  // the format ended inside the conversion
}

}  // namespace

XString& XString::FormatSlowV(const char16_t* fmt, va_list args) {
  XString format(fmt);  // fmt may be this string's own text
  Clear();
  if (!fmt) return *this;
  va_list ap;
  va_copy(ap, args);
  XString out;
  bool bad = false;
  for (const char16_t* p = format.CStr(); *p && !bad;) {
    if (*p != u'%') {
      out.AppendChar(*p++);
    } else if (*++p == u'%') {
      out.AppendChar(u'%');
      ++p;
    } else {
      bad = !PutSlowConversion(out, p, ap);
    }
  }
  va_end(ap);
  if (!bad) Assign(out.CStr(), out.Size());
  return *this;
}
