// The real thing under Windows: a fault inside the guarded run leaves one minidump in the
// machine's log folder, and the run ends normally.
#include "diagnostics/crash_dump.h"
#include "diagnostics/flow_point.h"
#include "diagnostics/guarded_run.h"
#include "platform/service.h"
#include "tests/diagnostics/machine_log_folder.h"
#include "tests/diagnostics/minidump_reader.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

constexpr std::uint32_t kAccessViolation = 0xC0000005;
constexpr std::uint32_t kExceptionStream = 6;

struct Progress {
    bool beforeFault = false;
    bool afterFault = false;
};

int* volatile nowhere = nullptr;  // volatile, so the compiler cannot see the null

void FaultingBody(void* context) {
    auto& progress = *static_cast<Progress*>(context);
    FLOW_POINT("CrashTest", "FaultingBody");
    FLOW_RECORD(context, 7);
    progress.beforeFault = true;
    *nowhere = 1;
    progress.afterFault = true;
}

// The one dump the test left, its streams read from the file.
std::vector<MiniDumpStream> TheOnlyDump(const MachineLogFolder& folder) {
    const auto files = folder.NewFiles();
    EXPECT_EQ(files.size(), 1u);
    if (files.size() != 1)
        return {};
    EXPECT_TRUE(IsStampedName(files[0], L"LumoDiscoveryHelper_crash_", L".dmp"))
        << std::filesystem::path(files[0]).string();
    const auto streams = ReadMiniDumpStreams(folder.Read(files[0]));
    EXPECT_TRUE(streams.has_value());
    return streams.value_or(std::vector<MiniDumpStream>{});
}

TEST(CrashDumpUnderWindows, FaultLeavesOneDumpWithFlowLogAndAccessViolation) {
    MachineLogFolder folder;
    folder.Create();
    Progress progress;
    RunGuarded(FaultingBody, &progress);
    EXPECT_TRUE(progress.beforeFault);
    EXPECT_FALSE(progress.afterFault);
    // Nothing has been recorded since the fault, so the log reads as it did then.
    const std::string flowLogAtFault = RenderFlowLogText();
    ASSERT_NE(flowLogAtFault.find("in_class CrashTest at FaultingBody"), std::string::npos);

    const auto streams = TheOnlyDump(folder);
    const auto flowLog = StreamsOfType(streams, 0x10000);
    ASSERT_EQ(flowLog.size(), 1u);
    EXPECT_EQ(flowLog[0], flowLogAtFault);
    const auto exception = StreamsOfType(streams, kExceptionStream);
    ASSERT_EQ(exception.size(), 1u);
    // ThreadId, alignment, then the exception record starting with its code.
    EXPECT_EQ(ReadU32(exception[0], 8), kAccessViolation);
}

}  // namespace
