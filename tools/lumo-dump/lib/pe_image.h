// A 64-bit Windows program or library file (PE32+) read from its bytes: the headers, the data
// directories, the section table with long section names, and the COFF symbol table that the
// MinGW linker keeps. Every offset and size is checked against the bytes before anything is
// read; the image refers into the caller's bytes, which must outlive it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace LumoDump {

inline constexpr std::uint16_t kMachineAmd64 = 0x8664;
inline constexpr std::size_t kExceptionDirectory = 3;  // .pdata: the x64 unwind table
inline constexpr std::size_t kCoffSymbolSize = 18;

struct PeSection {
    std::string name;  // long names ("/4") resolved through the string table
    std::uint32_t virtualAddress;
    std::uint32_t virtualSize;
    std::uint32_t rawOffset;
    std::uint32_t rawSize;
    std::uint32_t characteristics;
};

struct PeDirectory {
    std::uint32_t rva;
    std::uint32_t size;
};

class PeImage {
  public:
    // The image, or why the bytes are not a PE32+ image (a line for the user).
    static std::variant<PeImage, std::string> Read(std::span<const std::uint8_t> file);

    std::uint16_t Machine() const { return m_machine; }
    std::uint32_t TimeDateStamp() const { return m_timeDateStamp; }
    std::uint32_t CheckSum() const { return m_checkSum; }
    std::uint32_t SizeOfImage() const { return m_sizeOfImage; }
    std::uint64_t ImageBase() const { return m_imageBase; }
    const std::vector<PeSection>& Sections() const { return m_sections; }

    // A data directory the image has (present in its header and not empty).
    std::optional<PeDirectory> Directory(std::size_t index) const;
    // The bytes at [rva, rva + size) when all of them lie in one section's file data. The
    // part of a section past its file data (zero-filled when loaded) is absent here: a range
    // that reaches into it gives nothing, as does one that crosses sections.
    std::optional<std::span<const std::uint8_t>> BytesAt(std::uint32_t rva,
                                                         std::uint32_t size) const;
    // The file data of the first section of that name, without the file alignment's padding;
    // nothing when there is no such section or it has no file data.
    std::optional<std::span<const std::uint8_t>> SectionBytes(std::string_view name) const;

    // The COFF symbol records (kCoffSymbolSize bytes each, auxiliary records included) and a
    // string of the string table that follows them; both empty in an image without symbols.
    std::span<const std::uint8_t> SymbolRecords() const { return m_symbols; }
    std::optional<std::string_view> String(std::uint32_t offset) const;

  private:
    PeImage() = default;

    std::span<const std::uint8_t> m_file;
    std::uint16_t m_machine = 0;
    std::uint32_t m_timeDateStamp = 0;
    std::uint32_t m_checkSum = 0;
    std::uint32_t m_sizeOfImage = 0;
    std::uint64_t m_imageBase = 0;
    std::vector<PeDirectory> m_directories;
    std::vector<PeSection> m_sections;
    std::span<const std::uint8_t> m_symbols;
    std::span<const std::uint8_t> m_strings;  // from its size word on, as offsets count
};

}  // namespace LumoDump
