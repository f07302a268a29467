#include "tools/lumo-dump/lib/module_symbols.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace LumoDump {
namespace {

std::string Demangled(std::string_view name) {
    const std::string mangled(name);
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> readable(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 && readable ? std::string(readable.get()) : mangled;
}

}  // namespace

ModuleSymbols ModuleSymbols::Read(const PeImage& image,
                                  std::span<const std::uint8_t> functionTable) {
    ModuleSymbols symbols;
    auto functions = FunctionSymbols::Read(image, functionTable);
    if (auto* read = std::get_if<FunctionSymbols>(&functions)) {
        symbols.m_functions.emplace(std::move(*read));
    } else {
        symbols.m_problems.push_back("no names (" + std::get<std::string>(functions) + ")");
    }
    const auto section = [&](std::string_view name) {
        return image.SectionBytes(name).value_or(std::span<const std::uint8_t>{});
    };
    auto lines =
        LineTable::Read({section(".debug_line"), section(".debug_line_str"), section(".debug_str")},
                        image.ImageBase());
    if (auto* read = std::get_if<LineTable>(&lines)) {
        symbols.m_lines.emplace(std::move(*read));
    } else {
        symbols.m_problems.push_back("no lines (" + std::get<std::string>(lines) + ")");
    }
    return symbols;
}

std::optional<SourcePlace> ModuleSymbols::Lookup(std::uint32_t rva) const {
    const auto function = m_functions ? m_functions->Lookup(rva) : std::nullopt;
    auto line = m_lines ? m_lines->Lookup(rva) : std::nullopt;
    if (!function && !line) {
        return std::nullopt;
    }
    SourcePlace place{function ? Demangled(*function) : std::string(), {}, 0};
    if (line) {
        place.file = std::move(line->file);
        place.line = line->line;
    }
    return place;
}

}  // namespace LumoDump
