#include "tools/debug-listen/lib/debug_buffer.h"

#include <cstring>

namespace DebugListen {

DebugText ReadDebugBuffer(const char* buffer, std::size_t size) {
    DebugText read{0, {}};
    if (size < sizeof read.pid) {
        return read;
    }
    std::memcpy(&read.pid, buffer, sizeof read.pid);
    const char* text = buffer + sizeof read.pid;
    const std::size_t room = size - sizeof read.pid;
    const void* end = std::memchr(text, '\0', room);
    read.text = {text, end ? static_cast<std::size_t>(static_cast<const char*>(end) - text) : room};
    return read;
}

}  // namespace DebugListen
