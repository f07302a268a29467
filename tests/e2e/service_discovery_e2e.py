#!/usr/bin/env python3
"""The helper between a measuring-arm service and the network, each a separate Wine process.
plugin-sim plays the plug-in and starts the helper, lumo-sim plays the service, dds-listen
decodes the datagrams on 127.0.0.1:50999 and debug-listen reads the debugger output. One
helper run goes the whole road of an instrument; each test reads one aspect of it.

Clocks: the tools print "t", ms since their own start; each line is also stamped with this
script's clock as it arrives, and a tool's start on this clock is the least (stamp - t) over
its lines. dds-listen's stamps stand for the arrival of the datagrams."""
import struct
import sys
import time

from wine_program import (ANNOUNCE, BEAT_MS, BEAT_TOLERANCE_MS, CLIENT_STARTED, WITHDRAW,
                          WineScenarioTest, main, now_ms)

# The loop looks at its beat when it wakes up: while connected the client window's 500 ms
# liveness timer wakes it, so a beat may go out one tick late; after a loss nothing may wake
# it before its wait's own time-out, a whole beat later.
HEARTBEAT_GAP_MAX_MS = BEAT_MS + 500 + BEAT_TOLERANCE_MS
GAP_ACROSS_A_LOSS_MAX_MS = 2 * BEAT_MS + BEAT_TOLERANCE_MS
REGISTRATION_WITHIN_MS, ANNOUNCEMENT_WITHIN_MS, SERVER_DOWN_WITHIN_MS = 200, 100, 600

CONNECTED = "LumoDiscoveryPluginHelper::OnConnectedToServer\n"
SERVER_DOWN = "LumoDiscoveryPluginHelper::OnServerDown\n"
INSTRUMENT = "LumoDiscoveryPluginHelper::OnInstrumentData\n"
EXIT = "LumoDiscoveryPluginHelper EXIT\n"  # the one narrow text

# The service's first life: an instrument, new data for it, an arm the helper does not
# support, a supported one again, its window vanishing and coming back, and its shutdown.
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
# The second life: a new start, staying until the helper has gone.
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


# What each "send instrument" above must be announced as, in order; None: withdrawn.
EXPECTED_INSTRUMENTS = [
    texts("Zento S", "Simulator", "2.1", "1.0"),
    texts("Zento S", "Arm \u00e9 7", "7.3", "1.0"),
    None,
    texts("Zento", "Arm \u00e9 7", "7.3", "1.0"),
    texts("Zento", "Arm \u00e9 7", "7.3", "1.0"),
    texts("Orlo", "Arm 2", "4.0", "2.5"),
]


def datagram(message_type, sequence, fields):
    """The datagram as it must be on the wire, built from the instrument's texts."""
    body = b"".join(f.encode("utf-8") + b"\0" for f in fields) + b"\0"
    return struct.pack("<IHHHHH", 14 + len(body), message_type, sequence, 0, 1,
                       len(body)) + body


def wire_bytes(record):
    """The datagram that dds-listen decoded. Its decoder refuses anything but a 14-byte header
    whose lengths match, zero and one words, nine terminated texts and a closing zero byte,
    so the decoded fields give back the bytes that arrived."""
    fields = [record[k] for k in ("model", "name", "version1", "version2", "state",
                                  "intervalMs", "reserved1", "reservedText", "reserved2")]
    return datagram(WITHDRAW if record["event"] == "withdraw" else ANNOUNCE,
                    record["sequence"], fields)


