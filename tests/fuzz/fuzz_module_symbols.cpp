// Any file handed to lumo-dump as a module's program or debug file: the image reader, the
// symbol table and the line programs check every offset against the bytes they were given,
// and whatever they accept answers lookups in every section.
#include <cstddef>
#include <cstdint>
#include <variant>

#include "tools/lumo-dump/lib/module_symbols.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto image = LumoDump::PeImage::Read({data, size});
    const auto* pe = std::get_if<LumoDump::PeImage>(&image);
    if (!pe) {
        return 0;
    }
    std::span<const std::uint8_t> functionTable;
    if (const auto directory = pe->Directory(LumoDump::kExceptionDirectory)) {
        functionTable = pe->BytesAt(directory->rva, directory->size).value_or(functionTable);
    }
    const auto symbols = LumoDump::ModuleSymbols::Read(*pe, functionTable);
    for (const auto& section : pe->Sections()) {
        symbols.Lookup(section.virtualAddress);
        symbols.Lookup(section.virtualAddress + section.virtualSize / 2);
    }
    return 0;
}
