#!/usr/bin/env bash
# The helper under load for a long while, each party a separate Wine process: 100 service
# losses at random intervals, 10,000 malformed blocks, then its plug-in killed; prints a
# summary table and fails when a bound does.
#   scripts/soak.sh              the whole soak (about 15 minutes)
#   scripts/soak.sh --quick      10 losses and 2,000 blocks (about 2 minutes)
#   scripts/soak.sh [--quick] --seed N    the same random intervals and blocks again
# Uses 127.0.0.1:50999 and the fixed channel names: not beside the end-to-end tests.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/deps.sh
cmake --preset windows >/dev/null
cmake --build --preset windows >/dev/null
scripts/wine.sh start >/dev/null

options=()
if [ "${1:-}" = "--quick" ]; then
    options+=(--losses 10 --flood 2000)
    shift
fi
exec python3 scripts/soak.py --bin build/windows/bin --wine scripts/wine.sh "${options[@]}" "$@"
