// Hidden top-level windows that exchange window messages with other processes on the
// same desktop: registered broadcast messages, WM_COPYDATA blocks and timers.
//
// A window's messages are handled on the thread that created it, whenever that thread
// dispatches its pending window messages; nothing here pumps messages by itself. Sending a
// copy-data block blocks until the receiving window has handled it, and blocks that other
// windows send to this thread's windows meanwhile are handled re-entrantly.
#pragma once

#include <cstdint>

namespace Orvane::Platform {

// The system's window handle as a number; 0 is no window.
using WindowHandle = std::uintptr_t;

// The system's copy-data record, as the receiving window gets it. `lpData` is valid only
// while the receiving handler runs.
struct CopyDataBlock {
    std::uintptr_t dwData;
    std::uint32_t cbData;
    const void* lpData;
};

// Registered messages live in this range; RegisterMessage never returns anything else.
inline constexpr std::uint32_t kFirstRegisteredMessage = 0xC000;
inline constexpr std::uint32_t kLastRegisteredMessage = 0xFFFF;

// What a window tells its owner. Calls arrive on the thread that created the window. An
// exception from one of them leaves the program's own call that let the message in (the
// wait, the pump or a send, see kept_exception.h), never the system's dispatch; so does a
// machine fault, as a StructuredFault, once the thread's guard has seen it
// (structured_guard.h).
class MessageWindowEvents {
  public:
    // Any registered message (kFirstRegisteredMessage..kLastRegisteredMessage), ahead of
    // all other handling. Return true to answer TRUE and stop there; false passes the
    // message on to the system's default handling.
    virtual bool OnRegisteredMessage(std::uint32_t message, std::uintptr_t wParam,
                                     std::intptr_t lParam) = 0;
    // A WM_COPYDATA block. Return true to answer TRUE (the block was taken); false passes
    // it on to default handling, which answers 0.
    virtual bool OnCopyData(const CopyDataBlock& block) = 0;
    // A timer of this window went off. Return false to pass it to default handling.
    virtual bool OnTimer(std::uintptr_t timerId) = 0;

  protected:
    ~MessageWindowEvents() = default;
};

class MessageWindowService {
  public:
    virtual ~MessageWindowService() = default;

    // Creates a hidden top-level window (no parent, style 0, size 0) of the given window
    // class, registering the class on first use. Top-level, because windows without one
    // receive no broadcasts. `events` must outlive the window. Returns 0 on failure.
    virtual WindowHandle Create(const wchar_t* className, const wchar_t* windowName,
                                MessageWindowEvents& events) = 0;
    // Destroys a window created by Create; its timers die with it.
    virtual void Destroy(WindowHandle window) = 0;
    // Whether the handle names an existing window, of any process.
    virtual bool IsWindow(WindowHandle window) = 0;

    // The desktop-wide number of a named message (the same in every process), or 0.
    virtual std::uint32_t RegisterMessage(const wchar_t* name) = 0;
    // One attempt to let lower-privileged processes reach `window` with WM_COPYDATA and,
    // once that was allowed, with `message`. True when WM_COPYDATA was allowed; false also
    // where the system has no such filter.
    virtual bool OpenMessageFilter(WindowHandle window, std::uint32_t message) = 0;

    // Starts (or restarts) a repeating timer; false on failure.
    virtual bool StartTimer(WindowHandle window, std::uintptr_t timerId,
                            std::uint32_t periodMs) = 0;
    virtual void StopTimer(WindowHandle window, std::uintptr_t timerId) = 0;

    // Sends WM_COPYDATA with wParam 0 to `target` and waits until it was handled. Returns
    // the receiver's answer; 0 also when the target does not exist or the call failed.
    // What this thread's windows threw while handling messages meanwhile stays kept
    // (kept_exception.h): the caller throws it once it has taken the answer in.
    virtual std::intptr_t SendCopyData(WindowHandle target, const CopyDataBlock& block) = 0;
    // Posts a message to every top-level window of the desktop; false on failure.
    virtual bool Broadcast(std::uint32_t message, std::uintptr_t wParam, std::intptr_t lParam) = 0;
};

}  // namespace Orvane::Platform
