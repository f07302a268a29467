// The exit dump into the machine's real log folder, with the registry answer faked.
#include "diagnostics/flow_log_dump_on_exit.h"
#include "diagnostics/flow_point.h"
#include "platform/service.h"
#include "platform/testing/fake_debug_output.h"
#include "platform/testing/fake_registry.h"
#include "tests/diagnostics/machine_log_folder.h"

#include <gtest/gtest.h>

namespace {

using Orvane::Platform::ScopedOverride;

std::string WithCrLf(const std::string& text) {
    std::string converted;
    for (const char c : text) {
        if (c == '\n')
            converted += '\r';
        converted += c;
    }
    return converted;
}

class ExitDumpUnderWindows : public ::testing::Test {
  protected:
    Orvane::Platform::Testing::FakeRegistry registry;
    Orvane::Platform::Testing::FakeDebugOutput debugOutput;
    ScopedOverride<Orvane::Platform::Registry> registryOverride{registry};
    ScopedOverride<Orvane::Platform::DebugOutput> debugOutputOverride{debugOutput};
    MachineLogFolder folder;
};

TEST_F(ExitDumpUnderWindows, EnabledWritesTheFlowLogAsTextFile) {
    registry.SetMachineDword(L"Software\\Orvane\\Talvex4\\Logging", L"DumpFlowOnExit", 1);
    folder.Create();
    FLOW_POINT("ExitDumpTest", "BeforeExit");
    FLOW_RECORD(this, 3);
    FlowLogDumpOnExitHelper(L"LumoDiscoveryHelper").Run();

    const auto files = folder.NewFiles();
    ASSERT_EQ(files.size(), 1u);
    EXPECT_TRUE(IsStampedName(files[0], L"LumoDiscoveryHelper_exit_", L".log"));
    const std::string content = folder.Read(files[0]);
    EXPECT_EQ(content, WithCrLf(RenderFlowLogText()));
    EXPECT_NE(content.find("in_class ExitDumpTest at BeforeExit"), std::string::npos);
    EXPECT_EQ(debugOutput.WideTexts().size(), 2u);
}

TEST_F(ExitDumpUnderWindows, NoFileWhenDisabledUnnamedOrWithoutFolder) {
    struct Case {
        std::uint32_t value;
        const wchar_t* programName;
        bool folderExists;
    };
    const Case cases[] = {
        {0, L"LumoDiscoveryHelper", true},
        {1, L"", true},
        {1, L"LumoDiscoveryHelper", false},
    };
    for (const Case& c : cases) {
        registry.SetMachineDword(L"Software\\Orvane\\Talvex4\\Logging", L"DumpFlowOnExit", c.value);
        if (c.folderExists)
            folder.Create();
        else
            folder.Remove();
        FlowLogDumpOnExitHelper(c.programName).Run();
        EXPECT_TRUE(folder.NewFiles().empty()) << c.value;
        EXPECT_EQ(folder.Exists(), c.folderExists);
    }
    EXPECT_EQ(debugOutput.WideTexts().size(), 6u);
}

}  // namespace
