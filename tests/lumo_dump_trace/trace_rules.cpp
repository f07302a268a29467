#include "tests/lumo_dump_trace/trace_rules.h"

#include <map>
#include <utility>

#include <nlohmann/json.hpp>

std::optional<std::vector<TraceEvent>> TraceEvents(std::string_view trace) {
    const auto json = nlohmann::json::parse(trace, nullptr, false);
    if (!json.is_object() || !json.contains("traceEvents") || !json["traceEvents"].is_array()) {
        return std::nullopt;
    }
    std::vector<TraceEvent> events;
    for (const auto& e : json["traceEvents"]) {
        const auto number = [&](const char* key) {
            return e.is_object() && e.contains(key) && e[key].is_number() ? e[key].get<double>()
                                                                          : -1;
        };
        const auto text = [&](const auto& object, const char* key) {
            return object.is_object() && object.contains(key) && object[key].is_string()
                       ? object[key].template get<std::string>()
                       : "";
        };
        events.push_back({text(e, "ph"), text(e, "name"),
                          e.is_object() && e.contains("args") ? text(e["args"], "cut") : "",
                          number("ts"), static_cast<long long>(number("pid")),
                          static_cast<long long>(number("tid")),
                          static_cast<long long>(number("id")),
                          e.is_object() && e.contains("ts") && e["ts"].is_number()});
    }
    return events;
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
