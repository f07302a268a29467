#!/usr/bin/env python3
"""dds-listen as a separate process: datagrams sent from here over 127.0.0.1 must come out
as one JSON line each, a silent announcer must be reported overdue and back, and the
listener must end by itself after --count datagrams or --seconds.

usage: dds_listen_e2e.py PROGRAM [RUNNER...]   (RUNNER e.g. scripts/wine.sh run)
"""
import json
import os
import queue
import signal
import socket
import struct
import subprocess
import sys
import threading
import time

PORT = 46650


def datagram(message_type, sequence, texts):
    body = b"".join(t.encode() + b"\0" for t in texts) + b"\0"
    return struct.pack("<IHHHHH", 14 + len(body), message_type, sequence, 0, 1, len(body)) + body


def texts(interval):
    return ["Zento", "Simulator", "2.1", "1.0", "0", str(interval), "0", "", "0"]


class Listener:
    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, start_new_session=True)
        self.lines = queue.Queue()
        self.errors = queue.Queue()
        threading.Thread(target=self._pump, args=(self.process.stdout, self.lines),
                         daemon=True).start()
        threading.Thread(target=self._pump, args=(self.process.stderr, self.errors),
                         daemon=True).start()

    @staticmethod
    def _pump(stream, into):
        for line in iter(stream.readline, b""):
            into.put(line.decode(errors="replace").rstrip("\r\n"))

    def wait_listening(self):
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            try:
                line = self.errors.get(timeout=1)
            except queue.Empty:
                if self.process.poll() is not None:
                    break
                continue
            if "listening on" in line:
                return
        raise AssertionError("the listener never said it was listening")

    def next_event(self):
        return json.loads(self.lines.get(timeout=15))

    def finish(self, timeout=20):
        try:
            return self.process.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
            raise AssertionError("the listener did not end by itself")

    def kill(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()


def check(condition, message):
    if not condition:
        raise AssertionError(message)


def test_events_in_json(command):
    listener = Listener(command + ["--port", str(PORT), "--json", "--count", "4",
                                   "--seconds", "60"])
    try:
        listener.wait_listening()
        sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        sender.bind(("127.0.0.1", 0))
        source = "127.0.0.1:%d" % sender.getsockname()[1]
        target = ("127.0.0.1", PORT)

        sender.sendto(datagram(5009, 2, texts(300)), target)
        event = listener.next_event()
        check(event["event"] == "announce" and event["sequence"] == 2, event)
        check(event["source"] == source and event["name"] == "Simulator", event)
        check(event["intervalMs"] == "300" and event["reservedText"] == "", event)

        sender.sendto(b"\x05\x00\x00\x00\x91", target)
        event = listener.next_event()
        check(event == {"source": source, "event": "malformed", "size": 5,
                        "reason": "too short: 5 bytes, the header alone takes 14"}, event)

        time.sleep(1.0)  # well past 1.5 intervals of 300 ms
        event = listener.next_event()
        check(event["event"] == "overdue" and event["source"] == source, event)
        check(event["intervalMs"] == 300 and event["silentMs"] > 450, event)

        sender.sendto(datagram(5009, 2, texts(300)), target)
        check(listener.next_event()["event"] == "announce", "announce again")
        event = listener.next_event()
        check(event["event"] == "back" and event["silentMs"] >= 1000, event)

        sender.sendto(datagram(5010, 2, texts(300)), target)
        event = listener.next_event()
        check(event["event"] == "withdraw" and event["model"] == "Zento", event)
        check(listener.finish() == 0, "exit status after --count")
    finally:
        listener.kill()


def test_ends_after_seconds(command):
    listener = Listener(command + ["--port", str(PORT), "--seconds", "1"])
    try:
        started = time.monotonic()
        check(listener.finish() == 0, "exit status after --seconds")
        check(time.monotonic() - started < 15, "--seconds 1 took too long")
        check(listener.lines.empty(), "printed something without datagrams")
    finally:
        listener.kill()


def test_rejects_a_bad_option(command):
    listener = Listener(command + ["--count", "none"])
    try:
        check(listener.finish() == 2, "exit status of a usage error")
    finally:
        listener.kill()


def main():
    command = sys.argv[2:] + [sys.argv[1]]
    for test in (test_events_in_json, test_ends_after_seconds, test_rejects_a_bad_option):
        test(command)
        print("passed:", test.__name__)


if __name__ == "__main__":
    main()
