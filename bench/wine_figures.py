#!/usr/bin/env python3
"""The helper's own figures under Wine, each party a separate process: instrument data to
datagram latency, service loss to withdrawal latency, idle CPU and wake-ups, and memory.

usage: wine_figures.py --bin DIR --wine scripts/wine.sh [--changes 1000] [--losses 20]
                       [--idle-s 60]
"""
import argparse
import glob
import os
import re
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "scripts"))
from wine_program import Launcher  # noqa: E402
from wine_processes import linux_pid, percentile, status_kb  # noqa: E402

TICKS = os.sysconf("SC_CLK_TCK")
# A blocking call of the loop's thread that lasts this long is a wait, not a server request.
WAIT_S = 0.02
TRACE_S = 10


def cpu_ticks(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def switches(pid, task="*"):
    """Context switches of the process's threads (or of one of them), voluntary or not."""
    total = 0
    for status in glob.glob(f"/proc/{pid}/task/{task}/status"):
        for line in open(status):
            if line.startswith(("voluntary_ctxt_switches", "nonvoluntary_ctxt_switches")):
                total += int(line.split()[1])
    return total


def sample(helper, server, others):
    """Time, the helper's CPU ticks, the Wine server's, the helper's switches (all threads
    and its main thread), and the switches of the other Wine programs."""
    return (time.monotonic(), cpu_ticks(helper), cpu_ticks(server), switches(helper),
            switches(helper, helper), sum(switches(p) for p in others))


def service_script(changes, losses, idle_s):
    lines = ["wait-registered 15000", "set type 10", "set subtype 2"]
    for i in range(changes):
        lines += [f"set name Arm {i}", "send instrument", "wait 15"]
    # Room for the idle measurement, which starts a second after the last change.
    lines += [f"wait {(idle_s + TRACE_S) * 1000 + 3000}"]
    for _ in range(losses):
        lines += ["destroy-window", "wait 1500", "create-window", "wait-registered 15000",
                  "send instrument", "wait 300"]
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", required=True)
    parser.add_argument("--changes", type=int, default=1000)
    parser.add_argument("--losses", type=int, default=20)
    parser.add_argument("--idle-s", type=int, default=60)
    args = parser.parse_args()

    launch = Launcher(args.bin, args.wine)
    run_s = 120 + args.idle_s + TRACE_S + args.changes // 20 + args.losses * 3
    try:
        dds = launch.announcement_listener(run_s, patience_s=0)
        plugin = launch.start("plugin-sim", "plugin-sim.exe",
                              ["--start", launch.helper, "--run-ms", str(run_s * 1000)])
        plugin.wait_for("helper-started")
        # The client's window exists from the loop's first wake-up, a beat after the start;
        # only then can it hear the service's broadcast.
        time.sleep(4.0)
        pid = linux_pid("LumoDiscoveryHelper.exe", launch.prefix)
        server = linux_pid("wineserver", launch.prefix)
        service = launch.service("service",
                                 service_script(args.changes, args.losses, args.idle_s))

        idle = {}
        service.wait_until(
            lambda: len(service.events("sent", messageId=1000)) >= args.changes,
            "the last change", timeout_s=run_s)
        time.sleep(1.0)
        floor = launch.start("wine-floor", "wine-floor.exe",
                             [str((args.idle_s + TRACE_S + 10) * 1000)])
        floor.wait_for("ready")
        floor_pid = linux_pid("wine-floor.exe", launch.prefix)
        others = [linux_pid(n, launch.prefix)
                  for n in ("plugin-sim.exe", "lumo-sim.exe", "dds-listen.exe")]
        idle["start"] = sample(pid, server, others + [floor_pid])
        time.sleep(args.idle_s)
        idle["end"] = sample(pid, server, others + [floor_pid])
        # Then, apart because tracing costs switches of its own: the main thread's blocking
        # calls that last a while are its waits, and each one ends in a wake-up.
        trace = os.path.join(launch.workdir, "strace.txt")
        tracer = subprocess.Popen(["strace", "-T", "-p", str(pid), "-o", trace, "-e",
                                   "trace=read,poll,ppoll,select,pselect6,futex"],
                                  stderr=subprocess.DEVNULL)
        time.sleep(TRACE_S)
        tracer.terminate()
        tracer.wait()
        with open(trace, encoding="utf-8", errors="replace") as f:
            traced = f.read().splitlines()  # the folder goes with stop_all
        memory = (status_kb(pid, "RssAnon"), status_kb(pid, "VmRSS"),
                  status_kb(floor_pid, "RssAnon"))
        service.finish(timeout_s=run_s)
    finally:
        launch.stop_all()

    # lumo-sim reads the machine's monotonic clock before each send, dds-listen at each
    # receipt: the same clock, so their difference is the latency. A destroyed window is
    # stamped only in milliseconds since lumo-sim started, mapped onto this script's clock.
    datagrams = [(stamp, r) for stamp, r in dds.stamped_records()
                 if r.get("event") in ("announce", "withdraw")]
    latencies = []
    for i, sent in enumerate(service.events("sent", messageId=1000)[:args.changes]):
        received = next((r for _, r in datagrams if r.get("name") == f"Arm {i}"), None)
        if received is not None:
            latencies.append((received["clockUs"] - sent["clockUs"]) / 1000)
    start_ms = service.start_on_script_clock()
    withdrawals = []
    for destroyed in service.events("window-destroyed"):
        at = start_ms + destroyed["t"]
        arrival = next((s for s, r in datagrams if s >= at and r["event"] == "withdraw"), None)
        if arrival is not None:
            withdrawals.append(arrival - at)
    if not latencies or not withdrawals:
        print(service.text() + "\n" + dds.text(), file=sys.stderr)
        raise SystemExit("no announcement or no withdrawal could be matched")
    delta = [b - a for a, b in zip(idle["start"], idle["end"])]
    seconds = delta[0]
    helper_cpu = delta[1] / TICKS / seconds * 100
    server_cpu = delta[2] / TICKS / seconds * 100
    # Every call into the Wine server is a round trip that switches the caller out once:
    # the helper's share of the server is its share of the switches of the server's clients.
    share = delta[3] / max(1, delta[3] + delta[5])
    helper_and_share = helper_cpu + server_cpu * share
    waits = 0
    for line in traced:
        duration = re.search(r"<([0-9.]+)>$", line.strip())
        waits += 1 if duration and float(duration.group(1)) >= WAIT_S else 0
    wakeups = waits / TRACE_S
    rows = [
        ("data -> datagram p99 (ms)", f"{percentile(latencies, 99):.2f}",
         f"{len(latencies)} changes, p50 {percentile(latencies, 50):.2f}, max {max(latencies):.2f}", "<= 5",
         percentile(latencies, 99) <= 5),
        ("window gone -> withdrawal p99 (ms)", f"{percentile(withdrawals, 99):.0f}",
         f"{len(withdrawals)} losses, p50 {percentile(withdrawals, 50):.0f}", "<= 550",
         percentile(withdrawals, 99) <= 550),
        ("idle CPU, helper + its server share (%)", f"{helper_and_share:.2f}",
         f"helper {helper_cpu:.2f}, server {server_cpu:.2f} x {share:.2f}, {seconds:.0f} s",
         "<= 0.3", helper_and_share <= 0.3),
        ("idle wake-ups of the helper's loop (/s)", f"{wakeups:.1f}",
         f"waits of {WAIT_S * 1000:.0f} ms or more; {delta[4] / seconds:.1f} switches/s",
         "<= 3", wakeups <= 3),
        ("helper private memory above Wine's (MB)", f"{(memory[0] - memory[2]) / 1024:.1f}",
         f"in all {memory[0] / 1024:.1f}, the floor program {memory[2] / 1024:.1f}", "<= 8",
         (memory[0] - memory[2]) / 1024 <= 8),
    ]
    print(f"{'measure':41} {'figure':>6}  {'goal':7} met  detail")
    for measure, figure, detail, goal, met in rows:
        print(f"{measure:41} {figure:>6}  {goal:7} {'yes' if met else 'NO ':3}  {detail}")
    return 0 if all(r[4] for r in rows) else 1


if __name__ == "__main__":
    sys.exit(main())
