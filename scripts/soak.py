#!/usr/bin/env python3
"""The helper left to run while its service comes and goes, while the service's window
floods it with malformed blocks, until its plug-in is killed; each party a separate Wine
process. Prints a summary table and exits 1 when a bound fails.

usage: soak.py --bin DIR --wine scripts/wine.sh [--losses 100] [--flood 10000] [--seed N]
"""
import argparse
import os
import random
import struct
import sys
import threading
import time

from exit_log_machine import ExitLogMachine
from wine_program import Launcher, now_ms
from wine_processes import linux_pid, percentile, status_kb

WITHDRAW_WITHIN_MS = 600
REGISTER_WITHIN_MS = 200
# A beat falls due at most a beat after the last, and the loop may see it one liveness tick
# late; the failed write then ends the run.
END_WITHIN_MS = 2000 + 500 + 100
MEMORY_GROWTH_MAX_KB_PER_MIN = 64
DESCRIPTORS_GROWTH_MAX = 2

# Fixed records the client reads, by message id, and their sizes.
FIXED_RECORDS = {1000: 700, 2215: 700, 2233: 700, 1001: 564, 2206: 564, 2202: 564,
                 1006: 528, 2218: 528, 1009: 400, 1002: 4, 2015: 48}
# Every id the client decodes a payload of, for counts that promise more than there is.
# 1005 is left out: it is the service's goodbye, and the helper rightly drops the service.
SERIALIZED_IDS = [i for i in range(1000, 1010) if i != 1005] + list(range(2000, 2240)) + \
    [2300, 2301, 2302]


def malformed_blocks(count, rng):
    """Script lines sending `count` blocks no service would send."""
    lines = []
    kinds = ["short", "wrong-size", "short-record", "huge-count"]
    for i in range(count):
        kind = kinds[i % len(kinds)]
        if kind == "short":
            size = rng.randrange(0, 32)
            lines.append("send raw " + bytes(rng.randrange(256) for _ in range(size)).hex())
        elif kind == "wrong-size":
            message_id = rng.choice(list(FIXED_RECORDS) + SERIALIZED_IDS)
            payload = bytes(rng.randrange(256) for _ in range(rng.randrange(0, 64)))
            claimed = rng.choice([len(payload) + 1, len(payload) + 100000, 0xFFFFFFFF])
            header = struct.pack("<IIII", message_id, 0, 0, claimed) + bytes(16)
            lines.append("send raw " + (header + payload).hex())
        elif kind == "short-record":
            message_id, size = rng.choice(list(FIXED_RECORDS.items()))
            payload = bytes(rng.randrange(256) for _ in range(rng.randrange(0, size)))
            lines.append(f"send message {message_id} 0 0 {payload.hex()}".rstrip())
        else:
            message_id = rng.choice(SERIALIZED_IDS)
            count_field = struct.pack("<I", rng.choice([0xFFFFFFFF, 0x7FFFFFFF, 0x10000000]))
            tail = bytes(rng.randrange(256) for _ in range(rng.randrange(0, 16)))
            lines.append(f"send message {message_id} 0 0 {(count_field + tail).hex()}")
    return lines


def service_script(losses, flood, rng):
    lines = ["wait-registered 15000", "set type 10", "set subtype 2", "set name Arm 0",
             "send instrument"]
    for i in range(1, losses + 1):
        lines += [f"wait {rng.randrange(300, 5001)}", "destroy-window",
                  f"wait {rng.randrange(300, 5001)}", "create-window", "wait-registered 15000",
                  f"set name Arm {i}", "send instrument"]
    lines += malformed_blocks(flood, rng)
    lines += ["set name After the flood", "send instrument", "wait 5000",
              "wait-unregistered 600000"]
    return "\n".join(lines) + "\n"


class Sampler(threading.Thread):
    """The helper's open descriptors (the Linux side of its handles) and private memory,
    once a second."""

    def __init__(self, pid):
        super().__init__(daemon=True)
        self.pid = pid
        self.samples = []  # (seconds, descriptors, private kB)
        self.running = True

    def run(self):
        start = time.monotonic()
        while self.running:
            try:
                self.samples.append((time.monotonic() - start,
                                     len(os.listdir(f"/proc/{self.pid}/fd")),
                                     status_kb(self.pid, "RssAnon")))
            except OSError:
                return
            time.sleep(1.0)


