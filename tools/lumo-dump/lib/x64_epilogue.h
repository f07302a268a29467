// A frame stopped inside a function's epilogue has undone part of its prologue already, so
// the prologue's unwind codes no longer describe its stack: the rest of the epilogue is run
// instead, from the instructions themselves, as the x64 unwind rules prescribe.
#pragma once

#include <cstdint>
#include <optional>

#include "tools/lumo-dump/lib/x64_unwind.h"

namespace LumoDump {

struct FunctionRange {
    std::uint32_t begin;
    std::uint32_t end;
    bool chained;  // a part of a function whose main entry lies elsewhere
};

// Whether the instructions at `rva` are the rest of an epilogue of the function: at most one
// `add rsp, n` or `lea rsp, [frame register + n]`, then pops, then a return or a jump out of
// the function (a jump within it is followed). If they are, runs them on `registers` and says
// how that went; nothing, and `registers` untouched, if they are not.
std::optional<Unwound> RunEpilogue(const ImageBytes& bytesAt, std::uint32_t rva,
                                   const FunctionRange& function, int frameRegister,
                                   Registers& registers, const StackBytes& stack);

}  // namespace LumoDump
