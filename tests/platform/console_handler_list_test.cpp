#include "platform/console_handler_list.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
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

// The system's own handler goes in with the first handler and out with the last; a
// refusal there leaves the list as it was.
TEST(ConsoleHandlerList, TheSystemHandlerFollowsTheFirstAndTheLastAndTheNewestAnswersFirst) {
    std::vector<std::string> system;
    std::uint32_t refusal = 5;
    ConsoleHandlerList list([&](bool install) {
        system.push_back(install ? "install" : "remove");
        return std::exchange(refusal, 0);
    });
    EXPECT_EQ(list.Add(&Takes), 5u);
    EXPECT_TRUE(list.Handlers().empty());
    EXPECT_EQ(list.Add(&Takes), 0u);
    EXPECT_EQ(list.Add(&Declines), 0u);
    calls.clear();
    EXPECT_EQ(list.Dispatch(2), 1);
    EXPECT_EQ(calls, (std::vector<std::string>{"declines", "takes"}));
    EXPECT_EQ(list.Remove(&Takes), 0u);
    EXPECT_EQ(list.Remove(&Takes), 87u);
    refusal = 6;
    EXPECT_EQ(list.Remove(&Declines), 6u);
    EXPECT_EQ(list.Remove(&Declines), 0u);
    EXPECT_EQ(system, (std::vector<std::string>{"install", "install", "remove", "remove"}));
}

std::promise<void> entered, release;
ConsoleHandlerList* removing = nullptr;
int Blocks(std::uint32_t) {
    entered.set_value();
    release.get_future().wait();
    return 1;
}
int RemovesItself(std::uint32_t) {
    return static_cast<int>(removing->Remove(&RemovesItself));
}

// What a handler uses may go once its removal returns: a removal waits for a dispatch on
// another thread, but not for the one it is called from.
TEST(ConsoleHandlerList, ARemovalWaitsForADispatchOnAnotherThread) {
    ConsoleHandlerList list([](bool) { return 0u; });
    list.Add(&Blocks);
    std::thread system([&] { list.Dispatch(2); });
    entered.get_future().wait();
    std::atomic<bool> removed = false;
    std::thread remover([&] {
        list.Remove(&Blocks);
        removed = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(removed);
    release.set_value();
    system.join();
    remover.join();

    removing = &list;
    list.Add(&RemovesItself);
    EXPECT_EQ(list.Dispatch(2), 0) << "removed, and not waiting for itself";
    EXPECT_TRUE(list.Handlers().empty());
}

}  // namespace
}  // namespace Orvane::Platform
