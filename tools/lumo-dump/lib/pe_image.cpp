#include "tools/lumo-dump/lib/pe_image.h"

#include <algorithm>
#include <charconv>

#include "tools/lumo-dump/lib/byte_cursor.h"

namespace LumoDump {
namespace {

constexpr std::size_t kDosHeaderSize = 0x40;
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::uint16_t kPe32Magic = 0x10B;
constexpr std::uint16_t kPe32PlusMagic = 0x20B;
// The PE32+ optional header's fixed fields, up to the data directories.
constexpr std::size_t kOptionalFixedSize = 112;

bool Holds(std::span<const std::uint8_t> file, std::uint64_t offset, std::uint64_t size) {
    return offset <= file.size() && size <= file.size() - offset;
}

// A section's name field: up to eight bytes, or "/" and the decimal offset of a longer name in
// the string table.
std::string_view ShortName(std::span<const std::uint8_t> field) {
    const std::string_view text(reinterpret_cast<const char*>(field.data()), field.size());
    return text.substr(0, text.find('\0'));
}

std::optional<std::string_view> LongName(std::string_view field, const PeImage& image) {
    if (!field.starts_with('/')) {
        return field;
    }
    std::uint32_t offset = 0;
    const auto digits = field.substr(1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), offset);
    if (error != std::errc{} || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return image.String(offset);
}

}  // namespace

std::variant<PeImage, std::string> PeImage::Read(std::span<const std::uint8_t> file) {
    ByteCursor dos(file);
    if (file.size() < kDosHeaderSize || dos.U16() != 0x5A4D) {  // "MZ"
        return std::string("not a Windows program file (no MZ header)");
    }
    const std::uint32_t peOffset = ByteCursor(file, 0x3C).U32();
    ByteCursor header(file, peOffset);
    if (header.U32() != 0x4550) {  // "PE\0\0"
        return std::string("not a Windows program file (no PE header where the MZ header says)");
    }
    PeImage image;
    image.m_file = file;
    image.m_machine = header.U16();
    const std::uint16_t sectionCount = header.U16();
    image.m_timeDateStamp = header.U32();
    const std::uint32_t symbolOffset = header.U32();
    const std::uint32_t symbolCount = header.U32();
    const std::uint16_t optionalSize = header.U16();
    header.Skip(2);  // characteristics
    const auto optional = header.Take(optionalSize);
    if (header.Failed()) {
        return std::string("its PE headers run past the end of the file");
    }
    const std::uint16_t magic = ByteCursor(optional).U16();
    if (magic == kPe32Magic) {
        return std::string("a 32-bit image (PE32); only 64-bit images (PE32+) are read");
    }
    if (magic != kPe32PlusMagic || optionalSize < kOptionalFixedSize) {
        return std::string("not a Windows program file (no PE32+ optional header)");
    }
    image.m_imageBase = ByteCursor(optional, 24).U64();
    image.m_sizeOfImage = ByteCursor(optional, 56).U32();
    image.m_checkSum = ByteCursor(optional, 64).U32();
    const std::uint32_t directoryCount = ByteCursor(optional, 108).U32();
    if (directoryCount > (optionalSize - kOptionalFixedSize) / 8) {
        return std::to_string(directoryCount) + " data directories do not fit its optional header";
    }
    ByteCursor directories(optional, kOptionalFixedSize);
    for (std::uint32_t i = 0; i < directoryCount; ++i) {
        const std::uint32_t rva = directories.U32();
        image.m_directories.push_back({rva, directories.U32()});
    }

    if (symbolOffset != 0) {
        const std::uint64_t symbolsSize = std::uint64_t{symbolCount} * kCoffSymbolSize;
        const std::uint64_t stringsAt = symbolOffset + symbolsSize;
        if (!Holds(file, symbolOffset, symbolsSize + 4)) {
            return "its symbol table (" + std::to_string(symbolCount) + " symbols at " +
                   std::to_string(symbolOffset) + ") runs past the end of the file";
        }
        const std::uint32_t stringsSize = ByteCursor(file, stringsAt).U32();
        if (stringsSize < 4 || !Holds(file, stringsAt, stringsSize)) {
            return "its string table (" + std::to_string(stringsSize) + " bytes at " +
                   std::to_string(stringsAt) + ") runs past the end of the file";
        }
        image.m_symbols = file.subspan(symbolOffset, symbolsSize);
        image.m_strings = file.subspan(stringsAt, stringsSize);
    }

    if (!Holds(file, header.Offset(), std::size_t{sectionCount} * kSectionHeaderSize)) {
        return "its section table (" + std::to_string(sectionCount) +
               " sections) runs past the end of the file";
    }
    ByteCursor table(file, header.Offset());
    for (std::uint16_t i = 0; i < sectionCount; ++i) {
        const auto nameField = table.Take(8);
        PeSection section{};
        section.virtualSize = table.U32();
        section.virtualAddress = table.U32();
        section.rawSize = table.U32();
        section.rawOffset = table.U32();
        table.Skip(12);  // relocations and line numbers of objects
        section.characteristics = table.U32();
        const std::string_view field = ShortName(nameField);
        const auto name = LongName(field, image);
        if (!name) {
            return "the section name \"" + std::string(field) + "\" is not in its string table";
        }
        section.name = *name;
        if (section.rawSize != 0 && !Holds(file, section.rawOffset, section.rawSize)) {
            return "its section " + section.name + " (" + std::to_string(section.rawSize) +
                   " bytes at " + std::to_string(section.rawOffset) +
                   ") runs past the end of the file";
        }
        image.m_sections.push_back(std::move(section));
    }
    return image;
}

std::optional<PeDirectory> PeImage::Directory(std::size_t index) const {
    if (index >= m_directories.size() || m_directories[index].size == 0) {
        return std::nullopt;
    }
    return m_directories[index];
}

std::optional<std::span<const std::uint8_t>> PeImage::BytesAt(std::uint32_t rva,
                                                              std::uint32_t size) const {
    for (const PeSection& section : m_sections) {
        const std::uint32_t held = std::min(section.virtualSize, section.rawSize);
        const std::uint64_t offset = std::uint64_t{rva} - section.virtualAddress;
        if (rva >= section.virtualAddress && offset < section.virtualSize) {
            if (section.rawSize == 0 || offset + size > held) {
                return std::nullopt;
            }
            return m_file.subspan(section.rawOffset + offset, size);
        }
    }
    return std::nullopt;
}

std::optional<std::span<const std::uint8_t>> PeImage::SectionBytes(std::string_view name) const {
    const auto section = std::find_if(m_sections.begin(), m_sections.end(),
                                      [&](const PeSection& s) { return s.name == name; });
    if (section == m_sections.end() || section->rawSize == 0) {
        return std::nullopt;
    }
    const std::uint32_t size = section->virtualSize != 0
                                   ? std::min(section->virtualSize, section->rawSize)
                                   : section->rawSize;
    return m_file.subspan(section->rawOffset, size);
}

std::optional<std::string_view> PeImage::String(std::uint32_t offset) const {
    if (offset < 4 || offset >= m_strings.size()) {
        return std::nullopt;
    }
    ByteCursor cursor(m_strings, offset);
    const std::string_view text = cursor.CString();
    if (cursor.Failed()) {
        return std::nullopt;
    }
    return text;
}

}  // namespace LumoDump
