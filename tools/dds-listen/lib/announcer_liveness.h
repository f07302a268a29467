// Tells, per announcer, whether it still keeps its own announced beat: an announcer that
// has been silent for more than one and a half of its intervals is overdue, reported once,
// and reported again when it is heard from after that. A withdrawal ends the watch. Any
// process can send from as many sources as it likes: at most kMaxWatched are watched, and
// a new one beyond them only once a watch has ended.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/dds-listen/lib/announcement_decoder.h"

namespace DdsListen {

struct LivenessEvent {
    enum class Kind { Overdue, Back };
    Kind kind;
    std::string source;
    std::uint64_t silentMs;
    std::uint32_t intervalMs;
};

class AnnouncerLiveness {
  public:
    static constexpr std::size_t kMaxWatched = 1024;

    // Times are milliseconds of any monotonic clock. Returns Back when `source` had been
    // reported overdue.
    std::optional<LivenessEvent> Heard(const std::string& source, const Announcement& announcement,
                                       std::uint64_t nowMs);
    // Announcers that became overdue since the last check, in source order.
    std::vector<LivenessEvent> Check(std::uint64_t nowMs);
    std::size_t WatchedCount() const { return m_announcers.size(); }

  private:
    struct Watch {
        std::uint64_t lastHeardMs;
        std::uint32_t intervalMs;
        bool overdue;
    };
    std::map<std::string, Watch> m_announcers;
};

}  // namespace DdsListen
