#include "tests/lumo_dump_trace/trace_rules.h"

#include <map>
#include <utility>

#include <nlohmann/json.hpp>

namespace {

// Collects the fields of each object in the "traceEvents" array, as the parser meets them.
class EventCollector {
  public:
    std::vector<TraceEvent> events;
    bool sawEvents = false;

    bool start_object(std::size_t) { return Enter(); }
    bool end_object() { return Leave(); }
    bool start_array(std::size_t) {
        m_inEvents = m_inEvents || (m_keys.size() == 1 && m_keys[0] == "traceEvents");
        sawEvents = sawEvents || m_inEvents;
        return Enter();
    }
    bool end_array() {
        m_inEvents = m_inEvents && m_keys.size() != 2;
        return Leave();
    }
    bool key(std::string& key) {
        m_keys.back() = key;
        return true;
    }
    bool string(std::string& text) {
        if (Field("ph"))
            events.back().phase = text;
        if (Field("name"))
            events.back().name = text;
        if (Depth() == 4 && m_keys[2] == "args" && m_keys[3] == "cut")
            events.back().cut = text;
        return true;
    }
    bool number_integer(std::int64_t value) { return Number(static_cast<double>(value)); }
    bool number_unsigned(std::uint64_t value) { return Number(static_cast<double>(value)); }
    bool number_float(double value, const std::string&) { return Number(value); }
    bool boolean(bool) { return true; }
    bool null() { return true; }
    bool binary(std::vector<std::uint8_t>&) { return true; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) {
        return false;
    }

  private:
    std::size_t Depth() const { return m_keys.size(); }
    // Inside an event of the array, directly.
    bool Field(const char* key) const { return m_inEvents && Depth() == 3 && m_keys[2] == key; }
    bool Enter() {
        if (m_inEvents && Depth() == 2) {
            events.emplace_back();
        }
        m_keys.emplace_back();
        return true;
    }
    bool Leave() {
        m_keys.pop_back();
        return true;
    }
    bool Number(double value) {
        TraceEvent* e =
            Field("ts") || Field("pid") || Field("tid") || Field("id") ? &events.back() : nullptr;
        if (e && m_keys[2] == "ts") {
            e->at = value;
            e->timed = true;
        } else if (e) {
            (m_keys[2] == "pid"   ? e->pid
             : m_keys[2] == "tid" ? e->tid
                                  : e->id) = static_cast<long long>(value);
        }
        return true;
    }

    std::vector<std::string> m_keys;  // the key at each depth
    bool m_inEvents = false;
};

}  // namespace

std::optional<std::vector<TraceEvent>> TraceEvents(std::string_view trace) {
    EventCollector collector;
    if (!nlohmann::json::sax_parse(trace, &collector) || !collector.sawEvents) {
        return std::nullopt;
    }
    return std::move(collector.events);
}

std::vector<std::string> TraceRuleBreaks(std::string_view text) {
    const auto events = TraceEvents(text);
    return events ? TraceRuleBreaks(*events)
                  : std::vector<std::string>{"not a JSON object with an array of trace events"};
}

std::vector<std::string> TraceRuleBreaks(const std::vector<TraceEvent>& events) {
    struct Track {
        double last = -1e300;
        std::vector<std::string> open;
    };
    std::map<std::pair<long long, long long>, Track> tracks;
    std::map<long long, double> starts;  // of arrows, by id
    std::vector<std::pair<long long, double>> ends;
    std::vector<std::string> breaks;
    for (const TraceEvent& event : events) {
        const std::string what = event.phase + " " + event.name + " at " + std::to_string(event.at);
        if (event.phase == "M") {
            continue;
        }
        if (!event.timed || event.pid < 0 || event.tid < 0) {
            breaks.push_back("no time or track: " + what);
            continue;
        }
        Track& track = tracks[{event.pid, event.tid}];
        if (event.at < track.last) {
            breaks.push_back("back in time: " + what);
        }
        track.last = event.at;
        if (event.phase == "B") {
            track.open.push_back(event.name);
        } else if (event.phase == "E" && !track.open.empty() && track.open.back() == event.name) {
            track.open.pop_back();
        } else if (event.phase == "s" && event.id >= 0) {
            starts.try_emplace(event.id, event.at);
        } else if (event.phase == "f" && event.id >= 0) {
            ends.emplace_back(event.id, event.at);
        } else if (event.phase != "i") {
            breaks.push_back("unpaired or unknown: " + what);
        }
    }
    for (const auto& [id, at] : ends) {
        if (!starts.count(id) || starts[id] > at) {
            breaks.push_back("an arrow's end before its start: " + std::to_string(id));
        }
    }
    for (const auto& [id, track] : tracks) {
        for (const std::string& name : track.open) {
            breaks.push_back("never closed on thread " + std::to_string(id.second) + ": " + name);
        }
    }
    return breaks;
}
