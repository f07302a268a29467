#include "platform/message_window.h"

#include "platform/kept_exception.h"
#include "platform/service.h"
#include "platform/structured_guard.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

HWND ToHwnd(WindowHandle window) {
    return reinterpret_cast<HWND>(window);
}

MessageWindowEvents* EventsOf(HWND hwnd) {
    return reinterpret_cast<MessageWindowEvents*>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
}

// The owner's answer, with a machine fault in it turned into a StructuredFault.
template <class Handle>
bool CallCallbackGuarded(Handle& handle) {
    struct Call {
        Handle* handle;
        bool answer;
    } call{&handle, false};
    RunCallbackGuarded(
        [](void* context) {
            auto* call = static_cast<Call*>(context);
            call->answer = (*call->handle)();
        },
        &call);
    return call.answer;
}

LRESULT CALLBACK WindowProcedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
        return DefWindowProcW(hwnd, message, wParam, lParam);
    }
    MessageWindowEvents* events = EventsOf(hwnd);
    if (events == nullptr) {
        return DefWindowProcW(hwnd, message, wParam, lParam);
    }
    // Neither what the owner throws nor a machine fault in it may reach the system's
    // dispatch; a kept exception answers as default handling does.
    const auto handled = [](auto&& handle) {
        return CallKeepingExceptions([&] { return CallCallbackGuarded(handle); },
                                     [] { return false; });
    };
    if (message >= kFirstRegisteredMessage && message <= kLastRegisteredMessage) {
        if (handled([&] { return events->OnRegisteredMessage(message, wParam, lParam); })) {
            return TRUE;
        }
    } else if (message == WM_COPYDATA) {
        const auto* copy = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        if (handled([&] {
                return events->OnCopyData({copy->dwData, copy->cbData, copy->lpData});
            })) {
            return TRUE;
        }
    } else if (message == WM_TIMER) {
        if (handled([&] { return events->OnTimer(wParam); })) {
            return 0;
        }
    } else if (message == WM_NCDESTROY) {
        SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
    }
    return DefWindowProcW(hwnd, message, wParam, lParam);
}

bool RegisterWindowClass(const wchar_t* className) {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = WindowProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className;
    return RegisterClassExW(&windowClass) != 0 || GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
}

// Not declared by every SDK, and missing from old systems: looked up at run time.
using ChangeWindowMessageFilterExFunction = BOOL(WINAPI*)(HWND, UINT, DWORD, void*);
constexpr DWORD kFilterAllow = 1;

class Win32MessageWindowService final : public MessageWindowService {
  public:
    WindowHandle Create(const wchar_t* className, const wchar_t* windowName,
                        MessageWindowEvents& events) override {
        if (!RegisterWindowClass(className)) {
            return 0;
        }
        HWND hwnd = CreateWindowExW(0, className, windowName, 0, 0, 0, 0, 0, nullptr, nullptr,
                                    GetModuleHandleW(nullptr), &events);
        return reinterpret_cast<WindowHandle>(hwnd);
    }

    void Destroy(WindowHandle window) override { DestroyWindow(ToHwnd(window)); }

    bool IsWindow(WindowHandle window) override { return ::IsWindow(ToHwnd(window)) != FALSE; }

    std::uint32_t RegisterMessage(const wchar_t* name) override {
        return RegisterWindowMessageW(name);
    }

    bool OpenMessageFilter(WindowHandle window, std::uint32_t message) override {
        HMODULE user32 = LoadLibraryW(L"user32.dll");
        if (user32 == nullptr) {
            return false;
        }
        bool opened = false;
        // The detour through void(*)() tells the compiler the signature change is meant.
        const auto change = reinterpret_cast<ChangeWindowMessageFilterExFunction>(
            reinterpret_cast<void (*)()>(GetProcAddress(user32, "ChangeWindowMessageFilterEx")));
        if (change != nullptr && change(ToHwnd(window), WM_COPYDATA, kFilterAllow, nullptr)) {
            change(ToHwnd(window), message, kFilterAllow, nullptr);
            opened = true;
        }
        FreeLibrary(user32);
        return opened;
    }

    bool StartTimer(WindowHandle window, std::uintptr_t timerId, std::uint32_t periodMs) override {
        return SetTimer(ToHwnd(window), timerId, periodMs, nullptr) != 0;
    }

    void StopTimer(WindowHandle window, std::uintptr_t timerId) override {
        KillTimer(ToHwnd(window), timerId);
    }

    std::intptr_t SendCopyData(WindowHandle target, const CopyDataBlock& block) override {
        COPYDATASTRUCT copy{block.dwData, block.cbData, const_cast<void*>(block.lpData)};
        // The target may answer with messages of its own, handled during the send: what their
        // handlers throw is kept for the caller, who needs the answer first.
        return SendMessageW(ToHwnd(target), WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&copy));
    }

    bool Broadcast(std::uint32_t message, std::uintptr_t wParam, std::intptr_t lParam) override {
        return PostMessageW(HWND_BROADCAST, message, wParam, lParam) != FALSE;
    }
};

}  // namespace

template <>
MessageWindowService& DefaultService<MessageWindowService>() {
    static Win32MessageWindowService service;
    return service;
}

}  // namespace Orvane::Platform
