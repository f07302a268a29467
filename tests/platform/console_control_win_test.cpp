#include "platform/console_control.h"

#include "platform/service.h"
#include "platform/windows_api.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace Orvane::Platform {
namespace {

std::atomic<int> thrown = 0, passedOn = 0;

// The system runs console handlers on a control thread of its own, which it starts at
// kernel32's CtrlRoutine, holding its console lock. What a handler throws must not reach
// that thread, where nothing catches it: the event counts as not dealt with and goes on to
// the system's next handler, and the process lives on.
TEST(Win32ConsoleControl, AHandlersExceptionStaysOutOfTheSystemsControlThread) {
    const PHANDLER_ROUTINE older = [](DWORD) -> BOOL { return ++passedOn, TRUE; };
    ASSERT_TRUE(SetConsoleCtrlHandler(older, TRUE));
    const ConsoleControl::Handler failing = [](std::uint32_t) -> int {
        ++thrown;
        throw std::runtime_error("handler failed");
    };
    ConsoleControl& console = Get<ConsoleControl>();
    ASSERT_EQ(console.AddHandler(failing), 0u);
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void (*)()>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CtrlRoutine")));
    ASSERT_NE(routine, nullptr);
    const HANDLE control =
        CreateThread(nullptr, 0, routine, reinterpret_cast<void*>(CTRL_CLOSE_EVENT), 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(control, 10000), WAIT_OBJECT_0);
    CloseHandle(control);
    EXPECT_EQ(console.RemoveHandler(failing), 0u);
    SetConsoleCtrlHandler(older, FALSE);
    EXPECT_EQ(thrown, 1);
    EXPECT_EQ(passedOn, 1);
}

}  // namespace
}  // namespace Orvane::Platform
