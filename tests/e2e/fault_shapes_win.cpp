// Faults of every shape that a stack walk must get through, each run under the program's
// guard so that it leaves a crash dump, and beside it the system unwinder's record of the
// faulting context: `fault-shapes SHAPE`. The shapes that the compiler does not emit are
// written in assembly.
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "diagnostics/guarded_run.h"
#include "platform/windows_api.h"
#include "tests/e2e/unwind_recorder_win.h"

// Known as data, so that the compiler does not type its symbol as a function.
extern "C" const char LeafWrite[];
extern "C" void StepIntoEpilogue();
extern "C" void ChainedFault();

// LeafWrite: a leaf without a function-table entry, and not typed as a function, as the
// runtime's are. StepIntoEpilogue: the trap flag set before its epilogue stops the thread
// after `add rsp`, at the pop. ChainedFault: a main part that sets r13 as its frame register
// (push r13, sub rsp 0x40, lea r13, [rsp + 0x20]), and a part chained to it that saves rbp in
// the frame, allocates more and faults with rbp cleared: only the save, read from the frame's
// base, gives the caller's rbp. The block ends in .text, where the compiler expects to be.
asm(R"(
    .text
    .globl LeafWrite
LeafWrite:
    movl $1, (%rcx)
    ret

    .globl StepIntoEpilogue
    .seh_proc StepIntoEpilogue
StepIntoEpilogue:
    pushq %rbx
    .seh_pushreg %rbx
    subq $32, %rsp
    .seh_stackalloc 32
    .seh_endprologue
    pushfq
    orq $0x100, (%rsp)
    popfq
    addq $32, %rsp
    popq %rbx
    ret
    .seh_endproc

    .globl ChainedFault
ChainedFault:
    pushq %r13
    subq $0x40, %rsp
    leaq 0x20(%rsp), %r13
ChainedFaultPart:
    movq %rbp, 0x10(%r13)
    xorl %ebp, %ebp
    subq $0x100, %rsp
    movl $1, 0
    int3
ChainedFaultEnd:
    .section .xdata
    .p2align 2
ChainedFaultMain:
    .byte 1, 11, 3, 0x2D, 11, 0x03, 6, 0x72, 2, 0xD0, 0, 0
ChainedFaultChained:
    .byte 0x21, 4, 2, 0x2D, 4, 0x54, 6, 0
    .rva ChainedFault, ChainedFaultPart, ChainedFaultMain
    .section .pdata
    .p2align 2
    .rva ChainedFault, ChainedFaultPart, ChainedFaultMain
    .rva ChainedFaultPart, ChainedFaultEnd, ChainedFaultChained
    .text
)");

namespace {

int* volatile nowhere = nullptr;  // volatile: the compiler cannot see the faults coming
volatile int size = 0x40;
std::size_t (*volatile lengthOf)(const char*) = &std::strlen;

__attribute__((noipa)) int Recurse(int depth) {
    if (depth == 0)
        *nowhere = 1;
    int below = depth == 0 ? 0 : Recurse(depth - 1);
    asm volatile("" : "+r"(below));  // a call of its own each time, not a loop
    return below + 1;
}

__attribute__((noipa)) void BeyondAlloca(int bytes) {
    auto* block = static_cast<volatile char*>(__builtin_alloca(bytes));
    block[0] = 1;
    *nowhere = block[0];
}

__attribute__((noipa)) void CallChained(int bytes) {
    auto* block = static_cast<volatile char*>(__builtin_alloca(bytes));
    block[0] = 1;
    ChainedFault();
    block[1] = 2;
}

__attribute__((noipa)) int Probe() {
    volatile char frame[64 << 20];
    frame[0] = 1;
    return frame[0];
}

__attribute__((noipa)) void Throw(int depth) {
    if (depth == 0)
        throw std::runtime_error("through our frames");
    Throw(depth - 1);
    asm volatile("");
}

const struct {
    std::string_view name;
    void (*body)(void*);
} kShapes[] = {
    {"leaf", [](void*) { reinterpret_cast<void (*)(int*)>(LeafWrite)(nowhere); }},
    {"epilogue", [](void*) { StepIntoEpilogue(); }},
    {"probe", [](void*) { Probe(); }},
    {"alloca", [](void*) { BeyondAlloca(size); }},
    {"recursion", [](void*) { Recurse(100); }},
    {"system", [](void*) { lengthOf(reinterpret_cast<const char*>(16)); }},
    {"thrown", [](void*) { Throw(3); }},
    {"thread",
     [](void*) {
         const auto onThread = [](void*) -> DWORD {
             RunGuarded([](void*) { Recurse(3); }, nullptr);
             return 0;
         };
         WaitForSingleObject(CreateThread(nullptr, 0, onThread, nullptr, 0, nullptr), INFINITE);
     }},
    {"chained", [](void*) { CallChained(size); }},
};

}  // namespace

int main(int argc, char** argv) {
    RecordSystemUnwindBesideDumps();
    for (const auto& shape : kShapes) {
        if (argc == 2 && shape.name == argv[1]) {
            RunGuarded(shape.body, nullptr);
            return 0;
        }
    }
    return 2;
}
