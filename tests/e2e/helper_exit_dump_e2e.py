#!/usr/bin/env python3
"""The helper's flow-log dump on exit, across process boundaries, under Wine.

plugin-sim plays the plug-in: it starts the real helper and sends it PluginMsgExit after a
few seconds, and reports the helper's exit status. debug-listen reads the helper's
debugger texts. The machine-wide registry value DumpFlowOnExit is set with the system's own
tool and the log folder is checked from outside: only value 1 with the folder present
gives one LumoDiscoveryHelper_exit_YYYYMMDD_hhmmss.log, holding that run's flow log.

usage: helper_exit_dump_e2e.py --bin DIR --wine scripts/wine.sh [unittest arguments]
"""
import argparse
import os
import re
import shutil
import sys
import tempfile
import time
import unittest

from exit_log_machine import EXIT_LOG_NAME, ExitLogMachine, stamps_between
from wine_program import Program, windows_path

BIN = None
WINE = None
EXIT_CODE_MINUS_ONE = 0xFFFFFFFF
EXIT_AFTER_MS = 3000
CHECKING = "Talvex | FlowLogDumpOnExitHelper checking registry..."
DONE = "Talvex | FlowLogDumpOnExitHelper - done."
HELPER_CLASS = "LumoDiscoveryPluginHelper"
# "% <event> ... in_class <class> at <function> for_object ..."
ENTRY = re.compile(r"^% (\S+).* in_class (\S+) at (\S+) for_object ")
CALENDAR = re.compile(r" is approximately \d+ms past (.+)$")


class HelperRun:
    """One helper started by plugin-sim and told to end, watched by debug-listen."""

    def __init__(self, workdir):
        self.listener = Program(WINE, "debug-listen",
                                os.path.join(BIN, "debug-listen.exe"), ["--run-ms", "30000"])
        self.listener.wait_for("ready")
        self.started = time.time()
        self.plugin = Program(WINE, "plugin-sim", os.path.join(BIN, "plugin-sim.exe"),
                              ["--start", windows_path(os.path.join(BIN, "LumoDiscoveryHelper.exe")),
                               "--exit-after", str(EXIT_AFTER_MS)])
        self.plugin.finish()
        self.finished = time.time()
        # The listener may still be passing on the helper's last texts.
        time.sleep(0.5)
        self.listener.stop()

    def stop(self):
        self.plugin.stop()
        self.listener.stop()

    def exit_codes(self):
        return [r["exitCode"] for r in self.plugin.events("helper-exited")]

    def helper_texts(self):
        pid = self.plugin.wait_for("helper-started")["pid"]
        return [r["text"] for r in self.listener.events("text", pid=pid)]


class HelperExitDumpTest(unittest.TestCase):
    def setUp(self):
        self.workdir = tempfile.mkdtemp(prefix="helper-exit-dump-")
        self.machine = ExitLogMachine(WINE)
        self.run_ = None

    def tearDown(self):
        if self.run_:
            self.run_.stop()
        self.machine.restore()
        shutil.rmtree(self.workdir, ignore_errors=True)

    def run_helper(self, value, folder_present):
        self.machine.set_value(value)
        self.machine.provide_folder(folder_present)
        before = self.machine.files()
        self.run_ = HelperRun(self.workdir)
        run = self.run_
        self.assertEqual(run.exit_codes(), [EXIT_CODE_MINUS_ONE], run.plugin.text())
        self.assertEqual(run.plugin.wait_for("sent", code=1002)["result"], 0, run.plugin.text())
        # Checked, then done, each once: the dump ran exactly once and ran to its end.
        texts = [t for t in run.helper_texts() if t in (CHECKING, DONE)]
        self.assertEqual(texts, [CHECKING, DONE], run.listener.text())
        return sorted(self.machine.files() - before)

    def test_value_one_writes_that_runs_flow_log(self):
        new = self.run_helper(1, folder_present=True)
        self.assertEqual(len(new), 1, new)
        match = EXIT_LOG_NAME.match(new[0])
        self.assertIsNotNone(match, new[0])
        self.assertIn(match.group(1), stamps_between(self.run_.started, self.run_.finished))
        with open(os.path.join(self.machine.folder, new[0]), "rb") as log:
            lines = log.read().decode("latin-1").replace("\r\n", "\n").split("\n")

        self.assertTrue(lines[0].startswith("%% Reference time: "), lines[:3])
        self.assertTrue(lines[1].startswith("%% absolute reference timestamp: "), lines[:3])
        # The reference is the helper's own start: its wall-clock time lies within the run.
        calendar = CALENDAR.search(lines[0])
        self.assertIsNotNone(calendar, lines[0])
        reference = time.mktime(time.strptime(" ".join(calendar.group(1).split()),
                                              "%a %b %d %H:%M:%S %Y"))
        self.assertGreaterEqual(reference, int(self.run_.started) - 1, lines[0])
        self.assertLessEqual(reference, self.run_.finished + 1, lines[0])

        # Each entry's second line starts with its time in seconds since the reference.
        entries = [(*m.groups(), float(after.split(",")[0]))
                   for m, after in zip(map(ENTRY.match, lines), lines[1:]) if m]
        helper = [(event, function) for event, cls, function, _ in entries if cls == HELPER_CLASS]
        seconds = [at for _, cls, _, at in entries if cls == HELPER_CLASS]
        points = [function for event, function in helper if event == "Timing_point"]
        for function in ("Initialize", "Run", "DeInitialize"):
            self.assertIn(function, points, helper)
        scope_pops = [i for i, (event, _) in enumerate(helper) if event == "Scope_pop"]
        self.assertEqual([helper[i][1] for i in scope_pops], ["Run"], helper)
        # The course of the run: Run's scope closes after Run began and before the
        # helper de-initialises; the dump is written before the helper is destroyed.
        run_point = helper.index(("Timing_point", "Run"))
        self.assertLess(helper.index(("Timing_point", "Initialize")), run_point, helper)
        self.assertLess(run_point, scope_pops[0], helper)
        self.assertLess(scope_pops[0], helper.index(("Timing_point", "DeInitialize")), helper)
        self.assertNotIn("~LumoDiscoveryPluginHelper", points, helper)
        # Run lasted until the plug-in's exit message: longer than the helper's wait for
        # it after its start, shorter than the helper's whole life.
        started = self.run_.plugin.wait_for("helper-started")["t"]
        sent = self.run_.plugin.wait_for("sent", code=1002)["t"]
        exited = self.run_.plugin.wait_for("helper-exited")["t"]
        run_ms = (seconds[scope_pops[0]] - seconds[run_point]) * 1000
        self.assertGreater(run_ms, (sent - started) - 2000, helper)
        self.assertLess(run_ms, exited - started, helper)

    def test_value_zero_or_absent_writes_nothing(self):
        for value in (0, None):
            with self.subTest(value=value):
                self.assertEqual(self.run_helper(value, folder_present=True), [])

    def test_a_missing_log_folder_is_not_created_and_the_exit_stays_normal(self):
        self.assertEqual(self.run_helper(1, folder_present=False), [])
        self.assertFalse(os.path.exists(self.machine.folder))


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
