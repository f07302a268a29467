#!/usr/bin/env bash
# The main job. For now: builds the Windows flavour and shows the flow log of a small
# recording run under Wine.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/deps.sh
cmake --preset windows >/dev/null
cmake --build --preset windows --target flowlog-demo >/dev/null
trap 'scripts/wine.sh stop' EXIT
scripts/wine.sh run build/windows/bin/flowlog-demo.exe
