// One step of an x64 stack walk by the unwind data of a 64-bit Windows image: the function
// table of its exception directory and the unwind information each entry points at, with
// every unwind code, chained entries and leaf functions (which have no entry). And the check
// that a value found on a stack is a return address: the bytes before it are a call.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

namespace LumoDump {

// The integer registers in the order their unwind numbers give (rax, rcx, rdx, rbx, rsp, rbp,
// rsi, rdi, r8 to r15), the instruction pointer, and which of them are known: a frame found
// by scanning the stack knows its stack pointer only.
struct Registers {
    static constexpr int kRsp = 4;
    std::array<std::uint64_t, 16> value{};
    std::uint64_t rip = 0;
    std::uint16_t known = 0xFFFF;

    // The registers of an x64 CONTEXT record, or nothing when it is too short.
    static std::optional<Registers> FromContext(std::span<const std::uint8_t> context);
};

// The bytes of an image by relative address, when it holds all of them.
using ImageBytes =
    std::function<std::optional<std::span<const std::uint8_t>>(std::uint32_t, std::uint32_t)>;
// Eight bytes of the process's memory, when the dump holds them.
using StackBytes = std::function<std::optional<std::uint64_t>(std::uint64_t)>;

struct UnwindImage {
    ImageBytes bytesAt;
    std::uint32_t functionTable;  // the exception directory's address and size
    std::uint32_t functionTableSize;
};

enum class Unwound {
    kCaller,       // the registers are the caller's, at its return address
    kInterrupted,  // through a machine frame: the registers are those of an interrupted frame
    kBadUnwindData,
    kStackNotInDump,
    kRegisterUnknown,  // the frame is addressed through a register the walk does not know
};

// Moves `registers` from the frame of the function at `rva` in the image to the frame that
// called it. `atInstruction` says that rip is the instruction to run next (the faulting
// frame, or one interrupted), not a return address, which belongs to the call before it.
// Where rip stands in a prologue, only the codes of what has run are undone; in an
// epilogue, the rest of it is run. A function without unwind data is a leaf.
Unwound UnwindFrame(const UnwindImage& image, std::uint32_t rva, bool atInstruction,
                    Registers& registers, const StackBytes& stack);

// The leaf rule, for code without unwind data: it has pushed and allocated nothing, so the
// return address is the value at rsp.
Unwound ReturnFromLeaf(Registers& registers, const StackBytes& stack);

// Whether the instruction that ends just before `rva` is a call (E8 with a 32-bit
// displacement, or FF /2 in any of its forms).
bool FollowsCall(const ImageBytes& bytesAt, std::uint32_t rva);

}  // namespace LumoDump
