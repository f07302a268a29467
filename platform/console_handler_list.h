// The program's console control handlers behind the one handler the system calls. The
// system calls Dispatch on a thread of its own, perhaps while the program adds or removes
// handlers; a removal returns only once no other thread still runs a handler, so that
// whatever a removed handler uses may go as soon as the removal returns.
//
// The system runs the handlers under its console lock, and its install function takes that
// lock too: asked while a dispatch waits for this list, it would wait for ever. So the
// system's handler goes in with the first handler and stays for the process's life; with
// no handler left, a dispatch passes the event on as if it were not there.
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
    // Installs the system's own handler, before any dispatch can run; 0 or the system's
    // error code, which leaves the list as it was.
    using SystemInstall = std::function<std::uint32_t()>;

    explicit ConsoleHandlerList(SystemInstall install) : m_install(std::move(install)) {}

    std::uint32_t Add(Handler handler);
    // 87 (the system's ERROR_INVALID_PARAMETER) for a handler that was never added.
    std::uint32_t Remove(Handler handler);
    // The handlers, the most recently added first, until one deals with the event: its
    // result, or 0. A handler added meanwhile waits for the next dispatch; one removed
    // meanwhile is not called (unless it was added again). What a handler throws goes on
    // to the caller.
    int Dispatch(std::uint32_t eventType);
    std::vector<Handler> Handlers() const;

  private:
    bool IsListed(Handler handler) const;
    void LeaveDispatch();

    SystemInstall m_install;
    bool m_installed = false;
    mutable std::mutex m_mutex;
    std::condition_variable m_idle;
    std::vector<Handler> m_handlers;
    // The threads inside Dispatch, once for each dispatch they run.
    std::vector<std::thread::id> m_dispatching;
};

}  // namespace Orvane::Platform
