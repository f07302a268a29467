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

std::variant<ModuleSymbols, std::string> ModuleSymbols::Read(const PeImage& image) {
    auto functions = FunctionSymbols::Read(image);
    if (auto* why = std::get_if<std::string>(&functions)) {
        return std::move(*why);
    }
    const auto section = [&](std::string_view name) {
        return image.SectionBytes(name).value_or(std::span<const std::uint8_t>{});
    };
    auto lines =
        LineTable::Read({section(".debug_line"), section(".debug_line_str"), section(".debug_str")},
                        image.ImageBase());
    if (auto* why = std::get_if<std::string>(&lines)) {
        return std::move(*why);
    }
    return ModuleSymbols(std::get<FunctionSymbols>(std::move(functions)),
                         std::get<LineTable>(std::move(lines)));
}

std::optional<SourcePlace> ModuleSymbols::Lookup(std::uint32_t rva) const {
    const auto function = m_functions.Lookup(rva);
    auto line = m_lines.Lookup(rva);
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
