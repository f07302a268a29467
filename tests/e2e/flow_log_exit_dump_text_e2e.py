#!/usr/bin/env python3
"""The exit log's text is the flow log as the program itself renders it, byte for byte.

flowlog-demo (argument 1) records points from two threads and a timed scope, prints its
rendered flow log, then finishes the exit dump. With DumpFlowOnExit = 1 and the log folder
present, the one new exit log must hold exactly the printed text. When the log is written
and when not is checked with the real helper (helper_exit_dump_e2e.py), which does not
print its log.
"""
import os
import subprocess
import sys

from exit_log_machine import ExitLogMachine

WINE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "wine.sh")


def main():
    program = sys.argv[1]
    machine = ExitLogMachine(WINE)
    try:
        machine.set_value(1)
        machine.provide_folder(True)
        before = machine.files()
        result = subprocess.run([WINE, "run", program], stdin=subprocess.DEVNULL,
                                capture_output=True, timeout=120)
        assert result.returncode == 0, f"exit status {result.returncode}: {result.stderr!r}"
        new = sorted(machine.files() - before)
        assert len(new) == 1, f"expected one new exit log, got {new}"
        with open(os.path.join(machine.folder, new[0]), "rb") as log:
            content = log.read()
        assert content == result.stdout, "the exit log differs from the rendered flow log"
        # Both threads' points and the closed scope: the whole log, not its last entries.
        for expected in (b"in_class Worker at Run", b"Scope_pop in_class Worker at Run",
                         b"in_class Sensor at Measure"):
            assert content.count(expected) >= 2, f"{expected!r} missing or only once"
    finally:
        machine.restore()
    print("flow-log exit dump text: ok")
    return 0


if __name__ == "__main__":
    sys.exit(main())
