#include "diagnostics/crash_dump.h"

#include "diagnostics/flow_point.h"
#include "diagnostics/log_files.h"
#include "platform/service.h"
#include "platform/structured_guard.h"

#include <atomic>
#include <string>

namespace {

// Set while a dump is being written; a second failing thread must not start another.
std::atomic<int> dumpInProgress{0};

Orvane::Platform::MiniDumpWriter& Writer() {
    return Orvane::Platform::Get<Orvane::Platform::MiniDumpWriter>();
}

// The flow log's text for the user stream; empty when it cannot be built (the dump is then
// written without it).
std::string FlowLogTextOrNothing() {
    try {
        return RenderFlowLogText();
    } catch (...) {
        return {};
    }
}

bool WriteDumpInto(Orvane::Platform::DumpFile file, Orvane::Platform::ExceptionPointers* exception,
                   std::uint32_t* error) {
    const std::string flowLog = FlowLogTextOrNothing();
    if (!flowLog.empty() &&
        WriteMiniDump(file, exception, kFlowLogStreamType,
                      static_cast<std::uint32_t>(flowLog.size()), flowLog.data(), error))
        return true;
    return WriteMiniDump(file, exception, 0, 0, nullptr, error);
}

}  // namespace

void WriteCrashDumpOnException(Orvane::Platform::ExceptionPointers* exception) noexcept {
    try {
        const std::wstring stamp = FileTimeStamp(Orvane::Platform::CurrentLocalTime());
        const std::optional<std::wstring> folder = MakerLogFolder(kMakerFolder);
        if (!folder)
            return;
        const std::wstring path = *folder + kProgramName + L"_crash_" + stamp + L".dmp";
        std::uint32_t error = 0;
        WriteCrashDump(path.c_str(), exception, &error);
    } catch (...) {
    }
}

bool WriteCrashDump(const wchar_t* path, Orvane::Platform::ExceptionPointers* exception,
                    std::uint32_t* error) {
    if (error)
        *error = 0;
    if (dumpInProgress.exchange(1) != 0)
        return false;
    bool written = false;
    try {
        std::wstring fullPath = path;
        if (fullPath.find(L'\\') == std::wstring::npos) {
            const std::optional<std::wstring> folder = MakerLogFolder(kMakerFolder);
            fullPath = folder ? *folder + fullPath : std::wstring();
        }
        if (!fullPath.empty()) {
            if (Orvane::Platform::DumpFile file = Writer().CreateDumpFile(fullPath.c_str())) {
                written = WriteDumpInto(file, exception, error);
                Writer().CloseDumpFile(file);
            }
        }
    } catch (...) {
        written = false;
    }
    dumpInProgress.exchange(0);
    return written;
}

bool WriteMiniDump(Orvane::Platform::DumpFile file, Orvane::Platform::ExceptionPointers* exception,
                   std::uint32_t userStreamType, std::uint32_t userStreamSize,
                   const void* userStreamBuffer, std::uint32_t* error) {
    if (error)
        *error = 0;
    const Orvane::Platform::DumpUserStream stream{userStreamType, userStreamSize, userStreamBuffer};
    std::uint32_t lastError = 0;
    const int result =
        Writer().WriteDump(file, kCrashDumpType, Orvane::Platform::FaultingThreadId(), exception,
                           userStreamType != 0 ? &stream : nullptr, lastError);
    if (result == 1)
        return true;
    if (error)
        *error = lastError;
    return false;
}
