// The tools' one loop over their thread's window messages.
#pragma once

#include <cstdint>
#include <functional>

namespace LumoTools {

// Dispatches the thread's window messages, calling `eachRound` after every round of them,
// until `done` holds (true) or `milliseconds` have passed (false, but true without a
// `done`: a plain wait ends as it should). Looks at `done` at least every `sliceMs`.
bool PumpMessagesUntil(std::uint32_t milliseconds, const std::function<bool()>& done,
                       std::uint32_t sliceMs, const std::function<void()>& eachRound = {});

}  // namespace LumoTools
