// lumo-dump: what a crash dump of the helper holds, without a debugger: the exception and
// the stack of the thread that raised it, named from the program files beside the dump, the
// time it was written and the flow log, as text or as JSON lines.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tools/common/version.h"
#include "tools/lumo-dump/lib/dump_report.h"
#include "tools/lumo-dump/lib/flow_trace.h"
#include "tools/lumo-dump/lib/module_files.h"

namespace {

const char kUsage[] = R"usage(usage: lumo-dump [--json] [--threads] [--modules DIR]... FILE.dmp
       lumo-dump --trace OUT.json [--modules DIR]... FILE
       lumo-dump --version | --help

Prints what a crash dump of LumoDiscoveryHelper holds: the exception (its code, with its
name where it is a well-known one, its address and thread), for a C++ exception the type
it threw where the dump holds the object, the time the dump was written, the stack of the
thread that raised it (with --threads, of every thread), and the flow log as the exit log
shows it.

Each frame of a stack gives its address, its module and the offset in it, and, where the
module's program file is at hand, the function and the source file and line. The program
files are looked for in each --modules DIR in turn; by default in the dump's own folder,
then in the folder of lumo-dump. A file counts only when it is the build that wrote the
dump (same time stamp, image size and code). Names and lines come from the debug file that
the program file links to, or "<file>.debug", beside it (the release ships
LumoDiscoveryHelper.exe.debug), when it was split off that very file (its link's checksum,
time stamp and sections), else from the file itself. Frames are found by the program files'
unwind data; a frame in a module whose file is not at hand (such as the system's DLLs), or
one whose unwind data gives no return address after a call, is passed by scanning its stack
for the first return address into a file at hand, and the frame found so is marked "(found
by scanning the stack)".

With --json, one JSON object a line:
  {"event":"exception","code":N,"name":TEXT,"address":N,"threadId":N}
  {"event":"thrown","type":TEXT,"whyUnknown":TEXT}    for a C++ exception (GCC)
  {"event":"written","utc":TEXT,"seconds":N}
  {"event":"passed-over","file":TEXT}   a program file of a module's name that was not used
  {"event":"frame","threadId":N,"index":N,"address":N,"module":TEXT,"offset":N,
   "stackPointer":N,"function":TEXT,"file":TEXT,"line":N,"scanned":BOOL}
                                        one for each frame, top first
  {"event":"flow","line":TEXT}          one for each line of the flow log
With --trace, FILE is a crash dump or an exit log of the helper, and OUT.json gets its flow
log as a timeline in the Trace Event Format, which Perfetto, chrome://tracing and speedscope
open: a track per thread, scopes as nested slices, every other entry as a mark that carries
its text, and a crash's exception as the faulting thread's last mark, with its stack. Its
functions that the flow log saw are drawn open until the fault. A slice the log holds only
in part says so in its "cut" argument.

Exit status: 0, or 2 for a bad command line or a file that is not a readable minidump (one
line on stderr says why).
)usage";

int Fail(const std::string& why) {
    std::fprintf(stderr, "lumo-dump: %s\n", why.c_str());
    return 2;
}

struct Options {
    bool json = false;
    bool threads = false;
    std::optional<std::string> trace;
    std::vector<std::filesystem::path> folders;
    std::vector<std::string> files;
};

std::optional<Options> Parse(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--json") {
            options.json = true;
        } else if (arguments[i] == "--threads") {
            options.threads = true;
        } else if (arguments[i] == "--trace" && i + 1 < arguments.size()) {
            options.trace = arguments[++i];
        } else if (arguments[i] == "--modules" && i + 1 < arguments.size()) {
            options.folders.emplace_back(arguments[++i]);
        } else if (arguments[i].starts_with("--")) {
            return std::nullopt;
        } else {
            options.files.push_back(arguments[i]);
        }
    }
    return options.files.size() == 1 ? std::optional(options) : std::nullopt;
}

int WriteTrace(const std::string& path, const std::string& trace) {
    std::ofstream out(path, std::ios::binary);
    if (!out.write(trace.data(), static_cast<std::streamsize>(trace.size())) || !out.flush()) {
        return Fail("cannot write " + path);
    }
    return 0;
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
    auto options = Parse(arguments);
    if (!options) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string& path = options->files.front();
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return Fail("cannot read " + path);
    }
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                          std::istreambuf_iterator<char>());
    const auto read = LumoDump::ReadMinidump(bytes);
    if (const auto* why = std::get_if<std::string>(&read)) {
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        const auto trace = options->trace ? LumoDump::ExitLogTrace(text, path) : std::nullopt;
        return trace ? WriteTrace(*options->trace, *trace)
                     : Fail(path + ": " + *why + (options->trace ? ", nor an exit log" : ""));
    }
    const auto& dump = std::get<LumoDump::Minidump>(read);
    if (options->folders.empty()) {
        const auto absolute = [](const std::filesystem::path& p) {
            std::error_code error;
            const auto full = std::filesystem::absolute(p, error);
            return error ? p.parent_path() : full.parent_path();
        };
        options->folders = {absolute(path), absolute(argv[0])};
    }
    const auto files = LumoDump::ModuleFiles::Find(dump, options->folders);
    const LumoDump::Findings findings{LumoDump::CxxThrownType(dump, files),
                                      LumoDump::ThreadStacks(dump, files, options->threads),
                                      files.PassedOver()};
    if (options->trace) {
        return WriteTrace(*options->trace, LumoDump::DumpTrace(dump, findings));
    }
    if (options->json) {
        for (const auto& line : LumoDump::JsonReport(dump, findings)) {
            std::puts(line.Text().c_str());
        }
    } else {
        // Whole: the flow log may hold zero bytes.
        const std::string text = LumoDump::TextReport(dump, findings);
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    return 0;
}
