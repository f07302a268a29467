#include "tools/lumo-dump/lib/dump_report.h"

#include <chrono>
#include <cstdio>

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

}  // namespace

std::string TextReport(const Minidump& dump) {
    std::string text;
    if (const auto& e = dump.exception) {
        const char* name = ExceptionName(e->code);
        text += "exception " + Hex(e->code, 8) + (name ? std::string(" ") + name : "") + " at " +
                Hex(e->address, 16) + " in thread " + std::to_string(e->threadId) + "\n";
    } else {
        text += "no exception record\n";
    }
    text += "written " + Utc(dump.timeDateStamp) + "\n";
    if (!dump.flowLog) {
        return text + "no flow log (written without its stream)\n";
    }
    for (const std::string_view line : Lines(*dump.flowLog)) {
        text.append(line).append("\n");
    }
    return text;
}

std::vector<LumoTools::JsonLine> JsonReport(const Minidump& dump) {
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
    lines.push_back(LumoTools::JsonLine()
                        .Add("event", "written")
                        .Add("utc", Utc(dump.timeDateStamp))
                        .Add("seconds", dump.timeDateStamp));
    for (const std::string_view line : Lines(dump.flowLog.value_or(""))) {
        lines.push_back(LumoTools::JsonLine().Add("event", "flow").Add("line", line));
    }
    return lines;
}

}  // namespace LumoDump
