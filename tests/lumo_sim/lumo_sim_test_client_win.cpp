// A minimal client of the service protocol, written straight from the wire format, to
// check lumo-sim from the other side of the process boundary. It prints one JSON line per
// event on stdout.
//
//   lumo-sim-test-client [--key HEX16] [--client-type N] [--alternate]
//       [--token-shift-minutes N] [--unregister-after-ms N] [--run-ms N]
//       [--exit-on-shutdown] [--answer N]
#include <fcntl.h>
#include <io.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/windows_api.h"
#include "service_api/core/chunk.h"
#include "service_api/core/registration.h"
#include "tools/common/utf.h"
#include "tools/common/output.h"

namespace {

namespace Api = Quorvel::Lumo::Api;
using LumoTools::JsonLine;
using LumoTools::Utf16ToUtf8;

constexpr UINT_PTR kLivenessTimer = 1;
constexpr UINT_PTR kUnregisterTimer = 2;

struct Options {
    std::array<std::uint8_t, 8> key{};
    std::uint32_t clientType = 0;
    bool alternate = false;
    int tokenShiftMinutes = 0;
    int unregisterAfterMs = -1;
    int runMs = 10000;
    bool exitOnShutdown = false;
    LRESULT answer = TRUE;
};

struct Client {
    Options options;
    LumoTools::Output output;
    UINT serverAvailableMessage = 0;
    HWND window = nullptr;
    HWND server = nullptr;
    bool done = false;
};

Client* g_client = nullptr;

std::uint32_t LowBits(HWND window) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(window));
}

std::uint32_t Le32(const std::uint8_t* p) {
    return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
           std::uint32_t{p[3]} << 24;
}

Orvane::Platform::LocalTime ShiftedLocalTime(int minutes) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    FILETIME file;
    SystemTimeToFileTime(&now, &file);
    ULARGE_INTEGER ticks{{file.dwLowDateTime, file.dwHighDateTime}};
    ticks.QuadPart += static_cast<std::int64_t>(minutes) * 60 * 10000000;
    file = {ticks.LowPart, ticks.HighPart};
    FileTimeToSystemTime(&file, &now);
    return {now.wYear, now.wMonth,  now.wDayOfWeek, now.wDay,
            now.wHour, now.wMinute, now.wSecond,    now.wMilliseconds};
}

