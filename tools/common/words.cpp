#include "tools/common/words.h"

namespace LumoTools {
namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

}  // namespace

Words SplitWords(std::string_view line) {
    Words words;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && IsBlank(line[i])) {
            ++i;
        }
        const std::size_t start = i;
        while (i < line.size() && !IsBlank(line[i])) {
            ++i;
        }
        if (i > start) {
            words.push_back(line.substr(start, i - start));
        }
    }
    return words;
}

std::string_view RestAfterWords(std::string_view line, std::size_t count) {
    std::size_t i = 0;
    for (std::size_t word = 0; word < count; ++word) {
        while (i < line.size() && IsBlank(line[i])) {
            ++i;
        }
        while (i < line.size() && !IsBlank(line[i])) {
            ++i;
        }
    }
    if (i < line.size()) {
        ++i;
    }
    return line.substr(i);
}

std::string Hex(const std::uint8_t* bytes, std::size_t size) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * size);
    for (std::size_t i = 0; i < size; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xF];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> ParseHex(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(&digits[i], &digits[i] + 2, byte, 16);
        if (error != std::errc() || end != &digits[i] + 2) {
            return std::nullopt;
        }
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace LumoTools
