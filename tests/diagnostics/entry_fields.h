// The fields of a ring slot copied out of the packed layout, so that test assertions can
// bind references to them.
#pragma once

#include "diagnostics/flow_log_entry.h"

struct EntryFields {
    std::int64_t timestamp;
    std::int32_t event;
    std::uint32_t code;
    std::uint32_t extra;
    std::uint32_t classKey;
    std::uint32_t functionKey;
    std::uint64_t object;
    std::uint32_t threadId;
};

inline EntryFields FieldsOf(const FlowLogEntry* slot) {
    return {slot->timestamp, slot->event,       slot->code,   slot->extra,
            slot->classKey,  slot->functionKey, slot->object, slot->threadId};
}
