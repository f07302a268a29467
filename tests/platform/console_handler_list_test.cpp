#include "platform/testing/fake_console_control.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Orvane::Platform {
namespace {

std::vector<std::string> calls;
int Declines(std::uint32_t) {
    calls.push_back("declines");
    return 0;
}
int Takes(std::uint32_t) {
    calls.push_back("takes");
    return 1;
}

int Throws(std::uint32_t) {
    throw std::runtime_error("handler failed");
}

ConsoleControl* removing = nullptr;
int RemovesTakes(std::uint32_t) {
    calls.push_back("removes takes");
    return static_cast<int>(removing->RemoveHandler(&Takes));
}

// The system's own handler goes in with the first handler, for good: a refusal leaves the
// list as it was, and once the last handler has gone an event is passed on. A handler that
// a newer one removes during the dispatch is not called once its removal has returned.
TEST(ConsoleHandlerList, TheSystemHandlerGoesInOnceAndTheNewestAnswersFirst) {
    Testing::FakeConsoleControl console;
    console.FailNextAdd(5);
    EXPECT_EQ(console.AddHandler(&Takes), 5u);
    EXPECT_TRUE(console.Installed().empty());
    EXPECT_EQ(console.AddHandler(&Takes), 0u);
    EXPECT_EQ(console.AddHandler(&Declines), 0u);
    calls.clear();
    EXPECT_TRUE(console.Raise(kCtrlCloseEvent));
    EXPECT_EQ(calls, (std::vector<std::string>{"declines", "takes"}));
    EXPECT_EQ(console.RemoveHandler(&Takes), 0u);
    EXPECT_EQ(console.RemoveHandler(&Takes), 87u);
    EXPECT_EQ(console.RemoveHandler(&Declines), 0u);
    EXPECT_FALSE(console.Raise(kCtrlCloseEvent));
    console.FailNextAdd(6);
    EXPECT_EQ(console.AddHandler(&Takes), 0u) << "not asked again";
    removing = &console;
    EXPECT_EQ(console.AddHandler(&RemovesTakes), 0u);
    calls.clear();
    EXPECT_FALSE(console.Raise(kCtrlCloseEvent));
    EXPECT_EQ(calls, (std::vector<std::string>{"removes takes"}));
}

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
