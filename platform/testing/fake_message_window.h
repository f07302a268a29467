// In-process desktop of message windows for tests. Windows created through the service
// get their events synchronously, the moment a test (or the code under test) sends,
// broadcasts or fires a timer; nothing is queued and nothing runs by itself. Windows of
// "other processes", such as the service's, are peers that a test adds: they keep what
// they receive and answer as told.
#pragma once

#include "platform/message_window.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Orvane::Platform {

class FakeMessageWindow : public MessageWindowService {
  public:
    using PeerHandler = std::function<void(const std::vector<std::uint8_t>& block)>;

    WindowHandle Create(const wchar_t* className, const wchar_t* windowName,
                        MessageWindowEvents& events) override;
    void Destroy(WindowHandle window) override;
    bool IsWindow(WindowHandle window) override { return FindAlive(window) != nullptr; }
    std::uint32_t RegisterMessage(const wchar_t* name) override;
    bool OpenMessageFilter(WindowHandle window, std::uint32_t message) override;
    bool StartTimer(WindowHandle window, std::uintptr_t timerId, std::uint32_t periodMs) override;
    void StopTimer(WindowHandle window, std::uintptr_t timerId) override;
    // A created window answers 1 when its owner took the block, else 0 (default
    // handling); a peer answers its set answer; a window that does not exist answers 0.
    std::intptr_t SendCopyData(WindowHandle target, const CopyDataBlock& block) override;
    // Delivers to every created window at once, in creation order.
    bool Broadcast(std::uint32_t message, std::uintptr_t wParam, std::intptr_t lParam) override;

    // --- driving ---

    // A window of another process. Every block sent to it is kept; `handler`, if set,
    // runs inside the send (so it may answer re-entrantly), and the send returns its
    // answer as it stands when the handler is done, 1 until set otherwise.
    WindowHandle AddPeer();
    void SetPeerAnswer(WindowHandle peer, std::intptr_t answer) {
        m_windows.at(peer).peerAnswer = answer;
    }
    void SetPeerHandler(WindowHandle peer, PeerHandler handler) {
        m_windows.at(peer).peerHandler = std::move(handler);
    }

    // A registered message sent to one window; true when its owner handled it.
    bool SendRegisteredMessage(WindowHandle target, std::uint32_t message, std::uintptr_t wParam,
                               std::intptr_t lParam);
    // A copy-data block from another process, handed over as the system hands it.
    std::intptr_t SendBytes(WindowHandle target, const std::vector<std::uint8_t>& bytes,
                            std::uintptr_t dwData = 0) {
        return SendCopyData(target,
                            {dwData, static_cast<std::uint32_t>(bytes.size()), bytes.data()});
    }
    // WM_TIMER with this id, whether or not such a timer runs; true when handled.
    bool FireTimer(WindowHandle window, std::uintptr_t timerId) {
        MessageWindowEvents* events = EventsOf(window);
        return events != nullptr && events->OnTimer(timerId);
    }
    // Fires every running timer of every window once.
    void TickTimers();

    // The next `count` filter attempts fail, as where the system has no filter.
    void FailFilterAttempts(int count) { m_filterFailuresLeft = count; }
    enum class CreateFailure { None, NoWindow, OutOfMemory };
    // Create returns 0 (NoWindow) or throws std::bad_alloc (OutOfMemory) until told
    // otherwise.
    void FailCreate(CreateFailure failure) { m_createFailure = failure; }

    // --- inspection ---

    // Windows created through the service and not destroyed, in creation order.
    std::vector<WindowHandle> CreatedWindows() const;
    std::wstring ClassName(WindowHandle window) const { return m_windows.at(window).className; }
    std::wstring WindowName(WindowHandle window) const { return m_windows.at(window).windowName; }
    // Running timers: id -> period in ms.
    std::map<std::uintptr_t, std::uint32_t> Timers(WindowHandle window) const {
        return m_windows.at(window).timers;
    }
    // Blocks a peer received, oldest first; still readable after the peer was destroyed.
    const std::vector<std::vector<std::uint8_t>>& ReceivedBy(WindowHandle peer) const {
        return m_windows.at(peer).received;
    }
    int FilterAttempts() const { return m_filterAttempts; }
    // Messages let through the filter of a window, in the order they were allowed.
    std::vector<std::uint32_t> AllowedMessages(WindowHandle window) const {
        return m_windows.at(window).allowedMessages;
    }

  private:
    struct Window {
        bool alive = true;
        MessageWindowEvents* events = nullptr;  // null for a peer
        std::wstring className;
        std::wstring windowName;
        std::map<std::uintptr_t, std::uint32_t> timers;
        std::vector<std::uint32_t> allowedMessages;
        std::intptr_t peerAnswer = 1;  // a peer's, until set otherwise
        PeerHandler peerHandler;
        std::vector<std::vector<std::uint8_t>> received;
    };

    WindowHandle AddWindow(Window window);
    Window* FindAlive(WindowHandle window);
    MessageWindowEvents* EventsOf(WindowHandle window);

    // Handles wider than 32 bits, so that code keeping only the low half shows it.
    WindowHandle m_nextHandle = static_cast<WindowHandle>(0x1'2345'0010ULL);
    std::map<WindowHandle, Window> m_windows;
    std::map<std::wstring, std::uint32_t> m_registeredMessages;
    int m_filterAttempts = 0;
    int m_filterFailuresLeft = 0;
    CreateFailure m_createFailure = CreateFailure::None;
};

}  // namespace Orvane::Platform
