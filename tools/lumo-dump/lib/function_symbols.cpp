#include "tools/lumo-dump/lib/function_symbols.h"

#include <algorithm>

#include "tools/lumo-dump/lib/byte_cursor.h"

namespace LumoDump {
namespace {

constexpr std::uint16_t kFunctionType = 0x20;
constexpr std::uint8_t kExternal = 2, kStatic = 3;

}  // namespace

std::variant<FunctionSymbols, std::string> FunctionSymbols::Read(const PeImage& image) {
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
        const std::size_t symbol = index;
        index += 1 + record.U8();  // auxiliary records follow
        if (type != kFunctionType || (storageClass != kExternal && storageClass != kStatic) ||
            section == 0 || section > sections.size()) {
            continue;
        }
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
        const PeSection& holder = sections[section - 1];
        symbols.m_functions.push_back(
            {holder.virtualAddress + value, holder.virtualAddress + holder.virtualSize, *name});
    }
    std::stable_sort(symbols.m_functions.begin(), symbols.m_functions.end(),
                     [](const Function& a, const Function& b) { return a.rva < b.rva; });
    return symbols;
}

std::optional<std::string_view> FunctionSymbols::Lookup(std::uint32_t rva) const {
    const auto after = std::upper_bound(
        m_functions.begin(), m_functions.end(), rva,
        [](std::uint32_t a, const Function& function) { return a < function.rva; });
    if (after == m_functions.begin() || rva >= std::prev(after)->sectionEnd) {
        return std::nullopt;
    }
    return std::prev(after)->name;
}

}  // namespace LumoDump
