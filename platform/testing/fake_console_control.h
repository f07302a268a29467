// Keeps the added handlers and can raise a control event through them as the system would.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "platform/console_control.h"
#include "platform/testing/lockable.h"

namespace Orvane::Platform::Testing {

class FakeConsoleControl final : public ConsoleControl, private Lockable {
  public:
    struct Call {
        bool add;
        Handler handler;
        std::uint32_t result;
    };

    std::uint32_t AddHandler(Handler handler) override {
        std::lock_guard lock(mutex_);
        const std::uint32_t result = failNextAdd_ ? *std::exchange(failNextAdd_, std::nullopt) : 0;
        if (result == 0) {
            installed_.push_back(handler);
        }
        calls_.push_back({true, handler, result});
        return result;
    }
    std::uint32_t RemoveHandler(Handler handler) override {
        std::lock_guard lock(mutex_);
        const auto found = std::find(installed_.rbegin(), installed_.rend(), handler);
        const std::uint32_t result = found == installed_.rend() ? kErrorInvalidParameter : 0;
        if (result == 0) {
            installed_.erase(std::next(found).base());
        }
        calls_.push_back({false, handler, result});
        return result;
    }

    // The next add fails with that code.
    void FailNextAdd(std::uint32_t error) { failNextAdd_ = error; }

    std::vector<Handler> Installed() const {
        return Locked([&] { return installed_; });
    }
    std::vector<Call> Calls() const {
        return Locked([&] { return calls_; });
    }
    // Calls the installed handlers, the most recently added first, until one deals with the
    // event; returns whether one did.
    bool Raise(std::uint32_t eventType) const {
        const std::vector<Handler> handlers = Installed();
        return std::any_of(handlers.rbegin(), handlers.rend(),
                           [eventType](Handler handler) { return handler(eventType) != 0; });
    }

  private:
    static constexpr std::uint32_t kErrorInvalidParameter = 87;

    std::vector<Handler> installed_;
    std::vector<Call> calls_;
    std::optional<std::uint32_t> failNextAdd_;
};

}  // namespace Orvane::Platform::Testing
