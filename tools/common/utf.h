// Text conversions between the script's and output's UTF-8 and the service's UTF-16.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace LumoTools {

// Nothing when the bytes are not valid UTF-8.
std::optional<std::u16string> Utf8ToUtf16(std::string_view text);

// An unpaired surrogate becomes U+FFFD.
std::string Utf16ToUtf8(std::u16string_view units);

}  // namespace LumoTools
