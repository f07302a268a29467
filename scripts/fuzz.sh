#!/usr/bin/env bash
# Fuzzes every decoder that reads bytes from another party, with libFuzzer, AddressSanitizer
# and UBSan (clang 14), and prints runs, coverage features and findings per target.
#   scripts/fuzz.sh [RUNS [SECONDS [TARGET...]]]
#                                      per target: RUNS executions (default 10000000) or
#                                      SECONDS (default 1800), whichever comes first; every
#                                      target, or those named
# New inputs go to build/fuzz/corpus/<target>; the seeds in tests/fuzz/corpus are read only.
# A finding leaves its input as build/fuzz/crash-* and ends the script with status 1.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
runs=${1:-10000000}
seconds=${2:-1800}

missing=()
for p in clang-14 libclang-rt-14-dev; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
scripts/deps.sh

targets=(archive copy_data plugin_message announcement_datagram reentrant_session
         instrument_data lumo_sim_request debug_buffer announcer_liveness minidump module_symbols)
[ $# -gt 2 ] && targets=("${@:3}")
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]/#/fuzz_}" >/dev/null

status=0
printf '%-24s %12s %10s %9s\n' target runs features findings
for target in "${targets[@]}"; do
    corpus=build/fuzz/corpus/$target
    mkdir -p "$corpus"
    log=build/fuzz/$target.log
    findings=0
    max_len=4096
    [ "$target" = archive ] && max_len=65536
    # Real dumps are half a megabyte; with the program file after them, up to 2.5 MB.
    [ "$target" = minidump ] && max_len=4194304
    [ "$target" = module_symbols ] && max_len=65536
    (cd build/fuzz && "bin/fuzz_$target" -runs="$runs" -max_total_time="$seconds" -max_len="$max_len" -print_final_stats=1 \
        "corpus/$target" "../../tests/fuzz/corpus/$target") >"$log" 2>&1 || findings=1
    executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    features=$(grep -o 'ft: [0-9]*' "$log" | tail -1 | cut -d' ' -f2 || true)
    printf '%-24s %12s %10s %9s\n' "$target" "${executed:-?}" "${features:-?}" "$findings"
    [ "$findings" -eq 0 ] || status=1
done
exit $status
