// dds-listen's liveness table under datagrams from any number of sources: each three bytes
// name a source (of 4096), announce with an interval or withdraw, and move the clock; the
// table never watches more than its bound.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/dds-listen/lib/announcer_liveness.h"

using DdsListen::AnnouncerLiveness;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    AnnouncerLiveness liveness;
    std::uint64_t nowMs = 0;
    for (std::size_t i = 0; i + 3 <= size; i += 3) {
        DdsListen::Announcement announcement;
        announcement.messageType =
            data[i + 2] & 1 ? DdsListen::kWithdrawType : DdsListen::kAnnounceType;
        announcement.texts[5] = std::to_string(data[i + 2] >> 1);
        const auto source = std::to_string(data[i] | (data[i + 1] & 0x0F) << 8);
        nowMs += data[i + 1] >> 4;
        liveness.Heard(source, announcement, nowMs);
        liveness.Check(nowMs);
        if (liveness.WatchedCount() > AnnouncerLiveness::kMaxWatched) {
            std::abort();
        }
    }
    return 0;
}