class ServiceDiscoveryTest(WineScenarioTest):
    @classmethod
    def run_scenario(cls):
        launch = cls.launch
        cls.debug = launch.start("debug-listen", "debug-listen.exe", ["--run-ms", "120000"])
        cls.debug.wait_for("ready")
        cls.dds = launch.announcement_listener(seconds=120)
        cls.plugin = launch.start("plugin-sim", "plugin-sim.exe",
                                  ["--start", launch.helper, "--run-ms", "120000"])
        cls.pid = cls.plugin.wait_for("helper-started")["pid"]
        # The service comes after the helper's client window, which learns of it from its
        # broadcast.
        cls.debug.wait_for("text", pid=cls.pid, text=CLIENT_STARTED)
        cls.first = launch.service("first-service", FIRST_SERVICE)
        cls.first_status = cls.first.finish()
        cls.second = launch.service("second-service", SECOND_SERVICE)
        # Until the last instrument has been repeated twice, so that its repetitions alone give
        # one interval between beats however late the first ones were.
        cls.dds.wait_until(lambda: len(cls.announcements_of("Arm 2")) >= 3,
                           "repeated announcement of the last instrument")
        # The plug-in's exit message, from a second plug-in: the first has no console.
        cls.exit_requested_at = now_ms()
        launch.end_helper()
        cls.plugin.wait_for("helper-exited")
        cls.second_status = cls.second.finish()
        cls.plugin.finish()
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
    def announcements_of(cls, name):
        return [(stamp, r) for stamp, r in cls.datagrams()
                if r["event"] == "announce" and r["name"] == name]

    def at(self, program, record):
        """A record's time on this script's clock."""
        return program.start_on_script_clock() + record["t"]

    def helper_texts(self, text):
        return [self.at(self.debug, r) for r in self.debug.events("text", pid=self.pid, text=text)]

    def first_after(self, at_ms, event, new_sequence=False):
        """The first datagram of that event at or after `at_ms`; with new_sequence, the first
        with a sequence number not seen before (a repetition may arrive just after)."""
        seen = set()
        for stamp, record in self.datagrams():
            if stamp >= at_ms - (50 if new_sequence else 0) and record["event"] == event and \
                    not (new_sequence and record["sequence"] in seen):
                return stamp, record
            seen.add(record["sequence"])
        self.fail(f"no {event} after {at_ms}: {self.dds.text()}")

    def instrument_sends(self):
        return ([(self.first, r) for r in self.first.events("sent", messageId=1000)] +
                [(self.second, r) for r in self.second.events("sent", messageId=1000)])

    def test_every_message_is_delivered_and_framed_as_the_other_side_expects(self):
        self.assertEqual((self.first_status, self.second_status), (0, 0), self.first.text())
        # Every message reached the helper's window, whose default handling answers 0.
        sent = self.first.events("sent") + self.second.events("sent")
        self.assertEqual([(s["messageId"], s["delivered"], s.get("answer")) for s in sent],
                         [(1000, True, 0)] * 5 + [(1005, True, 0), (1000, True, 0)])
        received = self.first.events("received") + self.second.events("received")
        self.assertEqual([r["messageId"] for r in received], [2000, 2000, 2000, 2001])
        for r in received:  # lumo-sim judges each header, and a token by its own clock
            self.assertNotIn("malformed", r)

    def test_registration_follows_each_broadcast(self):
        latencies = []
        for service, broadcasts in ((self.first, 2), (self.second, 1)):
            pairs = list(zip(service.events("broadcast"),
                             service.events("received", messageId=2000)))
            self.assertEqual(len(pairs), broadcasts, service.text())
            for broadcast, registration in pairs:
                latencies.append(registration["t"] - broadcast["t"])
        print(f"registration after broadcast (ms): {latencies}", file=sys.stderr)
        self.assertLessEqual(max(latencies), REGISTRATION_WITHIN_MS, latencies)
        self.assertEqual(len(self.helper_texts(CONNECTED)), 3, self.debug.text())
        # The same client window registers with the new service window.
        windows = [w["window"] for w in self.first.events("window-created")]
        clients = [r["clientWindow"] for r in self.first.events("client-registered")]
        self.assertEqual((len(set(windows)), len(clients), len(set(clients))), (2, 2, 1))

    def test_each_loss_is_noticed_and_withdrawn_in_time(self):
        destroyed = self.at(self.first, self.first.events("window-destroyed")[0])
        shutdown = self.at(self.first, self.first.events("sent", messageId=1005)[0])
        unsupported = self.at(*self.instrument_sends()[2])
        down = self.helper_texts(SERVER_DOWN)
        self.assertEqual(len(down), 2, self.debug.text())
        delays = {
            "server down after the window vanished": (down[0] - destroyed, SERVER_DOWN_WITHIN_MS),
            "withdrawal after the window vanished":
                (self.first_after(destroyed, "withdraw")[0] - destroyed, SERVER_DOWN_WITHIN_MS),
            "server down after 1005": (down[1] - shutdown, ANNOUNCEMENT_WITHIN_MS),
            "withdrawal after 1005":
                (self.first_after(shutdown, "withdraw")[0] - shutdown, ANNOUNCEMENT_WITHIN_MS),
            "withdrawal after an unsupported arm":
                (self.first_after(unsupported, "withdraw")[0] - unsupported,
                 ANNOUNCEMENT_WITHIN_MS),
        }
        print({what: round(delay) for what, (delay, _) in delays.items()}, file=sys.stderr)
        for what, (delay, bound) in delays.items():
            self.assertTrue(-20 <= delay <= bound, f"{what}: {delay:.0f} ms")

    def test_heartbeats_to_the_plug_in_never_stop(self):
        beats = [self.at(self.plugin, r) for r in self.plugin.events("received", code=1001)]
        losses = [self.at(self.first, r) for r in self.first.events("window-destroyed")[:1] +
                  self.first.events("sent", messageId=1005)]
        gaps, across_a_loss = [], []
        for a, b in zip(beats, beats[1:] + [self.exit_requested_at]):
            (across_a_loss if any(a <= loss <= b for loss in losses) else gaps).append(b - a)
        print(f"heartbeat gaps (ms): {gaps}, across a loss: {across_a_loss}", file=sys.stderr)
        # How many beats fit the run depends on Wine's start-up; the gaps are what counts.
        self.assertGreaterEqual(len(beats), 5, self.plugin.text())
        self.assertLessEqual(max(gaps), HEARTBEAT_GAP_MAX_MS, gaps)
        self.assertLessEqual(max(across_a_loss, default=0), GAP_ACROSS_A_LOSS_MAX_MS)
        self.assertEqual(self.plugin.events("received", code=1100), [], "no error reported")

    def test_each_instrument_is_announced_at_once_with_its_exact_bytes(self):
        sends = self.instrument_sends()
        self.assertEqual(len(sends), len(EXPECTED_INSTRUMENTS), self.first.text())
        sequences, latencies = [], []
        for (service, sent), expected in zip(sends, EXPECTED_INSTRUMENTS):
            if expected is not None:
                sent_at = self.at(service, sent)
                arrived_at, record = self.first_after(sent_at, "announce", new_sequence=True)
                latencies.append(round(arrived_at - sent_at))
                sequences.append(record["sequence"])
                self.assertEqual(wire_bytes(record),
                                 datagram(ANNOUNCE, record["sequence"], expected))
                self.assertTrue(record["source"].startswith("127.0.0.1:"), record)
        print(f"announcement after instrument data (ms): {latencies}", file=sys.stderr)
        self.assertLessEqual(max(latencies), ANNOUNCEMENT_WITHIN_MS, latencies)
        # New data, even the same again, take a new sequence number.
        self.assertEqual(sequences, sorted(set(sequences)))
        self.assertEqual(len(self.helper_texts(INSTRUMENT)), len(EXPECTED_INSTRUMENTS))

    def test_an_announcement_is_repeated_every_beat_with_its_sequence_number(self):
        intervals = []
        for name in ("Simulator", "Arm 2"):
            arrivals = self.announcements_of(name)
            self.assertEqual(len({r["sequence"] for _, r in arrivals}), 1, arrivals)
            beats = [stamp for stamp, _ in arrivals[1:]]  # the first is the announcement
            intervals += [round(b - a) for a, b in zip(beats, beats[1:])]
        print(f"re-announcement intervals (ms): {intervals}", file=sys.stderr)
        self.assertGreaterEqual(len(intervals), 2)
        for interval in intervals:
            self.assertTrue(BEAT_MS - BEAT_TOLERANCE_MS <= interval <= HEARTBEAT_GAP_MAX_MS,
                            intervals)

    def test_every_loss_and_the_exit_withdraw_the_announcement_with_its_bytes(self):
        distinct = []  # a repetition differs only in its time of receipt
        for _, record in self.datagrams():
            content = {k: v for k, v in record.items() if k != "clockUs"}
            if not distinct or distinct[-1] != content:
                distinct.append(content)
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
            expected = bytearray(wire_bytes(distinct[announced]))
            expected[4:6] = struct.pack("<H", WITHDRAW)
            self.assertEqual(wire_bytes(distinct[withdrawn]), bytes(expected))
        # A withdrawn announcement is not repeated by later beats.
        records = [r for _, r in self.datagrams()]
        for index, record in enumerate(records):
            if record["event"] == "withdraw":
                self.assertNotIn(("announce", record["sequence"]),
                                 [(r["event"], r["sequence"]) for r in records[index + 1:]])
        self.assertGreaterEqual(self.datagrams()[-1][0], self.exit_requested_at)
        self.assertEqual(len(self.helper_texts(EXIT)), 1, self.debug.text())
        self.assertEqual(self.plugin.events("helper-exited")[0]["exitCode"], 0xFFFFFFFF)


if __name__ == "__main__":
    main()
