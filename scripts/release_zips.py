#!/usr/bin/env python3
"""The integrators' release zips (see scripts/package.sh), from a Windows build that has
built every program they hold.

usage: release_zips.py [--build build/windows] [--out dist]
Prints the path of each zip it wrote."""
import argparse
import os
import re
import shutil
import subprocess
import zipfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TOOLS = ("lumo-client.exe", "dds-listen.exe", "debug-listen.exe", "lumo-dump.exe")
SIMULATORS = ("plugin-sim.exe", "lumo-sim.exe", "KxIpcDll.dll")


def cache_entries(build):
    with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as cache:
        return dict(re.findall(r"^(\w+):[A-Z]*=(.*)$", cache.read(), re.M))


def strip(build, objcopy):
    """A tool keeps a link to its debug file, as the helper does (its build splits it off),
    so that a debugger given the symbols zip finds it. objcopy stamps what it writes with the
    time unless told a fixed one."""
    bin_dir, stripped = os.path.join(build, "bin"), os.path.join(build, "stripped")
    os.makedirs(stripped, exist_ok=True)
    fixed_time = dict(os.environ, SOURCE_DATE_EPOCH="0")
    for name in TOOLS + SIMULATORS:
        original, debug = os.path.join(bin_dir, name), os.path.join(stripped, name + ".debug")
        for arguments in (["--only-keep-debug", original, debug],
                          ["--strip-debug", "--add-gnu-debuglink=" + debug, original,
                           os.path.join(stripped, name)]):
            subprocess.run([objcopy] + arguments, check=True, env=fixed_time)
    return stripped


def sdk_files(build):
    """What `cmake --install --component sdk` lays out, by its path inside the SDK."""
    root = os.path.join(build, "sdk-install")
    shutil.rmtree(root, ignore_errors=True)
    subprocess.run(["cmake", "--install", build, "--component", "sdk", "--prefix", root],
                   check=True, stdout=subprocess.DEVNULL)
    return {os.path.relpath(os.path.join(folder, name), root): os.path.join(folder, name)
            for folder, _, names in os.walk(root) for name in names}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default=os.path.join(ROOT, "build", "windows"))
    parser.add_argument("--out", default=os.path.join(ROOT, "dist"))
    args = parser.parse_args()
    cache = cache_entries(args.build)
    bin_dir, stripped = os.path.join(args.build, "bin"), strip(args.build, cache["CMAKE_OBJCOPY"])
    release = [os.path.join(bin_dir, "LumoDiscoveryHelper.exe"),
               os.path.join(bin_dir, "LumoDiscoveryHelper.exe.debug")] + \
        [os.path.join(stripped, name) for name in TOOLS] + \
        [os.path.join(ROOT, "tools", "wireshark", "lumo_discovery.lua"),
         os.path.join(ROOT, "docs", "integrators.md")]
    symbols = [os.path.join(stripped, name + ".debug") for name in TOOLS + SIMULATORS]

    os.makedirs(args.out, exist_ok=True)
    folder = f"LumoDiscoveryHelper-{cache['CMAKE_PROJECT_VERSION']}"
    # The SDK keeps the folders of its install; the other zips are flat.
    for suffix, top, entries in (
            ("win64", folder, {os.path.basename(f): f for f in release}),
            ("simulators-win64", folder, {n: os.path.join(stripped, n) for n in SIMULATORS}),
            ("symbols-win64", folder, {os.path.basename(f): f for f in symbols}),
            ("sdk-win64", folder + "-sdk", sdk_files(args.build))):
        path = os.path.join(args.out, f"{folder}-{suffix}.zip")
        with zipfile.ZipFile(path, "w") as archive:
            for name in sorted(entries):
                entry = zipfile.ZipInfo(f"{top}/{name}", (1980, 1, 1, 0, 0, 0))
                entry.external_attr = 0o644 << 16
                entry.compress_type = zipfile.ZIP_DEFLATED
                with open(entries[name], "rb") as data:
                    archive.writestr(entry, data.read())
        print(os.path.relpath(path))


if __name__ == "__main__":
    main()
