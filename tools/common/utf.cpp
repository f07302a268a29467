#include "tools/common/utf.h"

#include <cstdint>

namespace LumoTools {
namespace {

void AppendUtf16(std::u16string& out, char32_t code) {
    if (code >= 0x10000) {
        code -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    } else {
        out.push_back(static_cast<char16_t>(code));
    }
}

void AppendUtf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out.push_back(static_cast<char>(code));
        return;
    }
    const int tail = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    static constexpr unsigned char kLead[] = {0, 0xC0, 0xE0, 0xF0};
    out.push_back(static_cast<char>(kLead[tail] | (code >> (6 * tail))));
    for (int i = tail - 1; i >= 0; --i) {
        out.push_back(static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F)));
    }
}

bool IsSurrogate(char32_t code) {
    return code >= 0xD800 && code <= 0xDFFF;
}

// Continuation bytes after a lead byte, or -1 for a byte that cannot start a character.
int TailLength(unsigned char lead) {
    if (lead < 0x80) {
        return 0;
    }
    if (lead >= 0xC2 && lead < 0xE0) {
        return 1;
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        return 2;
    }
    if (lead >= 0xF0 && lead < 0xF5) {
        return 3;
    }
    return -1;
}

}  // namespace

std::optional<std::u16string> Utf8ToUtf16(std::string_view text) {
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const int tail = TailLength(lead);
        if (tail < 0 || text.size() - i <= static_cast<std::size_t>(tail)) {
            return std::nullopt;
        }
        char32_t code = tail == 0 ? lead : lead & (0x3F >> tail);
        for (int k = 1; k <= tail; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) {
                return std::nullopt;
            }
            code = (code << 6) | (next & 0x3F);
        }
        static constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
        if (code < kSmallest[tail] || code > 0x10FFFF || IsSurrogate(code)) {
            return std::nullopt;
        }
        AppendUtf16(out, code);
        i += 1 + tail;
    }
    return out;
}

std::string Utf16ToUtf8(std::u16string_view units) {
    std::string out;
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t code = units[i];
        if (code >= 0xD800 && code <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
            units[i + 1] <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (units[++i] - 0xDC00);
        } else if (IsSurrogate(code)) {
            code = 0xFFFD;
        }
        AppendUtf8(out, code);
    }
    return out;
}

}  // namespace LumoTools
