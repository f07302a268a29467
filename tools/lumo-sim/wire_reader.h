// The simulated service's own reading of what a client sends: little-endian fields and
// count-prefixed strings and lists, read in order from a received block. It shares no code
// with the client library, so that a layout mistake there cannot be mirrored here.
// A read past the end, or a count larger than the bytes left, fails the reader and every
// read after it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace LumoSim {

class WireReader {
  public:
    WireReader(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::uint64_t Unsigned(std::size_t width);
    std::uint32_t U32() { return static_cast<std::uint32_t>(Unsigned(4)); }
    std::int32_t S32() { return static_cast<std::int32_t>(U32()); }
    std::int64_t S64() { return static_cast<std::int64_t>(Unsigned(8)); }
    double Double();
    // A string of a 32-bit byte count and the bytes.
    std::string Narrow();
    // A string of a 32-bit UTF-16 unit count and the units.
    std::u16string Wide();
    // `count` UTF-16 units as they lie.
    std::u16string Units(std::size_t count);
    // Whether the next `count` bytes are all zero; they are consumed.
    bool Zeros(std::size_t count);
    std::string Hex(std::size_t count);

    bool Failed() const { return failed_; }
    std::size_t Left() const { return size_ - position_; }
    // Every byte was read and nothing failed.
    bool Complete() const { return !failed_ && position_ == size_; }

  private:
    const std::uint8_t* Take(std::size_t count);

    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
    bool failed_ = false;
};

}  // namespace LumoSim
