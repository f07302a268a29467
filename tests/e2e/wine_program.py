"""Windows programs of this project started through scripts/wine.sh for the end-to-end
tests. Each prints one JSON object a line on stdout; every line is kept with the time at
which it arrived (this script's monotonic clock, in ms), so that lines of several programs
can be put on one time line."""
import json
import os
import queue
import subprocess
import threading
import time

TIMEOUT_S = 60


def windows_path(path):
    """Wine maps the Unix root to drive Z:."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def now_ms():
    return time.monotonic() * 1000.0


class Program:
    def __init__(self, wine, name, exe_path, args, stdin_path=None):
        self.name = name
        stdin = open(stdin_path, "rb") if stdin_path else subprocess.DEVNULL
        self.process = subprocess.Popen([wine, "run", exe_path] + list(args), stdin=stdin,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if stdin_path:
            stdin.close()
        self.lines = []  # (stamp_ms, record or raw text)
        self.raw_lines = []  # stdout as printed
        self.error_lines = []
        self.errors = queue.Queue()
        self._lock = threading.Lock()
        self._readers = [threading.Thread(target=self._read_stdout, daemon=True),
                         threading.Thread(target=self._read_stderr, daemon=True)]
        for reader in self._readers:
            reader.start()

    def _read_stdout(self):
        for raw in iter(self.process.stdout.readline, b""):
            stamp = now_ms()
            text = raw.decode("utf-8", "replace").rstrip("\r\n")
            try:
                record = json.loads(text) if text.startswith("{") else text
            except ValueError:
                record = text
            with self._lock:
                self.lines.append((stamp, record))
                self.raw_lines.append(text)

    def _read_stderr(self):
        for raw in iter(self.process.stderr.readline, b""):
            line = raw.decode("utf-8", "replace").rstrip("\r\n")
            with self._lock:
                self.error_lines.append(line)
            self.errors.put(line)

    def stamped_records(self):
        with self._lock:
            return [(stamp, r) for stamp, r in self.lines if isinstance(r, dict)]

    def records(self):
        return [r for _, r in self.stamped_records()]

    def stamped(self, event, **fields):
        return [(stamp, r) for stamp, r in self.stamped_records()
                if r.get("event") == event and all(r.get(k) == v for k, v in fields.items())]

    def events(self, event, **fields):
        return [r for _, r in self.stamped(event, **fields)]

    def wait_until(self, found, what, timeout_s=TIMEOUT_S):
        deadline = time.monotonic() + timeout_s
        while time.monotonic() < deadline:
            result = found()
            if result:
                return result
            if self.process.poll() is not None:
                self._readers[0].join(5)
                result = found()
                if result:
                    return result
                break
            time.sleep(0.02)
        raise AssertionError(f"{self.name}: no {what}; output:\n{self.text()}")

    def wait_for(self, event, timeout_s=TIMEOUT_S, **fields):
        return self.wait_until(lambda: self.events(event, **fields), f"{event} {fields}",
                               timeout_s)[0]

    def wait_for_stderr(self, text, timeout_s=TIMEOUT_S):
        """True when `text` came on stderr, False when the program ended without it."""
        deadline = time.monotonic() + timeout_s
        while time.monotonic() < deadline:
            try:
                line = self.errors.get(timeout=0.5)
            except queue.Empty:
                if self.process.poll() is not None and self.errors.empty():
                    return False
                continue
            if text in line:
                return True
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
            return "\n".join(self.raw_lines + self.error_lines)
