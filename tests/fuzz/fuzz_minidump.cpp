// Any file handed to lumo-dump: the reader checks every offset and size against the bytes
// it was given, and the report of whatever it accepts reads only what the reader kept. The
// stacks are walked with the dump's own bytes as the only memory. An input may carry a
// program file after the dump, its offset in the input's last four bytes: that file then
// stands for every module (its unwind data, code and names), as if it lay beside the dump;
// else the input's own bytes are every module's unwind data. The trace of the dump's flow
// log, and of the file read as an exit log, keeps the format's rules whatever the log holds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <variant>

#include "tests/lumo_dump_trace/trace_rules.h"
#include "tools/lumo-dump/lib/dump_report.h"
#include "tools/lumo-dump/lib/flow_trace.h"

namespace {

// The program file after the dump, if the input's last four bytes give where one begins.
std::optional<LumoDump::PeImage> ProgramAfterDump(std::span<const std::uint8_t> input) {
    if (input.size() < 4) {
        return std::nullopt;
    }
    const std::size_t end = input.size() - 4;
    const std::size_t at =
        input[end] | input[end + 1] << 8 | input[end + 2] << 16 | std::size_t{input[end + 3]} << 24;
    auto read = at < end ? LumoDump::PeImage::Read(input.subspan(at, end - at)) : std::string();
    auto* image = std::get_if<LumoDump::PeImage>(&read);
    return image ? std::optional(std::move(*image)) : std::nullopt;
}

class InputAsModules final : public LumoDump::ModuleData {
  public:
    explicit InputAsModules(std::span<const std::uint8_t> input)
        : m_image(ProgramAfterDump(input)) {
        const auto table = m_image
                               ? m_image->Directory(LumoDump::kExceptionDirectory)
                                     .value_or(LumoDump::PeDirectory{0, 0})
                               : LumoDump::PeDirectory{0, static_cast<std::uint32_t>(input.size())};
        m_unwind = {
            [this, input](std::uint32_t rva,
                          std::uint32_t size) -> std::optional<std::span<const std::uint8_t>> {
                if (m_image) {
                    return m_image->BytesAt(rva, size);
                }
                if (rva > input.size() || size > input.size() - rva) {
                    return std::nullopt;
                }
                return input.subspan(rva, size);
            },
            table.rva, table.size};
        if (m_image) {
            m_symbols.emplace(LumoDump::ModuleSymbols::Read(
                *m_image, m_unwind.bytesAt(table.rva, table.size).value_or(input.first(0))));
        }
    }

    const LumoDump::PeImage* Image(const LumoDump::DumpModule&) const override {
        return m_image ? &*m_image : nullptr;
    }
    const LumoDump::UnwindImage* Unwind(const LumoDump::DumpModule&) const override {
        return &m_unwind;
    }
    std::optional<LumoDump::SourcePlace> Place(const LumoDump::DumpModule&,
                                               std::uint32_t rva) const override {
        return m_symbols ? m_symbols->Lookup(rva) : std::nullopt;
    }

  private:
    std::optional<LumoDump::PeImage> m_image;
    std::optional<LumoDump::ModuleSymbols> m_symbols;
    LumoDump::UnwindImage m_unwind;
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
