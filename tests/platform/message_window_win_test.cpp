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

// A registered message the window declines goes to default handling. The system drops an
// exception thrown while it delivers another thread's message: the program gets it from
// the pump that let the message in, and the sender gets the answer of default handling.
TEST(Win32MessageWindow, DeclinedMessagesAndHandlersExceptionsGetDefaultHandling) {
    struct Throwing final : MessageWindowEvents {
        bool OnRegisteredMessage(std::uint32_t, std::uintptr_t, std::intptr_t) override {
            ++seen;
            return false;
        }
        bool OnCopyData(const CopyDataBlock&) override { throw std::runtime_error("failed"); }
        bool OnTimer(std::uintptr_t) override { return false; }
        int seen = 0;
    } events;
    MessageWindowService& service = Get<MessageWindowService>();
    const WindowHandle window = service.Create(L"LumoThrowingClass", L"LUMO_THROWING", events);
    const UINT message = service.RegisterMessage(L"LUMO_DECLINED");
    EXPECT_EQ(SendMessageW(reinterpret_cast<HWND>(window), message, 0, 0), 0);
    EXPECT_EQ(events.seen, 1);
    std::intptr_t answer = -1;
    std::thread sender([&] {
        const char byte = 1;
        answer = service.SendCopyData(window, {0, 1, &byte});
    });
    MessageWait& wait = Get<MessageWait>();
    bool thrown = false;
    for (int round = 0; round < 100 && !thrown; ++round) {
        try {
            wait.WaitForObjectsOrInput(0, nullptr, 50);
            wait.DispatchOneMessage();
        } catch (const std::runtime_error&) {
            thrown = true;
        }
    }
    sender.join();
    EXPECT_TRUE(thrown);
    EXPECT_EQ(answer, 0);
    service.Destroy(window);
}

// Volatile, so that the compiler can neither see the faults coming nor compute around them.
int* volatile nowhere = nullptr;
volatile int dividend = 1;
volatile int zero = 0;
volatile int quotient = 0;

void AccessViolation() {
    *nowhere = 1;
}
void DivideByZero() {
    quotient = dividend / zero;
}

std::uintptr_t faultingFrame = 0;  // the address of a local of the handler that faults

struct FaultingEvents final : MessageWindowEvents {
    explicit FaultingEvents(void (*fault)()) : fault(fault) {}
    bool OnRegisteredMessage(std::uint32_t, std::uintptr_t, std::intptr_t) override {
        return false;
    }
    bool OnCopyData(const CopyDataBlock&) override {
        const char frame = 0;
        faultingFrame = reinterpret_cast<std::uintptr_t>(&frame);
        fault();
        return true;
    }
    bool OnTimer(std::uintptr_t) override { return false; }
    void (*fault)();
};

// (code, whether the guard's handler ran on top of the faulting frames, with their context)
std::vector<std::pair<DWORD, bool>> faults;

void RecordFault(ExceptionPointers* exception) {
    const char here = 0;
    const DWORD64 faultingStack = exception->ContextRecord->Rsp;
    faults.emplace_back(
        exception->ExceptionRecord->ExceptionCode,
        reinterpret_cast<DWORD64>(&here) < faultingStack && faultingStack < faultingFrame);
}

struct FaultingRun {
    explicit FaultingRun(void (*fault)()) : events(fault) {}
    FaultingEvents events;
    WindowHandle window = 0;
    std::thread sender;
    std::intptr_t answer = -1;
    bool pumpedOn = false;
};

void PumpWhileAnotherThreadSends(void* context) {
    auto& run = *static_cast<FaultingRun*>(context);
    MessageWindowService& service = Get<MessageWindowService>();
    run.window = service.Create(L"LumoFaultingClass", L"LUMO_FAULTING", run.events);
    run.sender = std::thread([&run, &service] {
        const char byte = 1;
        run.answer = service.SendCopyData(run.window, {0, 1, &byte});
    });
    MessageWait& wait = Get<MessageWait>();
    for (int round = 0; round < 40; ++round) {
        wait.WaitForObjectsOrInput(0, nullptr, 50);
        wait.DispatchOneMessage();
    }
    run.pumpedOn = true;
}

// The system drops a machine fault in a handler that it runs for another thread's send, as
// it drops an exception: the thread's guard gets it once, before anything is unwound, the
// sender gets the answer of default handling, and the wait that let the message in ends
// the guarded run.
TEST(Win32MessageWindow, MachineFaultsOfAnotherThreadsSendReachTheThreadsGuardOnce) {
    const std::pair<void (*)(), DWORD> cases[] = {
        {AccessViolation, 0xC0000005},
        {DivideByZero, 0xC0000094},
    };
    for (const auto& [fault, code] : cases) {
        faults.clear();
        FaultingRun run(fault);
        RunStructuredGuarded(PumpWhileAnotherThreadSends, &run, RecordFault);
        run.sender.join();
        Get<MessageWindowService>().Destroy(run.window);
        EXPECT_EQ(faults, (std::vector<std::pair<DWORD, bool>>{{code, true}})) << std::hex << code;
        EXPECT_FALSE(run.pumpedOn);
        EXPECT_EQ(run.answer, 0);
    }
}

}  // namespace
}  // namespace Orvane::Platform
