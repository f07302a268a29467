// Plays the system around the real handler list: it calls the handlers under its own console
// lock, once its handler is installed, and its install function takes that lock too, as the
// system's does. A wait for the lock that would last for ever on the system ends here after a
// few seconds, as a refused install, so that a test of a deadlock ends by itself.
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
    // The system's ERROR_TIMEOUT.
    static constexpr std::uint32_t kLockTimedOut = 1460;

    std::uint32_t AddHandler(Handler handler) override {
        const std::uint32_t result = handlers_.Add(handler);
        RunDuringChange();
        return result;
    }
    std::uint32_t RemoveHandler(Handler handler) override {
        RunDuringChange();
        return handlers_.Remove(handler);
    }

    // The next install fails with that code.
    void FailNextAdd(std::uint32_t error) { failNextAdd_ = error; }
    // Runs `action` at the next add or removal, while the handler is in: after the add,
    // before the removal.
    void DuringNextChange(std::function<void()> action) { duringNextChange_ = std::move(action); }

    std::vector<Handler> Installed() const { return handlers_.Handlers(); }
    int Installs() const { return installs_; }
    // Whether a handler dealt with the event.
    bool Raise(std::uint32_t eventType) {
        std::lock_guard lock(consoleLock_);
        return installs_ > 0 && handlers_.Dispatch(eventType) != 0;
    }

  private:
    void RunDuringChange() {
        if (duringNextChange_) {
            std::exchange(duringNextChange_, nullptr)();
        }
    }

    ConsoleHandlerList handlers_{[this]() -> std::uint32_t {
        std::unique_lock lock(consoleLock_, std::chrono::seconds(3));
        if (!lock.owns_lock()) {
            return kLockTimedOut;
        }
        if (failNextAdd_) {
            return *std::exchange(failNextAdd_, std::nullopt);
        }
        ++installs_;
        return 0;
    }};
    std::timed_mutex consoleLock_;
    std::optional<std::uint32_t> failNextAdd_;
    std::function<void()> duringNextChange_;
    int installs_ = 0;
};

}  // namespace Orvane::Platform::Testing
