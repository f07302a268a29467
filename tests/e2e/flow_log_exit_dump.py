#!/usr/bin/env python3
"""The flow-log dump on exit across the process boundary, under Wine.

A program linking the diagnostics library (argument 1) prints its flow log and then finishes
the exit dump. With the machine-wide registry value DumpFlowOnExit = 1 and the log folder
present, exactly one LumoDiscoveryHelper_exit_YYYYMMDD_hhmmss.log appears, holding the same
text; with the value 0, absent, or without the folder, nothing appears.
"""
import os
import re
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
WINE = os.path.join(HERE, "..", "..", "scripts", "wine.sh")
KEY = r"HKLM\Software\Orvane\Talvex4\Logging"
NAME = re.compile(r"^LumoDiscoveryHelper_exit_(\d{8}_\d{6})\.log$")


def wine(*args, **kwargs):
    return subprocess.run([WINE, "run", *args], stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=120, **kwargs)


def set_value(value):
    if value is None:
        wine("reg", "delete", KEY, "/v", "DumpFlowOnExit", "/f")
    else:
        result = wine("reg", "add", KEY, "/v", "DumpFlowOnExit", "/t", "REG_DWORD", "/d",
                      str(value), "/f")
        assert result.returncode == 0, result.stderr


def run_program(program, folder):
    before = set(os.listdir(folder)) if os.path.isdir(folder) else set()
    started = time.time()
    result = wine(program)
    finished = time.time()
    assert result.returncode == 0, f"exit status {result.returncode}: {result.stderr!r}"
    after = set(os.listdir(folder)) if os.path.isdir(folder) else set()
    return result.stdout, sorted(after - before), started, finished


def stamp_of(seconds):
    return time.strftime("%Y%m%d_%H%M%S", time.localtime(seconds))


def main():
    program = sys.argv[1]
    prefix = subprocess.run([WINE, "prefix"], capture_output=True, text=True,
                            check=True).stdout.strip()
    maker = os.path.join(prefix, "drive_c", "ProgramData", "Orvane")
    folder = os.path.join(maker, "Logs")
    maker_existed = os.path.isdir(maker)
    folder_existed = os.path.isdir(folder)
    written = []
    failures = []

    def check(condition, message):
        if not condition:
            failures.append(message)

    try:
        os.makedirs(folder, exist_ok=True)
        set_value(1)
        stdout, new, started, finished = run_program(program, folder)
        written += new
        check(len(new) == 1, f"value 1: expected one new file, got {new}")
        if len(new) == 1:
            match = NAME.match(new[0])
            check(match is not None, f"unexpected name {new[0]}")
            if match:
                stamps = {stamp_of(t) for t in range(int(started) - 1, int(finished) + 2)}
                check(match.group(1) in stamps, f"stamp {match.group(1)} not in {stamps}")
            with open(os.path.join(folder, new[0]), "rb") as log:
                content = log.read()
            check(content == stdout, "the exit log differs from the rendered flow log")
            check(b"in_class Worker at Run" in content, "the demo's points are missing")
            check(content.startswith(b"%% Reference time: "), "the header is missing")

        for value in (0, None):
            set_value(value)
            _, new, _, _ = run_program(program, folder)
            written += new
            check(new == [], f"value {value}: expected no file, got {new}")

        set_value(1)
        shutil.rmtree(folder)
        run_program(program, folder)
        check(not os.path.exists(folder), "the log folder was created")
    finally:
        set_value(None)
        for name in written:
            path = os.path.join(folder, name)
            if os.path.exists(path):
                os.remove(path)
        if folder_existed:
            os.makedirs(folder, exist_ok=True)
        elif os.path.isdir(folder) and not os.listdir(folder):
            os.rmdir(folder)
        if not maker_existed and os.path.isdir(maker) and not os.listdir(maker):
            os.rmdir(maker)

    for failure in failures:
        print("FAILED:", failure)
    print("flow-log exit dump:", "ok" if not failures else f"{len(failures)} failure(s)")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
