// The floor of the helper's idle figures under Wine: a program with nothing but the helper's
// shape of waiting (a hidden window with a 500 ms timer, and a wait on an event and window
// input that times out every 2000 ms). Its memory and context switches are what any such
// program costs there.
//   wine-floor [RUN-MS [CHANNEL]]
// With CHANNEL it also sends the helper's heartbeat (1001, no data) to that channel on every
// 2000 ms beat, through the channel library, which is the device API's and not the helper's
// (a machine with the maker's KxIpcDll.dll uses that one). The library is loaded only then,
// so that without a channel the program holds nothing but its waiting.
#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "kxipc/KxIpcDll.h"
#include "tools/common/titled_window_win.h"

namespace {

constexpr ULONGLONG kBeatMs = 2000;
constexpr unsigned kHeartbeat = 1001;

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcW(window, message, wParam, lParam);
}

// The heartbeat's way through the channel library; empty when no channel was given.
struct Heartbeat {
    decltype(&kxipcWriteChannelWithDataBuffer) write = nullptr;
    const char* name = nullptr;
    unsigned channel = 0;
};

bool OpenHeartbeat(const char* name, Heartbeat& heartbeat) {
    const HMODULE library = LoadLibraryW(L"KxIpcDll.dll");
    if (library == nullptr) {
        return false;
    }
    const auto initialize = reinterpret_cast<decltype(&kxipcInitialize)>(
        reinterpret_cast<void*>(GetProcAddress(library, "kxipcInitialize")));
    const auto open = reinterpret_cast<decltype(&kxipcOpenChannel)>(
        reinterpret_cast<void*>(GetProcAddress(library, "kxipcOpenChannel")));
    heartbeat.write = reinterpret_cast<decltype(&kxipcWriteChannelWithDataBuffer)>(
        reinterpret_cast<void*>(GetProcAddress(library, "kxipcWriteChannelWithDataBuffer")));
    heartbeat.name = name;
    return initialize != nullptr && open != nullptr && heartbeat.write != nullptr &&
           initialize() == KXIPC_OK && open(name, &heartbeat.channel) == KXIPC_OK;
}

}  // namespace

int main(int argc, char** argv) {
    const DWORD runMs = argc > 1 ? static_cast<DWORD>(std::strtoul(argv[1], nullptr, 10)) : 60000;
    Heartbeat heartbeat;
    if (argc > 2 && !OpenHeartbeat(argv[2], heartbeat)) {
        std::fprintf(stderr, "wine-floor: cannot open the channel %s\n", argv[2]);
        return 1;
    }
    HWND window =
        LumoTools::CreateTitledWindow(L"LumoWineFloor", L"LUMO_WINE_FLOOR", WindowProcedure);
    SetTimer(window, 1280, 500, nullptr);
    HANDLE stop = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::printf("{\"event\":\"ready\"}\n");
    std::fflush(stdout);
    const ULONGLONG end = GetTickCount64() + runMs;
    ULONGLONG beat = GetTickCount64();
    while (GetTickCount64() < end) {
        MsgWaitForMultipleObjects(1, &stop, FALSE, 2000, QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
        }
        // The beat is kept by the clock, as the helper keeps it: the timer's messages end
        // every wait long before its time-out.
        if (heartbeat.write != nullptr && GetTickCount64() - beat >= kBeatMs) {
            beat = GetTickCount64();
            heartbeat.write(heartbeat.channel, "LumoWineFloor", heartbeat.name, nullptr, 0,
                            kHeartbeat);
        }
    }
    CloseHandle(stop);
    DestroyWindow(window);
    return 0;
}
