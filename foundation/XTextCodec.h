// Narrow/wide text conversion with the system's code pages: 0 and 65001 (UTF-8), 20127 (US-ASCII).
#pragma once
#include <string>
#include <string_view>

enum : unsigned {
  XCodePageAnsi = 0,       // the "ANSI" page; UTF-8 on Linux
  XCodePageAscii = 20127,  // US-ASCII
  XCodePageUtf8 = 65001,
};

// Converts narrow text to UTF-16. srcBytes -1 means src is terminated and the terminator is
// converted (and counted) too. With dst null or dstUnits 0 returns the units needed. Returns
// the units written, or 0 on failure (unknown code page, bad arguments, dst too small; the last
// error says which: 87 or 122). Invalid input sequences become U+FFFD.
int XMultiByteToWideChar(unsigned codePage, const char* src, int srcBytes, char16_t* dst,
                         int dstUnits);

// Converts UTF-16 text to narrow text, with the same contract as XMultiByteToWideChar. A lone
// surrogate becomes U+FFFD in UTF-8; in US-ASCII every unit above 127 becomes "?".
int XWideCharToMultiByte(unsigned codePage, const char16_t* src, int srcUnits, char* dst,
                         int dstBytes);

// Whole-string UTF-8 <-> UTF-16 conversions with the same replacement rules.
std::u16string XUtf8ToUtf16(std::string_view utf8);
std::string XUtf16ToUtf8(std::u16string_view utf16);
