#include "platform/clock.h"
#include "platform/monotonic_clock.h"
#include "platform/service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace Orvane::Platform {
namespace {

// The same clock as the standard library reads it, in milliseconds since its origin.
template <class Clock>
std::int64_t StandardMilliseconds() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(Clock::now().time_since_epoch()).count();
}

TEST(Clock, CounterIsMonotonicWallClockIsNowAndThreadIdsDiffer) {
    const auto first = PerformanceCounter();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const auto second = PerformanceCounter();
    EXPECT_GT(second, first);
    EXPECT_GE((second - first) * 1000 / PerformanceFrequency(), 1);

    const auto before = StandardMilliseconds<std::chrono::system_clock>();
    const auto wall = CurrentWallClock();
    EXPECT_LT(wall.milliseconds, 1000);
    EXPECT_GE(wall.seconds * 1000 + wall.milliseconds, before);
    EXPECT_LE(wall.seconds * 1000 + wall.milliseconds,
              StandardMilliseconds<std::chrono::system_clock>());

    // A thread's id stays its own.
    const auto mine = CurrentThreadId();
    EXPECT_EQ(mine, CurrentThreadId());
    std::uint32_t other = 0;
    std::thread([&] { other = CurrentThreadId(); }).join();
    EXPECT_NE(other, 0u);
    EXPECT_NE(other, mine);
}

TEST(MonotonicClock, IsTheSteadyClockInMilliseconds) {
    const auto before = StandardMilliseconds<std::chrono::steady_clock>();
    const auto milliseconds = Get<MonotonicClock>().Milliseconds();
    EXPECT_GE(milliseconds, before);
    EXPECT_LE(milliseconds, StandardMilliseconds<std::chrono::steady_clock>());
}

}  // namespace
}  // namespace Orvane::Platform
