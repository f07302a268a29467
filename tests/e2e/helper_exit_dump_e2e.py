#!/usr/bin/env python3
"""The helper's flow-log dump on exit, across process boundaries, under Wine. plugin-sim
starts the real helper and tells it to end; debug-listen reads its debugger texts. The
registry value is set with the system's own tool and the log folder is looked at from
outside: only value 1 with the folder present gives one exit log, holding that run's flow.
A helper whose service callback throws, faults or overflows its stack leaves a crash dump
beside it; lumo-dump, given the stripped helper beside its debug file as the release lays them
out, walks the dump's stack as the system's own unwinder did and names our frames as the
toolchain's address-to-line tool does. The dump and the exit log of a crash, turned into traces
by lumo-dump, open in a real trace viewer."""
import json
import os
import re
import shutil
import subprocess
import time
from itertools import groupby

import stack_oracle
from exit_log_machine import EXIT_LOG_NAME, ExitLogMachine, stamps_between
from wine_program import CLIENT_STARTED, MINUS_ONE, WineTest, main, windows_path

CHECKING = "Talvex | FlowLogDumpOnExitHelper checking registry..."
DONE = "Talvex | FlowLogDumpOnExitHelper - done."
# "% <event> ... in_class <class> at <function> for_object ..."
ENTRY = re.compile(r"^% (\S+).* in_class LumoDiscoveryPluginHelper at (\S+) for_object ")
CALENDAR = re.compile(r" is approximately \d+ms past (.+)$")
GCC_CXX_EXCEPTION = 0x20474343
ACCESS_VIOLATION, STACK_OVERFLOW = 0xC0000005, 0xC00000FD
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
VIEWER = os.path.join(ROOT, "tests", "e2e", "trace_viewer")
OPEN = ' {"cut":"open at the fault: on the faulting thread\'s stack, entered at or before this start"}'


def viewer_modules(folder):
    """speedscope and puppeteer-core as the lock file pins them, installed into the folder
    once for each lock file, with no package's install scripts (none may fetch a browser)."""
    with open(os.path.join(VIEWER, "package-lock.json"), encoding="utf-8") as f:
        lock = f.read()
    stamp = os.path.join(folder, "node_modules", ".lumo-lock")
    if not os.path.exists(stamp) or open(stamp, encoding="utf-8").read() != lock:
        for name in ("package.json", "package-lock.json"):
            shutil.copy(os.path.join(VIEWER, name), folder)
        subprocess.run(["npm", "ci", "--ignore-scripts", "--no-audit", "--no-fund"], cwd=folder,
                       check=True, capture_output=True, timeout=600)
        with open(stamp, "w", encoding="utf-8") as f:
            f.write(lock)
    return os.path.join(folder, "node_modules")


def opened_slices(viewed, thread_name):
    """(depth, name) of each slice the viewer opened on the thread's profile, in order."""
    frames = viewed["exported"]["shared"]["frames"]
    [profile] = [p for p in viewed["exported"]["profiles"] if thread_name in p["name"]]
    depth, opened = 0, []
    for event in profile["events"]:
        if event["type"] == "O":
            opened.append((depth, frames[event["frame"]]["name"]))
        depth += 1 if event["type"] == "O" else -1
    return opened


def source_line(path, marker):
    """The number of the one line of a source file that holds the marker."""
    with open(os.path.join(ROOT, path)) as source:
        return next(n for n, line in enumerate(source, 1) if marker in line)


