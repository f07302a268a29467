#include "tools/lumo-dump/lib/line_table.h"

#include <algorithm>
#include <limits>

#include "tools/lumo-dump/lib/byte_cursor.h"

namespace LumoDump {
namespace {

// Forms that a version 5 directory or file entry may use.
constexpr std::uint64_t kFormBlock = 0x09, kFormData1 = 0x0B, kFormData2 = 0x05, kFormData4 = 0x06,
                        kFormData8 = 0x07, kFormData16 = 0x1E, kFormString = 0x08, kFormStrp = 0x0E,
                        kFormUdata = 0x0F, kFormLineStrp = 0x1F;
constexpr std::uint64_t kContentPath = 1, kContentDirectoryIndex = 2;

constexpr std::uint8_t kCopy = 1, kAdvancePc = 2, kAdvanceLine = 3, kSetFile = 4, kConstAddPc = 8,
                       kFixedAdvancePc = 9;
constexpr std::uint8_t kEndSequence = 1, kSetAddress = 2, kDefineFile = 3;

using Table = std::vector<LineTable::File>;

struct FormValue {
    std::uint64_t number = 0;
    std::string_view text;
};

std::variant<FormValue, std::string> StringAt(std::span<const std::uint8_t> section,
                                              std::uint64_t offset) {
    if (offset >= section.size()) {
        return "a file name at offset " + std::to_string(offset) + " lies outside its section";
    }
    ByteCursor cursor(section, offset);
    const std::string_view text = cursor.CString();
    if (cursor.Failed()) {
        return std::string("a file name runs past the end of its section");
    }
    return FormValue{0, text};
}

std::variant<FormValue, std::string> ReadForm(ByteCursor& cursor, std::uint64_t form,
                                              std::size_t offsetSize,
                                              const DebugSections& sections) {
    switch (form) {
        case kFormString:
            return FormValue{0, cursor.CString()};
        case kFormLineStrp:
            return StringAt(sections.lineStrings, cursor.Unsigned(offsetSize));
        case kFormStrp:
            return StringAt(sections.strings, cursor.Unsigned(offsetSize));
        case kFormData1:
            return FormValue{cursor.U8(), {}};
        case kFormData2:
            return FormValue{cursor.U16(), {}};
        case kFormData4:
            return FormValue{cursor.U32(), {}};
        case kFormData8:
            return FormValue{cursor.U64(), {}};
        case kFormUdata:
            return FormValue{cursor.Uleb128(), {}};
        case kFormData16:
            cursor.Skip(16);
            return FormValue{};
        case kFormBlock:
            cursor.Skip(cursor.Uleb128());
            return FormValue{};
        default:
            return "its file table uses the unknown form " + std::to_string(form);
    }
}

bool IsStringForm(std::uint64_t form) {
    return form == kFormString || form == kFormLineStrp || form == kFormStrp;
}

// One unit's line program: its header, its directories and files, and the rows it writes.
class Unit {
  public:
    Unit(const DebugSections& sections, std::uint64_t imageBase, std::vector<LineTable::Row>& rows,
         Table& files)
        : m_sections(sections), m_imageBase(imageBase), m_rows(rows), m_files(files) {}

    // Reads the unit at the cursor and moves past it; why not, if it cannot.
    std::optional<std::string> Read(ByteCursor& section) {
        const std::size_t start = section.Offset();
        std::uint64_t length = section.U32();
        m_offsetSize = 4;
        if (length == 0xFFFFFFFF) {
            length = section.U64();
            m_offsetSize = 8;
        }
        const auto unit = section.Take(length);
        if (section.Failed() || (m_offsetSize == 4 && length >= 0xFFFFFFF0)) {
            return "the line table at " + std::to_string(start) + " runs past its section";
        }
        ByteCursor header(unit);
        m_version = header.U16();
        if (m_version < 2 || m_version > 5) {
            return "the line table at " + std::to_string(start) + " has version " +
                   std::to_string(m_version) + ", not 2 to 5";
        }
        m_addressSize = 8;
        if (m_version >= 5) {
            m_addressSize = header.U8();
            header.Skip(1);  // segment selector size
        }
        const auto rest = header.Take(header.Unsigned(m_offsetSize));
        if (header.Failed()) {
            return "the header of the line table at " + std::to_string(start) +
                   " runs past its unit";
        }
        ByteCursor fields(rest);
        m_minimumInstructionLength = fields.U8();
        if (m_version >= 4) {
            fields.Skip(1);  // operations per instruction, 1 but on VLIW machines
        }
        fields.Skip(1);  // is_stmt by default: every row counts here
        m_lineBase = static_cast<std::int8_t>(fields.U8());
        m_lineRange = fields.U8();
        m_opcodeBase = fields.U8();
        if (m_lineRange == 0 || m_opcodeBase == 0) {
            return "the line table at " + std::to_string(start) + " has no line range";
        }
        m_argumentCounts = fields.Take(m_opcodeBase - 1);
        m_fileBase = m_files.size();
        auto why = m_version >= 5 ? ReadEntries(fields) : ReadNamesBefore5(fields);
        if (!why && fields.Failed()) {
            why = "its file table runs past its header";
        }
        if (!why) {
            why = Run(header);
        }
        if (why) {
            return "the line table at " + std::to_string(start) + ": " + *why;
        }
        return std::nullopt;
    }

