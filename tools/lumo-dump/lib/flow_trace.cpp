#include "tools/lumo-dump/lib/flow_trace.h"

#include "diagnostics/k_logger.h"
#include "tools/lumo-dump/lib/module_files.h"
#include "tools/lumo-dump/lib/trace_json.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <map>
#include <unordered_map>

namespace LumoDump {
namespace {

constexpr std::int32_t kScopePush = -7;
constexpr std::int32_t kScopePop = -8;
constexpr std::int32_t kMessageSend = -21;
constexpr std::int32_t kMessageReceive = -20;

// What a slice's "cut" argument says when the log lacks one of its ends.
constexpr const char* kBeganBeforeLog = "began before the log's first entry";
constexpr const char* kOnFaultingStack =
    "open at the fault: on the faulting thread's stack, entered at or before this start";
constexpr const char* kOpenAtFault = "open at the fault";
constexpr const char* kOpenAtEnd = "still open at the log's end";
constexpr const char* kPopMissing = "its pop is not in the log: drawn to its enclosing scope's pop";
constexpr const char* kOverlapping = "ended after its enclosing scope: drawn to end with it";

struct Track {
    std::uint32_t threadId;
    std::string_view threadName;
    std::vector<TraceSlice> slices;
    std::vector<TraceMark> marks;
    std::vector<const FlowRecord*> open;  // pushed scopes not popped yet, innermost last
};

TraceSlice SliceOf(const FlowRecord& record, std::int64_t end, const char* cut) {
    return {record.microseconds, std::max(end, record.microseconds), record.className,
            record.functionName, cut};
}

bool SameScope(const FlowRecord& a, const FlowRecord& b) {
    return a.className == b.className && a.functionName == b.functionName;
}

// "Outer::Class::Function(int) const" without its parameters.
std::string_view QualifiedName(std::string_view function) {
    const std::size_t close = function.rfind(')');
    for (std::size_t i = close, depth = 0; close != std::string_view::npos && i-- > 0;) {
        depth += function[i] == ')';
        if (function[i] == '(' && depth-- == 0) {
            return function.substr(0, i);
        }
    }
    return function;
}

// Whether a frame's function is the record's "Class::function", in any namespace.
bool FrameNames(std::string_view qualified, const FlowRecord& record) {
    if (!qualified.ends_with(record.functionName)) {
        return false;
    }
    qualified.remove_suffix(record.functionName.size());
    if (!qualified.ends_with("::")) {
        return false;
    }
    qualified.remove_suffix(2);
    if (!qualified.ends_with(record.className)) {
        return false;
    }
    qualified.remove_suffix(record.className.size());
    return qualified.empty() || qualified.ends_with("::");
}

class Timeline {
  public:
    Timeline(const FlowLog& log, const std::optional<TraceFault>& fault) : m_log(log) {
        for (const FlowRecord& record : log.records) {
            m_first = std::min(m_first, record.microseconds);
            m_last = std::max(m_last, record.microseconds);
        }
        if (log.records.empty()) {
            m_first = m_last = 0;
        }
        for (const FlowRecord& record : log.records) {
            Add(record);
        }
        JoinMessages();
        if (fault) {
            AddFault(*fault);
        }
        for (Track& track : m_tracks) {
            for (const FlowRecord* push : track.open) {
                track.slices.push_back(SliceOf(*push, m_last, fault ? kOpenAtFault : kOpenAtEnd));
            }
        }
    }

    std::vector<Track>& Tracks() { return m_tracks; }

  private:
    Track& TrackOf(std::uint32_t threadId) {
        const auto [at, added] = m_trackIndex.try_emplace(threadId, m_tracks.size());
        if (added) {
            m_tracks.push_back({threadId, {}, {}, {}, {}});
        }
        return m_tracks[at->second];
    }