class HelperExitDumpTest(WineTest):
    def setUp(self):
        super().setUp()
        self.machine = ExitLogMachine(self.launch.wine)

    def tearDown(self):
        super().tearDown()
        self.machine.restore()

    def run_helper(self, value, folder_present):
        """One helper run told to end after 3 s; the files it added to the log folder."""
        self.machine.set_value(value)
        self.machine.provide_folder(folder_present)
        before = self.machine.files()
        listener = self.launch.start("debug-listen", "debug-listen.exe", ["--run-ms", "30000"])
        listener.wait_for("ready")
        self.started = time.time()
        self.plugin = self.launch.start("plugin-sim", "plugin-sim.exe",
                                        ["--start", self.launch.helper, "--exit-after", "3000"])
        self.plugin.finish()
        self.finished = time.time()
        time.sleep(0.5)  # the listener may still be passing on the last texts
        listener.stop()
        exits = [r["exitCode"] for r in self.plugin.events("helper-exited")]
        self.assertEqual(exits, [MINUS_ONE], self.plugin.text())
        # Checked, then done, each once: the dump ran exactly once and to its end.
        pid = self.plugin.wait_for("helper-started")["pid"]
        texts = [r["text"] for r in listener.events("text", pid=pid)]
        self.assertEqual([t for t in texts if t in (CHECKING, DONE)], [CHECKING, DONE])
        return sorted(self.machine.files() - before)

    def test_value_one_writes_that_runs_flow_log(self):
        new = self.run_helper(1, folder_present=True)
        self.assertEqual(len(new), 1, new)
        self.assertIn(EXIT_LOG_NAME.match(new[0]).group(1),
                      stamps_between(self.started, self.finished))
        with open(os.path.join(self.machine.folder, new[0]), "rb") as log:
            text = log.read().decode("latin-1")
        self.assertNotIn("\n", text.replace("\r\n", ""), "a Windows text file")
        lines = text.replace("\r\n", "\n").split("\n")
        self.assertTrue(lines[1].startswith("%% absolute reference timestamp: "), lines[:3])
        # The reference is the helper's own start: its wall-clock time lies within the run.
        calendar = CALENDAR.search(lines[0]).group(1)
        reference = time.mktime(time.strptime(" ".join(calendar.split()), "%a %b %d %H:%M:%S %Y"))
        self.assertLessEqual(int(self.started) - 1, reference)
        self.assertLessEqual(reference, self.finished + 1)
        # (event, function, seconds since the reference) of the helper's entries, in order;
        # an entry's second line starts with its seconds.
        helper = [(*m.groups(), float(after.split(",")[0]))
                  for m, after in zip(map(ENTRY.match, lines), lines[1:]) if m]
        course = [(e, f) for e, f, _ in helper if e in ("Scope_pop", "Timing_point")]
        self.assertEqual([c for c, _ in groupby(course) if c[0] == "Scope_pop" or
                          c[1] in ("Initialize", "Run", "DeInitialize")],
                         [("Timing_point", "Initialize"), ("Timing_point", "Run"),
                          ("Scope_pop", "Run"), ("Timing_point", "DeInitialize")], helper)
        self.assertNotIn(("Timing_point", "~LumoDiscoveryPluginHelper"), course, helper)
        # Run lasted until the plug-in's exit message, within the helper's life.
        seconds = {(e, f): s for e, f, s in helper}
        run_ms = (seconds[("Scope_pop", "Run")] - seconds[("Timing_point", "Run")]) * 1000
        started = self.plugin.wait_for("helper-started")["t"]
        self.assertGreater(run_ms, self.plugin.wait_for("sent", code=1002)["t"] - started - 2000)
        self.assertLess(run_ms, self.plugin.wait_for("helper-exited")["t"] - started)

    def fail_in_a_callback(self, helper_args, service_script, code, first_event, modules=()):
        """The throwing helper run until a service callback fails; the frames of its faulting
        thread in lumo-dump's stack that lie in the helper, judged by the toolchain, and of
        them those in this tree's sources."""
        self.machine.set_value(1)
        self.machine.provide_folder(True)
        before = self.machine.files()
        # Writing the dump under Wine's heap checking takes a busy machine a minute or more.
        listener = self.launch.start("debug-listen", "debug-listen.exe", ["--run-ms", "180000"])
        listener.wait_for("ready")
        dds = self.launch.announcement_listener(seconds=180)
        thrower = windows_path(os.path.join(self.launch.bin, "throwing-helper.exe"))
        plugin = self.launch.start("plugin-sim", "plugin-sim.exe", ["--start", thrower,
                                   "--helper-args", helper_args, "--run-ms", "180000"])
        pid = plugin.wait_for("helper-started")["pid"]
        # The service comes once the helper's client window can hear its broadcast.
        listener.wait_for("text", pid=pid, text=CLIENT_STARTED)
        self.launch.service("service", "wait-registered 20000\n" + service_script)
        exited = plugin.wait_for("helper-exited", timeout_s=180)
        self.assertEqual(exited["exitCode"], MINUS_ONE, plugin.text())
        events = lambda: [r["event"] for r in dds.records()
                          if r.get("event") in ("announce", "withdraw")]
        dds.wait_until(lambda: events()[-1:] == ["withdraw"], "a withdrawal", timeout_s=5)
        self.assertEqual(events()[0], first_event)

        new = sorted(self.machine.files() - before)
        self.assertEqual(len(new), 3, new)
        dump, record, log = (os.path.join(self.machine.folder, name) for name in new)
        self.dump, self.log = dump, log
        self.assertRegex(dump, r"LumoDiscoveryHelper_crash_\d{8}_\d{6}\.dmp$")
        # The stripped helper and its debug file, side by side as in the release.
        folders = [self.launch.bin, *modules]
        reader = self.launch.run("lumo-dump", "lumo-dump.exe", ["--json", *sum(
            (["--modules", windows_path(f)] for f in folders), []), windows_path(dump)])
        self.assertEqual(reader.finish(), 0, reader.text())
        self.assertEqual(reader.events("passed-over"), [])
        thread = reader.wait_for("exception", code=code)["threadId"]
        self.reader = reader
        at_crash = [r["line"] for r in reader.events("flow")]
        with open(log, "rb") as exit_log:
            at_exit = exit_log.read().decode("latin-1").split("\r\n")
        # The same log, as it stood at the crash: the run's frames stood when the dump was
        # taken, and its scope closed only afterwards.
        self.assertEqual(at_crash, at_exit[:len(at_crash)])
        pop = "% Scope_pop in_class LumoDiscoveryPluginHelper at Run "
        self.assertTrue(any(" in_class LumoDiscoveryPluginHelper at Run " in l for l in at_crash))
        self.assertFalse(any(l.startswith(pop) for l in at_crash))
        self.assertTrue(any(l.startswith(pop) for l in at_exit[len(at_crash):]))
        # With the system's DLLs at hand every frame is walked by rule, as the system did.
        program = stack_oracle.Program(os.path.join(self.launch.bin, "throwing-helper.exe"))
        ours = stack_oracle.check_stack(
            self, reader.events("frame", threadId=thread),
            stack_oracle.read_record(dump) if modules else [], program)
        return [f for f in ours if f["file"] and os.path.isfile(os.path.join(ROOT, f["file"]))]

    def test_an_exception_from_a_service_callback_is_recorded_and_withdraws_the_instrument(self):
        ours = self.fail_in_a_callback(
            "", "send instrument\nwait 500\nsend message 2210 1 0\nwait 1000\n",
            GCC_CXX_EXCEPTION, first_event="announce")
        self.assertEqual(self.reader.wait_for("thrown")["type"], "std::runtime_error")
        # Raised in a system DLL that is not at hand: our frames are reached by the scan.
        self.assertEqual(ours[0]["function"], "Orvane::Platform::ThrowKeptException()")
        self.assertEqual(ours[0]["line"],
                         source_line("platform/kept_exception.cpp", "rethrow_exception"))
        frames = self.reader.events("frame")
        self.assertTrue(next(f for f in frames if f["module"] == "throwing-helper.exe")["scanned"])

    def test_a_machine_fault_in_a_service_callback_is_recorded_and_ends_the_helper(self):
        # Unguarded, the system would drop the fault, and the helper run on unrecorded.
        ours = self.fail_in_a_callback(
            "access-violation", "send instrument\nwait 500\nsend instrument\nwait 1000\n",
            ACCESS_VIOLATION, first_event="announce", modules=[stack_oracle.SYSTEM_DLLS])
        # The dump holds the faulting context: the fault itself is the first frame.
        self.assertEqual((ours[0]["index"], ours[0]["function"]),
                         (0, "(anonymous namespace)::WriteThroughNowhere()"))
        self.assertIn("ThrowingHelper::OnInstrumentData", ours[1]["function"])

    def test_a_stack_overflow_in_a_service_callback_is_recorded_and_ends_the_helper(self):
        # Without a thread to write it on, the dump overflowed the stack again, and the helper
        # ended at once with status 0: no dump, no withdrawal, no exit log.
        ours = self.fail_in_a_callback(
            "stack-overflow", "send instrument\nwait 500\nsend instrument\nwait 1000\n",
            STACK_OVERFLOW, first_event="announce", modules=[stack_oracle.SYSTEM_DLLS])
        # The stack probe saved two registers and has no unwind data: the recursing frame is
        # found by scanning, and those above it by rule.
        recursing = "(anonymous namespace)::RecurseWithoutEnd(int)"
        self.assertEqual(self.reader.events("frame")[0]["function"], "___chkstk_ms")
        self.assertEqual([(f["index"], f["function"], f["scanned"]) for f in ours[:3]],
                         [(1, recursing, True), (2, recursing, False), (3, recursing, False)])

    def test_a_crash_and_its_exit_log_show_as_timelines_in_a_trace_viewer(self):
        # Rethrown in the run loop, the exception leaves a stack that is walked down to main.
        self.fail_in_a_callback("", "send instrument\nwait 500\nsend message 2210 1 0\nwait 1000\n",
                                GCC_CXX_EXCEPTION, first_event="announce")
        out = os.path.join(os.path.dirname(self.launch.bin), "trace-viewer")  # kept: artefacts
        os.makedirs(out, exist_ok=True)
        traces = [os.path.join(out, name) for name in ("crash-timeline.json", "exit-timeline.json")]
        for source, trace in zip((self.dump, self.log), traces):
            reader = self.launch.run("lumo-dump", "lumo-dump.exe",
                                     ["--trace", windows_path(trace), windows_path(source)])
            self.assertEqual(reader.finish(), 0, reader.text())
        viewer = subprocess.run(["node", os.path.join(VIEWER, "view_traces.js"),
                                 viewer_modules(out), out, *traces],
                                capture_output=True, text=True, timeout=300)
        self.assertEqual(viewer.returncode, 0, viewer.stderr)
        crash, exit_log = map(json.loads, viewer.stdout.splitlines())
        # speedscope lists the helper's thread by its id, as the one that faulted, and draws the
        # functions on its stack that the flow log saw open until the fault, nested.
        thread = self.reader.wait_for("exception")["threadId"]
        faulted = f"thread {thread} (faulted) (tid {thread})"
        self.assertIn(f"throwing-helper (pid 1), {faulted}", crash["shown"])
        self.assertEqual(opened_slices(crash, faulted)[:2],
                         [(0, "LumoDiscoveryPluginHelper::Execute" + OPEN),
                          (1, "LumoDiscoveryPluginHelper::Run" + OPEN)], crash["exported"])
        # At exit the run's scope had closed, and the log holds it whole.
        self.assertIn("LumoDiscoveryHelper (pid 1), thread", exit_log["shown"])
        self.assertIn((0, "LumoDiscoveryPluginHelper::Run"),
                      opened_slices(exit_log, f"(tid {thread})"), exit_log["exported"])

    def test_an_absent_value_or_log_folder_writes_nothing_and_creates_no_folder(self):
        self.assertEqual(self.run_helper(None, folder_present=True), [])
        self.assertEqual(self.run_helper(1, folder_present=False), [])
        self.assertFalse(os.path.exists(self.machine.folder))


if __name__ == "__main__":
    main()
