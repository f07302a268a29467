#include "platform/kept_exception.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Orvane::Platform {
namespace {

// The system's dispatch gets the fallback for a handler that throws, and for every handler
// after it until the kept exception has been thrown again, once.
TEST(KeptException, HandlersWaitUntilTheKeptExceptionIsThrownAgain) {
    int handled = 0;
    const auto handler = [&handled] { return ++handled; };
    const auto fallback = [] { return -1; };
    EXPECT_EQ(CallKeepingExceptions([]() -> int { throw std::range_error("x"); }, fallback), -1);
    EXPECT_EQ(CallKeepingExceptions(handler, fallback), -1);
    EXPECT_THROW(ThrowKeptException(), std::range_error);
    ThrowKeptException();
    EXPECT_EQ(CallKeepingExceptions(handler, fallback), 1);
}

}  // namespace
}  // namespace Orvane::Platform
