// The program's console control handlers behind the one handler the system calls. The
// system calls Dispatch on a thread of its own, perhaps while the program adds or removes
// handlers; a removal returns only once no other thread still runs a handler, so that
// whatever a removed handler uses may go as soon as the removal returns.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/console_control.h"

namespace Orvane::Platform {

class ConsoleHandlerList {
  public:
    using Handler = ConsoleControl::Handler;
    // Installs (true) or removes (false) the system's own handler when the first handler
    // comes or the last one goes; 0 or the system's error code, which leaves the list as
    // it was.
    using SystemHandler = std::function<std::uint32_t(bool install)>;

    explicit ConsoleHandlerList(SystemHandler system) : m_system(std::move(system)) {}

    std::uint32_t Add(Handler handler);
    // 87 (the system's ERROR_INVALID_PARAMETER) for a handler that was never added.
    std::uint32_t Remove(Handler handler);
    // The handlers, the most recently added first, until one deals with the event: its
    // result, or 0.
    int Dispatch(std::uint32_t eventType);
    std::vector<Handler> Handlers() const;

  private:
    SystemHandler m_system;
    mutable std::mutex m_mutex;
    std::condition_variable m_idle;
    std::vector<Handler> m_handlers;
    // The threads inside Dispatch, once for each dispatch they run.
    std::vector<std::thread::id> m_dispatching;
};

}  // namespace Orvane::Platform
