#include "tools/common/message_pump_win.h"

#include <algorithm>
#include <chrono>

#include "platform/windows_api.h"

namespace LumoTools {

bool PumpMessagesUntil(std::uint32_t milliseconds, const std::function<bool()>& done,
                       std::uint32_t sliceMs, const std::function<void()>& eachRound) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (eachRound) {
            eachRound();
        }
        if (done && done()) {
            return true;
        }
        const auto now = Clock::now();
        if (now >= deadline) {
            return !done;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
        MsgWaitForMultipleObjectsEx(0, nullptr,
                                    static_cast<DWORD>(std::min<long long>(left, sliceMs)),
                                    QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
}

}  // namespace LumoTools
