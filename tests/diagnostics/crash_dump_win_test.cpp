// The real thing under Windows: a fault inside the guarded run leaves one minidump in the
// machine's log folder, and the run ends normally.
#include "diagnostics/crash_dump.h"
#include "diagnostics/flow_point.h"
#include "diagnostics/guarded_run.h"
#include "platform/service.h"
#include "tests/diagnostics/machine_log_folder.h"
#include "tools/lumo-dump/lib/minidump_file.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

constexpr std::uint32_t kAccessViolation = 0xC0000005;

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

    const auto files = folder.NewFiles();
    ASSERT_EQ(files.size(), 1u);
    // Its stamp is the crash dump's own test's concern.
    EXPECT_EQ(files[0].rfind(L"LumoDiscoveryHelper_crash_", 0), 0u)
        << std::filesystem::path(files[0]).string();
    const std::string bytes = folder.Read(files[0]);
    const auto read =
        LumoDump::ReadMinidump({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    const auto* dump = std::get_if<LumoDump::Minidump>(&read);
    ASSERT_NE(dump, nullptr);
    EXPECT_EQ(dump->flowLog, flowLogAtFault);
    ASSERT_TRUE(dump->exception.has_value());
    EXPECT_EQ(dump->exception->code, kAccessViolation);
}

}  // namespace
