// Elapsed milliseconds since the last restart, on the platform's monotonic clock, so that
// tests can drive it with a fake clock.
#pragma once

#include <cstdint>

class Stopwatch {
  public:
    void Restart();
    std::int64_t ElapsedMs() const;

  private:
    std::int64_t startMs_ = 0;
};
