#include "platform/local_time.h"

#include <gtest/gtest.h>

#include <ctime>

namespace Orvane::Platform {
namespace {

TEST(LocalTime, AgreesWithTheCalendar) {
    const std::time_t before = std::time(nullptr);
    const LocalTime now = CurrentLocalTime();
    const std::tm* expected = std::localtime(&before);
    EXPECT_EQ(now.year, expected->tm_year + 1900);
    EXPECT_EQ(now.month, expected->tm_mon + 1);
    EXPECT_EQ(now.day, expected->tm_mday);
    EXPECT_EQ(now.dayOfWeek, expected->tm_wday);
    EXPECT_LT(now.hour, 24);
    EXPECT_LT(now.minute, 60);
    EXPECT_LT(now.milliseconds, 1000);
}

}  // namespace
}  // namespace Orvane::Platform
