#include "platform/testing/fake_console_control.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

namespace Orvane::Platform {
namespace {

int Throws(std::uint32_t) {
    throw std::runtime_error("handler failed");
}

ConsoleControl* removing = nullptr;
std::promise<void> entered, release;
int Blocks(std::uint32_t) {
    entered.set_value();
    release.get_future().wait();
    return 1;
}
int RemovesItself(std::uint32_t) {
    return static_cast<int>(removing->RemoveHandler(&RemovesItself));
}

// What a handler uses may go once its removal returns: a removal waits for a dispatch on
// another thread, even one that holds the system's console lock, but not for one that has
// ended by a throw, nor for the one it is called from.
TEST(ConsoleHandlerList, ARemovalWaitsForEveryDispatchUnderWayButItsOwn) {
    // Shared with the remover, which is left behind should it wait for ever.
    const auto console = std::make_shared<Testing::FakeConsoleControl>();
    console->AddHandler(&Blocks);
    console->AddHandler(&Throws);
    EXPECT_THROW(console->Raise(kCtrlCloseEvent), std::runtime_error);
    console->RemoveHandler(&Throws);
    std::thread system([&] { console->Raise(kCtrlCloseEvent); });
    entered.get_future().wait();
    std::promise<std::uint32_t> removal;
    auto removed = removal.get_future();
    std::thread([console, removal = std::move(removal)]() mutable {
        removal.set_value(console->RemoveHandler(&Blocks));
    }).detach();
    EXPECT_EQ(removed.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    release.set_value();
    system.join();
    ASSERT_EQ(removed.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(removed.get(), 0u);

    removing = console.get();
    console->AddHandler(&RemovesItself);
    EXPECT_FALSE(console->Raise(kCtrlCloseEvent)) << "removed, and not waiting for itself";
    EXPECT_TRUE(console->Installed().empty());
}

}  // namespace
}  // namespace Orvane::Platform
