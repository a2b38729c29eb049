// Text conversions that tests use to write expectations in plain UTF-8 literals.
#pragma once
#include "foundation/XString.h"

#include <string>

inline std::string U8(const XString& text) { return text.ToUtf8String(); }
inline XString X(const std::string& text) { return XString::FromUtf8(text.c_str()); }
