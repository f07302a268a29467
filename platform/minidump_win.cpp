#include "platform/minidump.h"

#include "platform/service.h"
#include "platform/windows_api.h"

#include <dbghelp.h>

namespace Orvane::Platform {
namespace {

// Keeps every thread and module with what the dump type asks for; adds no memory ranges of
// its own and never cancels, so a dump from a failing process stays as small and as quick
// as the type allows.
BOOL CALLBACK KeepEverythingListed(void*, const PMINIDUMP_CALLBACK_INPUT input,
                                   PMINIDUMP_CALLBACK_OUTPUT output) {
    if (input == nullptr || output == nullptr)
        return FALSE;
    switch (input->CallbackType) {
        case MemoryCallback:
            return FALSE;
        case CancelCallback:
            output->Cancel = FALSE;
            output->CheckCancel = FALSE;
            return TRUE;
        default:
            return TRUE;
    }
}

class Win32MiniDumpWriter final : public MiniDumpWriter {
  public:
    DumpFile CreateDumpFile(const wchar_t* path) override {
        HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH, nullptr);
        return file == INVALID_HANDLE_VALUE ? nullptr : file;
    }

    void CloseDumpFile(DumpFile file) override { CloseHandle(file); }

    int WriteDump(DumpFile file, std::uint32_t dumpType, std::uint32_t threadId,
                  ExceptionPointers* exception, const DumpUserStream* userStream,
                  std::uint32_t& lastError) override {
        MINIDUMP_EXCEPTION_INFORMATION exceptionInfo{threadId, exception, FALSE};
        MINIDUMP_USER_STREAM stream{};
        MINIDUMP_USER_STREAM_INFORMATION streams{0, &stream};
        if (userStream) {
            stream.Type = userStream->type;
            stream.BufferSize = userStream->size;
            stream.Buffer = const_cast<void*>(userStream->buffer);
            streams.UserStreamCount = 1;
        }
        MINIDUMP_CALLBACK_INFORMATION callback{KeepEverythingListed, nullptr};
        const BOOL result = MiniDumpWriteDump(
            GetCurrentProcess(), GetCurrentProcessId(), file, static_cast<MINIDUMP_TYPE>(dumpType),
            exception ? &exceptionInfo : nullptr, userStream ? &streams : nullptr, &callback);
        lastError = GetLastError();
        return result;
    }
};

}  // namespace

template <>
MiniDumpWriter& DefaultService<MiniDumpWriter>() {
    static Win32MiniDumpWriter service;
    return service;
}

}  // namespace Orvane::Platform
