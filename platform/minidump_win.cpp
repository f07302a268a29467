#include "platform/minidump.h"

#include "platform/service.h"
#include "platform/windows_api.h"

#include <dbghelp.h>

#include <cstring>

namespace Orvane::Platform {
namespace {

// GCC raises a C++ exception with its _Unwind_Exception, which ends libstdc++'s exception
// header on the heap; the thrown type is the header's first word. The dump type saves no
// heap (and Wine's writer adds no memory a callback asks for), so the header travels in a
// stream of its own, as records of start, size and bytes: a reader can then name the type.
// For a rethrown exception_ptr the header is a dependent one, whose first word points at
// the thrown object; the object's own header goes along.
constexpr ULONG kSavedMemoryStream = 0x10001;
constexpr DWORD kGccCxxException = 0x20474343;
constexpr ULONG64 kDependentClass = 0x474E5543432B2B01;  // "GNUCC++\x01"
constexpr ULONG kHeaderSize = 144;                       // the thrown object follows it
constexpr ULONG64 kUnwindPartAt = 80;

struct SavedHeaders {
    unsigned char bytes[2 * (12 + kHeaderSize)];
    ULONG size = 0;

    void Add(ULONG64 start) {
        std::memcpy(bytes + size, &start, 8);
        std::memcpy(bytes + size + 8, &kHeaderSize, 4);
        std::memcpy(bytes + size + 12, reinterpret_cast<const void*>(start), kHeaderSize);
        size += 12 + kHeaderSize;
    }
};

SavedHeaders CxxExceptionHeaders(const ExceptionPointers* exception) {
    SavedHeaders saved;
    const EXCEPTION_RECORD* record = exception ? exception->ExceptionRecord : nullptr;
    if (!record || record->ExceptionCode != kGccCxxException || record->NumberParameters < 1 ||
        record->ExceptionInformation[0] == 0)
        return saved;
    const ULONG64 unwindPart = record->ExceptionInformation[0];
    saved.Add(unwindPart - kUnwindPartAt);
    if (*reinterpret_cast<const ULONG64*>(unwindPart) == kDependentClass)
        saved.Add(*reinterpret_cast<const ULONG64*>(unwindPart - kUnwindPartAt) - kHeaderSize);
    return saved;
}

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
        MINIDUMP_USER_STREAM stream[2]{};
        MINIDUMP_USER_STREAM_INFORMATION streams{0, stream};
        SavedHeaders saved = CxxExceptionHeaders(exception);
        if (userStream) {
            stream[0].Type = userStream->type;
            stream[0].BufferSize = userStream->size;
            stream[0].Buffer = const_cast<void*>(userStream->buffer);
            // Only beside the flow log: the write without it is the plainest there is.
            stream[1] = {kSavedMemoryStream, saved.size, saved.bytes};
            streams.UserStreamCount = saved.size ? 2 : 1;
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
