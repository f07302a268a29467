#include "diagnostics/flow_log_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

TEST(FlowLogText, RelativeTimeShowsSignSecondsAndSixDigitMicroseconds) {
    struct Case {
        std::int64_t ticks;
        std::int64_t frequency;
        const char* expected;
    };
    const Case cases[] = {
        {0, 10000000, "0.000000"},
        {15000000, 10000000, "1.500000"},
        {-15000000, 10000000, "-1.500000"},
        // Less than a microsecond below zero still carries the sign.
        {-1, 10000000, "-0.000000"},
        {1234567891, 1000000000, "1.234567"},
        {-1234567891, 1000000000, "-1.234567"},
        {999, 1000, "0.999000"},
        {3600000001, 1000000, "3600.000001"},
        {5, 0, "5.000000"},  // a broken counter's frequency is taken as 1
        {std::numeric_limits<std::int64_t>::min(), 1000000000, "-9223372036.854775"},
        {std::numeric_limits<std::int64_t>::max(), 1, "9223372036854775807.000000"},
    };
    for (const Case& c : cases) {
        std::string text = "x";
        AppendRelativeTime(text, c.ticks, c.frequency);
        EXPECT_EQ(text, std::string("x") + c.expected) << c.ticks << " / " << c.frequency;
    }
}

}  // namespace
