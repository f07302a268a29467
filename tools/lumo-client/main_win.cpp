// lumo-client: drives a running measuring-arm service from a console through the client
// library, one command a line, and prints what the library reports as JSON lines.
#include <fcntl.h>
#include <io.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "platform/windows_api.h"
#include "tools/common/json_line.h"
#include "tools/common/message_pump_win.h"
#include "tools/common/utf.h"
#include "tools/common/version.h"
#include "tools/common/words.h"
#include "tools/lumo-client/command_language.h"
#include "tools/lumo-client/printing_client.h"
#include "tools/lumo-client/usage.h"

namespace {

using LumoTools::JsonLine;

constexpr int kFailed = 1;
constexpr int kBadInput = 2;
// Waits look at their condition at least this often.
constexpr DWORD kSliceMs = 50;

struct Options {
    std::uint32_t waitMs = 2000;
    std::string serviceWindow;  // empty: wait for the service's broadcast
    std::string scriptPath;
    std::string commandLine;  // the command given on the command line
    bool params = false;
};

int Usage(int status) {
    std::fputs(LumoClient::UsageText(), status == 0 ? stdout : stderr);
    return status;
}

bool PumpUntil(std::uint32_t milliseconds, const std::function<bool()>& done) {
    return LumoTools::PumpMessagesUntil(milliseconds, done, kSliceMs);
}

void PrintParameters() {
    LumoClient::PrintingClient client;
    for (const auto& [id, parameter] : client.GetParameterNames()) {
        const std::wstring name = parameter.name;
        LumoClient::Print(
            JsonLine()
                .Add("id", id)
                .Add("name", LumoTools::Utf16ToUtf8(std::u16string(name.begin(), name.end())))
                .Add("valueType", parameter.valueType)
                .Add("category", parameter.category));
    }
}

// The service's window, found by its title as soon as it exists.
HWND FindServiceWindow(const std::string& title, std::uint32_t waitMs) {
    const auto units = LumoTools::Utf8ToUtf16(title);
    const std::wstring wide(units->begin(), units->end());
    HWND found = nullptr;
    PumpUntil(waitMs, [&] {
        found = FindWindowW(nullptr, wide.c_str());
        return found != nullptr;
    });
    return found;
}

int RunCommands(const Options& options, const LumoClient::ParsedCommands& parsed) {
    LumoClient::PrintingClient client;
    if (client.Start(0, nullptr, 0, true) != Quorvel::Lumo::Api::LUMO_SUCCESS) {
        std::fputs("lumo-client: the client's message window could not be created\n", stderr);
        return kFailed;
    }
    if (!options.serviceWindow.empty()) {
        const HWND service = FindServiceWindow(options.serviceWindow, options.waitMs);
        if (service != nullptr) {
            client.ConnectToServerWindow(reinterpret_cast<std::uintptr_t>(service));
        }
    }
    if (!PumpUntil(options.waitMs, [&] { return client.IsRegistered(); })) {
        std::fprintf(stderr, "lumo-client: no service registered this client within %u ms\n",
                     options.waitMs);
        return kFailed;
    }
    int status = 0;
    for (const LumoClient::ClientCommand& command : parsed.commands) {
        switch (command.kind) {
            case LumoClient::ClientCommand::Kind::Wait:
                PumpUntil(command.milliseconds, nullptr);
                break;
            case LumoClient::ClientCommand::Kind::DisplayText:
                command.run(client);
                break;
            case LumoClient::ClientCommand::Kind::Request: {
                const auto started = std::chrono::steady_clock::now();
                const auto result = command.run(client);
                const auto took = std::chrono::steady_clock::now() - started;
                LumoClient::Print(
                    JsonLine()
                        .Add("sent", command.messageId)
                        .Add("result", static_cast<std::uint32_t>(result))
                        .Add("us",
                             std::chrono::duration_cast<std::chrono::microseconds>(took).count()));
                status = result == Quorvel::Lumo::Api::LUMO_SUCCESS ? status : kFailed;
                // What the service sent meanwhile comes before the next command.
                PumpUntil(0, nullptr);
                break;
            }
        }
    }
    PumpUntil(options.waitMs, nullptr);
    return status;
}

std::optional<std::string> ReadScript(const Options& options) {
    if (options.scriptPath.empty()) {
        return options.commandLine;
    }
    std::ifstream file(options.scriptPath, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

int main(int argc, char** argv) {
    if (LumoTools::PrintVersionIfAsked("lumo-client", argc, argv)) {
        return 0;
    }
    Options options;
    int i = 1;
    for (; i < argc; ++i) {
        const std::string argument = argv[i];
        const bool hasValue = i + 1 < argc;
        if (argument == "--help" || argument == "-h") {
            return Usage(0);
        } else if (argument == "--wait-ms" && hasValue) {
            const auto ms = LumoTools::ParseNumber<std::uint32_t>(argv[++i]);
            if (!ms) {
                std::fprintf(stderr, "lumo-client: --wait-ms takes milliseconds, not '%s'\n",
                             argv[i]);
                return kBadInput;
            }
            options.waitMs = *ms;
        } else if (argument == "--service-window" && hasValue) {
            options.serviceWindow = argv[++i];
        } else if (argument == "--script" && hasValue) {
            options.scriptPath = argv[++i];
        } else if (argument.starts_with("--")) {
            std::fprintf(stderr, "lumo-client: unexpected option '%s'\n", argument.c_str());
            return Usage(kBadInput);
        } else {
            break;
        }
    }
    for (; i < argc; ++i) {
        options.commandLine += (options.commandLine.empty() ? "" : " ") + std::string(argv[i]);
    }
    // Plain "\n" line ends, so that the output reads the same on every side.
    _setmode(_fileno(stdout), _O_BINARY);
    if (options.commandLine == "params" && options.scriptPath.empty()) {
        PrintParameters();
        return 0;
    }
    if (!options.serviceWindow.empty() && !LumoTools::Utf8ToUtf16(options.serviceWindow)) {
        std::fputs("lumo-client: the service window's title is not valid UTF-8\n", stderr);
        return kBadInput;
    }
    if (!options.scriptPath.empty() && !options.commandLine.empty()) {
        std::fputs("lumo-client: give a command or --script, not both\n", stderr);
        return Usage(kBadInput);
    }
    const auto script = ReadScript(options);
    if (!script) {
        std::fprintf(stderr, "lumo-client: cannot read '%s'\n", options.scriptPath.c_str());
        return kBadInput;
    }
    const LumoClient::ParsedCommands parsed = LumoClient::ParseCommands(*script);
    if (!parsed.errors.empty()) {
        for (const std::string& error : parsed.errors) {
            std::fprintf(stderr, "lumo-client: %s\n", error.c_str());
        }
        return kBadInput;
    }
    return RunCommands(options, parsed);
}
