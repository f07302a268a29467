// Keeps the added handlers as the system's backend does, and raises a control event
// through them as the system would.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "platform/console_control.h"
#include "platform/console_handler_list.h"

namespace Orvane::Platform::Testing {

class FakeConsoleControl final : public ConsoleControl {
  public:
    std::uint32_t AddHandler(Handler handler) override { return handlers_.Add(handler); }
    std::uint32_t RemoveHandler(Handler handler) override { return handlers_.Remove(handler); }

    // The next add fails with that code.
    void FailNextAdd(std::uint32_t error) { failNextAdd_ = error; }

    std::vector<Handler> Installed() const { return handlers_.Handlers(); }
    // Whether a handler dealt with the event.
    bool Raise(std::uint32_t eventType) { return handlers_.Dispatch(eventType) != 0; }

  private:
    // The first handler's add asks the "system", which refuses it once when told to.
    ConsoleHandlerList handlers_{[this](bool install) -> std::uint32_t {
        return install && failNextAdd_ ? *std::exchange(failNextAdd_, std::nullopt) : 0;
    }};
    std::optional<std::uint32_t> failNextAdd_;
};

}  // namespace Orvane::Platform::Testing
