/// @file
/// The payload archive: the encoding of the service's commands and replies, little-endian
/// values with no tags and no alignment, strings and containers prefixed by a 32-bit count.
///
/// | Value | Bytes |
/// |---|---|
/// | fixed-width integers, double | their little-endian bytes |
/// | bool, enumeration over a byte | 1 byte; an enumeration over 32 bits: 4 |
/// | `std::string` | byte count, then the bytes (no terminator) |
/// | `std::u16string`, `std::wstring` | UTF-16 unit count, then 2 bytes a unit |
/// | `std::vector` | element count, then each element |
/// | `std::map`, `std::unordered_map` | pair count, then key and value of each pair |
/// | record | its fields in order, through a member `Serialize` (see ArchiveRecord) |
///
/// A ServiceRecord's payload is read with an InputArchive; reading past the end throws
/// ArchiveOutOfRange and leaves the read position where it was.
///
/// Archives are plain values: they call nothing of the session, and may be used on any
/// thread, one thread at a time.
#pragma once

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Quorvel::Lumo::Api {

/// What a read past the end of the data throws: "Input vector was not large enough to
/// contain the requested item".
class ArchiveOutOfRange : public std::out_of_range {
  public:
    /// The exception with its fixed text.
    ArchiveOutOfRange();
};

/// Encodes values into a growing byte buffer.
class OutputArchive {
  public:
    /// Appends `size` bytes as they are.
    void WriteBytes(const void* data, std::size_t size);

    /// Appends each value in its encoding, in order (Write).
    /// @return this archive.
    template <class... T>
    OutputArchive& operator()(const T&... values) {
        (Write(*this, values), ...);
        return *this;
    }

    /// Appends the 32-bit count of what follows. A size that does not fit is not cut:
    /// nothing is written and the archive counts as too large.
    /// @return false when the count did not fit: the caller writes no elements either.
    bool WriteCount(std::size_t size);
    /// Some count did not fit its 32 bits: the bytes are no payload.
    bool TooLarge() const { return tooLarge_; }

    /// The number of bytes written so far.
    std::size_t Position() const { return buffer_.size(); }
    /// Bytes held so far: grows ahead of the position, in steps of half again.
    std::size_t BufferSize() const { return buffer_.capacity(); }

    /// Exactly the bytes written; the archive starts empty again.
    std::vector<std::uint8_t> Finish();

  private:
    // Written bytes are its elements; the room ahead is reserved, not filled, so that a
    // large payload is copied once.
    std::vector<std::uint8_t> buffer_;
    bool tooLarge_ = false;
};

/// Decodes values from `size` bytes at `data`, which must outlive it.
class InputArchive {
  public:
    /// Reads from the first of the `size` bytes at `data`.
    InputArchive(const void* data, std::size_t size);

    /// Copies the next `size` bytes to `out`.
    /// @throws ArchiveOutOfRange when fewer are left; nothing is read then.
    void ReadBytes(void* out, std::size_t size);
    /// @throws ArchiveOutOfRange unless `size` more bytes can be read.
    void Require(std::size_t size) const;

    /// Reads each value in its encoding, in order (Read).
    /// @return this archive.
    /// @throws ArchiveOutOfRange at the first value that the data cannot hold; the values
    /// before it are read.
    template <class... T>
    InputArchive& operator()(T&... values) {
        (Read(*this, values), ...);
        return *this;
    }

    /// The number of bytes read so far.
    std::size_t Position() const { return position_; }
    /// The number of bytes left.
    std::size_t Remaining() const { return size_ - position_; }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

/// A value written as its little-endian bytes: a number, a bool or an enumeration.
template <class T>
concept ArchiveScalar = std::is_arithmetic_v<T> || std::is_enum_v<T>;

/// A record: a class with a member `template <class Archive> void Serialize(Archive& a)`
/// that hands its fields to the archive in order, `a(x, y, z);`, for both directions.
template <class T>
concept ArchiveRecord = std::is_class_v<T> && requires(T& record, OutputArchive& archive) {
    record.Serialize(archive);
};

/// A `std::map` or `std::unordered_map`.
template <class T>
concept ArchiveMap = requires {
    typename T::key_type;
    typename T::mapped_type;
}
&&(std::same_as<T, std::map<typename T::key_type, typename T::mapped_type>> ||
   std::same_as<T, std::unordered_map<typename T::key_type, typename T::mapped_type>>);

/// @cond LUMO_INTERNAL
namespace detail {

template <ArchiveScalar T>
auto ScalarBits(T value) {
    if constexpr (std::is_enum_v<T>) {
        return ScalarBits(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::is_same_v<T, bool>) {
        return static_cast<std::uint8_t>(value ? 1 : 0);
    } else if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<std::uint64_t>(value);
    } else if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<std::uint32_t>(value);
    } else {
        static_assert(std::is_integral_v<T>, "only fixed-width values travel");
        return static_cast<std::make_unsigned_t<T>>(value);
    }
}

template <ArchiveScalar T>
T ScalarFromBits(decltype(ScalarBits(T{})) bits) {
    if constexpr (std::is_enum_v<T>) {
        return static_cast<T>(ScalarFromBits<std::underlying_type_t<T>>(bits));
    } else if constexpr (std::is_same_v<T, bool>) {
        return bits != 0;
    } else if constexpr (std::is_floating_point_v<T>) {
        return std::bit_cast<T>(bits);
    } else {
        return static_cast<T>(bits);
    }
}

std::u16string ToUtf16(const std::wstring& text);
std::wstring FromUtf16(const std::u16string& units);

}  // namespace detail
/// @endcond

/// Writes `value` as its little-endian bytes.
template <ArchiveScalar T>
void Write(OutputArchive& archive, const T& value) {
    auto bits = detail::ScalarBits(value);
    std::uint8_t bytes[sizeof bits];
    for (std::size_t i = 0; i < sizeof bits; ++i) {
        bytes[i] = static_cast<std::uint8_t>(bits >> (8 * i));
    }
    archive.WriteBytes(bytes, sizeof bytes);
}

/// Reads `value` from its little-endian bytes.
/// @throws ArchiveOutOfRange when the data holds fewer.
template <ArchiveScalar T>
void Read(InputArchive& archive, T& value) {
    using Bits = decltype(detail::ScalarBits(T{}));
    std::uint8_t bytes[sizeof(Bits)];
    archive.ReadBytes(bytes, sizeof bytes);
    Bits bits = 0;
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        bits = static_cast<Bits>(bits | (static_cast<Bits>(bytes[i]) << (8 * i)));
    }
    value = detail::ScalarFromBits<T>(bits);
}

