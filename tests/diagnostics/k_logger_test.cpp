#include "diagnostics/k_logger.h"
#include "diagnostics/calendar_text.h"

#include "diagnostics/diagnostics_registry.h"

#include "tests/diagnostics/entry_fields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <limits>
#include <sstream>
#include <thread>
#include <vector>

namespace {

constexpr std::uint32_t kCapacity = 131072;

std::uint32_t LowBits(const void* pointer) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

bool AllZero(const FlowLogEntry& entry) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&entry);
    return std::all_of(bytes, bytes + sizeof entry, [](unsigned char b) { return b == 0; });
}

// A ring of five megabytes that starts enabled (odd counter); an even counter only advances,
// so every ring below stays as zero as it came.
TEST(KLogger, FreshRingIsEnabledAndAnEvenCounterStoresNothingButAdvances) {
    static_assert(sizeof(FlowLogEntry) * KLogger::kCapacity == 5242880);
    EXPECT_EQ(KLogger().Counter(), 1u);
    for (const std::uint32_t start : {0u, 2u * 5, 2u * (kCapacity - 1), 0xFFFFFFFEu}) {
        KLogger logger;
        logger.ResetForTesting(start);
        for (int i = 0; i < 3; ++i)
            logger.Append(0, 1, 2, 3, 4, &logger);
        EXPECT_EQ(logger.Counter(), start + 6) << start;
        for (std::size_t i = 0; i < kCapacity; ++i)
            ASSERT_TRUE(AllZero(*logger.Slot(i))) << start << " slot " << i;
        EXPECT_EQ(logger.Slot(kCapacity), nullptr);
    }
}

// The exit dump may render while other threads still record: rendering neither blocks nor
// breaks them. (A slot being written while it is rendered may show half of it: the log
// accepts that rather than a lock on every record.)
TEST(KLogger, ThreadsRecordingAtOnceWhileItRendersLoseNoSlotAndTearNoEntry) {
    constexpr std::uint32_t kThreads = 4;
    // Few enough that the thread sanitizer, which weighs every slot the render reads against
    // its writer, gets through the render in seconds.
    constexpr std::uint32_t kPerThread = 2000;
    KLogger logger;
    logger.ResetForTesting(1);
    std::vector<std::uint32_t> threadIds(kThreads);
    std::vector<std::thread> threads;
    for (std::uint32_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            threadIds[t] = Orvane::Platform::CurrentThreadId();
            for (std::uint32_t i = 0; i < kPerThread; ++i) {
                const std::uint32_t code = (t << 20) | i;
                const auto object = (std::uintptr_t{t + 1} << 40) | i;
                logger.Append(static_cast<std::int32_t>(t), code, ~code, t * 7, i,
                              reinterpret_cast<const void*>(object));
            }
        });
    }
    std::ostringstream rendered;
    logger.Render(rendered, MDiagnosticsRegistryImplementation());
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(logger.Counter(), 1 + 2 * kThreads * kPerThread);
    std::vector<std::vector<bool>> seen(kThreads, std::vector<bool>(kPerThread));
    for (std::uint32_t slot = 0; slot < kThreads * kPerThread; ++slot) {
        const EntryFields entry = FieldsOf(logger.Slot(slot));
        const auto t = static_cast<std::uint32_t>(entry.event);
        ASSERT_LT(t, kThreads) << slot;
        const std::uint32_t i = entry.functionKey;
        ASSERT_LT(i, kPerThread) << slot;
        EXPECT_EQ(entry.code, (t << 20) | i) << slot;
        EXPECT_EQ(entry.extra, ~entry.code) << slot;
        EXPECT_EQ(entry.classKey, t * 7) << slot;
        EXPECT_EQ(entry.object, (std::uint64_t{t + 1} << 40) | i) << slot;
        EXPECT_EQ(entry.threadId, threadIds[t]) << slot;
        ASSERT_FALSE(seen[t][i]) << "recorded twice: " << t << "/" << i;
        seen[t][i] = true;
    }
    EXPECT_TRUE(AllZero(*logger.Slot(kThreads * kPerThread)));
}

// Names the rendering tests register; the keys are the low 32 bits of these addresses.
const char kAlpha[] = "Alpha";
const char kBeta[] = "Beta";
const char kGamma[] = "Gamma";

class KLoggerRender : public ::testing::Test {
  protected:
    void SetUp() override {
        names.RegisterName(kAlpha);
        names.RegisterName(kBeta);
        names.RegisterName(kGamma);
        names.RegisterStateName(5, "Connected");
        names.RegisterObjectName(reinterpret_cast<const void*>(std::uintptr_t{0x1234}), "sensor");
        names.RegisterThreadName(42, "main");
        // One million ticks per second, reference at 1.000000 s.
        logger.SetReferenceForTesting({1000000, 1000000, {1700000000, 250}});
        logger.ResetForTesting(1);
    }

