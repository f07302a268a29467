#include "platform/text_conversion.h"

#include <climits>
#include <cstddef>
#include <cstring>

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

constexpr char32_t kReplacementCharacter = 0xFFFD;

bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

struct CodePoint {
    char32_t value;
    std::size_t units;
};

CodePoint ReadCodePoint(std::u16string_view source, std::size_t at) {
    const char32_t unit = source[at];
    if (IsHighSurrogate(unit) && at + 1 < source.size() && IsLowSurrogate(source[at + 1])) {
        return {0x10000 + ((unit - 0xD800) << 10) + (source[at + 1] - 0xDC00), 2};
    }
    if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
        return {kReplacementCharacter, 1};
    }
    return {unit, 1};
}

// The UTF-8 bytes of one code point; returns how many (1 to 4).
int EncodeUtf8(char32_t code, unsigned char (&bytes)[4]) {
    if (code < 0x80) {
        bytes[0] = static_cast<unsigned char>(code);
        return 1;
    }
    const int continuations = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    static constexpr unsigned char kLeadMarks[] = {0x00, 0xC0, 0xE0, 0xF0};
    bytes[0] =
        static_cast<unsigned char>(kLeadMarks[continuations] | (code >> (6 * continuations)));
    for (int i = 1; i <= continuations; ++i) {
        bytes[i] = static_cast<unsigned char>(0x80 | ((code >> (6 * (continuations - i))) & 0x3F));
    }
    return continuations + 1;
}

// Linux has no code pages: the conversion is done here, character by character, with the
// same outcome as on Windows, including what a too-small destination is left holding.
class PortableTextConversion final : public TextConversion {
  public:
    int Utf16ToUtf8(std::u16string_view source, char* destination, int destinationSize) override {
        if (source.empty() || destinationSize < 0 ||
            (destinationSize > 0 && destination == nullptr)) {
            return 0;
        }
        const bool measureOnly = destinationSize == 0;
        std::size_t written = 0;
        for (std::size_t at = 0; at < source.size();) {
            const CodePoint point = ReadCodePoint(source, at);
            unsigned char bytes[4];
            const int length = EncodeUtf8(point.value, bytes);
            if (!measureOnly) {
                if (written + length > static_cast<std::size_t>(destinationSize)) {
                    return 0;
                }
                std::memcpy(destination + written, bytes, length);
            }
            written += length;
            at += point.units;
        }
        return written > INT_MAX ? 0 : static_cast<int>(written);
    }
};

}  // namespace

template <>
TextConversion& DefaultService<TextConversion>() {
    static PortableTextConversion service;
    return service;
}

}  // namespace Orvane::Platform
