#!/usr/bin/env bash
# Runs every test: the native suites with AddressSanitizer and UBSan, the concurrent flow log
# under ThreadSanitizer, and the Windows build's suites under Wine. Installs what is missing
# first. The plain native flavour runs the same suites as the sanitized one, so it is left out
# unless named.
#   scripts/test.sh                      those three flavours
#   scripts/test.sh native windows       only these
# The Windows suites spend much of their time waiting on other processes and timers, so when
# native flavours follow, they run beside them: the Windows build first, then its suites in
# the background while the native flavours build and test at a lower priority, taking only
# the processor time that the suites leave. Their output follows at the end.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/deps.sh
flavours=("$@")
[ ${#flavours[@]} -gt 0 ] || flavours=(windows native-asan native-tsan)

quiet() { grep -vE '^\[ *[0-9]+%\]|^-- |^Consolidate compiler|^Scanning dependencies' || true; }

stop_wine() { scripts/wine.sh stop; trap - EXIT; }

status=0
windows_tests=""
windows_log=build/windows-tests.log
priority=()
for flavour in "${flavours[@]}"; do
    echo "=== $flavour"
    if [ "$flavour" != windows ]; then
        "${priority[@]}" cmake --workflow --preset "$flavour" 2>&1 | quiet || status=1
        continue
    fi
    trap 'scripts/wine.sh stop' EXIT
    if [ "$flavour" = "${flavours[-1]}" ]; then
        cmake --workflow --preset windows 2>&1 | quiet || status=1
        stop_wine
        continue
    fi
    if { cmake --preset windows && cmake --build --preset windows; } 2>&1 | quiet; then
        mkdir -p build
        ctest --preset windows >"$windows_log" 2>&1 &
        windows_tests=$!
        priority=(nice -n 10)
        echo "(its tests run beside what follows; their output comes at the end)"
    else
        status=1
    fi
done
if [ -n "$windows_tests" ]; then
    echo "=== windows (tests)"
    wait "$windows_tests" || status=1
    cat "$windows_log"
    stop_wine
fi
exit $status
