#!/usr/bin/env bash
# Builds the Release flavour, runs every benchmark beside its baseline and prints the table.
#   scripts/bench.sh            micro-benchmarks (5 interleaved repetitions, medians)
#   scripts/bench.sh --wine     and under Wine the helper's own figures (latency, idle, memory)
#                               and the client library's cost beside a bare exchange
# Exit status 1: a goal was missed, where each goal is set against its measured floor, so
# that 1 means a figure or its ratio to the floor got worse.
# Sends announcement datagrams to 127.0.0.1:50999: do not run it beside the end-to-end tests.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/deps.sh
cmake --preset bench >/dev/null
cmake --build --preset bench >/dev/null

results=build/bench/results.json
build/bench/bin/lumo_bench --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
    --benchmark_report_aggregates_only=true \
    --benchmark_out="$results" --benchmark_out_format=json >/dev/null
echo "Machine: $(nproc) cores, $(sed -n 's/^model name\s*: //p' /proc/cpuinfo | head -1)"
status=0
python3 bench/summarize.py "$results" || status=$?

if [ "${1:-}" = "--wine" ]; then
    cmake --preset windows >/dev/null
    command -v strace >/dev/null ||
        { apt-get update -qq && apt-get install -y -qq --no-install-recommends strace >/dev/null; }
    cmake --build --preset windows >/dev/null
    scripts/wine.sh start >/dev/null
    python3 bench/wine_figures.py --bin build/windows/bin --wine scripts/wine.sh \
        --raw build/bench/wine_figures.json || status=$?
    python3 bench/library_figures.py --bin build/windows/bin --wine scripts/wine.sh || status=$?
fi
exit $status
