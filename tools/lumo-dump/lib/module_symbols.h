// Function names and source lines for code addresses of one module, read from a 64-bit Windows
// program file as the MinGW toolchain writes it: names from the COFF symbol table (kept by a
// program file, stripped or not, and by its .debug file), lines from the DWARF line tables
// (in an unstripped program file, or in the .debug file that objcopy --only-keep-debug
// writes). No maintained library reads DWARF out of such files in both of our builds, so this
// reader is our own, and checks every read against the file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "tools/lumo-dump/lib/function_symbols.h"
#include "tools/lumo-dump/lib/line_table.h"
#include "tools/lumo-dump/lib/pe_image.h"

namespace LumoDump {

struct SourcePlace {
    std::string function;  // demangled; empty when no symbol holds the address
    std::string file;      // empty, and line 0, without a line table for the address
    std::uint32_t line;
};

class ModuleSymbols {
  public:
    // The image's names and lines, as far as each can be read: Problems() says why a part is
    // missing. `functionTable` is the program file's exception directory, which bounds the
    // names. It refers into the image's bytes, which must outlive it.
    static ModuleSymbols Read(const PeImage& image, std::span<const std::uint8_t> functionTable);

    std::optional<SourcePlace> Lookup(std::uint32_t rva) const;
    const std::vector<std::string>& Problems() const { return m_problems; }

  private:
    ModuleSymbols() = default;

    std::optional<FunctionSymbols> m_functions;
    std::optional<LineTable> m_lines;
    std::vector<std::string> m_problems;
};

}  // namespace LumoDump
