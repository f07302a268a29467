#!/usr/bin/env python3
"""The helper and its plug-in channel across process boundaries, under Wine. plugin-sim
plays the plug-in (it creates the plug-in's channel and starts the helper with CreateProcess)
and prints timed JSON lines of what crossed between them. The channel names are fixed, so a
second helper cannot create its own channel while the first holds it: it ends at once with
-1, before it has opened the plug-in's channel."""
import sys
import time

from wine_program import BEAT_MS, BEAT_TOLERANCE_MS, MINUS_ONE, WineTest, main

EXIT_WITHIN_MS = 500
FOUR_BEATS_MS = "9700"  # four beats including the client's start, short of a fifth


class HelperPluginChannelTest(WineTest):
    def setUp(self):
        super().setUp()
        self.helper = self.launch.helper

    def plugin(self, name, *args):
        return self.launch.start(name, "plugin-sim.exe", list(args))

    def codes(self, plugin, code=None):
        return [r for r in plugin.events("received") if code is None or r["code"] == code]

    def assertEndsWithMinusOne(self, plugin, after_ms, within_ms=EXIT_WITHIN_MS):
        exited = plugin.events("helper-exited")
        self.assertEqual([e["exitCode"] for e in exited], [MINUS_ONE], plugin.text())
        self.assertLessEqual(exited[0]["t"] - after_ms, within_ms, plugin.text())

    def assertFourSteadyBeats(self, plugin):
        """The first interval is longer by the client's start at the first wake-up (about
        half a second under Wine); every later one keeps the beat."""
        beats = self.codes(plugin)
        self.assertEqual([(r["code"], r["size"]) for r in beats], [(1001, 4)] * 4, plugin.text())
        intervals = [b["t"] - a["t"] for a, b in zip(beats, beats[1:])]
        print(f"heartbeat intervals (ms): {intervals}", file=sys.stderr)
        self.assertLessEqual(abs(intervals[0] - BEAT_MS - 450), 550, intervals)
        for interval in intervals[1:]:
            self.assertLessEqual(abs(interval - BEAT_MS), BEAT_TOLERANCE_MS, intervals)
        return beats[0]["t"]

    def test_in_debug_mode_without_a_plug_in_the_helper_runs_on_and_sends_nothing(self):
        starter = self.plugin("starter", "--no-channel", "--start", self.helper, "--debug",
                              "--run-ms", "30000")
        started = starter.wait_for("helper-started")["t"]
        time.sleep(1.0)
        # A plug-in that turns up later is never told anything (the helper looked for it
        # once, at start); its exit message ends the helper.
        late = self.plugin("late-plugin", "--run-ms", "6000", "--exit-after", "5500")
        late.finish()
        self.assertEqual(self.codes(late), [], late.text())
        exited = starter.wait_for("helper-exited", timeout_s=10)
        self.assertEqual(exited["exitCode"], MINUS_ONE)
        self.assertGreaterEqual(exited["t"] - started, 6000, "ran on until told to end")

    def test_heartbeat_every_two_seconds_undisturbed_by_a_second_helper(self):
        plugin = self.plugin("plugin", "--start", self.helper, "--exit-after", FOUR_BEATS_MS)
        started = plugin.wait_for("helper-started")["t"]
        time.sleep(3.0)
        for name, extra in (("second", []), ("second-debug", ["--debug"])):
            second = self.plugin(name, "--no-channel", "--start", self.helper, *extra)
            second.finish()
            self.assertEndsWithMinusOne(second, second.wait_for("helper-started")["t"], 1500)
        plugin.finish()
        first_beat = self.assertFourSteadyBeats(plugin)
        self.assertLessEqual(abs(first_beat - started - BEAT_MS - 250), 350)
        sent = plugin.wait_for("sent", code=1002)
        self.assertEqual(sent["result"], 0)
        self.assertEndsWithMinusOne(plugin, sent["t"])
        self.assertEqual(plugin.records()[-1]["status"], 0)

    def test_console_events_ending_the_session_reach_the_plug_in_but_ctrl_break_does_not(self):
        plugin = self.plugin("plugin", "--start", self.helper, "--ctrl-event", "500:2",
                             "--ctrl-event", "1000:5", "--ctrl-event", "1500:6",
                             "--exit-after", "4000")
        plugin.finish()
        raised = plugin.events("ctrl-event")
        self.assertEqual([r.get("raised") for r in raised], [True] * 3, plugin.text())
        exits = self.codes(plugin, 1002)
        self.assertEqual(len(exits), 3, plugin.text())
        for event, message in zip(raised, exits):
            self.assertEqual(message["size"], 4)
            self.assertLess(message["t"] - event["t"], 500)
        self.assertEndsWithMinusOne(plugin, plugin.wait_for("sent", code=1002)["t"])
        # Ctrl-Break is left to the system, whose handling ends the process.
        plugin = self.plugin("break", "--start", self.helper, "--ctrl-event", "500:1",
                             "--run-ms", "5000")
        plugin.finish()
        self.assertEqual(self.codes(plugin, 1002), [], plugin.text())
        self.assertEqual(len(plugin.events("helper-exited")), 1, plugin.text())

    def test_a_service_lost_while_taking_the_registration_leaves_the_next_one_registered(self):
        plugin = self.plugin("plugin", "--start", self.helper, "--exit-after", "12000")
        # The client's window is made at the loop's first wake-up, the one of the first beat.
        plugin.wait_for("received", code=1001)
        time.sleep(0.5)
        # The first service says goodbye from inside the registration's WM_COPYDATA.
        first = self.launch.service("leaving", "set answer-inside on\nanswer 2000 1005 0\n"
                                        "wait-registered 15000\nwait 1000\n")
        self.assertEqual(first.finish(), 0, first.text())
        goodbye = first.events("answered", messageId=1005)
        self.assertEqual([r["delivered"] for r in goodbye], [True], first.text())
        second = self.launch.service("next", "wait-registered 15000\nsend instrument\nwait 500\n")
        self.assertEqual(second.finish(), 0, second.text())
        self.assertTrue(second.events("client-registered"), second.text())
        plugin.finish()
        self.assertEqual(self.codes(plugin, 1100), [], "no error reported")

    def test_a_plug_in_that_goes_away_ends_the_helper_at_the_next_beat(self):
        plugin = self.plugin("plugin", "--start", self.helper, "--close-after", "3000",
                             "--run-ms", "10000")
        plugin.finish()
        closed = plugin.wait_for("channel-closed")["t"]
        beats = self.codes(plugin)
        self.assertEqual([r["code"] for r in beats], [1001], plugin.text())
        # The next beat fails: no report, just the end, one interval after the first plus
        # the client's start.
        self.assertEndsWithMinusOne(plugin, beats[0]["t"] + BEAT_MS, 1000 + EXIT_WITHIN_MS)
        self.assertGreater(plugin.events("helper-exited")[0]["t"], closed)


if __name__ == "__main__":
    main()
