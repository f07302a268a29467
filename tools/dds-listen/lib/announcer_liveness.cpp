#include "tools/dds-listen/lib/announcer_liveness.h"

namespace DdsListen {

std::optional<LivenessEvent> AnnouncerLiveness::Heard(const std::string& source,
                                                      const Announcement& announcement,
                                                      std::uint64_t nowMs) {
    std::optional<LivenessEvent> back;
    const auto known = m_announcers.find(source);
    if (known != m_announcers.end() && known->second.overdue) {
        back = LivenessEvent{LivenessEvent::Kind::Back, source, nowMs - known->second.lastHeardMs,
                             known->second.intervalMs};
    }
    const std::optional<std::uint32_t> interval = announcement.IntervalMs();
    if (announcement.IsWithdrawal() || !interval || *interval == 0) {
        // Gone on purpose, or no beat to hold it to.
        m_announcers.erase(source);
    } else if (known != m_announcers.end() || m_announcers.size() < kMaxWatched) {
        m_announcers[source] = Watch{nowMs, *interval, false};
    }
    return back;
}

std::vector<LivenessEvent> AnnouncerLiveness::Check(std::uint64_t nowMs) {
    std::vector<LivenessEvent> events;
    for (auto& [source, watch] : m_announcers) {
        const std::uint64_t silent = nowMs - watch.lastHeardMs;
        // More than 1.5 intervals, in integers: 2 * silent > 3 * interval.
        if (!watch.overdue && 2 * silent > 3 * static_cast<std::uint64_t>(watch.intervalMs)) {
            watch.overdue = true;
            events.push_back({LivenessEvent::Kind::Overdue, source, silent, watch.intervalMs});
        }
    }
    return events;
}

}  // namespace DdsListen