/// Writes a narrow text: its byte count, then its bytes.
void Write(OutputArchive& archive, const std::string& text);
/// Reads a narrow text. @throws ArchiveOutOfRange when the data holds less than it says.
void Read(InputArchive& archive, std::string& text);
/// Writes a UTF-16 text: its unit count, then two bytes a unit.
void Write(OutputArchive& archive, const std::u16string& text);
/// Reads a UTF-16 text. @throws ArchiveOutOfRange when the data holds less than it says.
void Read(InputArchive& archive, std::u16string& text);
/// Writes a wide text as UTF-16, also where `wchar_t` is 32-bit.
void Write(OutputArchive& archive, const std::wstring& text);
/// Reads a UTF-16 text into a wide text.
/// @throws ArchiveOutOfRange when the data holds less than it says.
void Read(InputArchive& archive, std::wstring& text);

/// @cond LUMO_INTERNAL
namespace detail {

// Numbers other than bool are stored as the wire has them on a little-endian machine, so a
// vector of them travels as one copy instead of one call per element.
template <class T>
constexpr bool kSameBytesOnTheWire = std::is_arithmetic_v<T> && !std::is_same_v<T, bool> &&
                                     std::endian::native == std::endian::little;

}  // namespace detail
/// @endcond

/// Writes a list: its element count, then each element.
template <class T, class Allocator>
void Write(OutputArchive& archive, const std::vector<T, Allocator>& elements) {
    if (!archive.WriteCount(elements.size())) {
        return;
    }
    if constexpr (detail::kSameBytesOnTheWire<T>) {
        archive.WriteBytes(elements.data(), elements.size() * sizeof(T));
    } else {
        for (const auto& element : elements) {
            Write(archive, element);
        }
    }
}

/// Reads a list. @throws ArchiveOutOfRange when the data holds fewer elements than it
/// says; the whole elements before are read.
template <class T, class Allocator>
void Read(InputArchive& archive, std::vector<T, Allocator>& elements) {
    std::uint32_t count = 0;
    Read(archive, count);
    elements.clear();
    if constexpr (detail::kSameBytesOnTheWire<T>) {
        // As element by element: the whole elements that are there are read, then a cut
        // one throws.
        const std::size_t whole = std::min<std::size_t>(count, archive.Remaining() / sizeof(T));
        elements.resize(whole);
        archive.ReadBytes(elements.data(), whole * sizeof(T));
        if (whole < count) {
            archive.Require(sizeof(T));
        }
        return;
    }
    // A forged count must not reserve more than the remaining bytes can fill.
    elements.reserve(std::min<std::size_t>(count, archive.Remaining()));
    for (std::uint32_t i = 0; i < count; ++i) {
        T element{};
        Read(archive, element);
        elements.push_back(std::move(element));
    }
}

/// Writes a map: its pair count, then each key and its value.
template <ArchiveMap M>
void Write(OutputArchive& archive, const M& pairs) {
    if (!archive.WriteCount(pairs.size())) {
        return;
    }
    for (const auto& [key, value] : pairs) {
        Write(archive, key);
        Write(archive, value);
    }
}

/// Reads a map; a key that comes again takes the later value.
/// @throws ArchiveOutOfRange when the data holds fewer pairs than it says.
template <ArchiveMap M>
void Read(InputArchive& archive, M& pairs) {
    std::uint32_t count = 0;
    Read(archive, count);
    pairs.clear();
    for (std::uint32_t i = 0; i < count; ++i) {
        typename M::key_type key{};
        typename M::mapped_type value{};
        Read(archive, key);
        Read(archive, value);
        pairs.insert_or_assign(std::move(key), std::move(value));
    }
}

/// Writes a record's fields in order.
template <ArchiveRecord T>
void Write(OutputArchive& archive, const T& record) {
    // Serialize serves both directions; the output archive only reads the fields.
    const_cast<T&>(record).Serialize(archive);
}

/// Reads a record's fields in order.
/// @throws ArchiveOutOfRange at the first field that the data cannot hold.
template <ArchiveRecord T>
void Read(InputArchive& archive, T& record) {
    record.Serialize(archive);
}

}  // namespace Quorvel::Lumo::Api