def slope_per_minute(points):
    """Least-squares slope of (seconds, value) points, per minute."""
    if len(points) < 2:
        return 0.0
    n = len(points)
    mean_t = sum(t for t, _ in points) / n
    mean_v = sum(v for _, v in points) / n
    var = sum((t - mean_t) ** 2 for t, _ in points)
    return 60 * sum((t - mean_t) * (v - mean_v) for t, v in points) / var if var else 0.0


def percentiles(values):
    if not values:
        return "-"
    return (f"p50 {percentile(values, 50):.0f}, p99 {percentile(values, 99):.0f}, "
            f"max {max(values):.0f}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", required=True)
    parser.add_argument("--losses", type=int, default=100)
    parser.add_argument("--flood", type=int, default=10000)
    parser.add_argument("--seed", type=int, default=int(time.time()))
    args = parser.parse_args()
    rng = random.Random(args.seed)

    launch = Launcher(args.bin, args.wine)
    run_s = 600 + args.losses * 12 + args.flood // 100
    machine = ExitLogMachine(args.wine)
    machine.set_value(1)
    machine.provide_folder(True)
    failures = []
    try:
        dds = launch.announcement_listener(run_s, patience_s=0)
        plugin = launch.start("plugin-sim", "plugin-sim.exe",
                              ["--start", launch.helper, "--run-ms", str(run_s * 1000)])
        plugin.wait_for("helper-started")
        pid = linux_pid("LumoDiscoveryHelper.exe", launch.prefix)
        sampler = Sampler(pid)
        sampler.start()
        # The client's window exists from the loop's first wake-up, a beat after the start.
        time.sleep(4.0)
        service = launch.service("service", service_script(args.losses, args.flood, rng))
        service.wait_until(
            lambda: [r for r in service.events("sent", messageId=1000)
                     if r.get("name") == "After the flood"], "the end of the flood",
            timeout_s=run_s)
        time.sleep(5.0)  # re-announcements of the last instrument
        alive_after_flood = os.path.exists(f"/proc/{pid}")
        killed_at = time.monotonic()
        killed_stamp = now_ms()
        plugin.stop()
        while os.path.exists(f"/proc/{pid}") and time.monotonic() - killed_at < 30:
            time.sleep(0.01)
        ended_ms = (time.monotonic() - killed_at) * 1000
        sampler.running = False
        service.finish(timeout_s=60)
        time.sleep(0.5)
    finally:
        launch.stop_all()
        exit_logs = [n for n in machine.files() - machine.files_before if "_exit_" in n]
        crash_dumps = [n for n in machine.files() - machine.files_before if "_crash_" in n]
        machine.restore()

    datagrams = [r for r in dds.records() if r.get("event") in ("announce", "withdraw")]
    # Every loss of a service whose instrument was announced withdraws it within the bound.
    # A service that returns before the liveness check has noticed its loss broadcasts while
    # the helper still knows the old window: the transport ignores that announcement by
    # rule, and the helper waits for the next service. Such returns are counted apart.
    def last_before(clock_us):
        earlier = [r for r in datagrams if r["clockUs"] < clock_us]
        return earlier[-1] if earlier else None

    def first_after(clock_us, event):
        return next((r for r in datagrams if r["event"] == event and r["clockUs"] >= clock_us),
                    None)

    destroyed = service.events("window-destroyed")[:args.losses]
    broadcasts = service.events("broadcast")[1:args.losses + 1]
    withdrawals, registrations, unannounced, ignored = [], [], 0, 0
    for i, (loss, broadcast) in enumerate(zip(destroyed, broadcasts), start=1):
        before = last_before(loss["clockUs"])
        withdrawal = first_after(loss["clockUs"], "withdraw")
        if before is not None and before["event"] == "announce":
            withdrawals.append((withdrawal["clockUs"] - loss["clockUs"]) / 1000
                               if withdrawal else 1e9)
            if withdrawal is None or withdrawal["clockUs"] > broadcast["clockUs"]:
                ignored += 1
                continue
        registration = next((r for r in service.events("received", messageId=2000)
                             if r["clockUs"] >= broadcast["clockUs"]), None)
        registrations.append((registration["clockUs"] - broadcast["clockUs"]) / 1000
                             if registration else 1e9)
        unannounced += 0 if any(r["event"] == "announce" and r["name"] == f"Arm {i}"
                                for r in datagrams) else 1
    # Sequence numbers: a repetition and a withdrawal keep the number of the announcement
    # before them; a new announcement (another instrument) takes a new one.
    sequence_faults = 0
    for before, record in zip(datagrams, datagrams[1:]):
        same = (record["name"], record["model"]) == (before["name"], before["model"])
        repeated = record["event"] == "withdraw" or (before["event"] == "announce" and same)
        if repeated != (record["sequence"] == before["sequence"]):
            sequence_faults += 1
    flood_sent = len([r for r in service.events("sent") if r.get("messageId") != 1000
                      or r.get("payloadSize") != 700])
    after_flood = [r for r in datagrams if r["event"] == "announce"
                   and r["name"] == "After the flood"]
    final = datagrams[-1] if datagrams else {}
    final_stamp = max((stamp for stamp, r in dds.stamped_records()
                       if r.get("event") == "withdraw"), default=float("inf"))
    withdrawn_ms = final_stamp - killed_stamp
    samples = sampler.samples[60:] or sampler.samples  # after the first minute
    fd_slope = slope_per_minute([(t, d) for t, d, _ in samples])
    kb_slope = slope_per_minute([(t, k) for t, _, k in samples])
    fd_growth = samples[-1][1] - samples[0][1] if samples else 0

    rows = [
        ("service losses", f"{args.losses}", "", True),
        ("returns before the loss was seen", f"{ignored}", "(ignored by rule)", True),
        ("withdrawal after a loss (ms)", percentiles(withdrawals), f"<= {WITHDRAW_WITHIN_MS}",
         max(withdrawals, default=0) <= WITHDRAW_WITHIN_MS),
        ("registration after a broadcast (ms)", percentiles(registrations),
         f"<= {REGISTER_WITHIN_MS}", max(registrations, default=0) <= REGISTER_WITHIN_MS),
        ("returns not announced again", f"{unannounced}", "0", unannounced == 0),
        ("sequence-number faults", f"{sequence_faults}", "0", sequence_faults == 0),
        ("malformed blocks sent", f"{flood_sent}", f"{args.flood}", flood_sent >= args.flood),
        ("announced after the flood", f"{len(after_flood)} datagrams", ">= 2",
         alive_after_flood and len(after_flood) >= 2),
        ("crashes (dumps)", f"{len(crash_dumps)}", "0", not crash_dumps),
        ("plug-in killed -> withdrawal (ms)", f"{withdrawn_ms:.0f}", f"<= {END_WITHIN_MS}",
         final.get("event") == "withdraw" and withdrawn_ms <= END_WITHIN_MS),
        ("plug-in killed -> process gone (ms)", f"{ended_ms:.0f}", "(exit dump, Wine)",
         ended_ms < 30000),
        ("exit dump written", f"{len(exit_logs)}", "1", len(exit_logs) == 1),
        ("descriptors slope (/min)", f"{fd_slope:+.2f}",
         f"growth <= {DESCRIPTORS_GROWTH_MAX}", fd_growth <= DESCRIPTORS_GROWTH_MAX),
        ("private memory slope (kB/min)", f"{kb_slope:+.1f}",
         f"<= {MEMORY_GROWTH_MAX_KB_PER_MIN}", kb_slope <= MEMORY_GROWTH_MAX_KB_PER_MIN),
    ]
    print(f"soak: seed {args.seed}, {len(sampler.samples)} s sampled")
    print(f"{'measure':36} {'figure':34} {'bound':18} met")
    for measure, figure, bound, met in rows:
        print(f"{measure:36} {figure:34} {bound:18} {'yes' if met else 'NO'}")
        if not met:
            failures.append(measure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
