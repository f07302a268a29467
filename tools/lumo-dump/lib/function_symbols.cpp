#include "tools/lumo-dump/lib/function_symbols.h"

#include <algorithm>
#include <map>

#include "tools/lumo-dump/lib/byte_cursor.h"

namespace LumoDump {
namespace {

constexpr std::uint16_t kFunctionType = 0x20;
constexpr std::uint8_t kExternal = 2, kStatic = 3, kLabel = 6;
constexpr std::size_t kFunctionEntrySize = 12;
// A section's own symbol (static, with its definition in an auxiliary record) marks where an
// object's part of it begins; a function-typed symbol names best.
constexpr int kSectionRank = 0, kSymbolRank = 1, kFunctionRank = 2;

// Where each function-table entry ends, by where it begins.
std::map<std::uint32_t, std::uint32_t> FunctionEnds(std::span<const std::uint8_t> table) {
    std::map<std::uint32_t, std::uint32_t> ends;
    for (std::size_t at = 0; at + kFunctionEntrySize <= table.size(); at += kFunctionEntrySize) {
        ByteCursor entry(table, at);
        const std::uint32_t begin = entry.U32();
        ends.emplace(begin, entry.U32());
    }
    return ends;
}

}  // namespace

std::variant<FunctionSymbols, std::string> FunctionSymbols::Read(
    const PeImage& image, std::span<const std::uint8_t> functionTable) {
    FunctionSymbols symbols;
    const auto records = image.SymbolRecords();
    const auto& sections = image.Sections();
    for (std::size_t index = 0; index < records.size() / kCoffSymbolSize;) {
        ByteCursor record(records, index * kCoffSymbolSize);
        const auto shortName = record.Take(8);
        const std::uint32_t value = record.U32();
        const std::uint16_t section = record.U16();
        const std::uint16_t type = record.U16();
        const std::uint8_t storageClass = record.U8();
        const std::uint8_t auxiliaries = record.U8();
        const std::size_t symbol = index;
        index += 1 + auxiliaries;
        if ((storageClass != kExternal && storageClass != kStatic && storageClass != kLabel) ||
            section == 0 || section > sections.size()) {
            continue;
        }
        const PeSection& holder = sections[section - 1];
        const int rank = type == kFunctionType                        ? kFunctionRank
                         : storageClass == kStatic && auxiliaries > 0 ? kSectionRank
                                                                      : kSymbolRank;
        ByteCursor nameField(shortName);
        std::optional<std::string_view> name;
        if (nameField.U32() == 0) {
            name = image.String(nameField.U32());
        } else {
            const std::string_view text(reinterpret_cast<const char*>(shortName.data()), 8);
            name = text.substr(0, text.find('\0'));
        }
        if (!name) {
            return "the name of symbol " + std::to_string(symbol) + " is not in its string table";
        }
        symbols.m_symbols.push_back({holder.virtualAddress + value,
                                     holder.virtualAddress + holder.virtualSize, rank,
                                     rank == kSectionRank ? std::string_view() : *name});
    }
    auto& all = symbols.m_symbols;
    std::stable_sort(all.begin(), all.end(), [](const Symbol& a, const Symbol& b) {
        return a.rva != b.rva ? a.rva < b.rva : a.rank < b.rank;
    });
    const auto& ends = symbols.m_functionEnds = FunctionEnds(functionTable);
    for (auto it = all.begin(); it != all.end(); ++it) {
        const auto entry = ends.find(it->rva);
        const auto next = std::upper_bound(
            it, all.end(), it->rva, [](std::uint32_t a, const Symbol& s) { return a < s.rva; });
        it->end = entry != ends.end() ? entry->second
                  : next != all.end() ? std::min(it->end, next->rva)
                                      : it->end;
    }
    return symbols;
}

std::optional<std::string_view> FunctionSymbols::Lookup(std::uint32_t rva) const {
    const auto byAddress = [](std::uint32_t a, const Symbol& symbol) { return a < symbol.rva; };
    // Within a function-table entry, the name it begins with: a label inside (a guard's, an
    // assembly block's) does not take over.
    if (auto entry = m_functionEnds.upper_bound(rva); entry != m_functionEnds.begin()) {
        --entry;
        const auto first =
            std::upper_bound(m_symbols.begin(), m_symbols.end(), entry->first, byAddress);
        if (rva < entry->second && first != m_symbols.begin() &&
            std::prev(first)->rva == entry->first && !std::prev(first)->name.empty()) {
            return std::prev(first)->name;
        }
    }
    const auto after = std::upper_bound(m_symbols.begin(), m_symbols.end(), rva, byAddress);
    if (after == m_symbols.begin() || rva >= std::prev(after)->end ||
        std::prev(after)->name.empty()) {
        return std::nullopt;
    }
    return std::prev(after)->name;
}

}  // namespace LumoDump
