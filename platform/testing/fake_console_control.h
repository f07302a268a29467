// Plays the system around the real handler list: once its handler is in, it calls the
// handlers under its console lock, which its install takes too, as the system's does. A wait
// for that lock that would last for ever there fails here after a while (ERROR_TIMEOUT), so
// that a test of a deadlock ends by itself.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/console_control.h"
#include "platform/console_handler_list.h"

namespace Orvane::Platform::Testing {

class FakeConsoleControl final : public ConsoleControl {
  public:
    std::uint32_t AddHandler(Handler handler) override {
        const std::uint32_t result = handlers_.Add(handler);
        std::exchange(duringNextChange_, [] {})();
        return result;
    }
    std::uint32_t RemoveHandler(Handler handler) override {
        std::exchange(duringNextChange_, [] {})();
        return handlers_.Remove(handler);
    }

    // The next install fails with that code.
    void FailNextAdd(std::uint32_t error) { failNextAdd_ = error; }
    // Runs `action` once, at the next add or removal, while the handler is in.
    void DuringNextChange(std::function<void()> action) { duringNextChange_ = std::move(action); }

    std::vector<Handler> Installed() const { return handlers_.Handlers(); }
    // Whether a handler dealt with the event.
    bool Raise(std::uint32_t eventType) {
        std::lock_guard lock(consoleLock_);
        return installed_ && handlers_.Dispatch(eventType) != 0;
    }

  private:
    ConsoleHandlerList handlers_{[this]() -> std::uint32_t {
        std::unique_lock lock(consoleLock_, std::chrono::seconds(3));
        if (!lock.owns_lock()) {
            return 1460;
        }
        if (failNextAdd_) {
            return *std::exchange(failNextAdd_, std::nullopt);
        }
        installed_ = true;
        return 0;
    }};
    std::timed_mutex consoleLock_;
    std::optional<std::uint32_t> failNextAdd_;
    std::function<void()> duringNextChange_ = [] {};
    bool installed_ = false;
};

}  // namespace Orvane::Platform::Testing
