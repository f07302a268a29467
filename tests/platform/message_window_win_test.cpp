#include "platform/windows_api.h"

#include "tests/platform/message_window_contract.h"

#include <stdexcept>
#include <string>
#include <thread>

#include "platform/message_wait.h"

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

}  // namespace
}  // namespace Orvane::Platform
