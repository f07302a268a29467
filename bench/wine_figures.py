#!/usr/bin/env python3
"""The helper's own figures under Wine, each party a separate process: instrument data to
datagram latency, service loss to withdrawal latency, idle CPU and wake-ups, and memory.

usage: wine_figures.py --bin DIR --wine scripts/wine.sh [--changes 1000] [--losses 20]
                       [--idle-s 60]
"""
import argparse
import glob
import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "e2e"))
from wine_program import Program, windows_path  # noqa: E402

TICKS = os.sysconf("SC_CLK_TCK")


def linux_pid(exe_name):
    found = subprocess.run(["pgrep", "-f", exe_name], capture_output=True, text=True).stdout
    pids = [int(p) for p in found.split()]
    return max(pids) if pids else None


def cpu_ticks(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def switches(pid):
    total = 0
    for status in glob.glob(f"/proc/{pid}/task/*/status"):
        for line in open(status):
            if line.startswith(("voluntary_ctxt_switches", "nonvoluntary_ctxt_switches")):
                total += int(line.split()[1])
    return total


def status_kb(pid, key):
    for line in open(f"/proc/{pid}/status"):
        if line.startswith(key + ":"):
            return int(line.split()[1])
    return 0


def percentile(values, p):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(round(p / 100 * (len(ordered) - 1))))]


def service_script(changes, losses, idle_s):
    lines = ["wait-registered 15000", "set type 10", "set subtype 2"]
    for i in range(changes):
        lines += [f"set name Arm {i}", "send instrument", "wait 15"]
    # Room for the idle measurement, which starts a second after the last change.
    lines += [f"wait {idle_s * 1000 + 3000}"]
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

    def start(name, exe, arguments):
        return Program(args.wine, name, os.path.join(args.bin, exe), arguments)

    workdir = tempfile.mkdtemp(prefix="wine-figures-")
    script = os.path.join(workdir, "service.txt")
    with open(script, "w", encoding="utf-8") as f:
        f.write(service_script(args.changes, args.losses, args.idle_s))
    run_s = 120 + args.idle_s + args.changes // 20 + args.losses * 3
    programs = []
    try:
        dds = start("dds-listen", "dds-listen.exe", ["--json", "--seconds", str(run_s)])
        programs.append(dds)
        if not dds.wait_for_stderr("listening on"):
            raise SystemExit("port 50999 is taken")
        helper = windows_path(os.path.join(args.bin, "LumoDiscoveryHelper.exe"))
        plugin = start("plugin-sim", "plugin-sim.exe",
                       ["--start", helper, "--run-ms", str(run_s * 1000)])
        programs.append(plugin)
        plugin.wait_for("helper-started")
        time.sleep(1.0)
        pid = linux_pid("LumoDiscoveryHelper.exe")
        server = linux_pid("wineserver")
        service = start("lumo-sim", "lumo-sim.exe", ["--script", windows_path(script)])
        programs.append(service)

        idle = {}
        service.wait_until(
            lambda: len(service.events("sent", messageId=1000)) >= args.changes,
            "the last change", timeout_s=run_s)
        time.sleep(1.0)
        idle["start"] = (time.monotonic(), cpu_ticks(pid), cpu_ticks(server), switches(pid))
        time.sleep(args.idle_s)
        idle["end"] = (time.monotonic(), cpu_ticks(pid), cpu_ticks(server), switches(pid))
        memory = (status_kb(pid, "RssAnon"), status_kb(pid, "VmRSS"),
                  status_kb(linux_pid("dds-listen.exe"), "RssAnon"))
        service.finish(timeout_s=run_s)
    finally:
        for program in programs:
            program.stop()

    start_ms = service.start_on_script_clock()
    datagrams = [(stamp, r) for stamp, r in dds.stamped_records()
                 if r.get("event") in ("announce", "withdraw")]
    latencies = []
    for sent in service.events("sent", messageId=1000)[:args.changes]:
        at = start_ms + sent["t"]
        name = f'Arm {len(latencies)}'
        arrival = next((s for s, r in datagrams if r.get("name") == name), None)
        if arrival is not None:
            latencies.append(max(0.0, arrival - at))
    withdrawals = []
    for destroyed in service.events("window-destroyed"):
        at = start_ms + destroyed["t"]
        arrival = next((s for s, r in datagrams if s >= at and r["event"] == "withdraw"), None)
        if arrival is not None:
            withdrawals.append(arrival - at)

    seconds = idle["end"][0] - idle["start"][0]
    helper_cpu = (idle["end"][1] - idle["start"][1]) / TICKS / seconds * 100
    server_cpu = (idle["end"][2] - idle["start"][2]) / TICKS / seconds * 100
    wakeups = (idle["end"][3] - idle["start"][3]) / seconds
    rows = [
        ("data -> datagram p99 (ms)", f"{percentile(latencies, 99):.1f}",
         f"{len(latencies)} changes, p50 {percentile(latencies, 50):.1f}", "<= 5",
         percentile(latencies, 99) <= 5),
        ("window gone -> withdrawal p99 (ms)", f"{percentile(withdrawals, 99):.0f}",
         f"{len(withdrawals)} losses, p50 {percentile(withdrawals, 50):.0f}", "<= 550",
         percentile(withdrawals, 99) <= 550),
        ("idle CPU, helper + wineserver (%)", f"{helper_cpu + server_cpu:.2f}",
         f"helper {helper_cpu:.2f}, wineserver {server_cpu:.2f}, {seconds:.0f} s", "<= 0.3",
         helper_cpu + server_cpu <= 0.3),
        ("idle wake-ups of the helper (/s)", f"{wakeups:.1f}", "context switches, all threads",
         "<= 3", wakeups <= 3),
        ("helper private memory (MB)", f"{memory[0] / 1024:.1f}",
         f"RSS {memory[1] / 1024:.1f}; a Wine tool: {memory[2] / 1024:.1f}", "<= 8",
         memory[0] / 1024 <= 8),
    ]
    print(f"{'measure':36} {'figure':>8}  {'goal':8} met  detail")
    for measure, figure, detail, goal, met in rows:
        print(f"{measure:36} {figure:>8}  {goal:8} {'yes' if met else 'NO ':3}  {detail}")
    return 0 if all(r[4] for r in rows) else 1


if __name__ == "__main__":
    sys.exit(main())
