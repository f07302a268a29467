#include "platform/console_control.h"

#include "platform/service.h"
#include "platform/windows_api.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace Orvane::Platform {
namespace {

std::atomic<int> called = 0, passedOn = 0;

// The system runs console handlers on a control thread of its own, which it starts at
// kernel32's CtrlRoutine, holding its console lock. An event that a handler did not deal
// with goes on to the system's next handler. What a handler throws must not reach that
// thread, where nothing catches it: the event counts as not dealt with, and the process
// lives on.
TEST(Win32ConsoleControl, AnEventGoesOnUnlessAHandlerDealtWithItAndNothingEscapes) {
    const PHANDLER_ROUTINE older = [](DWORD) -> BOOL { return ++passedOn, TRUE; };
    ASSERT_TRUE(SetConsoleCtrlHandler(older, TRUE));
    const struct {
        ConsoleControl::Handler handler;
        int passedOn;
    } cases[] = {
        {[](std::uint32_t) -> int {
             ++called;
             throw std::runtime_error("handler failed");
         },
         1},
        {[](std::uint32_t) { return ++called, 0; }, 1},
        {[](std::uint32_t) { return ++called, 1; }, 0},
    };
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void (*)()>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CtrlRoutine")));
    ASSERT_NE(routine, nullptr);
    ConsoleControl& console = Get<ConsoleControl>();
    for (const auto& c : cases) {
        called = passedOn = 0;
        ASSERT_EQ(console.AddHandler(c.handler), 0u);
        const HANDLE control = CreateThread(nullptr, 0, routine,
                                            reinterpret_cast<void*>(CTRL_CLOSE_EVENT), 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(control, 10000), WAIT_OBJECT_0);
        CloseHandle(control);
        EXPECT_EQ(console.RemoveHandler(c.handler), 0u);
        EXPECT_EQ(called, 1);
        EXPECT_EQ(passedOn, c.passedOn);
    }
    SetConsoleCtrlHandler(older, FALSE);
}

}  // namespace
}  // namespace Orvane::Platform
