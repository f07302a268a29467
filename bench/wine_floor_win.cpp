// The floor of the helper's idle figures under Wine: a program with nothing but the helper's
// shape of waiting (a hidden window with a 500 ms timer, and a wait on an event and window
// input that times out every 2000 ms). Its memory and context switches are what any such
// program costs there.
#include <windows.h>

#include <cstdio>
#include <cstdlib>

namespace {

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace

int main(int argc, char** argv) {
    const DWORD runMs = argc > 1 ? static_cast<DWORD>(std::strtoul(argv[1], nullptr, 10)) : 60000;
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = WindowProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"LumoWineFloor";
    RegisterClassW(&windowClass);
    HWND window = CreateWindowExW(0, windowClass.lpszClassName, L"LUMO_WINE_FLOOR", 0, 0, 0, 0, 0,
                                  nullptr, nullptr, windowClass.hInstance, nullptr);
    SetTimer(window, 1280, 500, nullptr);
    HANDLE stop = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::printf("{\"event\":\"ready\"}\n");
    std::fflush(stdout);
    const ULONGLONG end = GetTickCount64() + runMs;
    while (GetTickCount64() < end) {
        MsgWaitForMultipleObjects(1, &stop, FALSE, 2000, QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
        }
    }
    CloseHandle(stop);
    DestroyWindow(window);
    return 0;
}
