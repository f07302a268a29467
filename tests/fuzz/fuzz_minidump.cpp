// Any file handed to lumo-dump: the reader checks every offset and size against the bytes
// it was given, and the report of whatever it accepts reads only what the reader kept.
#include <cstddef>
#include <cstdint>
#include <variant>

#include "tools/lumo-dump/lib/dump_report.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto read = LumoDump::ReadMinidump({data, size});
    if (const auto* dump = std::get_if<LumoDump::Minidump>(&read)) {
        LumoDump::TextReport(*dump);
        LumoDump::JsonReport(*dump);
    }
    return 0;
}
