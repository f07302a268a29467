#!/usr/bin/env bash
# The integrators' release, built from this tree into dist/:
#   LumoDiscoveryHelper-<version>-win64.zip             the helper and its debug information,
#       the tools that show what it does (lumo-client, dds-listen, debug-listen, lumo-dump),
#       the Wireshark dissector and docs/integrators.md
#   LumoDiscoveryHelper-<version>-simulators-win64.zip  the plug-in and the service played
#       (plugin-sim, lumo-sim) and the stand-in KxIpcDll.dll, to try the helper without an arm
# The real KxIpcDll.dll comes with the plug-in and is not shipped. Two builds of one commit,
# from clones in any two folders, give the same bytes: the build keeps its folders and the
# time out of the programs, and the archives have fixed times, modes and order.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/deps.sh
cmake --preset windows >/dev/null
cmake --build --preset windows --target LumoDiscoveryHelper lumo-client dds-listen debug-listen \
    lumo-dump plugin-sim lumo-sim KxIpcDll >/dev/null
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/windows/CMakeCache.txt)

python3 - "$version" <<'PYTHON'
import os
import sys
import zipfile

version = sys.argv[1]
bin_dir = "build/windows/bin/"
release = [bin_dir + name for name in (
    "LumoDiscoveryHelper.exe", "LumoDiscoveryHelper.exe.debug", "lumo-client.exe",
    "dds-listen.exe", "debug-listen.exe", "lumo-dump.exe")] + [
    "tools/wireshark/lumo_discovery.lua", "docs/integrators.md"]
simulators = [bin_dir + name for name in ("plugin-sim.exe", "lumo-sim.exe", "KxIpcDll.dll")]

os.makedirs("dist", exist_ok=True)
for suffix, files in (("win64", release), ("simulators-win64", simulators)):
    folder = f"LumoDiscoveryHelper-{version}"
    path = f"dist/{folder}-{suffix}.zip"
    with zipfile.ZipFile(path, "w") as archive:
        for source in sorted(files, key=os.path.basename):
            entry = zipfile.ZipInfo(f"{folder}/{os.path.basename(source)}", (1980, 1, 1, 0, 0, 0))
            entry.external_attr = 0o644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            with open(source, "rb") as data:
                archive.writestr(entry, data.read())
    print(path)
PYTHON