  private:
    std::optional<std::string> ReadNamesBefore5(ByteCursor& fields) {
        m_directories = {""};
        for (std::string_view d = fields.CString(); !d.empty(); d = fields.CString()) {
            m_directories.push_back(d);
        }
        m_files.push_back({});  // numbered from 1
        for (std::string_view name = fields.CString(); !name.empty(); name = fields.CString()) {
            if (auto why = AddFile(name, fields)) {
                return why;
            }
        }
        return std::nullopt;
    }

    // A file entry before version 5, in the header or defined by the line program: its name,
    // then its directory, time and size.
    std::optional<std::string> AddFile(std::string_view name, ByteCursor& fields) {
        const std::uint64_t directory = fields.Uleb128();
        fields.Uleb128();  // time
        fields.Uleb128();  // size
        if (directory >= m_directories.size()) {
            return "a file names directory " + std::to_string(directory);
        }
        m_files.push_back({"", m_directories[directory], name});
        return std::nullopt;
    }

    // Directories, then files, as version 5 describes their entries.
    std::optional<std::string> ReadEntries(ByteCursor& fields) {
        std::vector<std::string_view> directories;
        for (int table = 0; table < 2; ++table) {
            std::vector<std::pair<std::uint64_t, std::uint64_t>> format(fields.U8());
            bool named = false;
            for (auto& [content, form] : format) {
                content = fields.Uleb128();
                form = fields.Uleb128();
                named = named || (content == kContentPath && IsStringForm(form));
            }
            const std::uint64_t count = fields.Uleb128();
            if (count != 0 && !named) {
                return std::string("its entries have no name");
            }
            for (std::uint64_t i = 0; i < count && !fields.Failed(); ++i) {
                FormValue path, directory;
                for (const auto& [content, form] : format) {
                    auto value = ReadForm(fields, form, m_offsetSize, m_sections);
                    if (value.index() == 1) {
                        return std::get<1>(std::move(value));
                    }
                    if (content == kContentPath) {
                        path = std::get<0>(value);
                    } else if (content == kContentDirectoryIndex) {
                        directory = std::get<0>(value);
                    }
                }
                if (table == 0) {
                    directories.push_back(path.text);
                } else if (directory.number >= directories.size()) {
                    return "a file names directory " + std::to_string(directory.number);
                } else {
                    m_files.push_back({directory.number != 0 ? directories[0] : "",
                                       directories[directory.number], path.text});
                }
            }
        }
        return std::nullopt;
    }

    std::optional<std::string> Run(ByteCursor& program) {
        Reset();
        while (!program.AtEnd()) {
            const std::uint8_t opcode = program.U8();
            std::optional<std::string> why;
            if (opcode >= m_opcodeBase) {
                const std::uint8_t adjusted = opcode - m_opcodeBase;
                Advance(adjusted / m_lineRange);
                m_line += m_lineBase + adjusted % m_lineRange;
                why = Emit(false);
            } else if (opcode == 0) {
                why = Extended(program);
            } else {
                why = Standard(opcode, program);
            }
            if (why) {
                return why;
            }
            if (program.Failed()) {
                return std::string("its program runs past its unit");
            }
        }
        return std::nullopt;
    }

    std::optional<std::string> Standard(std::uint8_t opcode, ByteCursor& program) {
        switch (opcode) {
            case kCopy:
                return Emit(false);
            case kAdvancePc:
                Advance(program.Uleb128());
                return std::nullopt;
            case kAdvanceLine:
                m_line += program.Sleb128();
                return std::nullopt;
            case kSetFile:
                m_file = program.Uleb128();
                return std::nullopt;
            case kConstAddPc:
                Advance((255 - m_opcodeBase) / m_lineRange);
                return std::nullopt;
            case kFixedAdvancePc:
                m_address += program.U16();
                return std::nullopt;
            default:  // column, statement and block flags, ISA: nothing a line needs
                for (std::uint8_t i = 0; i < m_argumentCounts[opcode - 1]; ++i) {
                    program.Uleb128();
                }
                return std::nullopt;
        }
    }

