// The debug-output buffer as any process may leave it: debug-listen reads nothing outside
// it, and its text holds no zero byte.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tools/debug-listen/lib/debug_buffer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto read = DebugListen::ReadDebugBuffer(reinterpret_cast<const char*>(data), size);
    if (read.text.find('\0') != std::string_view::npos) {
        std::abort();
    }
    return 0;
}
