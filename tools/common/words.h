// Reading the tools' one-command-a-line scripts: words separated by blanks or tabs,
// numbers in decimal or hexadecimal, bytes in hexadecimal (and written back so).
#pragma once

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace LumoTools {

using Words = std::vector<std::string_view>;

Words SplitWords(std::string_view line);

// The text after the first `count` words and the one blank after them; further blanks
// belong to the text.
std::string_view RestAfterWords(std::string_view line, std::size_t count);

// Two lowercase hexadecimal digits a byte.
std::string Hex(const std::uint8_t* bytes, std::size_t size);

// Pairs of hexadecimal digits; nothing for an odd count or another character.
std::optional<std::vector<std::uint8_t>> ParseHex(std::string_view digits);

// Decimal, or hexadecimal after "0x"; signed types also take a leading '-'. Nothing when
// the word is not such a number or the value does not fit T.
template <class T>
std::optional<T> ParseNumber(std::string_view word) {
    int base = 10;
    bool negative = false;
    if (std::is_signed_v<T> && !word.empty() && word[0] == '-') {
        negative = true;
        word.remove_prefix(1);
    }
    if (word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X')) {
        base = 16;
        word.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    const auto [end, error] =
        std::from_chars(word.data(), word.data() + word.size(), magnitude, base);
    if (word.empty() || error != std::errc() || end != word.data() + word.size()) {
        return std::nullopt;
    }
    if constexpr (std::is_signed_v<T>) {
        if (negative) {
            if (magnitude > static_cast<std::uint64_t>(std::numeric_limits<T>::max()) + 1) {
                return std::nullopt;
            }
            return static_cast<T>(-static_cast<std::int64_t>(magnitude));
        }
    }
    if (magnitude > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) {
        return std::nullopt;
    }
    return static_cast<T>(magnitude);
}

}  // namespace LumoTools
