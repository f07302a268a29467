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
constexpr std::uint8_t kEndSequence = 1, kSetAddress = 2;

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
        : sections_(sections), imageBase_(imageBase), rows_(rows), files_(files) {}

    // Reads the unit at the cursor and moves past it; why not, if it cannot.
    std::optional<std::string> Read(ByteCursor& section) {
        const std::size_t start = section.Offset();
        std::uint64_t length = section.U32();
        offsetSize_ = 4;
        if (length == 0xFFFFFFFF) {
            length = section.U64();
            offsetSize_ = 8;
        }
        const auto unit = section.Take(length);
        if (section.Failed() || (offsetSize_ == 4 && length >= 0xFFFFFFF0)) {
            return "the line table at " + std::to_string(start) + " runs past its section";
        }
        ByteCursor header(unit);
        version_ = header.U16();
        if (version_ < 2 || version_ > 5) {
            return "the line table at " + std::to_string(start) + " has version " +
                   std::to_string(version_) + ", not 2 to 5";
        }
        addressSize_ = 8;
        if (version_ >= 5) {
            addressSize_ = header.U8();
            header.Skip(1);  // segment selector size
        }
        const auto rest = header.Take(header.Unsigned(offsetSize_));
        if (header.Failed()) {
            return "the header of the line table at " + std::to_string(start) +
                   " runs past its unit";
        }
        ByteCursor fields(rest);
        minimumInstructionLength_ = fields.U8();
        if (version_ >= 4) {
            fields.Skip(1);  // operations per instruction, 1 but on VLIW machines
        }
        fields.Skip(1);  // is_stmt by default: every row counts here
        lineBase_ = static_cast<std::int8_t>(fields.U8());
        lineRange_ = fields.U8();
        opcodeBase_ = fields.U8();
        if (lineRange_ == 0 || opcodeBase_ == 0) {
            return "the line table at " + std::to_string(start) + " has no line range";
        }
        argumentCounts_ = fields.Take(opcodeBase_ - 1);
        fileBase_ = files_.size();
        auto why = version_ >= 5 ? ReadEntries(fields) : ReadNamesBefore5(fields);
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
        std::vector<std::string_view> directories{""};
        for (std::string_view d = fields.CString(); !d.empty(); d = fields.CString()) {
            directories.push_back(d);
        }
        files_.push_back({});  // numbered from 1
        for (std::string_view name = fields.CString(); !name.empty(); name = fields.CString()) {
            const std::uint64_t directory = fields.Uleb128();
            fields.Uleb128();  // time
            fields.Uleb128();  // size
            if (directory >= directories.size()) {
                return "a file names directory " + std::to_string(directory);
            }
            files_.push_back({"", directories[directory], name});
        }
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
                    auto value = ReadForm(fields, form, offsetSize_, sections_);
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
                    files_.push_back({directory.number != 0 ? directories[0] : "",
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
            if (opcode >= opcodeBase_) {
                const std::uint8_t adjusted = opcode - opcodeBase_;
                Advance(adjusted / lineRange_);
                line_ += lineBase_ + adjusted % lineRange_;
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
                line_ += program.Sleb128();
                return std::nullopt;
            case kSetFile:
                file_ = program.Uleb128();
                return std::nullopt;
            case kConstAddPc:
                Advance((255 - opcodeBase_) / lineRange_);
                return std::nullopt;
            case kFixedAdvancePc:
                address_ += program.U16();
                return std::nullopt;
            default:  // column, statement and block flags, ISA: nothing a line needs
                for (std::uint8_t i = 0; i < argumentCounts_[opcode - 1]; ++i) {
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
        if (code == kSetAddress) {
            if (operation.Remaining() > std::min<std::size_t>(addressSize_, 8) ||
                operation.Remaining() == 0) {
                return std::string("an address has ") + std::to_string(operation.Remaining()) +
                       " bytes";
            }
            address_ = operation.Unsigned(operation.Remaining());
        }
        return std::nullopt;
    }

    void Advance(std::uint64_t operations) { address_ += operations * minimumInstructionLength_; }

    void Reset() {
        sequenceStart_ = rows_.size();
        address_ = 0;
        file_ = 1;
        line_ = 1;
    }

    std::optional<std::string> Emit(bool endSequence) {
        // Code the linker dropped keeps address 0, far below the image.
        if (address_ < imageBase_ ||
            address_ - imageBase_ > std::numeric_limits<std::uint32_t>::max()) {
            return std::nullopt;
        }
        const std::uint64_t file = fileBase_ + file_;
        if (file_ >= files_.size() - fileBase_ || (version_ < 5 && file_ == 0)) {
            return "a row names file " + std::to_string(file_);
        }
        const auto rva = static_cast<std::uint32_t>(address_ - imageBase_);
        // Rows at the address where their sequence ends cover nothing.
        while (endSequence && rows_.size() > sequenceStart_ && rows_.back().rva == rva) {
            rows_.pop_back();
        }
        rows_.push_back({rva, static_cast<std::uint32_t>(line_), static_cast<std::uint32_t>(file),
                         endSequence});
        return std::nullopt;
    }

    const DebugSections& sections_;
    const std::uint64_t imageBase_;
    std::vector<LineTable::Row>& rows_;
    Table& files_;
    std::size_t offsetSize_ = 4;
    std::uint16_t version_ = 0;
    std::uint8_t addressSize_ = 8;
    std::uint8_t minimumInstructionLength_ = 1;
    std::int8_t lineBase_ = 0;
    std::uint8_t lineRange_ = 1;
    std::uint8_t opcodeBase_ = 1;
    std::span<const std::uint8_t> argumentCounts_;
    std::size_t fileBase_ = 0;
    std::size_t sequenceStart_ = 0;
    std::uint64_t address_ = 0;
    std::uint64_t file_ = 1;
    std::uint64_t line_ = 1;
};

bool IsAbsolute(std::string_view path) {
    return path.starts_with('/') || path.starts_with('\\') || (path.size() >= 2 && path[1] == ':');
}

}  // namespace

std::variant<LineTable, std::string> LineTable::Read(const DebugSections& sections,
                                                     std::uint64_t imageBase) {
    LineTable table;
    Unit unit(sections, imageBase, table.rows_, table.files_);
    for (ByteCursor section(sections.line); !section.AtEnd();) {
        if (auto why = unit.Read(section)) {
            return *std::move(why);
        }
    }
    // Where one sequence ends at the address another begins, the beginning is what counts.
    std::stable_sort(table.rows_.begin(), table.rows_.end(), [](const Row& a, const Row& b) {
        return a.rva != b.rva ? a.rva < b.rva : a.endSequence > b.endSequence;
    });
    return table;
}

std::optional<SourceLine> LineTable::Lookup(std::uint32_t rva) const {
    const auto after =
        std::upper_bound(rows_.begin(), rows_.end(), rva,
                         [](std::uint32_t a, const Row& row) { return a < row.rva; });
    if (after == rows_.begin() || std::prev(after)->endSequence) {
        return std::nullopt;
    }
    const Row& row = *std::prev(after);
    const File& file = files_[row.file];
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
