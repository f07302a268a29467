#include "tools/lumo-dump/lib/stack_walk.h"

namespace LumoDump {
namespace {

constexpr std::size_t kMaximumFrames = 256;
constexpr std::uint64_t kMaximumScan = 64 * 1024;  // bytes of stack searched for one frame

const WalkModule* ModuleOf(std::span<const WalkModule> modules, std::uint64_t address) {
    for (const WalkModule& module : modules) {
        if (address >= module.base && address - module.base < module.size) {
            return &module;
        }
    }
    return nullptr;
}

// Whether a value can be a return address: it lies in a module (the call before it does), and
// the instruction before it is a call where the module's file tells.
bool ReturnsAfterCall(std::span<const WalkModule> modules, std::uint64_t value) {
    const WalkModule* module = ModuleOf(modules, value - 1);
    return module &&
           (!module->image ||
            FollowsCall(module->image->bytesAt, static_cast<std::uint32_t>(value - module->base)));
}

// The registers at the first return address above the stack pointer into a module at hand.
std::optional<Registers> Scan(const Registers& from, std::span<const WalkModule> modules,
                              const StackBytes& stack) {
    const std::uint64_t rsp = from.value[Registers::kRsp];
    for (std::uint64_t slot = rsp; slot - rsp < kMaximumScan; slot += 8) {
        const auto value = stack(slot);
        if (!value) {
            break;
        }
        const WalkModule* module = ModuleOf(modules, *value - 1);
        if (module && module->image &&
            FollowsCall(module->image->bytesAt,
                        static_cast<std::uint32_t>(*value - module->base))) {
            Registers found;
            found.value[Registers::kRsp] = slot + 8;
            found.known = 1 << Registers::kRsp;
            found.rip = *value;
            return found;
        }
    }
    return std::nullopt;
}

}  // namespace

std::vector<WalkedFrame> WalkStack(Registers registers, std::span<const WalkModule> modules,
                                   const StackBytes& stack) {
    std::vector<WalkedFrame> frames;
    bool atInstruction = true;
    bool scanned = false;
    while (frames.size() < kMaximumFrames) {
        const std::uint64_t rsp = registers.value[Registers::kRsp];
        const WalkModule* module = ModuleOf(modules, registers.rip - !atInstruction);
        frames.push_back({registers.rip, rsp, module, scanned, !atInstruction});
        Registers caller = registers;
        const Unwound how =
            !module         ? ReturnFromLeaf(caller, stack)
            : module->image ? UnwindFrame(*module->image,
                                          static_cast<std::uint32_t>(registers.rip - module->base),
                                          atInstruction, caller, stack)
                            : Unwound::kRegisterUnknown;
        const bool unwound = how == Unwound::kCaller || how == Unwound::kInterrupted;
        if (unwound && caller.rip == 0) {
            break;  // the outermost frame
        }
        // Data that would walk in a circle, or lead out of the code, found no frame.
        const bool byRule = unwound && caller.value[Registers::kRsp] > rsp &&
                            (how == Unwound::kCaller ? ReturnsAfterCall(modules, caller.rip)
                                                     : ModuleOf(modules, caller.rip) != nullptr);
        if (!byRule) {
            const auto found = Scan(registers, modules, stack);
            if (!found) {
                break;
            }
            caller = *found;
        }
        registers = caller;
        atInstruction = byRule && how == Unwound::kInterrupted;
        scanned = !byRule;
    }
    return frames;
}

}  // namespace LumoDump
