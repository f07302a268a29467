#include "platform/console_handler_list.h"

#include <algorithm>

namespace Orvane::Platform {

namespace {
constexpr std::uint32_t kErrorInvalidParameter = 87;
}  // namespace

std::uint32_t ConsoleHandlerList::Add(Handler handler) {
    std::lock_guard lock(m_mutex);
    if (!m_installed) {
        if (const std::uint32_t error = m_install(); error != 0) {
            return error;
        }
        m_installed = true;
    }
    m_handlers.push_back(handler);
    return 0;
}

std::uint32_t ConsoleHandlerList::Remove(Handler handler) {
    std::unique_lock lock(m_mutex);
    const auto found = std::find(m_handlers.rbegin(), m_handlers.rend(), handler);
    if (found == m_handlers.rend()) {
        return kErrorInvalidParameter;
    }
    m_handlers.erase(std::next(found).base());
    // A handler that removes itself cannot wait for its own dispatch to end.
    m_idle.wait(lock, [this] {
        return std::all_of(m_dispatching.begin(), m_dispatching.end(),
                           [](std::thread::id id) { return id == std::this_thread::get_id(); });
    });
    return 0;
}

int ConsoleHandlerList::Dispatch(std::uint32_t eventType) {
    std::vector<Handler> handlers;
    {
        std::lock_guard lock(m_mutex);
        handlers = m_handlers;
        m_dispatching.push_back(std::this_thread::get_id());
    }
    int result = 0;
    // Called outside the lock: a handler may add or remove handlers itself. One that an
    // earlier handler removed is not called: its removal has returned. (A removal on
    // another thread waits for this dispatch, so a handler found listed stays usable.)
    try {
        for (auto it = handlers.rbegin(); it != handlers.rend() && result == 0; ++it) {
            if (IsListed(*it)) {
                result = (*it)(eventType);
            }
        }
    } catch (...) {
        LeaveDispatch();
        throw;
    }
    LeaveDispatch();
    return result;
}

bool ConsoleHandlerList::IsListed(Handler handler) const {
    std::lock_guard lock(m_mutex);
    return std::find(m_handlers.begin(), m_handlers.end(), handler) != m_handlers.end();
}

void ConsoleHandlerList::LeaveDispatch() {
    {
        std::lock_guard lock(m_mutex);
        m_dispatching.erase(
            std::find(m_dispatching.begin(), m_dispatching.end(), std::this_thread::get_id()));
    }
    m_idle.notify_all();
}

std::vector<ConsoleHandlerList::Handler> ConsoleHandlerList::Handlers() const {
    std::lock_guard lock(m_mutex);
    return m_handlers;
}

}  // namespace Orvane::Platform
