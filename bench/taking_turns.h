// Ways to the same work timed in turns inside every iteration, so that what the machine does
// meanwhile (another process, the host moving the processors) falls on each of them alike:
// benchmarks run one after another meet different moods, and on a shared 2-core machine
// their ratio moved by a fifth from run to run. Each way's time is a counter of the
// benchmark (nanoseconds an iteration), and the verdict is their ratio. The order alternates with
// each iteration, so that neither way always finds the caches as the other left them.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

using Turn = std::pair<std::string, std::function<void()>>;

inline void TakeTurns(benchmark::State& state, const std::vector<Turn>& turns) {
    std::vector<double> totals(turns.size());
    bool forward = true;
    for (auto _ : state) {
        for (std::size_t step = 0; step < turns.size(); ++step) {
            const std::size_t i = forward ? step : turns.size() - 1 - step;
            const auto start = std::chrono::steady_clock::now();
            turns[i].second();
            totals[i] +=
                std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
                    .count();
        }
        forward = !forward;
    }
    for (std::size_t i = 0; i < turns.size(); ++i) {
        state.counters[turns[i].first] =
            benchmark::Counter(totals[i], benchmark::Counter::kAvgIterations);
    }
}
