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
import os
import shutil
import sys
import tempfile
import time
import unittest

from wine_program import Program, windows_path

BIN = None
WINE = None
HELPER = None  # the helper's path as Windows programs see it
EXIT_CODE_MINUS_ONE = 0xFFFFFFFF
BEAT_MS = 2000
BEAT_TOLERANCE_MS = 100
EXIT_WITHIN_MS = 500
# Long enough for four beats including the client's start, short of a fifth.
FOUR_BEATS_MS = "9700"


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
        program = Program(WINE, name, os.path.join(BIN, exe), args)
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

    def assertSteadyBeat(self, plugin):
        """Beats one interval apart, and the intervals measured (printed for the record).

        The first beat is the loop's first wake-up, where it starts the service client;
        under Wine the first window of a process takes about half a second to create, and
        the wait after it runs a whole interval again, so that interval is longer by the
        start's duration. Every later one must keep the interval.
        """
        beats = [r["t"] for r in self.received(plugin)]
        intervals = [b - a for a, b in zip(beats, beats[1:])]
        print(f"heartbeat intervals (ms): {intervals}", file=sys.stderr)
        self.assertGreaterEqual(len(intervals), 2, plugin.text())
        self.assertGreaterEqual(intervals[0], BEAT_MS - BEAT_TOLERANCE_MS, intervals)
        self.assertLessEqual(intervals[0], BEAT_MS + 1000, intervals)
        for interval in intervals[1:]:
            self.assertLessEqual(abs(interval - BEAT_MS), BEAT_TOLERANCE_MS, intervals)
        return beats

    def test_heartbeat_every_two_seconds_until_the_exit_message(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--exit-after", FOUR_BEATS_MS)
        plugin.finish()
        records = plugin.records()
        started = plugin.wait_for("helper-started")["t"]
        self.assertEqual([r["code"] for r in self.received(plugin)], [1001] * 4, plugin.text())
        self.assertTrue(all(r["size"] == 4 for r in self.received(plugin)))
        beats = self.assertSteadyBeat(plugin)
        # The first beat comes one interval after the helper's loop began, which is a
        # little after its start.
        self.assertGreaterEqual(beats[0] - started, BEAT_MS - BEAT_TOLERANCE_MS)
        self.assertLessEqual(beats[0] - started, BEAT_MS + 600)
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
        plugin = self.plugin("plugin", "--start", HELPER, "--exit-after", FOUR_BEATS_MS)
        plugin.wait_for("helper-started")
        time.sleep(3.0)
        for name, extra in (("second", []), ("second-debug", ["--debug"])):
            second = self.plugin(name, "--no-channel", "--start", HELPER, *extra)
            second.finish()
            self.assertEndsWithMinusOne(second, second.wait_for("helper-started")["t"],
                                        within_ms=1500)
        plugin.finish()
        self.assertEqual([r["code"] for r in self.received(plugin)], [1001] * 4, plugin.text())
        self.assertSteadyBeat(plugin)
        self.assertEndsWithMinusOne(plugin, plugin.wait_for("sent", code=1002)["t"])

    def test_session_ending_console_events_reach_the_plug_in_as_1002(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--ctrl-event", "500:2",
                             "--ctrl-event", "1000:5", "--ctrl-event", "1500:6",
                             "--exit-after", "4000")
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

    def service(self, name, script):
        path = os.path.join(self.workdir, name + ".txt")
        with open(path, "w", encoding="utf-8") as f:
            f.write(script)
        return self.start(name, "lumo-sim.exe", ["--script", windows_path(path)])

    def test_a_service_lost_while_taking_the_registration_leaves_the_next_one_registered(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--exit-after", "12000")
        # The client's window is made at the loop's first wake-up, the one of the first beat.
        plugin.wait_for("received", code=1001)
        time.sleep(0.5)
        # The first service says goodbye from inside the registration's WM_COPYDATA.
        first = self.service("leaving", "set answer-inside on\nanswer 2000 1005 0\n"
                                        "wait-registered 15000\nwait 1000\n")
        self.assertEqual(first.finish(), 0, first.text())
        goodbye = first.events("answered", messageId=1005)
        self.assertEqual([r["delivered"] for r in goodbye], [True], first.text())
        second = self.service("next", "wait-registered 15000\nsend instrument\nwait 500\n")
        self.assertEqual(second.finish(), 0, second.text())
        self.assertTrue(second.events("client-registered"), second.text())
        plugin.finish()
        self.assertEqual(self.received(plugin, 1100), [], "no error reported")

    def test_a_plug_in_that_goes_away_ends_the_helper_at_the_next_beat(self):
        plugin = self.plugin("plugin", "--start", HELPER, "--close-after", "3000",
                             "--run-ms", "10000")
        plugin.finish()
        closed = plugin.wait_for("channel-closed")["t"]
        self.assertEqual([r["code"] for r in self.received(plugin)], [1001], plugin.text())
        beat = self.received(plugin)[0]["t"]
        # The next beat fails: no report, just the end. It comes one interval after the
        # first plus the client's start, which the first beat's wake-up made (about half a
        # second under Wine).
        self.assertEndsWithMinusOne(plugin, beat + BEAT_MS, within_ms=1000 + EXIT_WITHIN_MS)
        self.assertGreater(plugin.events("helper-exited")[0]["t"], closed)

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
