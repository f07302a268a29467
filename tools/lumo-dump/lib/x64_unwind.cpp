#include "tools/lumo-dump/lib/x64_unwind.h"

#include <vector>

namespace LumoDump {
namespace {

// CONTEXT: six home slots, flags, segments, debug registers, then rax to r15 and rip.
constexpr std::size_t kContextRax = 0x78;
constexpr std::size_t kContextRip = 0xF8;
constexpr std::size_t kFunctionEntrySize = 12;  // begin, end, unwind information
constexpr std::uint8_t kChainedInfo = 4;
constexpr int kMaximumChain = 32;

enum Op : std::uint8_t {
    kPushNonvolatile,
    kAllocLarge,
    kAllocSmall,
    kSetFramePointer,
    kSaveNonvolatile,
    kSaveNonvolatileFar,
    kEpilogOrSaveXmm,  // version 2: where an epilogue lies; version 1: an xmm save
    kSpareOrSaveXmmFar,
    kSaveXmm128,
    kSaveXmm128Far,
    kPushMachineFrame,
};
// The 16-bit slots each operation takes, its own included.
constexpr std::uint8_t kSlots[] = {1, 2, 1, 1, 2, 3, 2, 3, 2, 3, 1};

std::uint32_t Le(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
        value = value << 8 | bytes[at + i];
    }
    return value;
}

struct FunctionEntry {
    std::uint32_t begin;
    std::uint32_t unwindInfo;
};

// The function table's entry whose range holds the address (entries are sorted by begin).
std::optional<FunctionEntry> FindEntry(const UnwindImage& image, std::uint32_t rva) {
    std::uint32_t low = 0;
    std::uint32_t high = image.functionTableSize / kFunctionEntrySize;
    while (low < high) {
        const std::uint32_t middle = low + (high - low) / 2;
        const auto entry =
            image.bytesAt(image.functionTable + middle * kFunctionEntrySize, kFunctionEntrySize);
        if (!entry) {
            return std::nullopt;
        }
        if (rva < Le(*entry, 0, 4)) {
            high = middle;
        } else if (rva >= Le(*entry, 4, 4)) {
            low = middle + 1;
        } else {
            return FunctionEntry{Le(*entry, 0, 4), Le(*entry, 8, 4)};
        }
    }
    return std::nullopt;
}

class Unwinder {
  public:
    Unwinder(Registers& registers, const StackBytes& stack)
        : m_registers(registers), m_stack(stack) {}

    std::optional<Unwound> Fail(Unwound why) {
        m_failed = why;
        return why;
    }

    // Undoes one unwind information's codes; a result ends the step (a failure or a machine
    // frame). `prologOffset` is how far into the prologue the frame is, when it is in it.
    std::optional<Unwound> Apply(std::span<const std::uint8_t> codes, std::uint8_t frame,
                                 std::optional<std::uint32_t> prologOffset) {
        struct Code {
            std::uint8_t op, info;
            std::uint32_t operand;
            bool applies;
        };
        std::vector<Code> parsed;
        for (std::size_t i = 0; i < codes.size();) {
            const std::uint8_t op = codes[i + 1] % 16;
            const std::uint8_t info = codes[i + 1] / 16;
            const std::size_t slots = op == kAllocLarge && info == 1 ? 3 : op < 11 ? kSlots[op] : 0;
            if (slots == 0 || i + slots * 2 > codes.size()) {
                return Fail(Unwound::kBadUnwindData);
            }
            parsed.push_back({op, info, slots == 1 ? 0 : Le(codes, i + 2, slots == 2 ? 2 : 4),
                              !prologOffset || codes[i] <= *prologOffset});
            i += slots * 2;
        }
        // Saves are addressed from the frame pointer once the prologue has set it.
        const int frameRegister = frame & 15;
        std::uint64_t base = m_registers.value[Registers::kRsp];
        for (const Code& code : parsed) {
            if (code.op == kSetFramePointer && code.applies) {
                if (frameRegister == 0 || !Known(frameRegister)) {
                    return Fail(Unwound::kRegisterUnknown);
                }
                base = m_registers.value[frameRegister] - (frame >> 4) * 16;
            }
        }
        for (const Code& code : parsed) {
            if (code.applies) {
                if (auto end = Undo(code.op, code.info, code.operand, base)) {
                    return end;
                }
            }
        }
        return std::nullopt;
    }

    Unwound Return() {
        const auto address = Read(m_registers.value[Registers::kRsp]);
        m_registers.rip = address.value_or(0);
        m_registers.value[Registers::kRsp] += 8;
        return m_failed.value_or(Unwound::kCaller);
    }

  private:
    bool Known(int reg) const { return m_registers.known >> reg & 1; }

    std::optional<std::uint64_t> Read(std::uint64_t address) {
        const auto value = m_stack(address);
        if (!value) {
            m_failed = Unwound::kStackNotInDump;
        }
        return value;
    }

    void Restore(int reg, std::uint64_t from) {
        m_registers.value[reg] = Read(from).value_or(0);
        m_registers.known |= static_cast<std::uint16_t>(1u << reg);
    }

