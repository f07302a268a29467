#!/usr/bin/env bash
# The main job, under Wine: the helper between a simulated measuring-arm service and a
# simulated plug-in, with every announcement shown as it arrives.
#
# The road of one instrument, in about 40 seconds: the service appears, the helper
# registers, the instrument is announced and re-announced every 2 s, its data change (new
# sequence number), the service vanishes (withdrawal), comes back (announced again), and
# the plug-in ends the helper (final withdrawal, exit code -1 = 4294967295).
#
# Every line shows the seconds since the demo started, then the party that printed it:
#   dds-listen  the datagrams on 127.0.0.1:50999
#   plugin-sim  the plug-in's channel: heartbeats 1001, the exit message, the exit code
#   lumo-sim    the service's window messages
#   debug       the helper's debugger texts
# and a summary follows at the end.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/deps.sh
echo "Building the Windows programs (first time: a few minutes)..."
cmake --preset windows >/dev/null
cmake --build --preset windows --target LumoDiscoveryHelper plugin-sim lumo-sim dds-listen \
    debug-listen >/dev/null
bin=build/windows/bin
helper="Z:$(pwd -P)/$bin/LumoDiscoveryHelper.exe"
helper=${helper//\//\\}

pids=()
logs=$(mktemp -d)
finish() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    scripts/wine.sh stop
    rm -rf "$logs"
}
trap finish EXIT
scripts/wine.sh start

# One time base for every party: milliseconds since the epoch when the demo started.
start_ms=$(date +%s%3N)
run() {
    local party=$1
    shift
    scripts/wine.sh run "$bin/$1" "${@:2}" 2>&1 |
        python3 -u scripts/demo_view.py show "$party" "$start_ms" "$logs/$party" &
    pids+=($!)
}

echo " seconds party      what"
run dds-listen dds-listen.exe --json --seconds 46 </dev/null
run debug debug-listen.exe --run-ms 46000 </dev/null
sleep 1
run plugin-sim plugin-sim.exe --start "$helper" --exit-after 34000 </dev/null
# The service's broadcast reaches only a client window that exists: the helper creates it
# at its loop's first wake-up, about two seconds after it starts.
for _ in $(seq 100); do
    grep -q 'using LUMO API' "$logs/debug" 2>/dev/null && break
    sleep 0.1
done
run lumo-sim lumo-sim.exe <<'SCRIPT'
# The service appears; the helper registers by itself.
wait-registered 10000
# A service simulator identifies its arm as "0"; the helper names it "Simulator".
set type 3
set name 0
set version1 2.1
set version2 1.0
send instrument
wait 6500
# The arm's data change: a new sequence number.
set version2 1.1
send instrument
wait 5000
# The service vanishes: the helper withdraws the instrument.
destroy-window
wait 4000
# The service comes back: the helper registers again and announces the instrument anew.
create-window
wait-registered 5000
send instrument
wait 20000
SCRIPT

wait "${pids[@]}"
python3 scripts/demo_view.py summary "$logs"
