#include "diagnostics/crash_dump.h"

#include "diagnostics/flow_point.h"
#include "diagnostics/log_files.h"
#include "platform/clock.h"
#include "platform/service.h"
#include "platform/testing/fake_minidump_writer.h"
#include "platform/testing/fake_special_folders.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

namespace {

using Orvane::Platform::ExceptionPointers;
using Orvane::Platform::MiniDumpWriter;
using Orvane::Platform::ScopedOverride;
using Orvane::Platform::SpecialFolders;
using Orvane::Platform::Testing::FakeMiniDumpWriter;
using Orvane::Platform::Testing::FakeSpecialFolders;

// Only its address travels; nothing dereferences it.
ExceptionPointers* const kSomeException =
    reinterpret_cast<ExceptionPointers*>(std::uintptr_t{0x5150});

class CrashDump : public ::testing::Test {
  protected:
    CrashDump() { folders.SetCommonAppData(L"C:\\ProgramData"); }

    FakeMiniDumpWriter writer;
    FakeSpecialFolders folders;
    ScopedOverride<MiniDumpWriter> writerOverride{writer};
    ScopedOverride<SpecialFolders> foldersOverride{folders};
};

// The dump carries the flow log as its user stream; a failed write is repeated without it.
TEST_F(CrashDump, FlowLogInTheUserStreamOrARepeatWithoutIt) {
    FLOW_POINT("CrashDumpTest", "BeforeTheDump");
    FLOW_RECORD(this, 42);
    using Outcome = FakeMiniDumpWriter::Outcome;
    struct Case {
        std::vector<Outcome> outcomes;
        bool written;
        std::uint32_t error;
        std::size_t writes;
    };
    const Case cases[] = {
        {{{1, 0}}, true, 0, 1},
        {{{0, 8}, {1, 0}}, true, 0, 2},
        {{{0, 8}, {0, 112}}, false, 112, 2},
        // Only exactly 1 counts as success.
        {{{2, 0}, {1, 0}}, true, 0, 2},
        {{{0, 8}, {-1, 5}}, false, 5, 2},
    };
    for (const Case& c : cases) {
        FakeMiniDumpWriter local;
        ScopedOverride<MiniDumpWriter> localOverride(local);
        local.QueueOutcomes(c.outcomes);
        std::uint32_t error = 1234;
        EXPECT_EQ(WriteCrashDump(L"C:\\d\\x.dmp", kSomeException, &error), c.written);
        EXPECT_EQ(error, c.error);
        const auto writes = local.Writes();
        ASSERT_EQ(writes.size(), c.writes);
        EXPECT_EQ(writes[0].userStreamType, 0x10000u);
        EXPECT_EQ(writes[0].userStreamBytes, RenderFlowLogText());
        EXPECT_NE(writes[0].userStreamBytes.find("in_class CrashDumpTest at BeforeTheDump"),
                  std::string::npos);
        for (const auto& write : writes) {
            EXPECT_EQ(write.file, writes[0].file);
            EXPECT_EQ(write.exception, kSomeException);
            EXPECT_EQ(write.dumpType, 0x50u);
            EXPECT_EQ(write.threadId, Orvane::Platform::CurrentThreadId());
        }
        EXPECT_EQ(writes.back().userStreamType,
                  c.writes == 2 ? std::nullopt : std::optional<std::uint32_t>{0x10000});
        EXPECT_EQ(local.ClosedFiles(), std::vector{writes[0].file});
    }
}

TEST_F(CrashDump, FileThatDoesNotOpenMeansNoDumpAndTheNextRequestStillWorks) {
    writer.FailOpening(L"C:\\ProgramData\\Orvane\\Logs\\x.dmp");
    std::uint32_t error = 7;
    EXPECT_FALSE(WriteCrashDump(L"x.dmp", nullptr, &error));
    EXPECT_EQ(error, 0u);
    EXPECT_TRUE(writer.Writes().empty());
    EXPECT_TRUE(writer.ClosedFiles().empty());

    EXPECT_TRUE(WriteCrashDump(L"y.dmp", nullptr));
    EXPECT_EQ(writer.Writes().size(), 1u);
}

TEST_F(CrashDump, RequestWhileADumpIsBeingWrittenIsRefusedUntouched) {
    struct Second {
        bool written;
        std::uint32_t error;
    };
    std::vector<Second> seconds;
    writer.DuringWrite([&] {
        // From this thread (a second fault in the filter) and from another one at once.
        std::uint32_t error = 5;
        const bool written = WriteCrashDump(L"C:\\d\\second.dmp", nullptr, &error);
        seconds.push_back({written, error});
        seconds.push_back(std::async(std::launch::async, [] {
                              std::uint32_t otherError = 5;
                              const bool otherWritten =
                                  WriteCrashDump(L"C:\\d\\third.dmp", nullptr, &otherError);
                              return Second{otherWritten, otherError};
                          }).get());
    });
    EXPECT_TRUE(WriteCrashDump(L"C:\\d\\first.dmp", kSomeException));
    writer.DuringWrite(nullptr);

    ASSERT_EQ(seconds.size(), 2u);
    for (const Second& second : seconds) {
        EXPECT_FALSE(second.written);
        EXPECT_EQ(second.error, 0u);
    }
    EXPECT_EQ(writer.OpenedPaths(), std::vector<std::wstring>{L"C:\\d\\first.dmp"});
    EXPECT_EQ(writer.Writes().size(), 1u);

    // Once the first dump is done, the next one is written again.
    EXPECT_TRUE(WriteCrashDump(L"C:\\d\\later.dmp", nullptr));
    EXPECT_EQ(writer.OpenedPaths().size(), 2u);
}

// The calendar of a local time, as its digits read in a file name: YYYYMMDDhhmmss.
long long Digits(const Orvane::Platform::LocalTime& t) {
    return ((((t.year * 100LL + t.month) * 100 + t.day) * 100 + t.hour) * 100 + t.minute) * 100 +
           t.second;
}

TEST_F(CrashDump, ExceptionDumpIsNamedAfterProgramAndLocalTime) {
    const auto before = Orvane::Platform::CurrentLocalTime();
    WriteCrashDumpOnException(kSomeException);
    const auto after = Orvane::Platform::CurrentLocalTime();

    const auto opened = writer.OpenedPaths();
    ASSERT_EQ(opened.size(), 1u);
    const std::wstring prefix = L"C:\\ProgramData\\Orvane\\Logs\\LumoDiscoveryHelper_crash_";
    ASSERT_EQ(opened[0].size(), prefix.size() + 19) << "YYYYMMDD_hhmmss.dmp";
    EXPECT_EQ(opened[0].substr(0, prefix.size()), prefix);
    const std::wstring stamp = opened[0].substr(prefix.size());
    EXPECT_EQ(stamp.substr(8, 1) + stamp.substr(15), L"_.dmp");
    const long long named = std::stoll(stamp.substr(0, 8) + stamp.substr(9, 6));
    EXPECT_TRUE(Digits(before) <= named && named <= Digits(after)) << named;
    ASSERT_EQ(writer.Writes().size(), 1u);
    EXPECT_EQ(writer.Writes()[0].exception, kSomeException);

    folders.SetCommonAppData(std::nullopt);
    WriteCrashDumpOnException(kSomeException);
    EXPECT_EQ(writer.Writes().size(), 1u) << "without a log folder, nothing";
}

}  // namespace
