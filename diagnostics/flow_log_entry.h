// One recorded step of the flow log, exactly as it lies in the ring: 40 bytes, packed,
// so that a dump carries the same layout on every build.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)
struct FlowLogEntry {
    std::int64_t timestamp;  // performance-counter value at recording
    std::int32_t event;
    std::uint32_t code;
    std::uint32_t extra;
    std::uint32_t classKey;     // low 32 bits of the class name's address
    std::uint32_t functionKey;  // low 32 bits of the function name's address
    std::uint64_t object;       // unaligned, right after functionKey
    std::uint32_t threadId;
};
#pragma pack(pop)

static_assert(sizeof(FlowLogEntry) == 40);
static_assert(offsetof(FlowLogEntry, object) == 28);

// Names are stored as these keys and resolved only when the log is rendered.
inline std::uint32_t FlowKey(const void* text) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(text));
}