    void Add(const FlowRecord& record) {
        Track& track = TrackOf(record.threadId);
        if (track.threadName.empty() && record.threadName != "unknown") {
            track.threadName = record.threadName;
        }
        if (record.event == kScopePush) {
            track.open.push_back(&record);
        } else if (record.event == kScopePop) {
            Pop(track, record);
        } else {
            track.marks.push_back({record.microseconds, &record, TraceMark::Kind::Entry, 0});
        }
    }

    void Pop(Track& track, const FlowRecord& pop) {
        const auto push = std::find_if(track.open.rbegin(), track.open.rend(),
                                       [&](const FlowRecord* p) { return SameScope(*p, pop); });
        if (push == track.open.rend()) {
            // A timed scope records its pop alone, with its length in microseconds; the
            // unsigned sums cannot overflow for any two times the log can hold.
            const std::uint64_t length = pop.code | std::uint64_t{pop.extra} << 32;
            const auto at = static_cast<std::uint64_t>(pop.microseconds);
            const bool cut = length > at - static_cast<std::uint64_t>(m_first);
            track.slices.push_back({cut ? m_first : static_cast<std::int64_t>(at - length),
                                    pop.microseconds, pop.className, pop.functionName,
                                    cut ? kBeganBeforeLog : nullptr});
            return;
        }
        for (auto inner = track.open.rbegin(); inner != push; ++inner) {
            track.slices.push_back(SliceOf(**inner, pop.microseconds, kPopMissing));
        }
        track.slices.push_back(SliceOf(**push, pop.microseconds, nullptr));
        track.open.erase(std::prev(push.base()), track.open.end());
    }

    // A message received joins the oldest one of its code sent before it and not yet joined.
    void JoinMessages() {
        std::map<std::uint32_t, std::deque<const FlowRecord*>> sent;
        std::size_t arrows = 0;
        for (const FlowRecord& record : m_log.records) {
            if (record.event == kMessageSend) {
                sent[record.code].push_back(&record);
                continue;
            }
            auto waiting = sent.find(record.code);
            if (record.event != kMessageReceive || waiting == sent.end() ||
                waiting->second.front()->microseconds > record.microseconds) {
                continue;
            }
            const FlowRecord& send = *waiting->second.front();
            ++arrows;
            TrackOf(send.threadId)
                .marks.push_back({send.microseconds, &send, TraceMark::Kind::ArrowStart, arrows});
            TrackOf(record.threadId)
                .marks.push_back({record.microseconds, &record, TraceMark::Kind::ArrowEnd, arrows});
            waiting->second.pop_front();
            if (waiting->second.empty()) {
                sent.erase(waiting);
            }
        }
    }

    // The fault came after the log's last entry; its frames that recorded an entry were open
    // then, each entered at or before its latest entry that precedes the frame it called.
    void AddFault(const TraceFault& fault) {
        Track& track = TrackOf(fault.threadId);
        std::size_t before = m_log.records.size();
        for (const TraceFrame& frame : fault.frames) {
            const std::string_view qualified = QualifiedName(frame.function);
            for (std::size_t i = before; !qualified.empty() && i-- > 0;) {
                const FlowRecord& record = m_log.records[i];
                if (record.threadId == fault.threadId && FrameNames(qualified, record)) {
                    track.slices.push_back(SliceOf(record, m_last, kOnFaultingStack));
                    before = i;
                    break;
                }
            }
        }
        track.marks.push_back({m_last, nullptr, TraceMark::Kind::Fault, 0});
    }

