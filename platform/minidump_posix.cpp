#include "platform/minidump.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// Linux has no minidumps: no dump file ever opens, so no dump is ever written.
class AbsentMiniDumpWriter final : public MiniDumpWriter {
  public:
    DumpFile CreateDumpFile(const wchar_t*) override { return nullptr; }
    void CloseDumpFile(DumpFile) override {}
    int WriteDump(DumpFile, std::uint32_t, std::uint32_t, ExceptionPointers*, const DumpUserStream*,
                  std::uint32_t& lastError) override {
        lastError = kNotSupported;
        return 0;
    }

  private:
    static constexpr std::uint32_t kNotSupported = 50;  // the system's "not supported"
};

}  // namespace

template <>
MiniDumpWriter& DefaultService<MiniDumpWriter>() {
    static AbsentMiniDumpWriter service;
    return service;
}

}  // namespace Orvane::Platform
