#include "diagnostics/k_logger.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr std::pair<std::int32_t, const char*> kEventNames[] = {
    {-202, "Log_module_added"},
    {-201, "Log_module_removed"},
    {-105, "Root_error"},
    {-104, "Cascade_error"},
    {-103, "Dismissed_error"},
    {-102, "Return_error"},
    {-101, "Warning"},
    {-25, "State_change"},
    {-23, "Notify"},
    {-22, "Update"},
    {-21, "Message_send"},
    {-20, "Message_receive"},
    {-14, "Construction"},
    {-13, "Destruction"},
    {-8, "Scope_pop"},
    {-7, "Scope_push"},
    {-1, "Timing_point"},
    {0, "Timing_point"},
};

}  // namespace

KLogger::KLogger()
    // Every never-written slot stays all zero and renders as nothing.
    : ring_(static_cast<FlowLogEntry*>(std::calloc(kCapacity, sizeof(FlowLogEntry)))),
      reference_{Orvane::Platform::PerformanceCounter(), Orvane::Platform::PerformanceFrequency(),
                 Orvane::Platform::CurrentWallClock()} {}

void KLogger::ReleaseRing::operator()(FlowLogEntry* ring) const {
    std::free(ring);
}

const char* KLogger::EventName(std::int32_t event) {
    const auto* found = std::find_if(std::begin(kEventNames), std::end(kEventNames),
                                     [event](const auto& name) { return name.first == event; });
    return found == std::end(kEventNames) ? nullptr : found->second;
}

const FlowLogEntry* KLogger::Slot(std::size_t index) const {
    if (!ring_ || index >= kCapacity)
        return nullptr;
    return &ring_[index];
}

std::size_t KLogger::OldestSlot() const {
    // The slot that the next record overwrites. Once the ring is full it holds the oldest
    // entry; before, it and every slot up to the end were never written and render as
    // nothing, so that the walk from it still meets slot 0 first. Unlike a count of the
    // records, this holds across the counter's own wrap, past 2^31 records.
    return (Counter() >> 1) & (kCapacity - 1);
}

void KLogger::ResetForTesting(std::uint32_t counter) {
    if (ring_)
        std::memset(static_cast<void*>(ring_.get()), 0, sizeof(FlowLogEntry) * kCapacity);
    counter_.store(counter);
}
