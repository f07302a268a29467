#include "platform/message_window.h"
#include "platform/service.h"

#include <gtest/gtest.h>

namespace Orvane::Platform {
namespace {

class NoEvents final : public MessageWindowEvents {
    bool OnRegisteredMessage(std::uint32_t, std::uintptr_t, std::intptr_t) override {
        return false;
    }
    bool OnCopyData(const CopyDataBlock&) override { return false; }
    bool OnTimer(std::uintptr_t) override { return false; }
};

TEST(PosixMessageWindow, EveryOperationFailsWithoutHarm) {
    MessageWindowService& service = Get<MessageWindowService>();
    NoEvents events;
    const WindowHandle window = service.Create(L"Class", L"Name", events);
    const std::uint8_t byte = 0;

    EXPECT_EQ(window, 0u);
    EXPECT_FALSE(service.IsWindow(window));
    EXPECT_EQ(service.RegisterMessage(L"LUMO_SERVERAVAILABLE"), 0u);
    EXPECT_FALSE(service.OpenMessageFilter(window, 0xC000));
    EXPECT_FALSE(service.StartTimer(window, 1280, 500));
    EXPECT_EQ(service.SendCopyData(window, {0, 1, &byte}), 0);
    EXPECT_FALSE(service.Broadcast(0xC000, 0, 0));
    service.StopTimer(window, 1280);
    service.Destroy(window);
}

}  // namespace
}  // namespace Orvane::Platform
