// The service's instrument record laid out byte by byte, independently of the code that
// reads it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "helper/instrument_identification.h"

// Exactly as long as the real one and on the heap, so that a read past its end is caught by
// the sanitizer.
class Record {
  public:
    Record() : bytes_(kInstrumentRecordSize, 0) {
        Name(u"ARM-1").Type(3).Version1(6, 3).Version2(1, 0);
    }

    // Units little-endian from offset 20, followed by a zero unit.
    Record& Name(std::u16string_view units) {
        for (std::size_t i = 0; i <= units.size(); ++i) {
            const char16_t unit = i < units.size() ? units[i] : 0;
            bytes_[20 + 2 * i] = static_cast<std::uint8_t>(unit & 0xFF);
            bytes_[21 + 2 * i] = static_cast<std::uint8_t>(unit >> 8);
        }
        return *this;
    }
    Record& Type(std::int32_t type) {
        const auto value = static_cast<std::uint32_t>(type);
        for (int i = 0; i < 4; ++i) {
            bytes_[416 + i] = static_cast<std::uint8_t>(value >> (8 * i));
        }
        return *this;
    }
    Record& SubType(std::uint8_t subType) {
        bytes_[534] = subType;
        return *this;
    }
    Record& Version1(std::uint32_t major, std::uint8_t minor) {
        for (int i = 0; i < 4; ++i) {
            bytes_[524 + i] = static_cast<std::uint8_t>(major >> (8 * i));
        }
        bytes_[0] = minor;
        return *this;
    }
    Record& Version2(std::uint8_t major, std::uint8_t minor) {
        bytes_[1] = major;
        bytes_[2] = minor;
        return *this;
    }
    Record& Fill(std::size_t from, std::size_t to, std::uint8_t value) {
        std::fill(bytes_.begin() + from, bytes_.begin() + to, value);
        return *this;
    }
    std::uint8_t& operator[](std::size_t offset) { return bytes_[offset]; }

    const std::uint8_t* data() const { return bytes_.data(); }

  private:
    std::vector<std::uint8_t> bytes_;
};
