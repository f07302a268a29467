// Any file handed to lumo-dump: the reader checks every offset and size against the bytes
// it was given, and the report of whatever it accepts reads only what the reader kept. The
// stacks are walked with the dump's own bytes as the only memory and as every module's
// unwind data. The trace of the dump's flow log, and of the file read as an exit log, keeps
// the format's rules whatever the log holds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <variant>

#include "tests/lumo_dump_trace/trace_rules.h"
#include "tools/lumo-dump/lib/dump_report.h"
#include "tools/lumo-dump/lib/flow_trace.h"

namespace {

class InputAsModules final : public LumoDump::ModuleData {
  public:
    explicit InputAsModules(std::span<const std::uint8_t> input)
        : unwind_{[input](std::uint32_t rva,
                          std::uint32_t size) -> std::optional<std::span<const std::uint8_t>> {
                      if (rva > input.size() || size > input.size() - rva) {
                          return std::nullopt;
                      }
                      return input.subspan(rva, size);
                  },
                  0, static_cast<std::uint32_t>(input.size())} {}

    const LumoDump::PeImage* Image(const LumoDump::DumpModule&) const override { return nullptr; }
    const LumoDump::UnwindImage* Unwind(const LumoDump::DumpModule&) const override {
        return &unwind_;
    }
    std::optional<LumoDump::SourcePlace> Place(const LumoDump::DumpModule&,
                                               std::uint32_t) const override {
        return std::nullopt;
    }

  private:
    LumoDump::UnwindImage unwind_;
};

void CheckRules(const std::string& trace) {
    if (!TraceRuleBreaks(trace).empty()) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto read = LumoDump::ReadMinidump({data, size});
    if (const auto* dump = std::get_if<LumoDump::Minidump>(&read)) {
        const InputAsModules modules({data, size});
        const LumoDump::Findings findings{LumoDump::CxxThrownType(*dump, modules),
                                          LumoDump::ThreadStacks(*dump, modules, true),
                                          {}};
        LumoDump::TextReport(*dump, findings);
        LumoDump::JsonReport(*dump, findings);
        CheckRules(LumoDump::DumpTrace(*dump, findings));
    }
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto trace = LumoDump::ExitLogTrace(text, "fuzz")) {
        CheckRules(*trace);
    }
    return 0;
}
