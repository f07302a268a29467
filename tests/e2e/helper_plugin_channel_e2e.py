#!/usr/bin/env python3
"""The helper and its plug-in channel across process boundaries, under Wine.

plugin-sim plays the plug-in (it creates the plug-in's channel and starts the helper with
CreateProcess, as the plug-in does) and debug-listen reads the debugger output; both print
timed JSON lines, and the checks read what crossed between the processes.

Two helpers at once: the channel names are fixed, so one machine session holds at most
one plug-in channel and one helper channel. A second helper cannot create its own channel
while the first holds it, so it ends at once with -1, before it has opened the plug-in's
channel: the first pair must not see any message of it, and keeps its beat.

usage: helper_plugin_channel_e2e.py --bin DIR --wine scripts/wine.sh [unittest arguments]
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

BIN = None
WINE = None
HELPER = None  # the helper's path as Windows programs see it
EXIT_CODE_MINUS_ONE = 0xFFFFFFFF
BEAT_MS = 2000
BEAT_TOLERANCE_MS = 100
EXIT_WITHIN_MS = 500


def windows_path(path):
    """Wine maps the Unix root to drive Z:."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


class Program:
    """A Windows program started through wine.sh; its stdout lines are JSON objects."""

    def __init__(self, workdir, name, exe, args):
        self.name = name
        self.out_path = os.path.join(workdir, name + ".out")
        with open(self.out_path, "wb") as out:
            self.process = subprocess.Popen([WINE, "run", os.path.join(BIN, exe)] + args,
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


class HelperPluginChannelTest(unittest.TestCase):
    def setUp(self):
        self.workdir = tempfile.mkdtemp(prefix="helper-e2e-")
        self.programs = []

    def tearDown(self):
        for program in self.programs:
            program.stop()
        # A helper that is still running (debug mode outlives its starter) is told to end
        # through its own channel, the only way a plug-in has.
        sweeper = self.start("sweeper", "plugin-sim.exe",
                             ["--no-channel", "--exit-after", "0", "--run-ms", "300"])
        sweeper.finish()
        time.sleep(0.3)
        shutil.rmtree(self.workdir, ignore_errors=True)

    def start(self, name, exe, args):
        program = Program(self.workdir, name, exe, args)
        self.programs.append(program)
        return program

    def plugin(self, name, *args):
        return self.start(name, "plugin-sim.exe", list(args))

    def received(self, plugin, code=None):
        return [r for r in plugin.events("received") if code is None or r["code"] == code]

    def assertEndsWithMinusOne(self, plugin, after_ms, within_ms=EXIT_WITHIN_MS):
        exited = plugin.events("helper-exited")
        self.assertEqual(len(exited), 1, plugin.text())
        self.assertEqual(exited[0]["exitCode"], EXIT_CODE_MINUS_ONE)
        self.assertLessEqual(exited[0]["t"] - after_ms, within_ms, plugin.text())
        return exited[0]["t"]

    def test_heartbeat_every_two_seconds_until_the_exit_message(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--exit-after", "9000")
        records = plugin.finish()
        started = plugin.wait_for("helper-started")["t"]
        beats = [r["t"] for r in self.received(plugin)]
        self.assertEqual([r["code"] for r in self.received(plugin)], [1001] * 4, plugin.text())
        self.assertTrue(all(r["size"] == 4 for r in self.received(plugin)))
        # The first beat comes one interval after the helper's loop began, which is a
        # little after its start; the others one interval after each other.
        self.assertGreaterEqual(beats[0] - started, BEAT_MS - BEAT_TOLERANCE_MS)
        self.assertLessEqual(beats[0] - started, BEAT_MS + 600)
        intervals = [b - a for a, b in zip(beats, beats[1:])]
        print(f"heartbeat intervals (ms): {intervals}", file=sys.stderr)
        # The first beat's wake-up also starts the service client, whose window takes
        # Wine a moment to create; the beat after it comes that much later.
        for interval in intervals[1:]:
            self.assertLessEqual(abs(interval - BEAT_MS), BEAT_TOLERANCE_MS, intervals)
        sent = plugin.wait_for("sent", code=1002)
        self.assertEqual(sent["result"], 0)
        exited_at = self.assertEndsWithMinusOne(plugin, sent["t"])
        print(f"exit message to helper end: {exited_at - sent['t']} ms", file=sys.stderr)
        self.assertEqual(records[-1], {**records[-1], "event": "exit", "status": 0})

    def test_without_a_plug_in_the_helper_ends_at_once(self):
        plugin = self.plugin("plugin", "--no-channel", "--start", HELPER)
        plugin.finish()
        started = plugin.wait_for("helper-started")["t"]
        self.assertEndsWithMinusOne(plugin, started, within_ms=1500)

    def test_in_debug_mode_without_a_plug_in_the_helper_runs_on_and_sends_nothing(self):
        starter = self.plugin("starter", "--no-channel", "--start", HELPER, "--debug",
                              "--run-ms", "30000")
        starter.wait_for("helper-started")
        time.sleep(1.0)
        # A plug-in that turns up later is never told anything: the helper looked for it
        # once, at start. Its exit message is what ends the helper.
        late = self.plugin("late-plugin", "--run-ms", "6000", "--exit-after", "5500")
        late.finish()
        self.assertEqual(self.received(late), [], late.text())
        self.assertEqual(late.wait_for("sent", code=1002)["result"], 0)
        exited = starter.wait_for("helper-exited", timeout_s=10)
        self.assertEqual(exited["exitCode"], EXIT_CODE_MINUS_ONE)
        self.assertGreaterEqual(exited["t"] - starter.wait_for("helper-started")["t"], 6000,
                                "the helper ran on until it was told to end")

    def test_a_second_helper_does_not_disturb_the_first_ones_plug_in(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--exit-after", "9000")
        plugin.wait_for("helper-started")
        time.sleep(3.0)
        for name, extra in (("second", []), ("second-debug", ["--debug"])):
            second = self.plugin(name, "--no-channel", "--start", HELPER, *extra)
            second.finish()
            self.assertEndsWithMinusOne(second, second.wait_for("helper-started")["t"],
                                        within_ms=1500)
        plugin.finish()
        self.assertEqual([r["code"] for r in self.received(plugin)], [1001] * 4, plugin.text())
        beats = [r["t"] for r in self.received(plugin)]
        # From the second beat on: the first one's wake-up starts the service client.
        for interval in (b - a for a, b in zip(beats[1:], beats[2:])):
            self.assertLessEqual(abs(interval - BEAT_MS), BEAT_TOLERANCE_MS, beats)
        self.assertEndsWithMinusOne(plugin, plugin.wait_for("sent", code=1002)["t"])

    def test_the_helpers_debugger_texts_reach_a_listener(self):
        listener = self.start("debug-listen", "debug-listen.exe", ["--run-ms", "15000"])
        listener.wait_for("ready")
        plugin = self.plugin("plugin", "--start", HELPER, "--exit-after", "3000")
        plugin.finish()
        pid = plugin.wait_for("helper-started")["pid"]
        listener.stop()
        texts = [r["text"] for r in listener.events("text", pid=pid)]
        self.assertIn("LumoDiscoveryPluginHelper EXIT\n", texts, listener.text())
        started = ("LumoDiscoveryPluginHelper using LUMO API v6.3.0.0 (2022-01-12)\n" in texts
                   or "Cannot start the API client" in texts)
        self.assertTrue(started, texts)

    def test_session_ending_console_events_reach_the_plug_in_as_1002(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--ctrl-event", "500:2",
                             "--ctrl-event", "1000:5", "--ctrl-event", "1500:6",
                             "--exit-after", "2500")
        plugin.finish()
        raised = plugin.events("ctrl-event")
        self.assertEqual([r.get("raised") for r in raised], [True] * 3, plugin.text())
        exits = self.received(plugin, 1002)
        self.assertEqual(len(exits), 3, plugin.text())
        for event, message in zip(raised, exits):
            self.assertEqual(message["size"], 4)
            self.assertLess(message["t"] - event["t"], 500)
        self.assertEndsWithMinusOne(plugin, plugin.wait_for("sent", code=1002)["t"])

    def test_ctrl_break_is_left_to_the_system_and_tells_the_plug_in_nothing(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--ctrl-event", "500:1",
                             "--run-ms", "5000")
        plugin.finish()
        self.assertEqual(self.received(plugin, 1002), [], plugin.text())
        # The system's own handling ends the process, with the system's status.
        self.assertEqual(len(plugin.events("helper-exited")), 1, plugin.text())

    def test_a_plug_in_that_goes_away_ends_the_helper_at_the_next_beat(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--close-after", "3000",
                             "--run-ms", "10000")
        plugin.finish()
        closed = plugin.wait_for("channel-closed")["t"]
        self.assertEqual([r["code"] for r in self.received(plugin)], [1001], plugin.text())
        beat = self.received(plugin)[0]["t"]
        # The next beat, one interval after the last, fails: no report, just the end.
        self.assertEndsWithMinusOne(plugin, beat + BEAT_MS, within_ms=BEAT_TOLERANCE_MS + 400)
        self.assertGreater(plugin.events("helper-exited")[0]["t"], closed)

    def test_only_messages_starting_with_1002_end_the_helper(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--send", "500:1001",
                             "--send", "700:0x000103EA", "--send", "1000:1002:414243440000",
                             "--run-ms", "10000")
        plugin.finish()
        longer_exit = plugin.events("sent", code=1002)[0]
        self.assertEndsWithMinusOne(plugin, longer_exit["t"])
        self.assertEqual(self.received(plugin), [], "no beat before the end, and no error")


def main():
    global BIN, WINE, HELPER
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", required=True)
    args, rest = parser.parse_known_args()
    BIN, WINE = args.bin, args.wine
    HELPER = windows_path(os.path.join(BIN, "LumoDiscoveryHelper.exe"))
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
