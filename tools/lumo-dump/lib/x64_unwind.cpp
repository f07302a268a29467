#include "tools/lumo-dump/lib/x64_unwind.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "tools/lumo-dump/lib/x64_epilogue.h"

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
    std::uint32_t end;
    std::uint32_t unwindInfo;
};

FunctionEntry EntryAt(std::span<const std::uint8_t> entry) {
    return {Le(entry, 0, 4), Le(entry, 4, 4), Le(entry, 8, 4)};
}

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
            return EntryAt(*entry);
        }
    }
    return std::nullopt;
}

struct Code {
    std::uint8_t offset;  // where in the prologue the instruction it undoes ends
    std::uint8_t op, info;
    std::uint32_t operand;
};

// One unwind information record: its header, its codes, and the entry it is chained to.
struct UnwindInfo {
    std::uint8_t prologSize;
    int frameRegister;  // 0: none
    std::uint64_t frameOffset;
    bool chained;
    std::vector<Code> codes;
    std::optional<FunctionEntry> next;
};

// The 16-bit slots an operation takes, its own included; nothing for one undefined.
std::optional<std::size_t> Slots(std::uint8_t op, std::uint8_t info, int version) {
    if (op == kAllocLarge) {
        return info == 0 ? 2 : info == 1 ? std::optional<std::size_t>(3) : std::nullopt;
    }
    if (op == kSpareOrSaveXmmFar && version == 2) {
        return std::nullopt;
    }
    return op < std::size(kSlots) ? std::optional<std::size_t>(kSlots[op]) : std::nullopt;
}

std::optional<UnwindInfo> ReadInfo(const UnwindImage& image, std::uint32_t at) {
    const auto header = image.bytesAt(at, 4);
    const int version = header ? (*header)[0] & 7 : 0;
    if (version != 1 && version != 2) {
        return std::nullopt;
    }
    const std::uint8_t count = (*header)[2];
    const auto codes = image.bytesAt(at + 4, count * 2u);
    if (!codes) {
        return std::nullopt;
    }
    UnwindInfo info{(*header)[1],
                    (*header)[3] & 15,
                    ((*header)[3] >> 4) * 16ull,
                    ((*header)[0] >> 3 & kChainedInfo) != 0,
                    {},
                    std::nullopt};
    for (std::size_t i = 0; i < codes->size();) {
        const std::uint8_t op = (*codes)[i + 1] % 16;
        const std::uint8_t opInfo = (*codes)[i + 1] / 16;
        const auto slots = Slots(op, opInfo, version);
        if (!slots || i + *slots * 2 > codes->size()) {
            return std::nullopt;
        }
        info.codes.push_back(
            {(*codes)[i], op, opInfo, *slots == 1 ? 0 : Le(*codes, i + 2, *slots == 2 ? 2 : 4)});
        i += *slots * 2;
    }
    if (info.chained) {
        const auto chained = image.bytesAt(at + 4 + ((count + 1u) & ~1u) * 2, kFunctionEntrySize);
        if (!chained) {
            return std::nullopt;
        }
        info.next = EntryAt(*chained);
    }
    return info;
}

class Unwinder {
  public:
    Unwinder(Registers& registers, const StackBytes& stack)
        : m_registers(registers), m_stack(stack) {}

    // The frame's base, which saves are addressed from: its frame register less the offset
    // once the prologue has set it, else rsp where the function stands.
    std::optional<Unwound> SetBase(const UnwindInfo& info, bool frameRegisterSet) {
        if (info.frameRegister == 0 || !frameRegisterSet) {
            return std::nullopt;
        }
        if (!Known(info.frameRegister)) {
            return Fail(Unwound::kRegisterUnknown);
        }
        m_base = m_registers.value[info.frameRegister] - info.frameOffset;
        return std::nullopt;
    }

    // Undoes the codes of one unwind information whose instructions have run; a result ends
    // the step (a failure or a machine frame).
    std::optional<Unwound> Undo(const UnwindInfo& info, std::uint32_t prologOffset) {
        for (const Code& code : info.codes) {
            if (code.offset <= prologOffset) {
                if (auto end = Undo(info, code)) {
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
    std::optional<Unwound> Fail(Unwound why) {
        m_failed = why;
        return why;
    }

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

    std::optional<Unwound> Undo(const UnwindInfo& unwindInfo, const Code& code) {
        std::uint64_t& rsp = m_registers.value[Registers::kRsp];
        const std::uint8_t info = code.info;
        switch (code.op) {
            case kPushNonvolatile:
                Restore(info, rsp);
                rsp += 8;
                break;
            case kAllocLarge:
                rsp += info == 0 ? code.operand * 8ull : code.operand;
                break;
            case kAllocSmall:
                rsp += info * 8 + 8;
                break;
            case kSetFramePointer:
                if (unwindInfo.frameRegister == 0 || !Known(unwindInfo.frameRegister)) {
                    return Fail(Unwound::kRegisterUnknown);
                }
                rsp = m_registers.value[unwindInfo.frameRegister] - unwindInfo.frameOffset;
                break;
            case kSaveNonvolatile:
                Restore(info, Base() + code.operand * 8ull);
                break;
            case kSaveNonvolatileFar:
                Restore(info, Base() + code.operand);
                break;
            case kPushMachineFrame: {
                // An error code, then rip, cs, eflags, rsp, ss as the processor pushed them.
                const std::uint64_t at = rsp + (info ? 8 : 0);
                m_registers.rip = Read(at).value_or(0);
                rsp = Read(at + 24).value_or(0);
                return m_failed.value_or(Unwound::kInterrupted);
            }
            default:  // xmm registers and the places of epilogues play no part in the frames
                break;
        }
        return m_failed;
    }

    std::uint64_t Base() const { return m_base; }

    Registers& m_registers;
    const StackBytes& m_stack;
    std::uint64_t m_base = m_registers.value[Registers::kRsp];  // rsp where the function stands
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
    // The prologue and epilogue rules hold for every frame's address, a return address too:
    // a stack probe is called inside its caller's prologue, before the allocation it probes.
    std::uint32_t prologOffset = ~0u;  // past the prologue
    for (int depth = 0; entry; ++depth) {
        const auto info = ReadInfo(image, entry->unwindInfo);
        if (!info || depth == kMaximumChain) {
            return Unwound::kBadUnwindData;
        }
        if (depth == 0 && rva - entry->begin < info->prologSize) {
            prologOffset = rva - entry->begin;
        } else if (depth == 0 && rva < entry->end) {
            if (auto end =
                    RunEpilogue(image.bytesAt, rva, {entry->begin, entry->end, info->chained},
                                info->frameRegister, registers, stack)) {
                return *end;
            }
        }
        const bool frameRegisterSet =
            depth > 0 || info->chained || prologOffset == ~0u ||
            std::any_of(info->codes.begin(), info->codes.end(), [&](const Code& code) {
                return code.op == kSetFramePointer && code.offset <= prologOffset;
            });
        if (auto end = unwinder.SetBase(*info, frameRegisterSet)) {
            return *end;
        }
        // A chained entry's prologue ran before the part that chains to it.
        if (auto end = unwinder.Undo(*info, depth == 0 ? prologOffset : ~0u)) {
            return *end;
        }
        entry = info->next;
    }
    return unwinder.Return();
}

Unwound ReturnFromLeaf(Registers& registers, const StackBytes& stack) {
    return Unwinder(registers, stack).Return();
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
