"""Windows programs of this project started through scripts/wine.sh, each printing one JSON
object a line, read back by the end-to-end checks."""
import json
import os
import subprocess
import time


def windows_path(path):
    """Wine maps the Unix root to drive Z:."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


class Program:
    """A Windows program started through wine.sh; its stdout lines are JSON objects."""

    def __init__(self, wine, workdir, name, exe_path, args):
        self.name = name
        self.out_path = os.path.join(workdir, name + ".out")
        with open(self.out_path, "wb") as out:
            self.process = subprocess.Popen([wine, "run", exe_path] + args,
                                            stdin=subprocess.DEVNULL, stdout=out,
                                            stderr=subprocess.STDOUT)

    def records(self):
        with open(self.out_path, "rb") as f:
            text = f.read().decode("utf-8", "replace")
        lines = text[: text.rfind("\n") + 1].splitlines()
        return [json.loads(line) for line in lines if line.startswith("{")]

    def events(self, event, **fields):
        return [r for r in self.records()
                if r.get("event") == event and all(r.get(k) == v for k, v in fields.items())]

    def wait_for(self, event, timeout_s=30, **fields):
        deadline = time.monotonic() + timeout_s
        while time.monotonic() < deadline:
            found = self.events(event, **fields)
            if found:
                return found[0]
            if self.process.poll() is not None and not self.events(event, **fields):
                break
            time.sleep(0.05)
        raise AssertionError(f"{self.name}: no {event} {fields} in:\n{self.text()}")

    def finish(self, timeout_s=60):
        try:
            self.process.wait(timeout=timeout_s)
        except subprocess.TimeoutExpired:
            self.stop()
            raise AssertionError(f"{self.name} did not end:\n{self.text()}")
        return self.records()

    def stop(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def text(self):
        with open(self.out_path, "rb") as f:
            return f.read().decode("utf-8", "replace")
