// Handlers of the console's control events (Ctrl+C, Ctrl+Break, close, log-off,
// shut-down). The system calls them on a thread of its own, the most recently added first;
// a handler returns non-zero when it has dealt with the event, zero to pass it on.
#pragma once

#include <cstdint>

namespace Orvane::Platform {

// Control event types as the system numbers them.
inline constexpr std::uint32_t kCtrlCEvent = 0;
inline constexpr std::uint32_t kCtrlBreakEvent = 1;
inline constexpr std::uint32_t kCtrlCloseEvent = 2;
inline constexpr std::uint32_t kCtrlLogoffEvent = 5;
inline constexpr std::uint32_t kCtrlShutdownEvent = 6;

class ConsoleControl {
  public:
    using Handler = int (*)(std::uint32_t eventType);

    virtual ~ConsoleControl() = default;

    // Both return 0 on success, otherwise the system's error code.
    virtual std::uint32_t AddHandler(Handler handler) = 0;
    virtual std::uint32_t RemoveHandler(Handler handler) = 0;
};

}  // namespace Orvane::Platform
