// The oracle of lumo-dump's stacks: while the guard writes a crash dump, the system's own
// unwinder (RtlLookupFunctionEntry, RtlVirtualUnwind) walks the faulting context, and its
// frames go beside the dump as "<dump>.unwind", a JSON line each: rip, rsp, and whether rip
// lies in a module (the last line when it does not: the walk has left the code). Test
// programs install it in place of the dump writer; the release never links it.
#include "tests/e2e/unwind_recorder_win.h"

#include <cstdio>
#include <string>

#include "platform/minidump.h"
#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

void Record(CONTEXT context, const std::wstring& path) {
    FILE* out = _wfopen(path.c_str(), L"w");
    for (int frames = 0; out && frames < 1024 && context.Rip != 0; ++frames) {
        HMODULE module = nullptr;
        const bool inModule = GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(context.Rip), &module);
        std::fprintf(out, "{\"rip\":%llu,\"rsp\":%llu,\"inModule\":%s}\n", context.Rip, context.Rsp,
                     inModule ? "true" : "false");
        const DWORD64 rsp = context.Rsp;
        DWORD64 base = 0, frame = 0;
        void* handlerData = nullptr;
        if (!inModule) {
            break;
        } else if (RUNTIME_FUNCTION* entry = RtlLookupFunctionEntry(context.Rip, &base, nullptr)) {
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, entry, &context, &handlerData,
                             &frame, nullptr);
        } else {  // a leaf
            context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
            context.Rsp += 8;
        }
        if (context.Rsp <= rsp)
            break;
    }
    if (out)
        std::fclose(out);
}

class RecordingWriter final : public MiniDumpWriter {
  public:
    DumpFile CreateDumpFile(const wchar_t* path) override {
        m_path = path;
        return m_system.CreateDumpFile(path);
    }
    void CloseDumpFile(DumpFile file) override { m_system.CloseDumpFile(file); }
    int WriteDump(DumpFile file, std::uint32_t dumpType, std::uint32_t threadId,
                  ExceptionPointers* exception, const DumpUserStream* userStream,
                  std::uint32_t& lastError) override {
        if (exception)
            Record(*exception->ContextRecord, m_path + L".unwind");
        return m_system.WriteDump(file, dumpType, threadId, exception, userStream, lastError);
    }

  private:
    MiniDumpWriter& m_system = DefaultService<MiniDumpWriter>();
    std::wstring m_path;
};

}  // namespace
}  // namespace Orvane::Platform

void RecordSystemUnwindBesideDumps() {
    static Orvane::Platform::RecordingWriter writer;
    static Orvane::Platform::ScopedOverride<Orvane::Platform::MiniDumpWriter> installed(writer);
}
