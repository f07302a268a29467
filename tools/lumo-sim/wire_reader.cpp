#include "tools/lumo-sim/wire_reader.h"

#include <bit>

#include "tools/common/words.h"

namespace LumoSim {

const std::uint8_t* WireReader::Take(std::size_t count) {
    if (failed_ || count > size_ - position_) {
        failed_ = true;
        return nullptr;
    }
    const std::uint8_t* at = data_ + position_;
    position_ += count;
    return at;
}

std::uint64_t WireReader::Unsigned(std::size_t width) {
    const std::uint8_t* bytes = Take(width);
    std::uint64_t value = 0;
    for (std::size_t i = 0; bytes != nullptr && i < width; ++i) {
        value |= std::uint64_t{bytes[i]} << (8 * i);
    }
    return value;
}

double WireReader::Double() {
    return std::bit_cast<double>(Unsigned(8));
}

std::string WireReader::Narrow() {
    const std::uint32_t count = U32();
    const std::uint8_t* bytes = Take(count);
    return bytes == nullptr ? std::string() : std::string(bytes, bytes + count);
}

std::u16string WireReader::Wide() {
    const std::uint32_t count = U32();
    if (std::uint64_t{count} * 2 > Left()) {
        failed_ = true;
        return {};
    }
    return Units(count);
}

std::u16string WireReader::Units(std::size_t count) {
    std::u16string units;
    for (std::size_t i = 0; i < count && !failed_; ++i) {
        units.push_back(static_cast<char16_t>(Unsigned(2)));
    }
    return failed_ ? std::u16string() : units;
}

bool WireReader::Zeros(std::size_t count) {
    const std::uint8_t* bytes = Take(count);
    if (bytes == nullptr) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes[i] != 0) {
            return false;
        }
    }
    return true;
}

std::string WireReader::Hex(std::size_t count) {
    const std::uint8_t* bytes = Take(count);
    return bytes == nullptr ? std::string() : LumoTools::Hex(bytes, count);
}

}  // namespace LumoSim
