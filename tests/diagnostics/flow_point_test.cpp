#include "diagnostics/flow_point.h"

#include "diagnostics/k_logger_adapter.h"

#include "tests/diagnostics/entry_fields.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

KLogger& FreshProcessLog() {
    KLogger& logger = MKLoggerAdapter::Instance().Logger();
    logger.ResetForTesting(1);
    return logger;
}

struct Probe {
    int Step(int code) {
        FLOW_POINT("Probe", "Step");
        FLOW_RECORD(this, code);
        return flowPoint.Line();
    }
    void Timed() {
        FLOW_POINT("Probe", "Timed");
        FlowTimedScope scope(flowPoint, this);
        FLOW_RECORD(this, 1);
    }
};

TEST(FlowPoint, RecordsATimingPointOrATimedScopeForTheObjectAndRendersItsNames) {
    KLogger& logger = FreshProcessLog();
    Probe probe;
    EXPECT_GT(probe.Step(-1), 0);
    const EntryFields entry = FieldsOf(logger.Slot(0));
    EXPECT_EQ(entry.event, 0);
    EXPECT_EQ(entry.code, 0xFFFFFFFFu);
    EXPECT_EQ(entry.extra, 0u);
    EXPECT_EQ(entry.object, reinterpret_cast<std::uintptr_t>(&probe));
    EXPECT_EQ(entry.threadId, Orvane::Platform::CurrentThreadId());

    const std::string expected = "\n%%\n% Timing_point (4294967295, 0) in_class Probe at Step";
    EXPECT_NE(RenderFlowLogText().find(expected), std::string::npos);

    // A timed scope closes with its own entry after the inner record.
    probe.Timed();
    EXPECT_EQ(logger.Counter(), 1u + 2 * 3);
    const EntryFields closing = FieldsOf(logger.Slot(2));
    EXPECT_EQ(closing.event, -8);
    EXPECT_EQ(closing.object, reinterpret_cast<std::uintptr_t>(&probe));
    EXPECT_EQ(closing.functionKey, FieldsOf(logger.Slot(1)).functionKey);
    EXPECT_NE(RenderFlowLogText().find("% Scope_pop in_class Probe at Timed"), std::string::npos);
}

int FirstUse() {
    FLOW_POINT("Racer", "FirstUse");
    FLOW_RECORD(nullptr, 0);
    return 0;
}

TEST(FlowPoint, FirstUseFromSeveralThreadsCreatesOnePoint) {
    KLogger& logger = FreshProcessLog();
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
