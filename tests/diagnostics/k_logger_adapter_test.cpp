#include "diagnostics/k_logger_adapter.h"

#include "tests/diagnostics/entry_fields.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

std::uint32_t LowBits(const void* pointer) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

TEST(MKLoggerAdapter, CreationTracesTheNewLoggerAsAConstruction) {
    MKLoggerAdapter adapter;
    KLogger& logger = adapter.Logger();
    EXPECT_EQ(logger.Counter(), 1u + 2);
    const EntryFields first = FieldsOf(logger.Slot(0));
    EXPECT_EQ(first.event, -14);
    EXPECT_EQ(first.object, reinterpret_cast<std::uintptr_t>(&logger));
    EXPECT_EQ(adapter.FindName(first.classKey).value_or(""), std::string("KLogger"));
    EXPECT_EQ(adapter.FindName(first.functionKey).value_or(""), std::string("KLogger initialiser"));
}

TEST(MKLoggerAdapter, EachKindIsStoredAsItsEventCode) {
    const std::int32_t expectedEvent[] = {0,  -105, -104, -103, -14,  -13, -25,
                                          -7, -8,   0,    -102, -101, -21, -20};
    static const char kClass[] = "Probe";
    static const char kFunction[] = "Kind";
    MKLoggerAdapter adapter;
    KLogger& logger = adapter.Logger();
    for (std::uint32_t kind = 0; kind < 14; ++kind) {
        logger.ResetForTesting(1);
        adapter.Record(static_cast<FlowKind>(kind), 100 + kind, 200 + kind, kClass, kFunction,
                       &adapter);
        const EntryFields entry = FieldsOf(logger.Slot(0));
        EXPECT_EQ(entry.event, expectedEvent[kind]) << kind;
        EXPECT_EQ(entry.code, 100 + kind);
        EXPECT_EQ(entry.extra, 200 + kind);
        EXPECT_EQ(entry.classKey, LowBits(kClass));
        EXPECT_EQ(entry.functionKey, LowBits(kFunction));
        EXPECT_EQ(entry.object, reinterpret_cast<std::uintptr_t>(&adapter));
    }
    for (const std::uint32_t kind : {14u, 0xFFFFFFFFu}) {
        logger.ResetForTesting(1);
        adapter.Record(static_cast<FlowKind>(kind), 1, 2, kClass, kFunction, nullptr);
        EXPECT_EQ(logger.Counter(), 1u) << "kind " << kind << " is outside the table";
    }
}

TEST(MKLoggerAdapter, AttachingSwitchesToTheSharedLoggerAndMarksIt) {
    MKLoggerAdapter module;
    MKLoggerAdapter host;
    KLogger& shared = host.Logger();
    const KLogger* own = &module.Logger();

    module.AttachTo(shared);
    EXPECT_EQ(&module.Logger(), &shared);
    const EntryFields added = FieldsOf(shared.Slot(1));
    EXPECT_EQ(added.event, -202);
    EXPECT_EQ(added.object, reinterpret_cast<std::uintptr_t>(own));
    EXPECT_EQ(module.FindName(added.classKey).value_or(""), std::string("MKLoggerAdapter"));

    static const char kClass[] = "Later";
    module.Record(FlowKind::TimingPoint, 5, 0, kClass, kClass, nullptr);
    EXPECT_EQ(FieldsOf(shared.Slot(2)).code, 5u);
    EXPECT_EQ(shared.Counter(), 1u + 2 * 3);

    // Attaching to the logger already in use changes nothing.
    module.AttachTo(shared);
    EXPECT_EQ(shared.Counter(), 1u + 2 * 3);
    // Attaching on marks the logger it leaves too; the log names the mark.
    MKLoggerAdapter other;
    module.AttachTo(other.Logger());
    EXPECT_EQ(FieldsOf(shared.Slot(3)).event, -202);
    std::ostringstream log;
    module.Render(log);
    EXPECT_NE(log.str().find("% Log_module_added in_class MKLoggerAdapter at AttachTo"),
              std::string::npos);
}

}  // namespace
