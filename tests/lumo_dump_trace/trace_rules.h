// The Trace Event Format's rules that decide whether a viewer draws every track, checked on
// a trace's text: events on a track never go back in time, each end event closes the begin
// event on top of its track's stack (by name too, as viewers pair them), every begin is
// closed, and every arrow's end follows its start.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// An event of the trace, as far as the rules and the tests look at it.
struct TraceEvent {
    std::string phase, name, cut;  // cut: the "cut" argument, if any
    double at = 0;
    long long pid = -1, tid = -1, id = -1;
    bool timed = false;
};

// The trace's events in their order; empty for a text that is not JSON with an array of
// them under "traceEvents".
std::optional<std::vector<TraceEvent>> TraceEvents(std::string_view trace);

// What breaks the rules, one line each; empty for a trace that keeps them.
std::vector<std::string> TraceRuleBreaks(std::string_view trace);
std::vector<std::string> TraceRuleBreaks(const std::vector<TraceEvent>& events);