    std::string RenderOne(const FlowLogEntry& entry) {
        logger.SlotForTesting(3) = entry;
        return logger.RenderEntry(3, names);
    }

    MDiagnosticsRegistryImplementation names;
    KLogger logger;
};

TEST_F(KLoggerRender, EachEventKindHasItsFirstLineAndPastTheRingIsOutOfBounds) {
    const std::uint32_t alpha = LowBits(kAlpha);
    const std::uint32_t beta = LowBits(kBeta);
    const std::uint32_t gamma = LowBits(kGamma);
    const std::uint32_t unknownKey = 77;
    struct Case {
        std::int32_t event;
        std::uint32_t code, extra, classKey, functionKey;
        std::uint64_t object;
        std::uint32_t threadId;
        std::string firstLine;
    };
    const std::string sensor = " for_object 0000000000001234 (sensor)";
    const std::string mainThread = " in_thread 42 (main)";
    // The kinds whose first line only names the event are left to the name table.
    const Case cases[] = {
        // clang-format off
        {0, 7, 3, alpha, beta, 0x1234, 42, "% Timing_point (7, 3) in_class Alpha at Beta" + sensor + mainThread},
        {0, 4294967295u, 0, alpha, unknownKey, 0x1234, 42, "% Timing_point (4294967295, 0) in_class Alpha at_point 77" + sensor + mainThread},
        {0, 0, 0, unknownKey, beta, 0xFFFF800012345678, 9, "% Timing_point (0, 0) in_class (unknown) at Beta for_object FFFF800012345678 (unknown) in_thread 9 (unknown)"},
        {0, 1, 2, alpha, beta, 0, 0, "% Timing_point (1, 2) in_class Alpha at Beta for_object 0000000000000000 (unknown)"},
        {-1, 1, 2, alpha, unknownKey, 0x1234, 42, "% Timing_point in_class Alpha at (unknown)" + sensor + mainThread},
        {-105, gamma, 0, alpha, beta, 0x1234, 42, "% Root_error Gamma in_class Alpha at Beta" + sensor + mainThread},
        {-104, unknownKey, 0, alpha, beta, 0x1234, 42, "% Cascade_error (unknown) in_class Alpha at Beta" + sensor + mainThread},
        {-101, 5, 0, alpha, beta, 0x1234, 42, "% Warning (unknown) in_class Alpha at Beta" + sensor + mainThread},
        {-25, 5, 0, alpha, beta, 0x1234, 42, "% State_change to Connected in_class Alpha at Beta" + sensor + mainThread},
        {-25, 9, 0, alpha, beta, 0x1234, 42, "% State_change to state_9 in_class Alpha at Beta" + sensor + mainThread},
        {-21, 5, 0, alpha, beta, 0x1234, 42, "% Message_send Connected in_class Alpha at Beta" + sensor + mainThread},
        {-21, 1001, 0, alpha, beta, 0x1234, 42, "% Message_send 1001 in_class Alpha at Beta" + sensor + mainThread},
        {-20, 1001, 0, alpha, beta, 0x1234, 42, "% Message_receive in_class Alpha at Beta" + sensor + mainThread},
        {55, 0, 0, alpha, beta, 0x1234, 42, "% unknown event in_class Alpha at Beta" + sensor + mainThread},
        // clang-format on
    };
    for (const Case& c : cases) {
        const std::string text = RenderOne(
            {3500000, c.event, c.code, c.extra, c.classKey, c.functionKey, c.object, c.threadId});
        EXPECT_EQ(text.substr(0, text.find('\n')), c.firstLine);
    }
    // The second line: 3.5 s after the counter's zero is 2.5 s after the reference, then every
    // field in decimal.
    EXPECT_EQ(RenderOne({3500000, -21, 1001, 3, 77, 88, 0xFFFF800012345678, 42}),
              "% Message_send 1001 in_class (unknown) at (unknown) for_object FFFF800012345678 "
              "(unknown) in_thread 42 (main)\n    2.500000, -21, 1001, 3, 77, 88, "
              "18446603336526616184, 42");
    // Past the ring there is no entry; an empty slot renders as nothing.
    EXPECT_EQ(logger.RenderEntry(kCapacity, names), "*OUT OF BOUNDS*");
    EXPECT_EQ(logger.RenderEntry(std::numeric_limits<std::size_t>::max(), names),
              "*OUT OF BOUNDS*");
    EXPECT_EQ(logger.RenderEntry(0, names), "");
    EXPECT_EQ(logger.RenderEntry(kCapacity - 1, names), "");
}

