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
cache() { sed -n "s/^$1:[A-Z]*=//p" build/windows/CMakeCache.txt; }
rm -rf build/windows/sdk-install
cmake --install build/windows --component sdk --prefix build/windows/sdk-install >/dev/null

python3 - "$(cache CMAKE_PROJECT_VERSION)" "$(cache CMAKE_OBJCOPY)" <<'PYTHON'
import os
import subprocess
import sys
import zipfile

version, objcopy = sys.argv[1:3]
bin_dir, stripped = "build/windows/bin/", "build/windows/stripped/"
tools = ("lumo-client.exe", "dds-listen.exe", "debug-listen.exe", "lumo-dump.exe")
simulators = ("plugin-sim.exe", "lumo-sim.exe", "KxIpcDll.dll")

# A tool keeps a link to its debug file, as the helper does (its build splits it off), so
# that a debugger given the symbols zip finds it. objcopy stamps what it writes with the time
# unless told a fixed one.
os.makedirs(stripped, exist_ok=True)
fixed_time = dict(os.environ, SOURCE_DATE_EPOCH="0")
for name in tools + simulators:
    debug = stripped + name + ".debug"
    for arguments in (["--only-keep-debug", bin_dir + name, debug],
                      ["--strip-debug", "--add-gnu-debuglink=" + debug, bin_dir + name,
                       stripped + name]):
        subprocess.run([objcopy] + arguments, check=True, env=fixed_time)

release = [bin_dir + "LumoDiscoveryHelper.exe", bin_dir + "LumoDiscoveryHelper.exe.debug"] + [
    stripped + name for name in tools] + [
    "tools/wireshark/lumo_discovery.lua", "docs/integrators.md"]
symbols = [stripped + name + ".debug" for name in tools + simulators]

# The SDK keeps the folders of its install; the other zips are flat.
sdk_root = "build/windows/sdk-install/"
sdk = {os.path.relpath(os.path.join(folder, name), sdk_root): os.path.join(folder, name)
       for folder, _, names in os.walk(sdk_root) for name in names}

os.makedirs("dist", exist_ok=True)
folder = f"LumoDiscoveryHelper-{version}"
for suffix, top, entries in (
        ("win64", folder, {os.path.basename(f): f for f in release}),
        ("simulators-win64", folder, {n: stripped + n for n in simulators}),
        ("symbols-win64", folder, {os.path.basename(f): f for f in symbols}),
        ("sdk-win64", folder + "-sdk", sdk)):
    path = f"dist/{folder}-{suffix}.zip"
    with zipfile.ZipFile(path, "w") as archive:
        for name in sorted(entries):
            entry = zipfile.ZipInfo(f"{top}/{name}", (1980, 1, 1, 0, 0, 0))
            entry.external_attr = 0o644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            with open(entries[name], "rb") as data:
                archive.writestr(entry, data.read())
    print(path)
PYTHON
