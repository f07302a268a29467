// The debug-output buffer as a writer leaves it: its process id, then its text. Any
// process can write the buffer, so nothing in it is trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace DebugListen {

struct DebugText {
    std::uint32_t pid;
    std::string_view text;  // up to the first zero byte, or the buffer's end
};

// Nothing is read outside the `size` bytes; a buffer shorter than a process id gives pid 0
// and no text.
DebugText ReadDebugBuffer(const char* buffer, std::size_t size);

}  // namespace DebugListen