    std::optional<std::string> Extended(ByteCursor& program) {
        auto operation = ByteCursor(program.Take(program.Uleb128()));
        if (program.Failed()) {
            return std::string("an extended operation runs past its unit");
        }
        const std::uint8_t code = operation.U8();
        if (code == kEndSequence) {
            auto why = Emit(true);
            Reset();
            return why;
        }
        if (code == kDefineFile && m_version < 5) {
            const std::string_view name = operation.CString();
            if (auto why = AddFile(name, operation)) {
                return why;
            }
            if (operation.Failed()) {
                return std::string("a file definition runs past its operation");
            }
            return std::nullopt;
        }
        if (code == kSetAddress) {
            if (operation.Remaining() > std::min<std::size_t>(m_addressSize, 8) ||
                operation.Remaining() == 0) {
                return std::string("an address has ") + std::to_string(operation.Remaining()) +
                       " bytes";
            }
            m_address = operation.Unsigned(operation.Remaining());
        }
        return std::nullopt;
    }

    void Advance(std::uint64_t operations) { m_address += operations * m_minimumInstructionLength; }

    void Reset() {
        m_sequenceStart = m_rows.size();
        m_address = 0;
        m_file = 1;
        m_line = 1;
    }

    std::optional<std::string> Emit(bool endSequence) {
        // Code the linker dropped keeps address 0, far below the image.
        if (m_address < m_imageBase ||
            m_address - m_imageBase > std::numeric_limits<std::uint32_t>::max()) {
            return std::nullopt;
        }
        const std::uint64_t file = m_fileBase + m_file;
        if (m_file >= m_files.size() - m_fileBase || (m_version < 5 && m_file == 0)) {
            return "a row names file " + std::to_string(m_file);
        }
        const auto rva = static_cast<std::uint32_t>(m_address - m_imageBase);
        // Rows at the address where their sequence ends cover nothing.
        while (endSequence && m_rows.size() > m_sequenceStart && m_rows.back().rva == rva) {
            m_rows.pop_back();
        }
        m_rows.push_back({rva, static_cast<std::uint32_t>(m_line), static_cast<std::uint32_t>(file),
                          endSequence});
        return std::nullopt;
    }

    const DebugSections& m_sections;
    const std::uint64_t m_imageBase;
    std::vector<LineTable::Row>& m_rows;
    Table& m_files;
    std::size_t m_offsetSize = 4;
    std::uint16_t m_version = 0;
    std::uint8_t m_addressSize = 8;
    std::uint8_t m_minimumInstructionLength = 1;
    std::int8_t m_lineBase = 0;
    std::uint8_t m_lineRange = 1;
    std::uint8_t m_opcodeBase = 1;
    std::span<const std::uint8_t> m_argumentCounts;
    std::vector<std::string_view> m_directories;  // before version 5: the unit's, numbered from 1
    std::size_t m_fileBase = 0;
    std::size_t m_sequenceStart = 0;
    std::uint64_t m_address = 0;
    std::uint64_t m_file = 1;
    std::uint64_t m_line = 1;
};

bool IsAbsolute(std::string_view path) {
    return path.starts_with('/') || path.starts_with('\\') || (path.size() >= 2 && path[1] == ':');
}

}  // namespace

std::variant<LineTable, std::string> LineTable::Read(const DebugSections& sections,
                                                     std::uint64_t imageBase) {
    LineTable table;
    Unit unit(sections, imageBase, table.m_rows, table.m_files);
    for (ByteCursor section(sections.line); !section.AtEnd();) {
        if (auto why = unit.Read(section)) {
            return *std::move(why);
        }
    }
    // Where one sequence ends at the address another begins, the beginning is what counts.
    std::stable_sort(table.m_rows.begin(), table.m_rows.end(), [](const Row& a, const Row& b) {
        return a.rva != b.rva ? a.rva < b.rva : a.endSequence > b.endSequence;
    });
    return table;
}

std::optional<SourceLine> LineTable::Lookup(std::uint32_t rva) const {
    const auto after =
        std::upper_bound(m_rows.begin(), m_rows.end(), rva,
                         [](std::uint32_t a, const Row& row) { return a < row.rva; });
    if (after == m_rows.begin() || std::prev(after)->endSequence) {
        return std::nullopt;
    }
    const Row& row = *std::prev(after);
    const File& file = m_files[row.file];
    std::string path;
    for (const std::string_view part : {file.unitDirectory, file.directory, file.name}) {
        if (IsAbsolute(part)) {
            path.clear();
        }
        if (!part.empty()) {
            path += path.empty() ? "" : "/";
            path += part;
        }
    }
    return SourceLine{std::move(path), row.line};
}

}  // namespace LumoDump
