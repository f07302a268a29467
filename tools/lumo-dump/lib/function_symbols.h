// The code that a module's COFF symbol table names, by address. The MinGW linker keeps the
// table in the program file, and stripping its debug information keeps it too. Not all code
// is typed as a function there (assembly, the runtime's stack probe among it, has plain and
// label symbols), and a name's own record gives no size: each name reaches to the end of the
// function-table entry that begins with it, else to the next symbol of any kind. Within an
// entry, the name it begins with holds, whatever labels lie inside.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/lumo-dump/lib/pe_image.h"

namespace LumoDump {

class FunctionSymbols {
  public:
    // The names, or why the table cannot be read. `functionTable` is the program file's
    // exception directory (its own when the image is a debug file, which keeps none).
    static std::variant<FunctionSymbols, std::string> Read(
        const PeImage& image, std::span<const std::uint8_t> functionTable);

    // The mangled name of the code that holds the address.
    std::optional<std::string_view> Lookup(std::uint32_t rva) const;

  private:
    struct Symbol {
        std::uint32_t rva;
        std::uint32_t end;
        int rank;               // of those at one address, the highest names it
        std::string_view name;  // into the image's bytes; empty for a section's own symbol
    };
    std::vector<Symbol> m_symbols;                          // by address, then rank
    std::map<std::uint32_t, std::uint32_t> m_functionEnds;  // of the entries, by their begin
};

}  // namespace LumoDump
