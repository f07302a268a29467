// The functions that a module's COFF symbol table names, by address. The MinGW linker keeps
// the table in the program file, and stripping its debug information keeps it too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/lumo-dump/lib/pe_image.h"

namespace LumoDump {

class FunctionSymbols {
  public:
    // The functions, or why the table cannot be read.
    static std::variant<FunctionSymbols, std::string> Read(const PeImage& image);

    // The mangled name of the function that holds the address: the one that begins last at
    // or before it in the same section.
    std::optional<std::string_view> Lookup(std::uint32_t rva) const;

  private:
    struct Function {
        std::uint32_t rva;
        std::uint32_t sectionEnd;
        std::string_view name;  // into the image's bytes
    };
    std::vector<Function> m_functions;  // by address
};

}  // namespace LumoDump
