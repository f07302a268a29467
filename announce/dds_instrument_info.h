// The identified instrument as the helper fills it and the announcer copies it: a plain
// zero-filled block, copied and read as a whole.
#pragma once

#include <cstddef>
#include <cstdint>

struct DdsInstrumentInfo {
    char model[64];     // zero-terminated
    char name[64];      // zero-terminated UTF-8
    char version1[64];  // "%d.%d"
    char version2[64];  // "%d.%d"
    std::uint8_t state;
    std::uint32_t intervalMs;  // re-announcement period
    std::uint8_t reserved1;
    char reservedText[32];  // at most 29 characters used
    std::uint8_t reserved2;
};

static_assert(sizeof(DdsInstrumentInfo) == 300);
static_assert(offsetof(DdsInstrumentInfo, state) == 256);
static_assert(offsetof(DdsInstrumentInfo, intervalMs) == 260);
static_assert(offsetof(DdsInstrumentInfo, reservedText) == 265);
