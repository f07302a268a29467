// Keeps the added handlers and can raise a control event through them as the system would.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/console_control.h"

namespace Orvane::Platform::Testing {

class FakeConsoleControl final : public ConsoleControl {
  public:
    struct Call {
        bool add;
        Handler handler;
        std::uint32_t result;
    };

    std::uint32_t AddHandler(Handler handler) override;
    std::uint32_t RemoveHandler(Handler handler) override;

    // The next add fails with that code.
    void FailNextAdd(std::uint32_t error) { failNextAdd_ = error; }

    std::vector<Handler> Installed() const;
    std::vector<Call> Calls() const;
    // Calls the installed handlers, the most recently added first, until one deals with the
    // event; returns whether one did.
    bool Raise(std::uint32_t eventType) const;

  private:
    mutable std::mutex mutex_;
    std::vector<Handler> installed_;
    std::vector<Call> calls_;
    std::optional<std::uint32_t> failNextAdd_;
};

}  // namespace Orvane::Platform::Testing
