// A clock that moves only when the test (or FakeMessageWait's time-outs) moves it.
#pragma once

#include <atomic>

#include "platform/monotonic_clock.h"

namespace Orvane::Platform::Testing {

class FakeMonotonicClock final : public MonotonicClock {
  public:
    std::int64_t Milliseconds() override { return now_; }
    void Advance(std::int64_t milliseconds) { now_ += milliseconds; }

  private:
    std::atomic<std::int64_t> now_{1000};
};

}  // namespace Orvane::Platform::Testing
