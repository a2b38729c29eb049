// Readers for the encoders' option words: numbers, one-letter options and how a bad one is shown.
#pragma once
#include "codecs/common/CodecSupport.h"

#include <string>
#include <string_view>

namespace codec {

// A plain decimal number ("128", "4.5", ".5") of at most `longest` characters: no sign, no
// exponent. NaN for anything else. Read the same whatever the host's locale.
double Decimal(std::u16string_view text, size_t longest);
// A whole number of at most `longest` digits (up to 18) in [low, high], or -1.
int WholeNumber(std::u16string_view text, int low, int high, size_t longest);
// The value of a one-letter option, glued on ("-x3") or given apart ("-x 3", "-x=3").
std::u16string_view GluedValue(const TextPair& option);
// An option as the user wrote it, for messages: "-key" or "-key value".
std::u16string OptionText(std::u16string_view key, std::u16string_view value);

}  // namespace codec
