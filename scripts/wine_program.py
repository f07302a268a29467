"""Windows programs of this project started through scripts/wine.sh, for the end-to-end tests,
the soak and the Wine figures. Each prints one JSON object a line on stdout; every line is kept
with the time at which it arrived (this script's monotonic clock, in ms), so that lines of
several programs can be put on one time line."""
import argparse
import atexit
import json
import os
import queue
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import zipfile

TIMEOUT_S = 60
BIN = WINE = None  # set by main(), the defaults of a Launcher
# What the helper does that the end-to-end tests hold it to.
MINUS_ONE = 0xFFFFFFFF  # its exit status, always
BEAT_MS, BEAT_TOLERANCE_MS = 2000, 100
ANNOUNCE, WITHDRAW = 5009, 5010
CLIENT_STARTED = "LumoDiscoveryPluginHelper using LUMO API v6.3.0.0 (2022-01-12)\n"


def windows_path(path):
    """Wine maps the Unix root to drive Z:."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def now_ms():
    return time.monotonic() * 1000.0


class Program:
    def __init__(self, wine, name, exe_path, args):
        self.name = name
        self.process = subprocess.Popen([wine, "run", exe_path] + list(args),
                                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE)
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
            raise AssertionError(f"{self.name}: no {what} (exit status {self.process.poll()}); "
                                 f"output:\n{self.text()}")
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


class Launcher:
    """Starts this build's programs under Wine and keeps each, so that all stop together;
    their scripts go to a folder of its own, removed at the end."""

    def __init__(self, bin_dir=None, wine=None):
        self.bin, self.wine = bin_dir or BIN, wine or WINE
        self.prefix = subprocess.run([self.wine, "prefix"], capture_output=True, text=True,
                                     check=True).stdout.strip()
        self.helper = windows_path(os.path.join(self.bin, "LumoDiscoveryHelper.exe"))
        self.workdir = tempfile.mkdtemp(prefix="lumo-wine-")
        self.programs = []

    def start(self, name, exe, args):
        program = self.run(name, exe, args)
        self.programs.append(program)
        return program

    def run(self, name, exe, args):
        """A program that is not kept: the caller waits for its end."""
        return Program(self.wine, name, os.path.join(self.bin, exe), args)

    def script(self, name, text):
        """Writes a script file; its path as the Windows programs see it."""
        path = os.path.join(self.workdir, name + ".txt")
        with open(path, "w", encoding="utf-8") as f:
            f.write(text)
        return windows_path(path)

    def service(self, name, script):
        return self.start(name, "lumo-sim.exe", ["--script", self.script(name, script)])

    def announcement_listener(self, seconds, patience_s=60):
        """dds-listen on 127.0.0.1:50999. The port is the machine's, not this run's: while
        another listener holds it, try again for `patience_s`."""
        deadline = time.monotonic() + patience_s
        while True:
            listener = self.start("dds-listen", "dds-listen.exe",
                                  ["--json", "--seconds", str(seconds)])
            if listener.wait_for_stderr("listening on"):
                return listener
            if time.monotonic() >= deadline:
                raise AssertionError("port 50999 stayed taken")
            time.sleep(1.0)

    def end_helper(self):
        """The plug-in's exit message to whatever helper runs, from a plug-in of its own: the
        only way a plug-in has to end a helper (debug mode outlives its starter)."""
        self.run("exit-sender", "plugin-sim.exe",
                 ["--no-channel", "--exit-after", "0", "--run-ms", "300"]).finish()

    def stop_all(self):
        for program in self.programs:
            program.stop()
        self.end_helper()
        shutil.rmtree(self.workdir, ignore_errors=True)


class WineTest(unittest.TestCase):
    """An end-to-end test: its programs start from a launcher of its own, and stop together."""

    def setUp(self):
        self.launch = Launcher()

    def tearDown(self):
        self.launch.stop_all()
        time.sleep(0.3)  # until the system has let go of what they held (channel names)


class WineScenarioTest(unittest.TestCase):
    """End-to-end tests that each read one aspect of a single scenario: `run_scenario` runs
    once before them all, and its programs stop together after them, or at once when the
    scenario itself fails."""

    @classmethod
    def setUpClass(cls):
        cls.launch = Launcher()
        cls.addClassCleanup(cls.launch.stop_all)
        cls.run_scenario()


def unpacked_release(folder):
    """The release zip of `folder` and its simulators zip, unpacked together as an integrator
    unpacks them: the folder of the programs as they ship."""
    target = tempfile.mkdtemp(prefix="lumo-release-")
    atexit.register(shutil.rmtree, target, ignore_errors=True)
    names = [n for n in sorted(os.listdir(folder))
             if re.fullmatch(r"LumoDiscoveryHelper-[0-9.]+-(simulators-)?win64\.zip", n)]
    if len(names) != 2:
        sys.exit(f"{folder} holds {names}, not a release zip and a simulators zip")
    for name in names:
        with zipfile.ZipFile(os.path.join(folder, name)) as archive:
            archive.extractall(target)
    return os.path.join(target, *os.listdir(target))


def main():
    """usage: <test>.py (--bin DIR | --release DIR) --wine scripts/wine.sh [unittest arguments]
    --release runs the release's own programs, from the zips in DIR, in place of the build's."""
    global BIN, WINE
    parser = argparse.ArgumentParser()
    places = parser.add_mutually_exclusive_group(required=True)
    places.add_argument("--bin")
    places.add_argument("--release")
    parser.add_argument("--wine", required=True)
    args, rest = parser.parse_known_args()
    BIN, WINE = args.bin or unpacked_release(args.release), args.wine
    unittest.main(module="__main__", argv=[sys.argv[0]] + rest, verbosity=2)
