#include "diagnostics/flow_point.h"

#include "diagnostics/k_logger_adapter.h"

#include "tests/diagnostics/entry_fields.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

int FirstUse() {
    FLOW_POINT("Racer", "FirstUse");
    FLOW_RECORD(nullptr, 0);
    return 0;
}

TEST(FlowPoint, FirstUseFromSeveralThreadsCreatesOnePoint) {
    KLogger& logger = MKLoggerAdapter::Instance().Logger();
    logger.ResetForTesting(1);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(FirstUse);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(logger.Counter(), 1u + 2 * 4);
    for (std::size_t slot = 1; slot < 4; ++slot) {
        EXPECT_EQ(FieldsOf(logger.Slot(slot)).classKey, FieldsOf(logger.Slot(0)).classKey);
        EXPECT_EQ(FieldsOf(logger.Slot(slot)).functionKey, FieldsOf(logger.Slot(0)).functionKey);
    }
    EXPECT_EQ(MKLoggerAdapter::Instance().FindName(FieldsOf(logger.Slot(0)).classKey).value_or(""),
              std::string("Racer"));
}

}  // namespace
