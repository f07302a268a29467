#include "platform/testing/fake_message_window.h"

#include <new>
#include <utility>

namespace Orvane::Platform {

WindowHandle FakeMessageWindow::AddWindow(Window window) {
    const WindowHandle handle = m_nextHandle;
    m_nextHandle += 0x10;
    m_windows.emplace(handle, std::move(window));
    return handle;
}

FakeMessageWindow::Window* FakeMessageWindow::FindAlive(WindowHandle window) {
    auto found = m_windows.find(window);
    return found != m_windows.end() && found->second.alive ? &found->second : nullptr;
}

MessageWindowEvents* FakeMessageWindow::EventsOf(WindowHandle window) {
    Window* found = FindAlive(window);
    return found ? found->events : nullptr;
}

WindowHandle FakeMessageWindow::Create(const wchar_t* className, const wchar_t* windowName,
                                       MessageWindowEvents& events) {
    if (m_createFailure == CreateFailure::OutOfMemory) {
        throw std::bad_alloc();
    }
    if (m_createFailure == CreateFailure::NoWindow) {
        return 0;
    }
    Window window;
    window.events = &events;
    window.className = className;
    window.windowName = windowName;
    return AddWindow(std::move(window));
}

void FakeMessageWindow::Destroy(WindowHandle window) {
    if (Window* found = FindAlive(window)) {
        found->alive = false;
        found->timers.clear();
    }
}

std::uint32_t FakeMessageWindow::RegisterMessage(const wchar_t* name) {
    const auto next =
        static_cast<std::uint32_t>(kFirstRegisteredMessage + 0x100 + m_registeredMessages.size());
    return m_registeredMessages.emplace(name, next).first->second;
}

bool FakeMessageWindow::OpenMessageFilter(WindowHandle window, std::uint32_t message) {
    ++m_filterAttempts;
    Window* found = FindAlive(window);
    if (found == nullptr) {
        return false;
    }
    if (m_filterFailuresLeft > 0) {
        --m_filterFailuresLeft;
        return false;
    }
    constexpr std::uint32_t kCopyData = 74;
    found->allowedMessages.push_back(kCopyData);
    found->allowedMessages.push_back(message);
    return true;
}

bool FakeMessageWindow::StartTimer(WindowHandle window, std::uintptr_t timerId,
                                   std::uint32_t periodMs) {
    Window* found = FindAlive(window);
    if (found == nullptr) {
        return false;
    }
    found->timers[timerId] = periodMs;
    return true;
}

void FakeMessageWindow::StopTimer(WindowHandle window, std::uintptr_t timerId) {
    if (Window* found = FindAlive(window)) {
        found->timers.erase(timerId);
    }
}

std::intptr_t FakeMessageWindow::SendCopyData(WindowHandle target, const CopyDataBlock& block) {
    Window* found = FindAlive(target);
    if (found == nullptr) {
        return 0;
    }
    if (found->events != nullptr) {
        return found->events->OnCopyData(block) ? 1 : 0;
    }
    const auto* bytes = static_cast<const std::uint8_t*>(block.lpData);
    found->received.emplace_back(bytes, bytes + block.cbData);
    // Copies: the handler may send to this peer again, replace itself or add windows.
    const PeerHandler handler = found->peerHandler;
    if (handler) {
        const std::vector<std::uint8_t> received = found->received.back();
        handler(received);
    }
    return m_windows.at(target).peerAnswer;
}

bool FakeMessageWindow::Broadcast(std::uint32_t message, std::uintptr_t wParam,
                                  std::intptr_t lParam) {
    for (WindowHandle window : CreatedWindows()) {
        SendRegisteredMessage(window, message, wParam, lParam);
    }
    return true;
}

WindowHandle FakeMessageWindow::AddPeer() {
    return AddWindow({});
}

bool FakeMessageWindow::SendRegisteredMessage(WindowHandle target, std::uint32_t message,
                                              std::uintptr_t wParam, std::intptr_t lParam) {
    MessageWindowEvents* events = EventsOf(target);
    if (events == nullptr || message < kFirstRegisteredMessage ||
        message > kLastRegisteredMessage) {
        return false;
    }
    return events->OnRegisteredMessage(message, wParam, lParam);
}

void FakeMessageWindow::TickTimers() {
    std::vector<std::pair<WindowHandle, std::uintptr_t>> due;
    for (const auto& [handle, window] : m_windows) {
        for (const auto& timer : window.timers) {
            due.emplace_back(handle, timer.first);
        }
    }
    for (const auto& [handle, timerId] : due) {
        // An earlier timer's handler may have stopped this one.
        Window* window = FindAlive(handle);
        if (window != nullptr && window->timers.count(timerId) != 0) {
            FireTimer(handle, timerId);
        }
    }
}

std::vector<WindowHandle> FakeMessageWindow::CreatedWindows() const {
    std::vector<WindowHandle> created;
    for (const auto& [handle, window] : m_windows) {
        if (window.alive && window.events != nullptr) {
            created.push_back(handle);
        }
    }
    return created;
}

}  // namespace Orvane::Platform
