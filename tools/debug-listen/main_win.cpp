// debug-listen: shows what other processes write to the debugger output.
//
// It takes the listener's side of the system's debug-output protocol: it owns the
// "buffer ready" and "data ready" events and the 4096-byte shared buffer, signals "buffer
// ready", and each writer fills the buffer with its process id and text and signals "data
// ready". Only one listener can exist at a time.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/windows_api.h"
#include "tools/common/output.h"
#include "tools/common/version.h"
#include "tools/debug-listen/lib/debug_buffer.h"

namespace {

constexpr DWORD kBufferSize = 4096;

const char kUsage[] = R"(debug-listen: shows the debugger output of every process.

usage: debug-listen [--run-ms MS] [--pid PID]
       debug-listen --help | --version

  --run-ms MS   end after MS milliseconds (default: run until ended)
  --pid PID     show only the texts of process PID

Output: one JSON object a line on stdout, each with "t" (milliseconds since start) and
"event":
  ready   the listener is in place
  text    pid, text (as UTF-8; the writer's texts are in the system's code page)
  error   text, lastError (status 2: another listener is running, or the system refused)
  exit    status
)";

std::string ToUtf8(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const auto length = static_cast<int>(text.size());
    const int wideLength = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
    std::wstring wide(wideLength, L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), wideLength);
    const int utf8Length =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, nullptr, 0, nullptr, nullptr);
    std::string utf8(utf8Length, '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, utf8.data(), utf8Length, nullptr,
                        nullptr);
    return utf8;
}

struct Options {
    long long runMs = -1;
    long long pid = -1;
};

bool ParseOptions(int argc, char** argv, Options* options, bool* help) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help") {
            *help = true;
            continue;
        }
        if (i + 1 == argc || (option != "--run-ms" && option != "--pid")) {
            return false;
        }
        char* end = nullptr;
        const long long value = std::strtoll(argv[++i], &end, 10);
        if (*end != '\0' || value < 0) {
            return false;
        }
        (option == "--run-ms" ? options->runMs : options->pid) = value;
    }
    return true;
}

int Listen(const Options& options, const LumoTools::Output& output) {
    const auto start = std::chrono::steady_clock::now();
    const HANDLE bufferReady = CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_BUFFER_READY");
    const bool another = GetLastError() == ERROR_ALREADY_EXISTS;
    const HANDLE dataReady = CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_DATA_READY");
    const HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                              kBufferSize, L"DBWIN_BUFFER");
    const void* view =
        mapping != nullptr ? MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, kBufferSize) : nullptr;
    if (another || bufferReady == nullptr || dataReady == nullptr || view == nullptr) {
        output.Print(
            output.Line("error")
                .Add("text", another ? "another listener is running" : "cannot set up the listener")
                .Add("lastError", GetLastError()));
        return 2;
    }
    output.Print(output.Line("ready"));
    const auto* buffer = static_cast<const char*>(view);
    for (;;) {
        DWORD timeout = INFINITE;
        if (options.runMs >= 0) {
            const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now() - start)
                                     .count();
            if (elapsed >= options.runMs) {
                return 0;
            }
            timeout = static_cast<DWORD>(options.runMs - elapsed);
        }
        SetEvent(bufferReady);
        const DWORD result = WaitForSingleObject(dataReady, timeout);
        if (result == WAIT_TIMEOUT) {
            return 0;
        }
        if (result != WAIT_OBJECT_0) {
            output.Print(
                output.Line("error").Add("text", "wait failed").Add("lastError", GetLastError()));
            return 2;
        }
        const DebugListen::DebugText read = DebugListen::ReadDebugBuffer(buffer, kBufferSize);
        if (options.pid < 0 || read.pid == options.pid) {
            output.Print(output.Line("text").Add("pid", read.pid).Add("text", ToUtf8(read.text)));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (LumoTools::PrintVersionIfAsked("debug-listen", argc, argv)) {
        return 0;
    }
    const LumoTools::Output output;
    Options options;
    bool help = false;
    if (!ParseOptions(argc, argv, &options, &help)) {
        output.Print(output.Line("error").Add("text", "bad command line"));
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (help) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    const int status = Listen(options, output);
    output.Print(output.Line("exit").Add("status", status));
    return status;
}
