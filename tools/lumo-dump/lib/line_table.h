// The DWARF line tables (.debug_line, versions 2 to 5) of a module: which source file and line
// a code address came from. Addresses are read as the linker wrote them (the image base
// included) and kept relative to the image.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace LumoDump {

struct DebugSections {
    std::span<const std::uint8_t> line;
    std::span<const std::uint8_t> lineStrings;  // .debug_line_str
    std::span<const std::uint8_t> strings;      // .debug_str
};

struct SourceLine {
    std::string file;
    std::uint32_t line;
};

class LineTable {
  public:
    // The tables of every unit, or why one of them cannot be read.
    static std::variant<LineTable, std::string> Read(const DebugSections& sections,
                                                     std::uint64_t imageBase);

    std::optional<SourceLine> Lookup(std::uint32_t rva) const;

    // A file as its unit names it: a name, relative to a directory, relative to the unit's
    // own directory; a part that is absolute makes those before it moot. Views into the
    // caller's bytes.
    struct File {
        std::string_view unitDirectory;
        std::string_view directory;
        std::string_view name;
    };
    struct Row {
        std::uint32_t rva;
        std::uint32_t line;
        std::uint32_t file;  // into m_files
        bool endSequence;    // closes the range that the rows before it began
    };

  private:
    std::vector<Row> m_rows;  // by address
    std::vector<File> m_files;
};

}  // namespace LumoDump
