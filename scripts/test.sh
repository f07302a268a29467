#!/usr/bin/env bash
# Runs every test: the native suites with AddressSanitizer and UBSan, the concurrent flow log
# under ThreadSanitizer, and the Windows build's suites under Wine. Installs what is missing
# first. The plain native flavour runs the same suites as the sanitized one, so it is left out
# unless named.
#   scripts/test.sh                      those three flavours
#   scripts/test.sh native windows       only these
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/deps.sh
flavours=("$@")
[ ${#flavours[@]} -gt 0 ] || flavours=(native-asan native-tsan windows)

status=0
for flavour in "${flavours[@]}"; do
    echo "=== $flavour"
    if [ "$flavour" = windows ]; then
        trap 'scripts/wine.sh stop' EXIT
    fi
    cmake --workflow --preset "$flavour" 2>&1 | grep -vE '^\[ *[0-9]+%\]|^-- |^Consolidate compiler|^Scanning dependencies' \
        || status=1
    if [ "$flavour" = windows ]; then
        scripts/wine.sh stop
        trap - EXIT
    fi
done
exit $status
