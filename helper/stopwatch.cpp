#include "helper/stopwatch.h"

#include "platform/monotonic_clock.h"
#include "platform/service.h"

namespace {

std::int64_t NowMs() {
    return Orvane::Platform::Get<Orvane::Platform::MonotonicClock>().Milliseconds();
}

}  // namespace

void Stopwatch::Restart() {
    startMs_ = NowMs();
}

std::int64_t Stopwatch::ElapsedMs() const {
    return NowMs() - startMs_;
}
