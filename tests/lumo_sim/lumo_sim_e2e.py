#!/usr/bin/env python3
"""lumo-sim against a small test client, each in its own Wine process.

Both programs print one JSON object a line; the checks read what crossed the process
boundary from both sides.

usage: lumo_sim_e2e.py --bin DIR --wine scripts/wine.sh [unittest arguments]
"""
import argparse
import datetime
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
PROCESS_TIMEOUT_S = 40


class WineProgram:
    """A Windows program started through wine.sh, its stdout collected in a file."""

    def __init__(self, workdir, name, exe, args, stdin_path=None):
        self.name = name
        self.out_path = os.path.join(workdir, name + ".out")
        self.err_path = os.path.join(workdir, name + ".err")
        stdin = open(stdin_path, "rb") if stdin_path else subprocess.DEVNULL
        with open(self.out_path, "wb") as out, open(self.err_path, "wb") as err:
            self.process = subprocess.Popen([WINE, "run", os.path.join(BIN, exe)] + args,
                                            stdin=stdin, stdout=out, stderr=err)
        if stdin_path:
            stdin.close()

    def lines(self):
        with open(self.out_path, "rb") as f:
            text = f.read().decode("utf-8")
        complete = text[: text.rfind("\n") + 1]
        return [json.loads(line) for line in complete.splitlines() if line.strip()]

    def events(self, event, **fields):
        return [l for l in self.lines()
                if l.get("event") == event and all(l.get(k) == v for k, v in fields.items())]

    def wait_for(self, event, timeout_s=PROCESS_TIMEOUT_S, **fields):
        deadline = time.monotonic() + timeout_s
        while time.monotonic() < deadline:
            found = self.events(event, **fields)
            if found:
                return found[0]
            if self.process.poll() is not None:
                found = self.events(event, **fields)
                if found:
                    return found[0]
                break
            time.sleep(0.05)
        raise AssertionError(f"{self.name}: no {event} {fields}; output:\n{self.describe()}")

    def finish(self, timeout_s=PROCESS_TIMEOUT_S):
        try:
            return self.process.wait(timeout=timeout_s)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"{self.name} did not end; output:\n{self.describe()}")

    def stop(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def describe(self):
        with open(self.out_path, "rb") as out, open(self.err_path, "rb") as err:
            return out.read().decode("utf-8", "replace") + err.read().decode("utf-8", "replace")


class LumoSimTest(unittest.TestCase):
    def setUp(self):
        self.workdir = tempfile.mkdtemp(prefix="lumo-sim-e2e-")
        self.programs = []

    def tearDown(self):
        for program in self.programs:
            program.stop()
        shutil.rmtree(self.workdir, ignore_errors=True)

    def start(self, name, exe, args, stdin_path=None):
        program = WineProgram(self.workdir, name, exe, args, stdin_path)
        self.programs.append(program)
        return program

    def start_client(self, *args):
        client = self.start("client", "lumo-sim-test-client.exe", list(args))
        return client, client.wait_for("ready")["window"]

    def start_sim(self, script):
        path = os.path.join(self.workdir, "script.txt")
        with open(path, "w", encoding="utf-8") as f:
            f.write(script)
        return self.start("lumo-sim", "lumo-sim.exe", ["--script", path])

    def assertMinuteNear(self, token, before, after):
        """The token's day, month, hour and minute name a minute between the two clocks."""
        minute = before.replace(second=0, microsecond=0) - datetime.timedelta(minutes=1)
        candidates = []
        while minute <= after + datetime.timedelta(minutes=1):
            candidates.append((minute.day, minute.month, minute.hour, minute.minute))
            minute += datetime.timedelta(minutes=1)
        self.assertIn((token["tokenDay"], token["tokenMonth"], token["tokenHour"],
                       token["tokenMinute"]), candidates)

    def test_registration_then_every_kind_of_message_reaches_the_client(self):
        before = datetime.datetime.now()
        client, client_window = self.start_client(
            "--key", "0102030405060708", "--client-type", "7", "--exit-on-shutdown",
            "--run-ms", "30000")
        sim = self.start_sim(
            "set key 0102030405060708\n"
            "wait-registered 15000\n"
            "set type 10\n"
            "set subtype 2\n"
            "set name Arm \u00e9 7\n"
            "set version1 7.1\n"
            "set version2 2.3\n"
            "send instrument\n"
            "send measurement 0x001FFFFF\n"
            "send reply 2005 3 0a0b\n"
            "send message 2210 1 0\n"
            "send shutdown\n")
        self.assertEqual(sim.finish(), 0, sim.describe())
        self.assertEqual(client.finish(), 0, client.describe())
        after = datetime.datetime.now()

        server = sim.wait_for("window-created")["window"]
        self.assertEqual(client.wait_for("server-available")["server"], server)
        self.assertEqual(client.wait_for("sent", messageId=2000)["result"], 1)

        registration = sim.wait_for("received", messageId=2000)
        self.assertEqual(registration["clientWindow"], client_window)
        self.assertEqual(registration["size"], 332)
        self.assertEqual(registration["dataSize"], 300)
        self.assertEqual(registration["apiVersion"], 0x06030000)
        self.assertEqual(registration["clientType"], 7)
        self.assertEqual(registration["flag"], 1)
        self.assertTrue(registration["reservedZero"])
        self.assertTrue(registration["tokenPaddingZero"])
        self.assertTrue(registration["tokenMatches"])
        self.assertMinuteNear(registration, before, after)
        self.assertEqual(sim.wait_for("client-registered")["clientWindow"], client_window)

        instrument = client.wait_for("received", messageId=1000)
        expected = {"size": 732, "dataSize": 700, "payloadSize": 700, "reservedZero": True,
                    "name": "Arm \u00e9 7", "nameTerminated": True, "type": 10, "subType": 2,
                    "version1Major": 7, "version1Minor": 1, "version2Major": 2,
                    "version2Minor": 3}
        self.assertEqual({k: instrument[k] for k in expected}, expected)
        self.assertEqual(client.wait_for("received", messageId=1002)["status"], 0x001FFFFF)
        reply = client.wait_for("received", messageId=1004)
        self.assertEqual((reply["argument1"], reply["argument2"], reply["payloadSize"]),
                         (2005, 3, 2))
        self.assertEqual(client.wait_for("received", messageId=2210)["argument1"], 1)
        self.assertEqual(client.wait_for("received", messageId=1005)["size"], 32)

        sent = sim.events("sent")
        self.assertEqual([s["messageId"] for s in sent], [1000, 1002, 1004, 2210, 1005])
        self.assertTrue(all(s["delivered"] and s["answer"] == 1 for s in sent), sent)
        self.assertEqual(sim.wait_for("exit")["status"], 0)

    def test_token_verdict_follows_key_clock_and_registration_code(self):
        cases = [
            ("client key unknown to the service", ["--key", "0102030405060708"],
             {"messageId": 2000, "tokenPaddingZero": False, "tokenMatches": False}),
            ("clock five minutes ahead", ["--token-shift-minutes", "5"],
             {"messageId": 2000, "tokenPaddingZero": True, "tokenMatches": False}),
            ("alternate registration code", ["--alternate"],
             {"messageId": 100, "tokenPaddingZero": True, "tokenMatches": True}),
        ]
        for name, client_args, expected in cases:
            with self.subTest(name):
                self.tearDown()
                self.setUp()
                client, _ = self.start_client("--run-ms", "15000", "--exit-on-shutdown",
                                              *client_args)
                sim = self.start_sim("wait-registered 10000\nsend shutdown\n")
                self.assertEqual(sim.finish(), 0, sim.describe())
                self.assertEqual(client.finish(), 0, client.describe())
                received = sim.wait_for("received")
                self.assertEqual({k: received[k] for k in expected}, expected)
                if "--token-shift-minutes" in client_args:
                    ahead = datetime.datetime.now() + datetime.timedelta(minutes=5)
                    self.assertMinuteNear(received, ahead - datetime.timedelta(seconds=30),
                                          ahead)

    def test_service_vanishes_and_returns_with_a_new_window(self):
        client, client_window = self.start_client("--run-ms", "30000", "--exit-on-shutdown")
        sim = self.start_sim(
            "wait-registered 15000\n"
            "broadcast\n"
            "wait 300\n"
            "destroy-window\n"
            "wait 1500\n"
            "create-window\n"
            "wait-registered 15000\n"
            "send shutdown\n")
        self.assertEqual(sim.finish(), 0, sim.describe())
        self.assertEqual(client.finish(), 0, client.describe())

        first, second = [w["window"] for w in sim.events("window-created")]
        self.assertNotEqual(first, second)
        self.assertEqual([s["server"] for s in client.events("server-available")],
                         [first, second])
        # The repeated broadcast of a known server changes nothing.
        self.assertEqual([b["server"] for b in client.events("broadcast-ignored")], [first])
        self.assertEqual(client.wait_for("server-lost", reason="window gone")["server"], first)
        self.assertEqual([r["clientWindow"] for r in sim.events("client-registered")],
                         [client_window, client_window])
        self.assertEqual(sim.wait_for("client-forgotten")["reason"], "service window destroyed")
        self.assertEqual([s["server"] for s in client.events("sent", messageId=2000)],
                         [first, second])

    def test_malformed_records_refusal_and_unregistration(self):
        client, client_window = self.start_client("--run-ms", "6000",
                                                  "--unregister-after-ms", "2000")
        sim = self.start_sim(
            "wait-registered 15000\n"
            "set name-fill XY\n"
            "send instrument\n"
            "set record-size 10\n"
            "send instrument\n"
            "set accept off\n"
            "wait-unregistered 15000\n")
        self.assertEqual(sim.finish(), 0, sim.describe())
        self.assertEqual(client.finish(), 0, client.describe())

        full, cut = client.events("received", messageId=1000)
        self.assertEqual((full["nameUnits"], full["nameTerminated"]), (340, False))
        self.assertEqual(full["name"], "XY" * 170)
        self.assertEqual((cut["size"], cut["payloadSize"]), (42, 10))
        self.assertNotIn("type", cut)
        unregistration = sim.wait_for("received", messageId=2001)
        self.assertEqual((unregistration["clientWindow"], unregistration["size"],
                          unregistration["dataSize"], unregistration["answer"]),
                         (client_window, 60, 28, 0))
        self.assertEqual(client.wait_for("sent", messageId=2001)["result"], 0)
        self.assertEqual(sim.wait_for("client-forgotten")["reason"], "unregistered")

    def test_failures_set_the_exit_status(self):
        sim = self.start_sim("wait-registered 300\nsend instrument\n")
        self.assertEqual(sim.finish(), 1, sim.describe())
        self.assertEqual(sim.wait_for("timeout")["command"], "wait-registered 300")
        self.assertEqual(sim.wait_for("sent")["error"], "no client is registered")
        self.assertEqual(sim.wait_for("exit")["status"], 1)

        bad = self.start_sim("wait 1\nsend instrumnet\n")
        self.assertEqual(bad.finish(), 2)
        self.assertEqual(bad.lines(), [])
        self.assertIn("line 2: unknown command 'send instrumnet'", bad.describe())

        path = os.path.join(self.workdir, "stdin.txt")
        with open(path, "w") as f:
            f.write("wait 10\n")
        piped = self.start("lumo-sim-stdin", "lumo-sim.exe", [], stdin_path=path)
        self.assertEqual(piped.finish(), 0, piped.describe())
        self.assertEqual([l["event"] for l in piped.lines()],
                         ["window-created", "broadcast", "window-destroyed", "exit"])

        usage = self.start("lumo-sim-help", "lumo-sim.exe", ["--help"])
        self.assertEqual(usage.finish(), 0)
        self.assertIn("wait-registered MS", usage.describe())


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", required=True)
    known, rest = parser.parse_known_args()
    BIN, WINE = known.bin, known.wine
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)
