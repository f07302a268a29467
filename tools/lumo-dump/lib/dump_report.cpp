#include "tools/lumo-dump/lib/dump_report.h"

#include "tools/lumo-dump/lib/module_files.h"

#include <chrono>
#include <cstdio>
#include <filesystem>

namespace LumoDump {
namespace {

std::string Hex(std::uint64_t value, int digits) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%0*llX", digits, static_cast<unsigned long long>(value));
    return text;
}

std::string Utc(std::uint32_t seconds) {
    using namespace std::chrono;
    const sys_seconds at{std::chrono::seconds{seconds}};
    const auto day = floor<days>(at);
    const year_month_day date{day};
    const hh_mm_ss time{at - day};
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d UTC", int(date.year()),
                  unsigned(date.month()), unsigned(date.day()), int(time.hours().count()),
                  int(time.minutes().count()), int(time.seconds().count()));
    return text;
}

// The flow log's lines, without their line ends.
std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

// A source file as the build named it: the build records the folder it compiles in as ".",
// so that "./tests/a.cpp" is the tree's "tests/a.cpp".
std::string SourcePath(const std::string& file) {
    return std::filesystem::path(file).lexically_normal().generic_string();
}

std::string ModuleName(const StackFrame& frame) {
    return frame.module ? BaseName(frame.module->path) : "";
}

std::uint64_t Offset(const StackFrame& frame) {
    return frame.module ? frame.address - frame.module->base : frame.address;
}

}  // namespace

// Appended piece by piece: GCC 12 at -O3 takes a text literal joined to a temporary string
// for an overlapping copy (-Wrestrict), which the benchmarks' build turns into an error.
std::string FrameText(std::size_t index, const StackFrame& frame) {
    std::string text = "  #";
    text.append(std::to_string(index)).append(" ").append(Hex(frame.address, 16));
    if (frame.module) {
        text.append(" ").append(ModuleName(frame)).append("+").append(Hex(Offset(frame), 0));
    }
    if (frame.place && !frame.place->function.empty()) {
        text.append(" ").append(frame.place->function);
    }
    if (frame.place && !frame.place->file.empty()) {
        text.append(" ").append(SourcePath(frame.place->file)).append(":");
        text.append(std::to_string(frame.place->line));
    }
    return text + (frame.scanned ? " (found by scanning the stack)\n" : "\n");
}

std::string TextReport(const Minidump& dump, const Findings& findings) {
    std::string text;
    if (const auto& e = dump.exception) {
        const char* name = ExceptionName(e->code);
        text += "exception " + Hex(e->code, 8) + (name ? std::string(" ") + name : "") + " at " +
                Hex(e->address, 16) + " in thread " + std::to_string(e->threadId) + "\n";
    } else {
        text += "no exception record\n";
    }
    if (const auto& thrown = findings.thrown) {
        text += thrown->name.empty() ? "thrown type unknown: " + thrown->whyUnknown + "\n"
                                     : "thrown " + thrown->name + "\n";
    }
    text += "written " + Utc(dump.timeDateStamp) + "\n";
    for (const std::string& file : findings.passedOver) {
        text += "passed over " + file + "\n";
    }
    for (const ThreadStack& stack : findings.stacks) {
        text += "stack of thread " + std::to_string(stack.threadId) +
                (stack.frames.empty() ? ": no registers in the dump\n" : ":\n");
        for (std::size_t i = 0; i < stack.frames.size(); ++i) {
            text += FrameText(i, stack.frames[i]);
        }
    }
    if (!dump.flowLog) {
        return text + "no flow log (written without its stream)\n";
    }
    for (const std::string_view line : Lines(*dump.flowLog)) {
        text.append(line).append("\n");
    }
    return text;
}

std::vector<LumoTools::JsonLine> JsonReport(const Minidump& dump, const Findings& findings) {
    std::vector<LumoTools::JsonLine> lines;
    if (const auto& e = dump.exception) {
        const char* name = ExceptionName(e->code);
        lines.push_back(LumoTools::JsonLine()
                            .Add("event", "exception")
                            .Add("code", e->code)
                            .Add("name", name ? name : "")
                            .Add("address", e->address)
                            .Add("threadId", e->threadId));
    }
    if (const auto& thrown = findings.thrown) {
        lines.push_back(LumoTools::JsonLine()
                            .Add("event", "thrown")
                            .Add("type", thrown->name)
                            .Add("whyUnknown", thrown->whyUnknown));
    }
    lines.push_back(LumoTools::JsonLine()
                        .Add("event", "written")
                        .Add("utc", Utc(dump.timeDateStamp))
                        .Add("seconds", dump.timeDateStamp));
    for (const std::string& file : findings.passedOver) {
        lines.push_back(LumoTools::JsonLine().Add("event", "passed-over").Add("file", file));
    }
    for (const ThreadStack& stack : findings.stacks) {
        for (std::size_t i = 0; i < stack.frames.size(); ++i) {
            const StackFrame& frame = stack.frames[i];
            const SourcePlace place = frame.place.value_or(SourcePlace{"", "", 0});
            lines.push_back(LumoTools::JsonLine()
                                .Add("event", "frame")
                                .Add("threadId", stack.threadId)
                                .Add("index", i)
                                .Add("address", frame.address)
                                .Add("module", ModuleName(frame))
                                .Add("offset", Offset(frame))
                                .Add("stackPointer", frame.stackPointer)
                                .Add("function", place.function)
                                .Add("file", place.file.empty() ? "" : SourcePath(place.file))
                                .Add("line", place.line)
                                .Add("scanned", frame.scanned));
        }
    }
    for (const std::string_view line : Lines(dump.flowLog.value_or(""))) {
        lines.push_back(LumoTools::JsonLine().Add("event", "flow").Add("line", line));
    }
    return lines;
}

}  // namespace LumoDump