    const FlowLog& m_log;
    std::vector<Track> m_tracks;
    std::unordered_map<std::uint32_t, std::size_t> m_trackIndex;
    std::int64_t m_first = INT64_MAX;
    std::int64_t m_last = INT64_MIN;
};

// A track's slices as nested B/E pairs between its marks, every time at or after the one
// before: a slice that would end after the slice it began in is drawn to end with it.
void WriteTrack(TraceWriter& out, Track& track) {
    std::sort(track.slices.begin(), track.slices.end(), [](const auto& a, const auto& b) {
        return a.begin != b.begin ? a.begin < b.begin : a.end > b.end;
    });
    std::stable_sort(track.marks.begin(), track.marks.end(),
                     [](const auto& a, const auto& b) { return a.at < b.at; });
    auto mark = track.marks.begin();
    const auto marksBefore = [&](std::int64_t at, bool including) {
        for (; mark != track.marks.end() && (mark->at < at || (including && mark->at == at));
             ++mark) {
            out.Mark(track.threadId, *mark);
        }
    };
    std::vector<TraceSlice> open;
    const auto close = [&] {
        marksBefore(open.back().end, true);
        out.End(track.threadId, open.back());
        open.pop_back();
    };
    for (TraceSlice slice : track.slices) {
        while (!open.empty() && open.back().end <= slice.begin) {
            close();
        }
        if (!open.empty() && slice.end > open.back().end) {
            slice.end = open.back().end;
            slice.cut = slice.cut ? slice.cut : kOverlapping;
        }
        marksBefore(slice.begin, false);
        out.Begin(track.threadId, slice);
        open.push_back(slice);
    }
    while (!open.empty()) {
        close();
    }
    marksBefore(INT64_MAX, true);
}

std::string TrackName(const Track& track, const std::optional<TraceFault>& fault) {
    std::string name = "thread ";
    name += std::to_string(track.threadId);
    if (!track.threadName.empty()) {
        name.append(" ").append(track.threadName);
    }
    return fault && fault->threadId == track.threadId ? name + " (faulted)" : name;
}

// The program's name without its folder and extension.
std::string ProgramName(std::string_view path) {
    return std::filesystem::path(BaseName(std::string(path))).stem().string();
}

}  // namespace

std::string FlowTrace(const FlowLog& log, std::string_view program,
                      const std::optional<TraceFault>& fault) {
    Timeline timeline(log, fault);
    TraceWriter out(program, fault ? &*fault : nullptr, log.records.size());
    auto& tracks = timeline.Tracks();
    // The faulting thread first, the others in the order of their first entry.
    std::stable_partition(tracks.begin(), tracks.end(), [&](const Track& track) {
        return fault && track.threadId == fault->threadId;
    });
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        out.ThreadName(tracks[i].threadId, TrackName(tracks[i], fault), i);
    }
    for (Track& track : tracks) {
        WriteTrack(out, track);
    }
    return out.Finish(log, log.records.size() >= KLogger::kCapacity);
}

std::string DumpTrace(const Minidump& dump, const Findings& findings) {
    std::optional<TraceFault> fault;
    if (const auto& e = dump.exception) {
        fault = TraceFault{
            e->threadId, e->code, e->address, findings.thrown ? findings.thrown->name : "", {}};
        for (const ThreadStack& stack : findings.stacks) {
            for (std::size_t i = 0; stack.threadId == e->threadId && i < stack.frames.size(); ++i) {
                const StackFrame& frame = stack.frames[i];
                std::string text = FrameText(i, frame);
                text = text.substr(2, text.size() - 3);  // the report's indent and line end
                fault->frames.push_back({frame.place ? frame.place->function : "", text});
            }
        }
    }
    const std::string program =
        dump.modules.empty() ? "unknown program" : ProgramName(dump.modules.front().path);
    return FlowTrace(ReadFlowLog(dump.flowLog.value_or("")).value_or(FlowLog{}), program, fault);
}

std::optional<std::string> ExitLogTrace(std::string_view text, std::string_view fileName) {
    const auto log = ReadFlowLog(text);
    if (!log) {
        return std::nullopt;
    }
    // The helper names its exit logs "<program>_exit_<date>_<time>.log".
    std::string program = ProgramName(fileName);
    program = program.substr(0, program.find("_exit_"));
    return FlowTrace(*log, program, std::nullopt);
}

}  // namespace LumoDump
