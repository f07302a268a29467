#include "platform/structured_guard.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Orvane::Platform {
namespace {

void Unreachable(ExceptionPointers*) {
    ADD_FAILURE() << "no structured exceptions here";
}

TEST(StructuredGuard, BodyRunsAndCppExceptionsPassThrough) {
    int runs = 0;
    RunStructuredGuarded([](void* count) { ++*static_cast<int*>(count); }, &runs, Unreachable);
    EXPECT_EQ(runs, 1);
    EXPECT_THROW(
        RunStructuredGuarded([](void*) { throw std::logic_error("out"); }, nullptr, Unreachable),
        std::logic_error);
}

}  // namespace
}  // namespace Orvane::Platform
