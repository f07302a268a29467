#include "tools/common/titled_window_win.h"

namespace LumoTools {

HWND CreateTitledWindow(const wchar_t* className, const wchar_t* title, WNDPROC procedure) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className;
    RegisterClassW(&windowClass);
    // Style 0 and no parent: never shown, yet FindWindowW of another process finds it.
    return CreateWindowExW(0, className, title, 0, 0, 0, 0, 0, nullptr, nullptr,
                           windowClass.hInstance, nullptr);
}

}  // namespace LumoTools
