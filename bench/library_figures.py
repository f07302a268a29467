#!/usr/bin/env python3
"""The client library's cost under Wine beside its floor, each party a separate process:
one request's send (280 bytes and a 64 KiB 2016) through the library against a bare sender's
WM_COPYDATA to the same bare receiving window; requests a second with the receiver answering
each; and the helper's start-up to its first announcement against an empty program's start.

usage: library_figures.py --bin DIR --wine scripts/wine.sh [--requests 1000] [--rounds 3]
                          [--seconds 10]
Prints one table; exits 1 when a goal is missed.
"""
import argparse
import os
import statistics
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "scripts"))
from wine_program import Launcher, now_ms  # noqa: E402

INSTRUMENT_RECORD = 700
TYPE_OFFSET, NAME_OFFSET = 416, 20


def instrument_record():
    """A supported arm (type 2) named "Arm", as the service's 1000 carries it."""
    record = bytearray(INSTRUMENT_RECORD)
    record[TYPE_OFFSET:TYPE_OFFSET + 4] = (2).to_bytes(4, "little")
    name = "Arm".encode("utf-16-le")
    record[NAME_OFFSET:NAME_OFFSET + len(name)] = name
    return bytes(record)


def senders(launch, receiver_args, sender_args, rounds):
    """Each sender's records, its runs alternating against one receiver."""
    receiver = launch.start("receiver", "copydata-receiver.exe", receiver_args)
    receiver.wait_for("ready")
    found = {"bare": [], "library": []}
    for _ in range(rounds):
        for sender in found:
            run = launch.run(sender, "copydata-sender.exe", [sender] + sender_args)
            if run.finish(timeout_s=300) != 0:
                raise SystemExit(f"copydata-sender {sender} failed:\n{run.text()}")
            found[sender] += run.records()
    receiver.stop()
    return found


def send_rows(launch, requests, rounds):
    found = senders(launch, ["600000"], ["latency", str(requests)], rounds)
    rows = []
    for size in ("280 B", "64 KiB"):
        for figure in ("p50Us", "p99Us"):
            median = {s: statistics.median(r[figure] for r in found[s] if r["request"] == size)
                      for s in found}
            rows.append({"measure": f"library send {size}, {figure[:3]} (us)",
                         "figure": median["library"], "floor": median["bare"],
                         "goal": "<= 1.2x", "met": median["library"] <= 1.2 * median["bare"],
                         "detail": f"{rounds} x {requests} sends each, median of the runs"})
    return rows


def sustained_row(launch, seconds):
    found = senders(launch, ["--answer", "600000"], ["sustained", str(seconds)], 1)
    rate = {s: found[s][0]["perSecond"] for s in found}
    return {"measure": "requests a second, each answered", "figure": rate["library"],
            "floor": rate["bare"], "goal": ">= 0.8x", "met": rate["library"] >= 0.8 * rate["bare"],
            "detail": f"{seconds} s each"}


def startup_rows(launch):
    """From the helper's start (its starter's report) to its first announcement, with a
    service that broadcasts until the helper's client registers and answers the
    registration with a supported arm."""
    floor = []
    for _ in range(3):
        started = now_ms()
        empty = launch.run("wine-floor", "wine-floor.exe", ["0"])
        empty.wait_for("ready")
        floor.append(empty.stamped_records()[0][0] - started)
        empty.finish()
    dds = launch.announcement_listener(60, patience_s=0)
    script = (f"answer 2000 1000 0 {instrument_record().hex()}\n" +
              "broadcast\nwait 50\n" * 300 + "wait-unregistered 30000\n")
    service = launch.service("service", script)
    service.wait_for("window-created")
    plugin = launch.start("plugin-sim", "plugin-sim.exe",
                          ["--start", launch.helper, "--run-ms", "60000"])
    plugin.wait_for("helper-started")
    started = next(stamp for stamp, r in plugin.stamped_records()
                   if r.get("event") == "helper-started")
    dds.wait_until(lambda: [r for r in dds.records() if r.get("event") == "announce"],
                   "the first announcement", timeout_s=30)
    announced = next(stamp for stamp, r in dds.stamped_records() if r.get("event") == "announce")
    registered = service.start_on_script_clock() + service.events("received",
                                                                   messageId=2000)[0]["t"]
    launch.end_helper()
    plugin.finish()
    return [{"measure": "helper start -> first announcement (ms)", "figure": announced - started,
             "floor": statistics.median(floor), "goal": "(report)", "met": True,
             "detail": f"registered after {registered - started:.0f} ms, announced "
                       f"{announced - registered:.0f} ms later; the floor is an empty "
                       f"program's start to its first line"}]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", required=True)
    parser.add_argument("--requests", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=int, default=10)
    args = parser.parse_args()
    launch = Launcher(args.bin, args.wine)
    try:
        rows = (send_rows(launch, args.requests, args.rounds) +
                [sustained_row(launch, args.seconds)] + startup_rows(launch))
    finally:
        launch.stop_all()
    print(f"{'measure':40} {'figure':>8} {'floor':>8} {'ratio':>6}  {'goal':8} met  detail")
    for r in rows:
        print(f"{r['measure']:40} {r['figure']:8.0f} {r['floor']:8.0f} "
              f"{r['figure'] / r['floor']:5.2f}x  {r['goal']:8} {'yes' if r['met'] else 'NO ':3}  "
              f"{r['detail']}")
    return 0 if all(r["met"] for r in rows) else 1


if __name__ == "__main__":
    sys.exit(main())
