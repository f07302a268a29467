#!/usr/bin/env bash
# The integrators' release, built from this tree into dist/:
#   LumoDiscoveryHelper-<version>-win64.zip             the helper and its debug information,
#       the tools that show what it does (lumo-client, dds-listen, debug-listen, lumo-dump),
#       the Wireshark dissector and docs/integrators.md
#   LumoDiscoveryHelper-<version>-simulators-win64.zip  the plug-in and the service played
#       (plugin-sim, lumo-sim) and the stand-in KxIpcDll.dll, to try the helper without an arm
#   LumoDiscoveryHelper-<version>-symbols-win64.zip     the debug information of the tools
#       and simulators, which ship without it as the helper does
#   LumoDiscoveryHelper-<version>-sdk-win64.zip         the client library for other
#       applications: what `cmake --install build/windows --component sdk` lays out (headers,
#       library, CMake package, API reference, the example's source, its README)
# The real KxIpcDll.dll comes with the plug-in and is not shipped. Two builds of one commit,
# from clones in any two folders, give the same bytes: the build keeps its folders and the
# time out of the programs, and the archives have fixed times, modes and order.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/deps.sh
cmake --preset windows >/dev/null
cmake --build --preset windows --target LumoDiscoveryHelper lumo-client dds-listen debug-listen \
    lumo-dump plugin-sim lumo-sim KxIpcDll LumoServiceApi api_reference >/dev/null
python3 scripts/release_zips.py --build build/windows --out dist
