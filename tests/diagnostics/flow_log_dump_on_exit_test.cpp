#include "diagnostics/flow_log_dump_on_exit.h"

#include "platform/service.h"
#include "platform/testing/fake_debug_output.h"
#include "platform/testing/fake_registry.h"
#include "platform/testing/fake_special_folders.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <vector>

namespace {

using Orvane::Platform::DebugOutput;
using Orvane::Platform::Registry;
using Orvane::Platform::ScopedOverride;
using Orvane::Platform::SpecialFolders;
using Orvane::Platform::Testing::FakeDebugOutput;
using Orvane::Platform::Testing::FakeRegistry;
using Orvane::Platform::Testing::FakeSpecialFolders;

const wchar_t kLoggingKey[] = L"Software\\Orvane\\Talvex4\\Logging";
const std::vector<std::wstring> kBothTexts = {
    L"Talvex | FlowLogDumpOnExitHelper checking registry...",
    L"Talvex | FlowLogDumpOnExitHelper - done."};

// The file itself is written only where a log folder exists (the Windows tests); here the
// machine has none.
class FlowLogDumpOnExit : public ::testing::Test {
  protected:
    FakeRegistry registry;
    FakeDebugOutput debugOutput;
    FakeSpecialFolders folders;
    ScopedOverride<Registry> registryOverride{registry};
    ScopedOverride<DebugOutput> debugOutputOverride{debugOutput};
    ScopedOverride<SpecialFolders> foldersOverride{folders};
};

TEST_F(FlowLogDumpOnExit, OnlyTheRunThatGivesUpTheLastHoldActs) {
    FlowLogDumpOnExitHelper first(L"LumoDiscoveryHelper");
    FlowLogDumpOnExitHelper second(L"LumoDiscoveryHelper");
    FlowLogDumpOnExitHelper third(L"LumoDiscoveryHelper");
    second.Run();
    first.Run();
    EXPECT_EQ(debugOutput.Count(), 0u);
    EXPECT_EQ(registry.Reads(), 0);
    third.Run();
    EXPECT_EQ(debugOutput.WideTexts(), kBothTexts);
    EXPECT_TRUE(debugOutput.NarrowTexts().empty());
    EXPECT_EQ(registry.Reads(), 1);
}

// Whatever throws inside the dump ends it at once, without the "done" text and without
// leaving Run (which would end the process).
struct ThrowingRegistry final : Registry {
    std::optional<std::uint32_t> ReadMachineDword(const wchar_t*, const wchar_t*) override {
        throw std::runtime_error("registry gone");
    }
};

TEST_F(FlowLogDumpOnExit, RegistryValueDecidesAndTheTextsComeEitherWay) {
    struct Case {
        const wchar_t* subKey;
        const wchar_t* valueName;
        std::optional<std::uint32_t> dword;  // empty: a value of another type
        bool dump;
    };
    {
        ThrowingRegistry throwing;
        ScopedOverride<Registry> use{throwing};
        FlowLogDumpOnExitHelper(L"LumoDiscoveryHelper").Run();
        EXPECT_EQ(debugOutput.WideTexts(), std::vector<std::wstring>{kBothTexts[0]});
    }
    const Case cases[] = {
        {nullptr, nullptr, 0, false},  // nothing in the registry
        {kLoggingKey, L"DumpFlowOnExit", 0, false},
        {kLoggingKey, L"DumpFlowOnExit", 1, true},
        {kLoggingKey, L"DumpFlowOnExit", 0x100, true},
        {kLoggingKey, L"DumpFlowOnExit", std::nullopt, false},
        {kLoggingKey, L"DumpFlowOnExitX", 1, false},
        {L"Software\\Wow6432Node\\Orvane\\Talvex4\\Logging", L"DumpFlowOnExit", 1, false},
        {L"Software\\Orvane\\Talvex4", L"DumpFlowOnExit", 1, false},
    };
    for (const Case& c : cases) {
        FakeRegistry local;
        FakeDebugOutput texts;
        ScopedOverride<Registry> localRegistry(local);
        ScopedOverride<DebugOutput> localTexts(texts);
        if (c.subKey && c.dword)
            local.SetMachineDword(c.subKey, c.valueName, *c.dword);
        else if (c.subKey)
            local.SetMachineText(c.subKey, c.valueName);
        EXPECT_EQ(FlowLogDumpOnExitHelper::ReadDumpFlowOnExit(), c.dump);

        FlowLogDumpOnExitHelper helper(L"LumoDiscoveryHelper");
        helper.Run();
        EXPECT_EQ(texts.WideTexts(), kBothTexts);
    }
}

}  // namespace
