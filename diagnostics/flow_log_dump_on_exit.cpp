#include "diagnostics/flow_log_dump_on_exit.h"

#include "diagnostics/flow_point.h"
#include "diagnostics/log_files.h"
#include "platform/debug_output.h"
#include "platform/registry.h"
#include "platform/service.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>

namespace {

std::atomic<std::int32_t> holders{0};

void WriteExitLog(const wchar_t* programName) {
    const std::wstring stamp = FileTimeStamp(Orvane::Platform::CurrentLocalTime());
    const std::optional<std::wstring> folder = MakerLogFolder(kMakerFolder);
    if (!folder)
        return;
    const std::wstring path = *folder + programName + L"_exit_" + stamp + L".log";
    // Text mode, shared with readers; a missing folder makes the open fail.
    std::ofstream file(std::filesystem::path(path), std::ios::out);
    if (!file.is_open())
        return;
    RenderFlowLog(file);
}

}  // namespace

FlowLogDumpOnExitHelper::FlowLogDumpOnExitHelper(const wchar_t* programName)
    : programName_(programName) {
    holders.fetch_add(1);
}

void FlowLogDumpOnExitHelper::Run() noexcept {
    if (holders.fetch_sub(1) != 1)
        return;
    auto& debugOutput = Orvane::Platform::Get<Orvane::Platform::DebugOutput>();
    debugOutput.Write(L"Talvex | FlowLogDumpOnExitHelper checking registry...");
    try {
        if (ReadDumpFlowOnExit() && programName_ && *programName_)
            WriteExitLog(programName_);
    } catch (...) {
        return;
    }
    debugOutput.Write(L"Talvex | FlowLogDumpOnExitHelper - done.");
}

bool FlowLogDumpOnExitHelper::ReadDumpFlowOnExit() {
    const std::optional<std::uint32_t> value =
        Orvane::Platform::Get<Orvane::Platform::Registry>().ReadMachineDword(
            L"Software\\Orvane\\Talvex4\\Logging", L"DumpFlowOnExit");
    return value.value_or(0) != 0;
}
