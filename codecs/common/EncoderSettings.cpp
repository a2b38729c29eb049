// Readers for the encoders' option words: numbers, one-letter options and how a bad one is shown.
#include "codecs/common/EncoderSettings.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace codec {

double Decimal(std::u16string_view text, size_t longest) {
  if (text.empty() || text.size() > longest) return NAN;
  std::string narrow;
  bool point = false, digit = false;
  for (char16_t c : text) {
    if (c >= u'0' && c <= u'9') {
      digit = true;
    } else if (c == u'.' && !point) {
      point = true;
    } else {
      return NAN;
    }
    narrow += char(c);
  }
  double value = NAN;
  if (!digit) return value;
  // from_chars rounds as strtod does in the C locale, but never looks at the locale.
  std::from_chars(narrow.data(), narrow.data() + narrow.size(), value, std::chars_format::fixed);
  return value;
}

int WholeNumber(std::u16string_view text, int low, int high, size_t longest) {
  if (text.empty() || text.size() > longest) return -1;
  int64_t n = 0;
  for (char16_t c : text) {
    if (c < u'0' || c > u'9') return -1;
    n = n * 10 + (c - u'0');
  }
  return n >= low && n <= high ? int(n) : -1;
}

ValuedOption TakeValue(const TextPairs& options, size_t& i, size_t nameLength) {
  const auto& [key, apart] = options[i];
  if (key.size() > nameLength) return {key.substr(nameLength), u"-" + key};
  std::u16string value = apart;
  if (value.empty() && i + 1 < options.size() && options[i + 1].second.empty() &&
      !std::isnan(Decimal(options[i + 1].first, options[i + 1].first.size())))
    value = u"-" + options[++i].first;
  return {value, OptionText(key, value)};
}

std::u16string OptionText(std::u16string_view key, std::u16string_view value) {
  std::u16string text = u"-" + std::u16string(key);
  if (!value.empty()) text += u" " + std::u16string(value);
  return text;
}

}  // namespace codec
