"""Windows programs of this project started through scripts/wine.sh, for the end-to-end tests,
the soak and the Wine figures. Each prints one JSON object a line on stdout; every line is kept
with the time at which it arrived (this script's monotonic clock, in ms), so that lines of
several programs can be put on one time line."""
import argparse
import json
import os
import queue
import subprocess
import sys
import threading
import time
import unittest

TIMEOUT_S = 60
BIN = WINE = None  # set by main()


def windows_path(path):
    """Wine maps the Unix root to drive Z:."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def now_ms():
    return time.monotonic() * 1000.0


def write_script(workdir, name, text):
    path = os.path.join(workdir, name + ".txt")
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)
    return windows_path(path)


class Program:
    def __init__(self, wine, name, exe_path, args, stdin_path=None):
        self.name = name
        stdin = open(stdin_path, "rb") if stdin_path else subprocess.DEVNULL
        self.process = subprocess.Popen([wine, "run", exe_path] + list(args), stdin=stdin,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if stdin_path:
            stdin.close()
        self.lines, self.raw, self.error_lines = [], [], []  # (stamp_ms, record), texts
        self.errors = queue.Queue()
        self._lock = threading.Lock()
        self._readers = [threading.Thread(target=self._read, args=(s,), daemon=True)
                         for s in (self.process.stdout, self.process.stderr)]
        for reader in self._readers:
            reader.start()

    def _read(self, stream):
        for raw in iter(stream.readline, b""):
            stamp, text = now_ms(), raw.decode("utf-8", "replace").rstrip("\r\n")
            if stream is self.process.stderr:
                with self._lock:
                    self.error_lines.append(text)
                self.errors.put(text)
                continue
            try:
                record = json.loads(text) if text.startswith("{") else text
            except ValueError:
                record = text
            with self._lock:
                self.lines.append((stamp, record))
                self.raw.append(text)

    def stamped_records(self):
        with self._lock:
            return [(stamp, r) for stamp, r in self.lines if isinstance(r, dict)]

    def records(self):
        return [r for _, r in self.stamped_records()]

    def events(self, event, **fields):
        return [r for r in self.records()
                if r.get("event") == event and all(r.get(k) == v for k, v in fields.items())]

    def wait_until(self, found, what, timeout_s=TIMEOUT_S):
        deadline = time.monotonic() + timeout_s
        while time.monotonic() < deadline:
            ended = self.process.poll() is not None
            if ended:
                self._readers[0].join(5)
            result = found()
            if result or ended:
                break
            time.sleep(0.02)
        if not result:
            raise AssertionError(f"{self.name}: no {what}; output:\n{self.text()}")
        return result

    def wait_for(self, event, timeout_s=TIMEOUT_S, **fields):
        return self.wait_until(lambda: self.events(event, **fields), f"{event} {fields}",
                               timeout_s)[0]

    def wait_for_stderr(self, text, timeout_s=TIMEOUT_S):
        """True when `text` came on stderr, False when the program ended without it."""
        deadline = time.monotonic() + timeout_s
        while time.monotonic() < deadline:
            try:
                if text in self.errors.get(timeout=0.5):
                    return True
            except queue.Empty:
                if self.process.poll() is not None and self.errors.empty():
                    return False
        raise AssertionError(f"{self.name}: '{text}' never came on stderr:\n{self.text()}")

    def start_on_script_clock(self):
        """When the program's own clock ("t") read 0, on this script's clock."""
        offsets = [stamp - r["t"] for stamp, r in self.stamped_records() if "t" in r]
        if not offsets:
            raise AssertionError(f"{self.name} printed no time:\n{self.text()}")
        return min(offsets)

    def finish(self, timeout_s=TIMEOUT_S):
        """Waits for the end; the exit status."""
        try:
            status = self.process.wait(timeout=timeout_s)
        except subprocess.TimeoutExpired:
            self.stop()
            raise AssertionError(f"{self.name} did not end; output:\n{self.text()}")
        for reader in self._readers:
            reader.join(5)
        return status

    def stop(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        for reader in self._readers:
            reader.join(5)

    def text(self):
        """Everything it printed: stdout, then stderr."""
        with self._lock:
            return "\n".join(self.raw + self.error_lines)


def start(programs, name, exe, args):
    """Starts BIN/exe and keeps it in `programs` for stop_all()."""
    program = Program(WINE, name, os.path.join(BIN, exe), args)
    programs.append(program)
    return program


def stop_all(programs):
    """Stops the programs; a helper they left (debug mode outlives its starter) is told to end
    through its own channel, the only way a plug-in has."""
    for program in programs:
        program.stop()
    start([], "sweeper", "plugin-sim.exe",
          ["--no-channel", "--exit-after", "0", "--run-ms", "300"]).finish()


def helper_path():
    return windows_path(os.path.join(BIN, "LumoDiscoveryHelper.exe"))


def main():
    """usage: <test>.py --bin DIR --wine scripts/wine.sh [unittest arguments]"""
    global BIN, WINE
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", required=True)
    args, rest = parser.parse_known_args()
    BIN, WINE = args.bin, args.wine
    unittest.main(module="__main__", argv=[sys.argv[0]] + rest, verbosity=2)
