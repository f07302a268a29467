#!/usr/bin/env python3
"""The helper between a measuring-arm service and the network, each a separate Wine process.

plugin-sim plays the plug-in and starts the helper, lumo-sim plays the service, dds-listen
decodes the announcement datagrams on 127.0.0.1:50999 and debug-listen reads the debugger
output. One helper run goes through the whole road of an instrument (class set-up), and
each test reads one aspect of what crossed the process boundaries.

Clocks: every tool prints "t", milliseconds since its own start; dds-listen prints no time
at all. Each line is stamped with this script's clock as it arrives through the pipe (the
tools flush every line), and a tool's start on this clock is taken as the least of
(stamp - t) over its lines. dds-listen's stamps stand for the arrival of the datagrams.

usage: service_discovery_e2e.py --bin DIR --wine scripts/wine.sh [unittest arguments]
"""
import argparse
import datetime
import os
import shutil
import struct
import sys
import tempfile
import time
import unittest

from wine_program import Program, now_ms, windows_path

BIN = None
WINE = None
PROCESS_TIMEOUT_S = 60

ANNOUNCE, WITHDRAW = 5009, 5010
BEAT_MS = 2000
BEAT_TOLERANCE_MS = 100
# The loop looks at its beat only when it wakes up, and each wait lasts a beat at most.
# While connected, the client window's liveness timer wakes it every 500 ms, so a beat that
# falls due just after a wake-up goes out one tick late; after the service is lost nothing
# may wake it before the wait's own time-out, a whole beat later.
LIVENESS_TICK_MS = 500
GAP_ACROSS_A_LOSS_MAX_MS = 2 * BEAT_MS + BEAT_TOLERANCE_MS
REGISTRATION_WITHIN_MS = 200
ANNOUNCEMENT_WITHIN_MS = 100
SERVER_DOWN_WITHIN_MS = 600
HEARTBEAT_GAP_MAX_MS = BEAT_MS + LIVENESS_TICK_MS + BEAT_TOLERANCE_MS

CONNECTED_TEXT = "LumoDiscoveryPluginHelper::OnConnectedToServer\n"
SERVER_DOWN_TEXT = "LumoDiscoveryPluginHelper::OnServerDown\n"
INSTRUMENT_TEXT = "LumoDiscoveryPluginHelper::OnInstrumentData\n"
CLIENT_STARTED_TEXT = "LumoDiscoveryPluginHelper using LUMO API v6.3.0.0 (2022-01-12)\n"

# The service's first life: an instrument, new data for it, an arm the helper does not
# support, a supported one again, the service window vanishing and coming back, and the
# service saying it shuts down.
FIRST_SERVICE = """\
wait-registered 15000
set type 10
set subtype 2
set name 0
set version1 2.1
set version2 1.0
send instrument
wait 6500
set name Arm \u00e9 7
set version1 7.3
send instrument
wait 500
set type 13
send instrument
wait 500
set type 3
send instrument
wait 500
destroy-window
wait 1500
create-window
wait-registered 15000
send instrument
wait 500
send shutdown
wait 1000
"""
# The second life: the service starts anew, and stays until the helper has gone.
SECOND_SERVICE = """\
wait-registered 15000
set type 11
set subtype 1
set name Arm 2
set version1 4.0
set version2 2.5
send instrument
wait-unregistered 30000
"""


def texts(model, name, version1, version2):
    return [model, name, version1, version2, "0", str(BEAT_MS), "0", "", "0"]


# What each "send instrument" above must be announced as, in order.
EXPECTED_INSTRUMENTS = [
    texts("Zento S", "Simulator", "2.1", "1.0"),
    texts("Zento S", "Arm \u00e9 7", "7.3", "1.0"),
    None,  # type 13: withdrawn, not announced
    texts("Zento", "Arm \u00e9 7", "7.3", "1.0"),
    texts("Zento", "Arm \u00e9 7", "7.3", "1.0"),
    texts("Orlo", "Arm 2", "4.0", "2.5"),
]


def datagram(message_type, sequence, fields):
    """The datagram as it must be on the wire, built from the instrument's texts."""
    body = b"".join(f.encode("utf-8") + b"\0" for f in fields) + b"\0"
    return struct.pack("<IHHHHH", 14 + len(body), message_type, sequence, 0, 1,
                       len(body)) + body