    std::optional<Unwound> Undo(std::uint8_t op, std::uint8_t info, std::uint32_t operand,
                                std::uint64_t base) {
        std::uint64_t& rsp = m_registers.value[Registers::kRsp];
        switch (op) {
            case kPushNonvolatile:
                Restore(info, rsp);
                rsp += 8;
                break;
            case kAllocLarge:
                rsp += info == 0 ? operand * 8ull : operand;
                break;
            case kAllocSmall:
                rsp += info * 8 + 8;
                break;
            case kSetFramePointer:
                rsp = base;
                break;
            case kSaveNonvolatile:
                Restore(info, base + operand * 8ull);
                break;
            case kSaveNonvolatileFar:
                Restore(info, base + operand);
                break;
            case kPushMachineFrame: {
                // An error code, then rip, cs, eflags, rsp, ss as the processor pushed them.
                const std::uint64_t at = rsp + (info ? 8 : 0);
                m_registers.rip = Read(at).value_or(0);
                rsp = Read(at + 24).value_or(0);
                return m_failed.value_or(Unwound::kInterrupted);
            }
            default:  // the xmm registers and epilogues play no part in finding frames
                break;
        }
        return m_failed;
    }

    Registers& m_registers;
    const StackBytes& m_stack;
    std::optional<Unwound> m_failed;
};

// The length of a ModRM-addressed operand (ModRM, SIB, displacement) that starts at `at`.
std::size_t OperandLength(std::span<const std::uint8_t> bytes, std::size_t at) {
    const int mod = bytes[at] >> 6;
    const int rm = bytes[at] & 7;
    const bool sib = mod != 3 && rm == 4;
    const bool sibWithoutBase =
        sib && mod == 0 && at + 1 < bytes.size() && (bytes[at + 1] & 7) == 5;
    const std::size_t displacement = mod == 1                                              ? 1
                                     : mod == 2 || (mod == 0 && rm == 5) || sibWithoutBase ? 4
                                                                                           : 0;
    return 1 + sib + displacement;
}

}  // namespace

std::optional<Registers> Registers::FromContext(std::span<const std::uint8_t> context) {
    if (context.size() < kContextRip + 8) {
        return std::nullopt;
    }
    Registers registers;
    for (std::size_t i = 0; i < registers.value.size(); ++i) {
        registers.value[i] = Le(context, kContextRax + i * 8, 4) |
                             std::uint64_t{Le(context, kContextRax + i * 8 + 4, 4)} << 32;
    }
    registers.rip = Le(context, kContextRip, 4) | std::uint64_t{Le(context, kContextRip + 4, 4)}
                                                      << 32;
    return registers;
}

Unwound UnwindFrame(const UnwindImage& image, std::uint32_t rva, bool atInstruction,
                    Registers& registers, const StackBytes& stack) {
    // A return address may follow a call that ends its function: look up the call itself.
    const std::uint32_t at = atInstruction || rva == 0 ? rva : rva - 1;
    std::optional<FunctionEntry> entry = FindEntry(image, at);
    Unwinder unwinder(registers, stack);
    std::optional<std::uint32_t> prologOffset;
    if (entry && atInstruction) {
        prologOffset = at - entry->begin;
    }
    for (int depth = 0; entry; ++depth) {
        const auto header = image.bytesAt(entry->unwindInfo, 4);
        const int version = header ? (*header)[0] & 7 : 0;
        if (depth == kMaximumChain || (version != 1 && version != 2)) {
            return Unwound::kBadUnwindData;
        }
        const std::uint8_t count = (*header)[2];
        const auto codes = image.bytesAt(entry->unwindInfo + 4, count * 2u);
        if (!codes) {
            return Unwound::kBadUnwindData;
        }
        // Version 2 adds codes that only tell where epilogues lie.
        if (auto end = unwinder.Apply(
                *codes, (*header)[3],
                prologOffset && *prologOffset < (*header)[1] ? prologOffset : std::nullopt)) {
            return *end;
        }
        const std::uint32_t chainAt = entry->unwindInfo + 4 + ((count + 1u) & ~1u) * 2;
        entry.reset();
        if ((*header)[0] >> 3 & kChainedInfo) {
            const auto chained = image.bytesAt(chainAt, kFunctionEntrySize);
            if (!chained) {
                return Unwound::kBadUnwindData;
            }
            entry = FunctionEntry{Le(*chained, 0, 4), Le(*chained, 8, 4)};
            prologOffset.reset();  // the chained entry's prologue ran before this part
        }
    }
    return unwinder.Return();
}

bool FollowsCall(const ImageBytes& bytesAt, std::uint32_t rva) {
    if (const auto near = rva >= 5 ? bytesAt(rva - 5, 5) : std::nullopt;
        near && (*near)[0] == 0xE8) {
        return true;
    }
    for (std::uint32_t length = 2; length <= 7 && length <= rva; ++length) {
        const auto bytes = bytesAt(rva - length, length);
        if (bytes && (*bytes)[0] == 0xFF && ((*bytes)[1] >> 3 & 7) == 2 &&
            1 + OperandLength(*bytes, 1) == length) {
            return true;
        }
    }
    return false;
}

}  // namespace LumoDump