void SendToServer(Client& client, std::uint32_t code, const void* payload, std::uint32_t size) {
    std::vector<std::uint8_t> block =
        Api::BuildOutgoingMessage(code, payload, size, 0, 0, LowBits(client.window));
    COPYDATASTRUCT data{0, static_cast<DWORD>(block.size()), block.data()};
    const LRESULT result =
        SendMessageW(client.server, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
    client.output.Print(client.output.Line("sent")
                            .Add("messageId", code)
                            .Add("size", block.size())
                            .Add("server", LowBits(client.server))
                            .Add("result", static_cast<std::int64_t>(result)));
}

void Register(Client& client) {
    const auto request =
        Api::BuildRegistrationRequest(ShiftedLocalTime(client.options.tokenShiftMinutes),
                                      client.options.key, client.options.clientType);
    SendToServer(client,
                 client.options.alternate ? Api::MessageCode::kRegisterAlternate
                                          : Api::MessageCode::kRegister,
                 request.data(), static_cast<std::uint32_t>(request.size()));
    if (client.options.unregisterAfterMs >= 0) {
        SetTimer(client.window, kUnregisterTimer,
                 static_cast<UINT>(client.options.unregisterAfterMs), nullptr);
    }
}

void LoseServer(Client& client, const char* reason) {
    KillTimer(client.window, kLivenessTimer);
    client.output.Print(client.output.Line("server-lost")
                            .Add("server", LowBits(client.server))
                            .Add("reason", reason));
    client.server = nullptr;
}

// The instrument record's fields at their offsets, read only where the payload has them.
void AddInstrumentFields(JsonLine& line, const std::uint8_t* record, std::size_t size) {
    if (size >= 3) {
        line.Add("version1Minor", record[0])
            .Add("version2Major", record[1])
            .Add("version2Minor", record[2]);
    }
    const std::size_t nameEnd = std::min<std::size_t>(size, 700);
    std::u16string name;
    bool terminated = false;
    for (std::size_t offset = 20; offset + 1 < nameEnd; offset += 2) {
        const char16_t unit = static_cast<char16_t>(record[offset] | record[offset + 1] << 8);
        if (unit == 0) {
            terminated = true;
            break;
        }
        name.push_back(unit);
    }
    line.Add("name", Utf16ToUtf8(name))
        .Add("nameUnits", name.size())
        .Add("nameTerminated", terminated);
    if (size >= 420) {
        line.Add("type", static_cast<std::int32_t>(Le32(record + 416)));
    }
    if (size >= 528) {
        line.Add("version1Major", Le32(record + 524));
    }
    if (size >= 535) {
        line.Add("subType", record[534]);
    }
}

LRESULT OnCopyData(Client& client, const COPYDATASTRUCT& data) {
    const auto* bytes = static_cast<const std::uint8_t*>(data.lpData);
    JsonLine line = client.output.Line("received");
    line.Add("size", data.cbData);
    if (bytes == nullptr || data.cbData < 32) {
        client.output.Print(line.Add("error", "short block"));
        return client.options.answer;
    }
    const std::uint32_t id = Le32(bytes);
    const std::uint8_t* payload = bytes + 32;
    const std::size_t payloadSize = data.cbData - 32;
    line.Add("messageId", id)
        .Add("argument1", Le32(bytes + 4))
        .Add("argument2", Le32(bytes + 8))
        .Add("dataSize", Le32(bytes + 12))
        .Add("payloadSize", payloadSize);
    bool reservedZero = true;
    for (int i = 16; i < 32; ++i) {
        reservedZero = reservedZero && bytes[i] == 0;
    }
    line.Add("reservedZero", reservedZero);
    if (id == 1000) {
        AddInstrumentFields(line, payload, payloadSize);
    } else if (id == 1002 && payloadSize >= 4) {
        line.Add("status", Le32(payload));
    }
    client.output.Print(line);
    if (id == 1005) {
        LoseServer(client, "shutdown");
        client.done = client.options.exitOnShutdown;
    }
    return client.options.answer;
}

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Client* client = g_client;
    if (client != nullptr && client->window == window) {
        if (message == client->serverAvailableMessage) {
            const HWND announced = reinterpret_cast<HWND>(lParam);
            if (client->server != nullptr) {
                client->output.Print(
                    client->output.Line("broadcast-ignored").Add("server", LowBits(announced)));
                return TRUE;
            }
            client->server = announced;
            client->output.Print(
                client->output.Line("server-available").Add("server", LowBits(announced)));
            SetTimer(window, kLivenessTimer, 500, nullptr);
            Register(*client);
            return TRUE;
        }
        if (message == WM_COPYDATA) {
            return OnCopyData(*client, *reinterpret_cast<const COPYDATASTRUCT*>(lParam));
        }
        if (message == WM_TIMER && wParam == kLivenessTimer) {
            if (client->server != nullptr && !IsWindow(client->server)) {
                LoseServer(*client, "window gone");
            }
            return 0;
        }
        if (message == WM_TIMER && wParam == kUnregisterTimer) {
            KillTimer(window, kUnregisterTimer);
            if (client->server != nullptr) {
                SendToServer(*client, Api::MessageCode::kUnregister, nullptr, 0);
            }
            return 0;
        }
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

bool ParseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--key" && hasValue) {
            const std::string hex = argv[++i];
            if (hex.size() != 16) {
                return false;
            }
            for (std::size_t k = 0; k < 8; ++k) {
                options.key[k] = static_cast<std::uint8_t>(
                    std::strtoul(hex.substr(2 * k, 2).c_str(), nullptr, 16));
            }
        } else if (a == "--client-type" && hasValue) {
            options.clientType = static_cast<std::uint32_t>(std::strtoul(argv[++i], nullptr, 0));
        } else if (a == "--alternate") {
            options.alternate = true;
        } else if (a == "--token-shift-minutes" && hasValue) {
            options.tokenShiftMinutes = std::atoi(argv[++i]);
        } else if (a == "--unregister-after-ms" && hasValue) {
            options.unregisterAfterMs = std::atoi(argv[++i]);
        } else if (a == "--run-ms" && hasValue) {
            options.runMs = std::atoi(argv[++i]);
        } else if (a == "--exit-on-shutdown") {
            options.exitOnShutdown = true;
        } else if (a == "--answer" && hasValue) {
            options.answer = std::atoi(argv[++i]);
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    _setmode(_fileno(stdout), _O_BINARY);
    Client client;
    if (!ParseOptions(argc, argv, client.options)) {
        std::fputs("lumo-sim-test-client: bad arguments\n", stderr);
        return 2;
    }
    g_client = &client;
    client.serverAvailableMessage = RegisterWindowMessageW(L"LUMO_SERVERAVAILABLE");
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = WindowProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"LumoSimTestClient";
    RegisterClassExW(&windowClass);
    client.window = CreateWindowExW(0, windowClass.lpszClassName, L"LUMO_SIM_TEST_CLIENT", 0, 0, 0,
                                    0, 0, nullptr, nullptr, windowClass.hInstance, nullptr);
    if (client.window == nullptr) {
        std::fputs("lumo-sim-test-client: no window\n", stderr);
        return 1;
    }
    client.output.Print(client.output.Line("ready").Add("window", LowBits(client.window)));

    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(client.options.runMs);
    while (!client.done && std::chrono::steady_clock::now() < deadline) {
        MsgWaitForMultipleObjectsEx(0, nullptr, 50, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    DestroyWindow(client.window);
    client.output.Print(client.output.Line("exit"));
    return 0;
}
