#include "tools/lumo-dump/lib/x64_epilogue.h"

namespace LumoDump {
namespace {

constexpr int kLongestEpilogue = 32;  // instructions, jumps within the function included

// Instructions read one at a time through the image's bytes; a read outside its file data
// ends the epilogue as "not one".
class Code {
  public:
    Code(const ImageBytes& bytesAt, std::uint32_t rva) : m_bytesAt(bytesAt), m_rva(rva) {}

    std::optional<std::uint8_t> Byte(std::uint32_t at) const {
        const auto byte = m_bytesAt(m_rva + at, 1);
        return byte ? std::optional((*byte)[0]) : std::nullopt;
    }
    std::optional<std::int64_t> Signed(std::uint32_t at, int size) const {
        const auto bytes = m_bytesAt(m_rva + at, size);
        if (!bytes) {
            return std::nullopt;
        }
        std::uint64_t value = 0;
        for (int i = size; i-- > 0;) {
            value = value << 8 | (*bytes)[i];
        }
        const int unused = 64 - 8 * size;
        return static_cast<std::int64_t>(value << unused) >> unused;
    }
    std::uint32_t Rva() const { return m_rva; }
    void Skip(std::int64_t length) { m_rva = static_cast<std::uint32_t>(m_rva + length); }

  private:
    const ImageBytes& m_bytesAt;
    std::uint32_t m_rva;
};

class Emulator {
  public:
    Emulator(Registers registers, const StackBytes& stack)
        : m_registers(registers), m_stack(stack) {}

    void Pop(int reg) {
        m_registers.value[reg] = Read(Rsp());
        m_registers.known |= static_cast<std::uint16_t>(1u << reg);
        Rsp() += 8;
    }
    Unwound Return(std::int64_t released) {
        m_registers.rip = Read(Rsp());
        Rsp() += 8 + released;
        return m_failed.value_or(Unwound::kCaller);
    }
    std::uint64_t& Rsp() { return m_registers.value[Registers::kRsp]; }
    const Registers& Result() const { return m_registers; }
    bool Known(int reg) const { return m_registers.known >> reg & 1; }

  private:
    std::uint64_t Read(std::uint64_t address) {
        const auto value = m_stack(address);
        if (!value) {
            m_failed = Unwound::kStackNotInDump;
        }
        return value.value_or(0);
    }

    Registers m_registers;
    const StackBytes& m_stack;
    std::optional<Unwound> m_failed;
};

// The first instruction of an epilogue may give rsp back: add rsp, imm8 or imm32; or lea rsp,
// [frame register + disp8 or disp32]. Moves past it; false when it is cut short or addresses
// through a frame register that is not known.
bool ReleaseStack(Code& code, int frameRegister, Emulator& emulator) {
    const auto rex = code.Byte(0), op = code.Byte(1), modrm = code.Byte(2);
    if (!rex || !op || !modrm) {
        return true;
    }
    if (*rex == 0x48 && (*op == 0x83 || *op == 0x81) && *modrm == 0xC4) {
        const int size = *op == 0x83 ? 1 : 4;
        const auto imm = code.Signed(3, size);
        emulator.Rsp() += imm.value_or(0);
        code.Skip(3 + size);
        return imm.has_value();
    }
    const int mod = *modrm >> 6;
    const int base = (*rex & 1) << 3 | (*modrm & 7);
    if ((*rex & 0xFE) == 0x48 && *op == 0x8D && (mod == 1 || mod == 2) &&
        (*modrm >> 3 & 7) == Registers::kRsp && frameRegister != 0 && base == frameRegister) {
        const int size = mod == 1 ? 1 : 4;
        const auto displacement = code.Signed(3, size);
        emulator.Rsp() = emulator.Result().value[base] + displacement.value_or(0);
        code.Skip(3 + size);
        return displacement && emulator.Known(base);
    }
    return true;
}

}  // namespace

std::optional<Unwound> RunEpilogue(const ImageBytes& bytesAt, std::uint32_t rva,
                                   const FunctionRange& function, int frameRegister,
                                   Registers& registers, const StackBytes& stack) {
    Code code(bytesAt, rva);
    Emulator emulator(registers, stack);
    // Whether the rest is an epilogue is known only at its end.
    const bool released = ReleaseStack(code, frameRegister, emulator);
    const auto outside = [&](std::int64_t target) {
        return target < function.begin || target >= function.end ||
               (target == function.begin && !function.chained);
    };
    for (int step = 0; step < kLongestEpilogue; ++step) {
        auto op = code.Byte(0);
        const auto rex = op && (*op & 0xF0) == 0x40 ? op : std::nullopt;
        if (rex) {
            code.Skip(1);
            op = code.Byte(0);
        }
        if (!op) {
            return std::nullopt;
        }
        const auto second = code.Byte(1);
        std::optional<Unwound> end;
        if ((*op & 0xF8) == 0x58) {  // pop
            emulator.Pop((rex.value_or(0) & 1) << 3 | (*op & 7));
            code.Skip(1);
            continue;
        } else if (rex && (*rex & 8) && *op == 0xFF && second && (*second >> 3 & 7) == 4) {
            end = emulator.Return(0);  // jmp through a register or memory: a call's tail
        } else if (rex) {
            return std::nullopt;
        } else if (*op == 0xC3 || (*op == 0xF3 && second == 0xC3)) {
            end = emulator.Return(0);
        } else if (*op == 0xC2) {
            const auto extra = code.Signed(1, 2);
            if (!extra) {
                return std::nullopt;
            }
            end = emulator.Return(static_cast<std::uint16_t>(*extra));
        } else if (*op == 0xFF && second == 0x25) {  // jmp [rip + disp32]: an import's tail
            end = emulator.Return(0);
        } else if (*op == 0xEB || *op == 0xE9) {
            const int size = *op == 0xEB ? 1 : 4;
            const auto displacement = code.Signed(1, size);
            if (!displacement) {
                return std::nullopt;
            }
            const std::int64_t target = std::int64_t{code.Rva()} + 1 + size + *displacement;
            if (!outside(target)) {
                code.Skip(target - code.Rva());
                continue;
            }
            end = emulator.Return(0);
        } else {
            return std::nullopt;
        }
        if (!released) {
            return Unwound::kRegisterUnknown;
        }
        registers = emulator.Result();
        return end;
    }
    return std::nullopt;
}

}  // namespace LumoDump
