// A tool's output: one JSON object a line on stdout, stamped with the milliseconds
// since the program started, flushed at once so that a test can follow it live.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "tools/common/json_line.h"

namespace LumoTools {

// The machine's monotonic clock in microseconds: the same in every program on the machine.
std::int64_t MonotonicMicroseconds();

class Output {
  public:
    // A line that starts with "t" and "event".
    JsonLine Line(std::string_view event) const;
    void Print(const JsonLine& line) const;

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace LumoTools
