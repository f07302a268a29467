// The real thing under Windows: a fault inside the guarded run leaves one minidump in the
// machine's log folder, and the run ends normally; the dump reader reads it back.
#include "diagnostics/crash_dump.h"
#include "diagnostics/flow_point.h"
#include "diagnostics/guarded_run.h"
#include "platform/service.h"
#include "tests/diagnostics/machine_log_folder.h"
#include "tools/lumo-dump/lib/minidump_file.h"
#include "tools/lumo-dump/lib/module_files.h"
#include "tools/lumo-dump/lib/thread_stacks.h"

#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <variant>

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

// The one dump the run left, read by the dump reader; its bytes kept for what refers into them.
struct LeftDump {
    std::string bytes;
    std::variant<LumoDump::Minidump, std::string> read;
};

LeftDump OnlyDumpIn(MachineLogFolder& folder) {
    const auto files = folder.NewFiles();
    EXPECT_EQ(files.size(), 1u);
    if (files.empty())
        return {{}, std::string("no dump")};
    // Its stamp is the crash dump's own test's concern.
    EXPECT_EQ(files[0].rfind(L"LumoDiscoveryHelper_crash_", 0), 0u)
        << std::filesystem::path(files[0]).string();
    LeftDump left{folder.Read(files[0]), std::string()};
    left.read = LumoDump::ReadMinidump(
        {reinterpret_cast<const std::uint8_t*>(left.bytes.data()), left.bytes.size()});
    return left;
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

    const LeftDump left = OnlyDumpIn(folder);
    const auto* dump = std::get_if<LumoDump::Minidump>(&left.read);
    ASSERT_NE(dump, nullptr);
    EXPECT_EQ(dump->flowLog, flowLogAtFault);
    ASSERT_TRUE(dump->exception.has_value());
    EXPECT_EQ(dump->exception->code, kAccessViolation);
}

// A rethrown exception is a stand-in for the one first thrown: the dump must keep the
// header of both for a reader to tell what was thrown.
TEST(CrashDumpUnderWindows, ARethrownExceptionLeavesADumpThatNamesItsType) {
    MachineLogFolder folder;
    folder.Create();
    RunGuarded([](void*) { std::rethrow_exception(std::make_exception_ptr(std::range_error(""))); },
               nullptr);
    const LeftDump left = OnlyDumpIn(folder);
    const auto* dump = std::get_if<LumoDump::Minidump>(&left.read);
    ASSERT_NE(dump, nullptr);
    ASSERT_FALSE(dump->modules.empty());
    // The program's own module comes first; its file holds the type's name.
    const auto files = LumoDump::ModuleFiles::Find(
        *dump, {std::filesystem::path(dump->modules[0].path).parent_path()});
    const auto thrown = LumoDump::CxxThrownType(*dump, files);
    ASSERT_TRUE(thrown.has_value());
    EXPECT_EQ(thrown->name, "std::range_error") << thrown->whyUnknown;
}

}  // namespace
