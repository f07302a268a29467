#include "diagnostics/flow_log_dump_on_exit.h"
#include "diagnostics/flow_point.h"

#include "platform/service.h"
#include "platform/testing/fake_debug_output.h"
#include "platform/testing/fake_registry.h"
#include "platform/testing/fake_special_folders.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
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

// The exit log is the flow log as its text shows it, in a file of the program's name and the
// time in the machine's log folder. Off Windows the folder's backslashes are part of the name,
// so the file is looked for anywhere below the folder that the test gives.
TEST_F(FlowLogDumpOnExit, TheExitLogHoldsTheFlowLogUnderTheProgramsName) {
    const std::filesystem::path top =
        std::filesystem::temp_directory_path() /
        ("exit-log-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    std::filesystem::create_directories(top / "Orvane" / "Logs");
    folders.SetCommonAppData((top / "").wstring());
    registry.SetMachineDword(kLoggingKey, L"DumpFlowOnExit", 1);
    FLOW_POINT("ExitLogTest", "RecordedBeforeTheEnd");
    FLOW_RECORD(this, 4711);

    FlowLogDumpOnExitHelper(L"SomeProgram").Run();

    std::vector<std::filesystem::path> written;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(top)) {
        if (entry.is_regular_file())
            written.push_back(entry.path());
    }
    ASSERT_EQ(written.size(), 1u);
    const std::wstring name = written[0].filename().wstring();
    EXPECT_NE(name.find(L"SomeProgram_exit_"), std::wstring::npos) << written[0];
    EXPECT_EQ(name.substr(name.size() - 4), L".log");
    // Read and closed before the folder goes: Windows removes no file that is open.
    const std::string text = [&] {
        std::ifstream file(written[0]);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }();
    EXPECT_EQ(text, RenderFlowLogText());
    EXPECT_NE(text.find("RecordedBeforeTheEnd"), std::string::npos);
    std::filesystem::remove_all(top);
}

}  // namespace
