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
// An option that takes a value: the value, and the option whole as the user wrote it, for
// messages ("-V2", "-b 128", "-q -1").
struct ValuedOption {
  std::u16string value;
  std::u16string shown;
};
// The value of options[i], whose name is the first nameLength characters of its key: the rest
// of the key ("-x3"), else the value given apart ("-x 3", "-x=3"). A negative number given apart
// reads as an option of its own ("-q -1"): it is taken as the value, and i steps past it.
ValuedOption TakeValue(const TextPairs& options, size_t& i, size_t nameLength);
// An option as the user wrote it, for messages: "-key" or "-key value".
std::u16string OptionText(std::u16string_view key, std::u16string_view value);

}  // namespace codec
