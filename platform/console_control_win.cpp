#include "platform/console_control.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

// The system wants a handler of its own signature; one dispatcher of that signature stands
// for all portable handlers and is registered while at least one of them is.
class Win32ConsoleControl final : public ConsoleControl {
  public:
    std::uint32_t AddHandler(Handler handler) override {
        std::lock_guard lock(mutex_);
        if (handlers_.empty() && !SetConsoleCtrlHandler(&Dispatch, TRUE)) {
            return ErrorCode();
        }
        handlers_.push_back(handler);
        return 0;
    }

    std::uint32_t RemoveHandler(Handler handler) override {
        std::lock_guard lock(mutex_);
        const auto found = std::find(handlers_.rbegin(), handlers_.rend(), handler);
        if (found == handlers_.rend()) {
            return ERROR_INVALID_PARAMETER;
        }
        if (handlers_.size() == 1 && !SetConsoleCtrlHandler(&Dispatch, FALSE)) {
            return ErrorCode();
        }
        handlers_.erase(std::next(found).base());
        return 0;
    }

  private:
    static std::uint32_t ErrorCode() {
        const DWORD error = GetLastError();
        return error != 0 ? error : ERROR_GEN_FAILURE;
    }

    static BOOL WINAPI Dispatch(DWORD eventType);

    std::mutex mutex_;
    std::vector<Handler> handlers_;
};

Win32ConsoleControl& Instance() {
    static Win32ConsoleControl service;
    return service;
}

BOOL WINAPI Win32ConsoleControl::Dispatch(DWORD eventType) {
    std::vector<Handler> handlers;
    {
        std::lock_guard lock(Instance().mutex_);
        handlers = Instance().handlers_;
    }
    // Called outside the lock: a handler may well add or remove handlers itself.
    for (auto it = handlers.rbegin(); it != handlers.rend(); ++it) {
        if ((*it)(eventType) != 0) {
            return TRUE;
        }
    }
    return FALSE;
}

}  // namespace

template <>
ConsoleControl& DefaultService<ConsoleControl>() {
    return Instance();
}

}  // namespace Orvane::Platform
