// Function names and source lines for code addresses of one module, read from a 64-bit Windows
// program file as the MinGW toolchain writes it: names from the COFF symbol table (kept by a
// program file, stripped or not, and by its .debug file), lines from the DWARF line tables
// (in an unstripped program file, or in the .debug file that objcopy --only-keep-debug
// writes). No maintained library reads DWARF out of such files in both of our builds, so this
// reader is our own, and checks every read against the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

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
    // The image's names and lines, or why they cannot be read. It refers into the image's
    // bytes, which must outlive it.
    static std::variant<ModuleSymbols, std::string> Read(const PeImage& image);

    std::optional<SourcePlace> Lookup(std::uint32_t rva) const;

  private:
    ModuleSymbols(FunctionSymbols functions, LineTable lines)
        : m_functions(std::move(functions)), m_lines(std::move(lines)) {}

    FunctionSymbols m_functions;
    LineTable m_lines;
};

}  // namespace LumoDump
