#include "platform/monotonic_clock.h"

#include "platform/clock.h"
#include "platform/service.h"

namespace Orvane::Platform {
namespace {

class PerformanceCounterClock final : public MonotonicClock {
  public:
    std::int64_t Milliseconds() override {
        const std::int64_t ticks = PerformanceCounter();
        const std::int64_t frequency = PerformanceFrequency();
        // Split the division so that large counter values do not overflow the product.
        return ticks / frequency * 1000 + ticks % frequency * 1000 / frequency;
    }
};

}  // namespace

template <>
MonotonicClock& DefaultService<MonotonicClock>() {
    static PerformanceCounterClock service;
    return service;
}

}  // namespace Orvane::Platform