std::string ExpectedCalendarText(std::time_t seconds) {
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &seconds);
    const char* format = "%a %b %d %H:%M:%S %Y\n";  // the Windows runtime pads the day with 0
#else
    localtime_r(&seconds, &local);
    const char* format = "%a %b %e %H:%M:%S %Y\n";  // glibc pads the day with a blank
#endif
    char text[64];
    return std::string(text, std::strftime(text, sizeof text, format, &local));
}

#ifdef _WIN32
// The runtime's last second converts: a log whose wall clock reads it keeps its calendar
// text, and the next second gets the runtime's error.
TEST(CalendarTextUnderWindows, TheRuntimesLastSecondIsInItsRange) {
    using namespace std::chrono;
    // The runtime's documented end: 3000-12-31 23:59:59 UTC.
    const std::int64_t last =
        duration_cast<seconds>(sys_days{year{3001} / January / 1}.time_since_epoch()).count() - 1;
    const CalendarText text = ToCalendarText(last);
    EXPECT_TRUE(text.converted);
    EXPECT_EQ(text.text, ExpectedCalendarText(last));
    const CalendarText beyond = ToCalendarText(last + 1);
    EXPECT_FALSE(beyond.converted);
    EXPECT_EQ(beyond.error, EINVAL);
}
#endif

TEST_F(KLoggerRender, WholeLogHasTheHeaderLinesThenEntriesOldestFirst) {
    logger.ResetForTesting(1 + 2 * 2);
    logger.SlotForTesting(0) = {400000, 0, 1, 0, 11, 12, 0, 0};
    logger.SlotForTesting(1) = {3000000, -8, 2, 0, 11, 12, 0, 0};
    std::ostringstream out;
    logger.Render(out, names);
    EXPECT_EQ(out.str(),
              "%% Reference time: 0.600000 is approximately 250ms past " +
                  ExpectedCalendarText(1700000000) +
                  "%% absolute reference timestamp: -1.000000\n"
                  "%%\n"
                  "% Timing_point (1, 0) in_class (unknown) at_point 12 for_object "
                  "0000000000000000 (unknown)\n"
                  "    -0.600000, 0, 1, 0, 11, 12, 0, 0\n"
                  "% Scope_pop in_class (unknown) at (unknown) for_object 0000000000000000 "
                  "(unknown)\n"
                  "    2.000000, -8, 2, 0, 11, 12, 0, 0\n");
}

TEST_F(KLoggerRender, EntriesStayOldestFirstWhenTheCounterWraps) {
    // Three records before the counter passes 2^31 records and wraps, three after.
    logger.ResetForTesting(0xFFFFFFFBu);
    for (std::uint32_t code = 1; code <= 6; ++code)
        logger.Append(0, code, 0, 1, 2, nullptr);
    EXPECT_EQ(logger.Counter(), 7u);
    std::istringstream rendered([&] {
        std::ostringstream out;
        logger.Render(out, names);
        return out.str();
    }());
    std::vector<std::uint32_t> codes;
    for (std::string line; std::getline(rendered, line);) {
        if (unsigned code = 0; std::sscanf(line.c_str(), "%% Timing_point (%u,", &code) == 1)
            codes.push_back(code);
    }
    EXPECT_EQ(codes, (std::vector<std::uint32_t>{1, 2, 3, 4, 5, 6}));
}

TEST_F(KLoggerRender, ReferenceAfterTheOldestEntryAndUnconvertibleWallClock) {
    // The oldest entry (slot 5 after a wrap) lies 2 s after the reference; the wall clock is
    // far beyond any calendar.
    logger.SetReferenceForTesting(
        {1000000, 1000000, {std::numeric_limits<std::int64_t>::max(), 0}});
    logger.ResetForTesting(1 + 2 * (kCapacity + 5));
    logger.SlotForTesting(5) = {3000000, 0, 0, 0, 1, 2, 0, 0};
    logger.SlotForTesting(4) = {4000000, 0, 9, 0, 1, 2, 0, 0};
    std::ostringstream out;
    logger.Render(out, names);
    // Both runtimes refuse such a time with EINVAL.
    const int conversionError = EINVAL;
    EXPECT_EQ(out.str(), "%% Reference time: -2.000000 is wrong." +
                             std::to_string(conversionError) +
                             "\n%% absolute reference timestamp: -1.000000\n"
                             "%%\n"
                             "% Timing_point (0, 0) in_class (unknown) at_point 2 for_object "
                             "0000000000000000 (unknown)\n"
                             "    2.000000, 0, 0, 0, 1, 2, 0, 0\n"
                             "% Timing_point (9, 0) in_class (unknown) at_point 2 for_object "
                             "0000000000000000 (unknown)\n"
                             "    3.000000, 0, 9, 0, 1, 2, 0, 0\n");
}

}  // namespace
