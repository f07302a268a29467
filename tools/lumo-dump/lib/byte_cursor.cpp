#include "tools/lumo-dump/lib/byte_cursor.h"

namespace LumoDump {

std::uint64_t ByteCursor::Unsigned(std::size_t size) {
    std::uint64_t value = 0;
    const auto bytes = Take(size);
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | bytes[i];
    }
    return value;
}

std::pair<std::uint64_t, unsigned> ByteCursor::Leb128() {
    std::uint64_t value = 0;
    unsigned bits = 0;
    std::uint8_t byte = 0;
    do {
        byte = U8();
        if (bits < 64) {
            value |= std::uint64_t{byte & 0x7Fu} << bits;
        }
        bits += 7;
    } while (!m_failed && (byte & 0x80));
    return {value, bits};
}

std::int64_t ByteCursor::Sleb128() {
    auto [value, bits] = Leb128();
    if (bits < 64 && (value >> (bits - 1) & 1)) {
        value |= ~std::uint64_t{0} << bits;
    }
    return static_cast<std::int64_t>(value);
}

std::string_view ByteCursor::CString() {
    const std::size_t start = m_at;
    while (!m_failed && U8() != 0) {
    }
    if (m_failed) {
        return {};
    }
    return {reinterpret_cast<const char*>(m_bytes.data() + start), m_at - start - 1};
}

std::span<const std::uint8_t> ByteCursor::Take(std::size_t size) {
    if (m_failed || size > m_bytes.size() - m_at) {
        m_failed = true;
        return {};
    }
    const auto taken = m_bytes.subspan(m_at, size);
    m_at += size;
    return taken;
}

}  // namespace LumoDump
