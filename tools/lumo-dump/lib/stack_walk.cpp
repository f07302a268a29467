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

// The registers at the first return address above the stack pointer into a module at hand.
std::optional<Registers> Scan(const Registers& from, std::span<const WalkModule> modules,
                              const StackBytes& stack) {
    const std::uint64_t rsp = from.value[Registers::kRsp];
    for (std::uint64_t slot = rsp; slot - rsp < kMaximumScan; slot += 8) {
        const auto value = stack(slot);
        if (!value) {
            break;
        }
        const WalkModule* module = ModuleOf(modules, *value);
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
    std::vector<WalkedFrame> frames{{registers.rip, ModuleOf(modules, registers.rip), false}};
    bool atInstruction = true;
    while (frames.size() < kMaximumFrames) {
        const WalkModule* module = frames.back().module;
        Registers caller = registers;
        const Unwound how =
            module && module->image
                ? UnwindFrame(*module->image,
                              static_cast<std::uint32_t>(registers.rip - module->base),
                              atInstruction, caller, stack)
                : Unwound::kRegisterUnknown;
        const bool byRule = how == Unwound::kCaller || how == Unwound::kInterrupted;
        if (byRule && (caller.rip == 0 ||
                       caller.value[Registers::kRsp] <= registers.value[Registers::kRsp])) {
            break;  // the outermost frame, or data that would walk in a circle
        }
        if (!byRule) {
            const auto found = Scan(registers, modules, stack);
            if (!found) {
                break;
            }
            caller = *found;
        }
        registers = caller;
        atInstruction = how == Unwound::kInterrupted;
        frames.push_back({registers.rip, ModuleOf(modules, registers.rip), !byRule});
    }
    return frames;
}

}  // namespace LumoDump
