#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>
#include <thread>

namespace Orvane::Platform {
namespace {

TEST(Clock, CounterIsMonotonicWallClockIsNowAndThreadIdsDiffer) {
    const auto first = PerformanceCounter();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const auto second = PerformanceCounter();
    EXPECT_GT(second, first);
    EXPECT_GE((second - first) * 1000 / PerformanceFrequency(), 1);

    const auto wall = CurrentWallClock();
    EXPECT_LT(wall.milliseconds, 1000);
    EXPECT_LE(std::llabs(wall.seconds - static_cast<long long>(std::time(nullptr))), 1);

    // A thread's id stays its own.
    const auto mine = CurrentThreadId();
    EXPECT_EQ(mine, CurrentThreadId());
    std::uint32_t other = 0;
    std::thread([&] { other = CurrentThreadId(); }).join();
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, mine);
}

}  // namespace
}  // namespace Orvane::Platform
