// Little-endian reads from bytes of an untrusted file. A read past the end yields zero (or an
// empty view) and marks the cursor failed, so a parser checks Failed() once a record rather
// than before every field, and never reads outside the bytes it was given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace LumoDump {

class ByteCursor {
  public:
    explicit ByteCursor(std::span<const std::uint8_t> bytes, std::size_t at = 0)
        : m_bytes(bytes), m_at(at) {
        m_failed = at > bytes.size();
    }

    std::uint8_t U8() { return static_cast<std::uint8_t>(Unsigned(1)); }
    std::uint16_t U16() { return static_cast<std::uint16_t>(Unsigned(2)); }
    std::uint32_t U32() { return static_cast<std::uint32_t>(Unsigned(4)); }
    std::uint64_t U64() { return Unsigned(8); }
    // An unsigned number of 1 to 8 bytes.
    std::uint64_t Unsigned(std::size_t size);
    std::uint64_t Uleb128() { return Leb128().first; }
    std::int64_t Sleb128();
    // The bytes up to the next zero byte, which is consumed.
    std::string_view CString();
    std::span<const std::uint8_t> Take(std::size_t size);
    void Skip(std::size_t size) { Take(size); }

    std::size_t Offset() const { return m_at; }
    std::size_t Remaining() const { return m_failed ? 0 : m_bytes.size() - m_at; }
    bool AtEnd() const { return Remaining() == 0; }
    bool Failed() const { return m_failed; }

  private:
    // The bits of a LEB128 number, and how many it had.
    std::pair<std::uint64_t, unsigned> Leb128();

    std::span<const std::uint8_t> m_bytes;
    std::size_t m_at;
    bool m_failed;
};

}  // namespace LumoDump