class ServiceDiscoveryTest(unittest.TestCase):
    """One helper run through the road of an instrument, recorded by every tool."""

    @classmethod
    def setUpClass(cls):
        cls.workdir = tempfile.mkdtemp(prefix="service-discovery-e2e-")
        cls.programs = []
        try:
            cls.run_scenario()
        except BaseException:
            cls.tearDownClass()
            raise

    @classmethod
    def tearDownClass(cls):
        for program in cls.programs:
            program.stop()
        # A helper left by a failed run would hold the fixed channel names: it is told to
        # end through its own channel, the only way a plug-in has.
        cls.start("final-sweeper", "plugin-sim.exe",
                  ["--no-channel", "--exit-after", "0", "--run-ms", "300"]).finish()
        shutil.rmtree(cls.workdir, ignore_errors=True)

    @classmethod
    def start(cls, name, exe, args):
        program = Program(WINE, name, os.path.join(BIN, exe), args)
        cls.programs.append(program)
        return program

    @classmethod
    def start_service(cls, name, script):
        path = os.path.join(cls.workdir, name + ".txt")
        with open(path, "w", encoding="utf-8") as f:
            f.write(script)
        return cls.start(name, "lumo-sim.exe", ["--script", windows_path(path)])

    @classmethod
    def start_announcement_listener(cls):
        """dds-listen on 127.0.0.1:50999. The port is the machine's, not this test run's:
        while some other listener holds it, try again."""
        deadline = time.monotonic() + PROCESS_TIMEOUT_S
        while True:
            listener = cls.start("dds-listen", "dds-listen.exe", ["--json", "--seconds", "120"])
            if listener.wait_for_stderr("listening on"):
                return listener
            cls.programs.remove(listener)
            if time.monotonic() > deadline:
                raise AssertionError("port 50999 stayed taken")
            time.sleep(1.0)

    @classmethod
    def run_scenario(cls):
        helper = windows_path(os.path.join(BIN, "LumoDiscoveryHelper.exe"))
        cls.debug = cls.start("debug-listen", "debug-listen.exe", ["--run-ms", "120000"])
        cls.debug.wait_for("ready")
        cls.dds = cls.start_announcement_listener()
        cls.clock_before = datetime.datetime.now()

        cls.plugin = cls.start("plugin-sim", "plugin-sim.exe",
                               ["--start", helper, "--run-ms", "120000"])
        cls.pid = cls.plugin.wait_for("helper-started")["pid"]
        # The service comes after the helper's client window exists, so that the helper
        # learns of it from the service's broadcast.
        cls.debug.wait_for("text", pid=cls.pid, text=CLIENT_STARTED_TEXT)

        cls.first = cls.start_service("first-service", FIRST_SERVICE)
        cls.first_status = cls.first.finish()
        cls.second = cls.start_service("second-service", SECOND_SERVICE)
        cls.second.wait_for("sent", messageId=1000)
        # Until the last instrument has gone out and been repeated twice, so that its
        # repetitions alone give one interval between beats however late the first ones were.
        cls.dds.wait_until(lambda: len(cls.announcements_of_last_instrument()) >= 3,
                           "repeated announcement of the last instrument")

        # The plug-in's exit message, on demand: from a second plug-in, since the first one
        # would need a console to be told when.
        cls.exit_requested_at = now_ms()
        sweeper = cls.start("sweeper", "plugin-sim.exe",
                            ["--no-channel", "--exit-after", "0", "--run-ms", "300"])
        sweeper.finish()
        cls.plugin.wait_for("helper-exited")
        cls.second_status = cls.second.finish()
        cls.plugin.finish()
        cls.clock_after = datetime.datetime.now()
        # The final withdrawal may still be in the pipe.
        cls.dds.wait_until(lambda: cls.datagrams()[-1][1]["event"] == "withdraw",
                           "withdrawal at exit", timeout_s=5)
        time.sleep(0.3)
        cls.dds.stop()
        cls.debug.stop()

    @classmethod
    def datagrams(cls):
        """(arrival ms, record) of every announcement and withdrawal."""
        return [(stamp, r) for stamp, r in cls.dds.stamped_records()
                if r.get("event") in ("announce", "withdraw")]

    @classmethod
    def announcements_of_last_instrument(cls):
        return [r for _, r in cls.datagrams()
                if r["event"] == "announce" and r["name"] == "Arm 2"]

    # Helpers for the checks.

    def on_script_clock(self, program, record):
        return program.start_on_script_clock() + record["t"]

    def helper_texts(self, text):
        return [self.on_script_clock(self.debug, r)
                for r in self.debug.events("text", pid=self.pid, text=text)]

    def first_withdrawal_after(self, at_ms):
        for stamp, record in self.datagrams():
            if stamp >= at_ms and record["event"] == "withdraw":
                return stamp, record
        self.fail(f"no withdrawal after {at_ms}: {self.dds.text()}")

    def first_new_announcement_after(self, at_ms):
        """The first announcement with a sequence number not seen before; a repetition of
        the previous one may arrive just after `at_ms`."""
        seen = set()
        for stamp, record in self.datagrams():
            if stamp >= at_ms - 50 and record["event"] == "announce" and \
                    record["sequence"] not in seen:
                return stamp, record
            seen.add(record["sequence"])
        self.fail(f"no new announcement after {at_ms}: {self.dds.text()}")

    def instrument_sends(self):
        """(program, sent record) of each instrument the services sent, in order."""
        return ([(self.first, r) for r in self.first.events("sent", messageId=1000)] +
                [(self.second, r) for r in self.second.events("sent", messageId=1000)])

    def distinct_datagrams(self):
        """The datagrams with repetitions of the same one left out (a repetition differs
        only in its time of receipt)."""
        distinct = []
        for _, record in self.datagrams():
            content = {k: v for k, v in record.items() if k != "clockUs"}
            if not distinct or distinct[-1] != content:
                distinct.append(content)
        return distinct

    def assertTokenNamesThisMinute(self, registration):
        minute = self.clock_before.replace(second=0, microsecond=0)
        candidates = []
        while minute <= self.clock_after:
            candidates.append((minute.day, minute.month, minute.hour, minute.minute))
            minute += datetime.timedelta(minutes=1)
        self.assertIn((registration["tokenDay"], registration["tokenMonth"],
                       registration["tokenHour"], registration["tokenMinute"]), candidates)

    # Service connection.

    def test_services_ran_their_scripts(self):
        self.assertEqual(self.first_status, 0, self.first.text())
        self.assertEqual(self.second_status, 0, self.second.text())
        # Every message reached the helper's window, which leaves the answer to the default
        # handling: 0.
        sent = self.first.events("sent") + self.second.events("sent")
        self.assertEqual([(s["messageId"], s["delivered"], s.get("answer")) for s in sent],
                         [(1000, True, 0)] * 5 + [(1005, True, 0), (1000, True, 0)])

    def test_every_message_of_the_helper_is_framed_as_the_service_expects(self):
        received = self.first.events("received") + self.second.events("received")
        self.assertEqual([r["messageId"] for r in received], [2000, 2000, 2000, 2001])
        for r in received:
            self.assertEqual((r["dwData"], r["dataSizeMatches"], r["dataSize"]),
                             (0, True, r["payloadSize"] + 28), r)
            self.assertTrue(r["chunkReservedZero"] and r["senderReservedZero"], r)

    def test_registration_follows_each_broadcast_with_a_token_of_this_minute(self):
        latencies = []
        for service, broadcasts in ((self.first, 2), (self.second, 1)):
            sent = service.events("broadcast")
            registrations = service.events("received", messageId=2000)
            self.assertEqual(len(sent), broadcasts, service.text())
            self.assertEqual(len(registrations), broadcasts, service.text())
            for broadcast, registration in zip(sent, registrations):
                latencies.append(registration["t"] - broadcast["t"])
                self.assertTrue(registration["tokenMatches"], registration)
                self.assertTrue(registration["tokenPaddingZero"], registration)
                self.assertTokenNamesThisMinute(registration)
        print(f"registration after broadcast (ms): {latencies}", file=sys.stderr)
        for latency in latencies:
            self.assertLessEqual(latency, REGISTRATION_WITHIN_MS, latencies)
        self.assertEqual(len(self.helper_texts(CONNECTED_TEXT)), 3, self.debug.text())

    def test_a_vanished_service_is_noticed_and_a_returning_one_registered_again(self):
        destroyed = self.first.events("window-destroyed")[0]
        destroyed_at = self.on_script_clock(self.first, destroyed)
        down = self.helper_texts(SERVER_DOWN_TEXT)
        self.assertEqual(len(down), 2, self.debug.text())
        detection = down[0] - destroyed_at
        print(f"server-down detection: {detection:.0f} ms", file=sys.stderr)
        self.assertLessEqual(detection, SERVER_DOWN_WITHIN_MS)
        self.assertGreaterEqual(detection, -20)
        withdrawn_at, withdrawal = self.first_withdrawal_after(destroyed_at)
        print(f"withdrawal after the window vanished: {withdrawn_at - destroyed_at:.0f} ms",
              file=sys.stderr)
        self.assertLessEqual(withdrawn_at - destroyed_at, SERVER_DOWN_WITHIN_MS)
        # The same client window registers with the new service window.
        first_window, second_window = [w["window"] for w in self.first.events("window-created")]
        self.assertNotEqual(first_window, second_window)
        clients = [r["clientWindow"] for r in self.first.events("client-registered")]
        self.assertEqual(len(clients), 2, self.first.text())
        self.assertEqual(clients[0], clients[1])

    def test_the_services_shutdown_message_loses_it_at_once(self):
        shutdown = self.first.events("sent", messageId=1005)[0]
        sent_at = self.on_script_clock(self.first, shutdown)
        down_at = self.helper_texts(SERVER_DOWN_TEXT)[1]
        withdrawn_at, _ = self.first_withdrawal_after(sent_at)
        print(f"server lost after 1005: {down_at - sent_at:.0f} ms, withdrawal "
              f"{withdrawn_at - sent_at:.0f} ms", file=sys.stderr)
        self.assertLessEqual(down_at - sent_at, ANNOUNCEMENT_WITHIN_MS)
        self.assertLessEqual(withdrawn_at - sent_at, ANNOUNCEMENT_WITHIN_MS)

    def test_heartbeats_to_the_plug_in_never_stop(self):
        beats = [self.on_script_clock(self.plugin, r)
                 for r in self.plugin.events("received", code=1001)]
        # Up to the plug-in's exit message; the first beat comes a beat after the helper's
        # loop began, which is later than its start by the start-up under Wine.
        ends = beats[1:] + [self.exit_requested_at]
        losses = [self.on_script_clock(self.first, r) for r in
                  self.first.events("window-destroyed")[:1] +
                  self.first.events("sent", messageId=1005)]
        gaps, gaps_across_a_loss = [], []
        for a, b in zip(beats, ends):
            across = any(a <= loss <= b for loss in losses)
            (gaps_across_a_loss if across else gaps).append(round(b - a))
        print(f"heartbeat gaps (ms): {gaps}, across a service loss: {gaps_across_a_loss}",
              file=sys.stderr)
        # The run lasts about 15 s; how many beats fit depends on Wine's start-up, so the
        # gaps are what is checked, the count only for a run that beat at all.
        self.assertGreaterEqual(len(beats), 5, self.plugin.text())
        self.assertLessEqual(max(gaps), HEARTBEAT_GAP_MAX_MS, gaps)
        self.assertLessEqual(max(gaps_across_a_loss, default=0), GAP_ACROSS_A_LOSS_MAX_MS)
        self.assertEqual(self.plugin.events("received", code=1100), [], "no error reported")

    # Discovery.

    def test_each_instrument_is_announced_at_once_with_its_exact_bytes(self):
        sends = self.instrument_sends()
        self.assertEqual(len(sends), len(EXPECTED_INSTRUMENTS), self.first.text())
        sequences = []
        latencies = []
        for (service, sent), expected in zip(sends, EXPECTED_INSTRUMENTS):
            if expected is None:
                continue
            sent_at = self.on_script_clock(service, sent)
            arrived_at, record = self.first_new_announcement_after(sent_at)
            latencies.append(round(arrived_at - sent_at))
            sequences.append(record["sequence"])
            self.assertEqual(self.wire_bytes(record),
                             datagram(ANNOUNCE, record["sequence"], expected))
            self.assertTrue(record["source"].startswith("127.0.0.1:"), record)
        print(f"announcement after instrument data (ms): {latencies}", file=sys.stderr)
        for latency in latencies:
            self.assertLessEqual(latency, ANNOUNCEMENT_WITHIN_MS, latencies)
        # New data, even the same data again, are a new sequence number.
        self.assertEqual(len(set(sequences)), len(sequences), sequences)
        self.assertEqual(sequences, sorted(sequences), sequences)
        self.assertEqual(len(self.helper_texts(INSTRUMENT_TEXT)), len(EXPECTED_INSTRUMENTS))

    def test_an_announcement_is_repeated_every_beat_with_its_sequence_number(self):
        intervals = []
        for name in ("Simulator", "Arm 2"):
            arrivals = [(stamp, r) for stamp, r in self.datagrams()
                        if r["event"] == "announce" and r["name"] == name]
            first_sequence = arrivals[0][1]["sequence"]
            self.assertTrue(all(r["sequence"] == first_sequence for _, r in arrivals))
            # The first arrival is the announcement itself, not a beat.
            beats = [stamp for stamp, _ in arrivals[1:]]
            intervals += [round(b - a) for a, b in zip(beats, beats[1:])]
        print(f"re-announcement intervals (ms): {intervals}", file=sys.stderr)
        self.assertGreaterEqual(len(intervals), 2)
        for interval in intervals:
            self.assertGreaterEqual(interval, BEAT_MS - BEAT_TOLERANCE_MS, intervals)
            self.assertLessEqual(interval, HEARTBEAT_GAP_MAX_MS, intervals)

    def test_every_loss_withdraws_the_announcement_with_its_bytes(self):
        distinct = self.distinct_datagrams()
        self.assertEqual([(r["event"], r["name"], r["model"]) for r in distinct], [
            ("announce", "Simulator", "Zento S"),
            ("announce", "Arm \u00e9 7", "Zento S"),
            ("withdraw", "Arm \u00e9 7", "Zento S"),  # type 13
            ("announce", "Arm \u00e9 7", "Zento"),
            ("withdraw", "Arm \u00e9 7", "Zento"),  # the window vanished
            ("announce", "Arm \u00e9 7", "Zento"),  # registered again
            ("withdraw", "Arm \u00e9 7", "Zento"),  # 1005
            ("announce", "Arm 2", "Orlo"),  # a new service
            ("withdraw", "Arm 2", "Orlo"),  # the helper's exit
        ], self.dds.text())
        for announced, withdrawn in ((1, 2), (3, 4), (5, 6), (7, 8)):
            expected = bytearray(self.wire_bytes(distinct[announced]))
            expected[4:6] = struct.pack("<H", WITHDRAW)
            self.assertEqual(self.wire_bytes(distinct[withdrawn]), bytes(expected))
        # A withdrawn announcement is not repeated by later beats.
        for index, (_, record) in enumerate(self.datagrams()):
            if record["event"] == "withdraw":
                later = [r for _, r in self.datagrams()[index + 1:]]
                self.assertNotIn(("announce", record["sequence"]),
                                 [(r["event"], r["sequence"]) for r in later])

    def test_an_unsupported_arm_is_withdrawn_at_once(self):
        service, unsupported = self.instrument_sends()[2]
        sent_at = self.on_script_clock(service, unsupported)
        withdrawn_at, _ = self.first_withdrawal_after(sent_at)
        print(f"withdrawal after an unsupported arm: {withdrawn_at - sent_at:.0f} ms",
              file=sys.stderr)
        self.assertLessEqual(withdrawn_at - sent_at, ANNOUNCEMENT_WITHIN_MS)

    def test_the_helpers_exit_withdraws_the_announcement(self):
        stamp, last = self.datagrams()[-1]
        self.assertEqual((last["event"], last["name"]), ("withdraw", "Arm 2"))
        self.assertGreaterEqual(stamp, self.exit_requested_at)
        exited = self.plugin.events("helper-exited")[0]
        self.assertEqual(exited["exitCode"], 0xFFFFFFFF)

    def wire_bytes(self, record):
        """The datagram that dds-listen decoded. Its decoder refuses anything but a 14-byte
        header whose length fields match, zero and one words, nine terminated texts and one
        closing zero byte, so the decoded fields give back the bytes that arrived."""
        message_type = WITHDRAW if record["event"] == "withdraw" else ANNOUNCE
        fields = [record[k] for k in ("model", "name", "version1", "version2", "state",
                                      "intervalMs", "reserved1", "reservedText", "reserved2")]
        return datagram(message_type, record["sequence"], fields)


def main():
    global BIN, WINE
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", required=True)
    args, rest = parser.parse_known_args()
    BIN, WINE = args.bin, args.wine
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
