#include "platform/windows_api.h"

#include "tests/platform/message_window_contract.h"

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/message_wait.h"
#include "platform/structured_guard.h"

namespace Orvane::Platform {
namespace {

TEST(Win32MessageWindow, IsAHiddenTopLevelWindowThatOthersFindByName) {
    MessageWindowService& service = Get<MessageWindowService>();
    RecordingEvents events;
    const WindowHandle window = service.Create(L"LumoFindMeClass", L"LUMO_FIND_ME_WINDOW", events);
    ASSERT_NE(window, 0u);
    const HWND hwnd = reinterpret_cast<HWND>(window);

    EXPECT_EQ(FindWindowW(L"LumoFindMeClass", L"LUMO_FIND_ME_WINDOW"), hwnd);
    EXPECT_EQ(GetParent(hwnd), nullptr);
    EXPECT_FALSE(IsWindowVisible(hwnd));
    EXPECT_EQ(GetWindowLongPtrW(hwnd, GWL_STYLE) & (WS_CHILD | WS_VISIBLE), 0);
    EXPECT_TRUE(service.OpenMessageFilter(window, service.RegisterMessage(L"LUMO_FIND_ME")));

    // A second window of the same class: the class is registered once and reused.
    RecordingEvents other;
    const WindowHandle second = service.Create(L"LumoFindMeClass", L"LUMO_FIND_ME_TOO", other);
    EXPECT_NE(second, 0u);
    service.Destroy(second);
    service.Destroy(window);
    EXPECT_EQ(FindWindowW(L"LumoFindMeClass", L"LUMO_FIND_ME_WINDOW"), nullptr);
}

int* volatile nowhere = nullptr;  // volatile, so the compiler cannot see the fault coming
std::uintptr_t failingFrame = 0;  // the address of a local of the handler that fails

struct FailingRun final : MessageWindowEvents {
    bool OnRegisteredMessage(std::uint32_t, std::uintptr_t, std::intptr_t) override {
        ++declined;
        return false;
    }
    bool OnCopyData(const CopyDataBlock&) override {
        const char frame = 0;
        failingFrame = reinterpret_cast<std::uintptr_t>(&frame);
        fail();
        return true;
    }
    bool OnTimer(std::uintptr_t) override { return false; }
    void (*fail)() = nullptr;
    int declined = 0;
    WindowHandle window = 0;
    std::thread sender;
    std::intptr_t answer = -1;
    bool pumpedOn = false;
};

void PumpWhileAnotherThreadSends(void* context) {
    auto& run = *static_cast<FailingRun*>(context);
    MessageWindowService& service = Get<MessageWindowService>();
    run.window = service.Create(L"LumoFailingClass", L"LUMO_FAILING", run);
    const UINT declined = service.RegisterMessage(L"LUMO_DECLINED");
    EXPECT_EQ(SendMessageW(reinterpret_cast<HWND>(run.window), declined, 0, 0), 0);
    run.sender = std::thread([&run, &service] {
        const char byte = 1;
        run.answer = service.SendCopyData(run.window, {0, 1, &byte});
    });
    for (int round = 0; round < 40; ++round) {
        Get<MessageWait>().WaitForObjectsOrInput(0, nullptr, 50);
        Get<MessageWait>().DispatchOneMessage();
    }
    run.pumpedOn = true;
}

// (code, whether the guard's handler ran on top of the failing handler's frames)
std::vector<std::pair<DWORD, bool>> failures;

// A registered message the window declines goes to default handling. The system drops what
// escapes a handler that it runs for another thread's send, and goes on: the sender gets
// the answer of default handling, and the guarded run ends in the wait that let the
// message in. A machine fault reaches the thread's guard once, in the faulting context and
// before anything is unwound; an exception when it leaves that wait.
TEST(Win32MessageWindow, DeclinedMessagesAndHandlersFailuresGetDefaultHandling) {
    const std::pair<void (*)(), std::pair<DWORD, bool>> cases[] = {
        {[] { throw std::runtime_error("failed"); }, {0x20474343, false}},
        {[] { *nowhere = 1; }, {0xC0000005, true}},
    };
    for (const auto& [fail, failure] : cases) {
        failures.clear();
        FailingRun run;
        run.fail = fail;
        RunStructuredGuarded(PumpWhileAnotherThreadSends, &run, [](ExceptionPointers* exception) {
            const char here = 0;
            const DWORD64 stack = exception->ContextRecord->Rsp;
            failures.emplace_back(exception->ExceptionRecord->ExceptionCode,
                                  DWORD64(&here) < stack && stack < failingFrame);
        });
        run.sender.join();
        Get<MessageWindowService>().Destroy(run.window);
        EXPECT_EQ(run.declined, 1);
        EXPECT_EQ(failures, std::vector{failure}) << std::hex << failure.first;
        EXPECT_FALSE(run.pumpedOn);
        EXPECT_EQ(run.answer, 0);
    }
}

// A handler that the system runs for a message the thread takes from its own queue throws
// out of the dispatch that took it, before the loop waits again.
TEST(Win32MessageWait, WhatAHandlerThrowsLeavesTheDispatchThatRanIt) {
    struct ThrowingTimer final : MessageWindowEvents {
        bool OnRegisteredMessage(std::uint32_t, std::uintptr_t, std::intptr_t) override {
            return false;
        }
        bool OnCopyData(const CopyDataBlock&) override { return false; }
        bool OnTimer(std::uintptr_t) override { throw std::runtime_error("timer"); }
    } events;
    MessageWindowService& service = Get<MessageWindowService>();
    const WindowHandle window = service.Create(L"LumoThrowingTimerClass", L"", events);
    ASSERT_TRUE(service.StartTimer(window, 7, 1));
    MessageWait& wait = Get<MessageWait>();
    bool thrown = false;
    for (int round = 0; round < 20 && !thrown; ++round) {
        wait.WaitForObjectsOrInput(0, nullptr, 100);
        try {
            while (wait.DispatchOneMessage()) {
            }
        } catch (const std::runtime_error&) {
            thrown = true;
        }
    }
    service.StopTimer(window, 7);
    service.Destroy(window);
    EXPECT_TRUE(thrown);
}

}  // namespace
}  // namespace Orvane::Platform
