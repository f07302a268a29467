#!/usr/bin/env bash
# Installs the Debian packages that the builds and tests need, and only those that are
# missing: quiet and quick when everything is there already.
set -euo pipefail

packages=(cmake make g++ googletest g++-mingw-w64-x86-64 wine wine64 python3 clang-format
          tshark nlohmann-json3-dev libbenchmark-dev libssl-dev chromium doxygen)
# Node.js drives the trace viewer in Chromium for the crash test; a Node.js the machine has
# from elsewhere serves as well.
command -v npm >/dev/null || packages+=(nodejs npm)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
    echo "deps: missing packages (${missing[*]}); run as root to install them" >&2
    exit 1
fi
echo "deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
