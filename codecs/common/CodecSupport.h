// Text, host messages and option words shared by the codec plug-ins.
#pragma once
#include "sdk/tv_plugin.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace codec {

using TextPair = std::pair<std::u16string, std::u16string>;
using TextPairs = std::vector<TextPair>;

// UTF-16 to UTF-8 and back; a lone surrogate or a broken sequence becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);
std::u16string FromUtf8(std::string_view text);
std::u16string_view View(const char16_t* text);  // empty for null

bool EqualsNoCase(std::u16string_view a, std::u16string_view b);

// Writes one line, UTF-16LE with CR LF, to the host's error channel; a closed channel drops it.
void ReportError(const TvHostContext& host, std::u16string_view text);

// Splits an option line into (key, value) pairs: "-key=value", "-key value" and "-flag".
// Values may be in double quotes; the key is kept without its dash.
TextPairs ParseOptions(std::u16string_view line);
// The value of the last option named key (ignoring case); found tells whether it was there.
std::u16string OptionValue(const TextPairs& options, std::u16string_view key,
                           bool* found = nullptr);

}  // namespace codec
