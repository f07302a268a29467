#include "platform/structured_guard.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Orvane::Platform {
namespace {

int faults = 0;

void CountFault(ExceptionPointers* exception) {
    EXPECT_EQ(exception, nullptr);
    ++faults;
}

TEST(StructuredGuard, BodyRunsAndAnEscapingCppExceptionEndsTheRunLikeAFault) {
    int runs = 0;
    RunStructuredGuarded([](void* count) { ++*static_cast<int*>(count); }, &runs, CountFault);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(faults, 0);
    RunStructuredGuarded([](void*) { throw std::logic_error("out"); }, nullptr, CountFault);
    EXPECT_EQ(faults, 1);
}

}  // namespace
}  // namespace Orvane::Platform
