// The floor's service: a bare window that takes each WM_COPYDATA block and returns at once,
// so that what a sender pays is the exchange itself. With --answer it answers every request
// (but the registration and the unregistration) with a reply chunk, sent once the request's
// own WM_COPYDATA has returned, as the service does. --drop-answer N leaves the Nth request
// unanswered, to show that a sender's run notices a lost answer.
//   copydata-receiver [--answer] [--drop-answer N] [RUN-MS]
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tools/common/message_pump_win.h"
#include "tools/common/titled_window_win.h"

namespace {

constexpr UINT kAnswerLater = WM_APP + 1;
constexpr std::uint32_t kRegister = 2000, kUnregister = 2001, kReply = 1004;
constexpr std::size_t kClientHeaderSize = 60;  // chunk header and the sender's block
constexpr std::size_t kClientWindowOffset = 32;
bool answering = false;
unsigned long answerToDrop = 0;  // counted from 1; 0 drops none
unsigned long requestsToAnswer = 0;

std::uint32_t U32At(const void* block, std::size_t offset) {
    std::uint32_t value;
    std::memcpy(&value, static_cast<const char*>(block) + offset, sizeof value);
    return value;
}

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_COPYDATA) {
        const auto* block = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        if (answering && block->cbData >= kClientHeaderSize) {
            const std::uint32_t id = U32At(block->lpData, 0);
            if (id != kRegister && id != kUnregister && ++requestsToAnswer != answerToDrop) {
                PostMessageW(window, kAnswerLater, id,
                             static_cast<LPARAM>(U32At(block->lpData, kClientWindowOffset)));
            }
        }
        return TRUE;
    }
    if (message == kAnswerLater) {
        // The reply: a bare chunk header, 1004 answering the request's id with result 0.
        std::uint32_t chunk[8] = {kReply, static_cast<std::uint32_t>(wParam), 0, 0};
        COPYDATASTRUCT data{0, sizeof chunk, chunk};
        SendMessageW(reinterpret_cast<HWND>(static_cast<std::uintptr_t>(lParam)), WM_COPYDATA,
                     reinterpret_cast<WPARAM>(window), reinterpret_cast<LPARAM>(&data));
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace

int main(int argc, char** argv) {
    DWORD runMs = 120000;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--answer") {
            answering = true;
        } else if (std::string(argv[i]) == "--drop-answer" && i + 1 < argc) {
            answerToDrop = std::strtoul(argv[++i], nullptr, 10);
        } else {
            runMs = static_cast<DWORD>(std::strtoul(argv[i], nullptr, 10));
        }
    }
    HWND window = LumoTools::CreateTitledWindow(L"LumoBenchReceiver", L"LUMO_BENCH_RECEIVER",
                                                WindowProcedure);
    std::printf("{\"event\":\"ready\"}\n");
    std::fflush(stdout);
    LumoTools::PumpMessagesUntil(runMs, nullptr, runMs);
    DestroyWindow(window);
    return 0;
}
