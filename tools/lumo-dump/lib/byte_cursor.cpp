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
    } while (!failed_ && (byte & 0x80));
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
    const std::size_t start = at_;
    while (!failed_ && U8() != 0) {
    }
    if (failed_) {
        return {};
    }
    return {reinterpret_cast<const char*>(bytes_.data() + start), at_ - start - 1};
}

std::span<const std::uint8_t> ByteCursor::Take(std::size_t size) {
    if (failed_ || size > bytes_.size() - at_) {
        failed_ = true;
        return {};
    }
    const auto taken = bytes_.subspan(at_, size);
    at_ += size;
    return taken;
}

}  // namespace LumoDump
