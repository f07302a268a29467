// A thread's stack, frame by frame, from its registers: by the unwind data of each module
// whose file is at hand, and where a frame lies in a module without it, or where the rules
// give a return address that lies in no module or follows no call, by the first value further
// up the stack that returns into a module at hand just after a call.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/lumo-dump/lib/x64_unwind.h"

namespace LumoDump {

struct WalkModule {
    std::uint64_t base;
    std::uint32_t size;
    const UnwindImage* image;  // null when its file is not at hand
};

struct WalkedFrame {
    std::uint64_t address;       // the instruction (top or interrupted frame) or return address
    std::uint64_t stackPointer;  // rsp in the frame, with the address as its next instruction
    const WalkModule* module;    // null when no module holds the address
    bool scanned;                // found by the scan for a return address, not by unwind data
    bool returnAddress;          // the frame stands at the call just before the address
};

std::vector<WalkedFrame> WalkStack(Registers registers, std::span<const WalkModule> modules,
                                   const StackBytes& stack);

}  // namespace LumoDump
