// lumo-dump: what a crash dump of the helper holds, without a debugger: the exception, the
// time it was written and the flow log, as text or as JSON lines.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tools/common/version.h"
#include "tools/lumo-dump/lib/dump_report.h"

namespace {

const char kUsage[] = R"(usage: lumo-dump [--json] FILE.dmp
       lumo-dump --version | --help

Prints what a crash dump of LumoDiscoveryHelper holds: the exception (its code, with its
name where it is a well-known one, its address and thread), the time the dump was written,
and the flow log as the exit log shows it. With --json, one JSON object a line:
  {"event":"exception","code":N,"name":TEXT,"address":N,"threadId":N}
  {"event":"written","utc":TEXT,"seconds":N}
  {"event":"flow","line":TEXT}          one for each line of the flow log
Exit status: 0, or 2 for a bad command line or a file that is not a readable minidump (one
line on stderr says why).
)";

int Fail(const std::string& why) {
    std::fprintf(stderr, "lumo-dump: %s\n", why.c_str());
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments == std::vector<std::string>{"--help"}) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (LumoTools::PrintVersionIfAsked("lumo-dump", argc, argv)) {
        return 0;
    }
    const bool json = !arguments.empty() && arguments[0] == "--json";
    if (arguments.size() != (json ? 2u : 1u)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string& path = arguments.back();
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return Fail("cannot read " + path);
    }
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                          std::istreambuf_iterator<char>());
    const auto read = LumoDump::ReadMinidump(bytes);
    if (const auto* why = std::get_if<std::string>(&read)) {
        return Fail(path + ": " + *why);
    }
    const auto& dump = std::get<LumoDump::Minidump>(read);
    if (json) {
        for (const auto& line : LumoDump::JsonReport(dump)) {
            std::puts(line.Text().c_str());
        }
    } else {
        std::fputs(LumoDump::TextReport(dump).c_str(), stdout);
    }
    return 0;
}
