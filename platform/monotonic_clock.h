// Milliseconds of a clock that only moves forward, for measuring intervals.
#pragma once

#include <cstdint>

namespace Orvane::Platform {

class MonotonicClock {
  public:
    virtual ~MonotonicClock() = default;
    virtual std::int64_t Milliseconds() = 0;
};

}  // namespace Orvane::Platform
