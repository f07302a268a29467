#!/usr/bin/env python3
"""Reads Google Benchmark's JSON (medians of repetitions) and prints each measure beside
its baseline: figure, baseline, ratio, goal, met. Each goal is set against the floor that
was measured for it (what the same work costs without the product's code around it), so
that the exit status 1 means a figure or its ratio to its floor got worse; comparisons
kept as information have no goal.

usage: summarize.py RESULTS.json
"""
import json
import sys

TIME, THROUGHPUT = "time", "throughput"
FLOW_1, FLOW_2 = "FlowRecord/real_time/threads:1", "FlowRecord/real_time/threads:2"
RING_1 = "SharedRingOfTheSameEntries/real_time/threads:1"
RING_2 = "SharedRingOfTheSameEntries/real_time/threads:2"
TURNS_1 = "FlowRecordTakingTurnsWithTheRing/real_time/threads:1"
TURNS_2 = "FlowRecordTakingTurnsWithTheRing/real_time/threads:2"
SENDTO = "RawSendtoOfTheSameBytes"
# Verdicts of work done in turns (bench/taking_turns.h): a (benchmark, counter) pair is the
# time of one way in each of the same iterations.
ANNOUNCE_TURNS = "AnnounceTakingTurnsWithItsFloor"
TRACE_TURNS = "FlowLogTraceTakingTurnsWithText/real_time"
INFO = None
NS_PER = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# (measure, benchmark, baseline, how the ratio is taken, goal text, test of the ratio);
# a benchmark or baseline may be a list, whose figures add up.
MEASURES = [
    ("flow record vs a bare ring of the same entries", FLOW_1, RING_1, TIME, "<= 1.10x",
     lambda r: r <= 1.10),
    ("flow record vs atomic add + clock", FLOW_1, "AtomicAddAndClock/real_time/threads:1", TIME,
     "(info)", INFO),
    ("flow record vs gettid system call", FLOW_1, "GettidSystemCall", TIME, "(info)", INFO),
    ("flow record, 2 threads vs 1", FLOW_2, FLOW_1, TIME, "(info)", INFO),
    ("bare ring of such entries, 2 threads vs 1", RING_2, RING_1, TIME, "(floor)", INFO),
    ("archive encode 1 M u32 vs memcpy", "ArchiveEncode", "MemcpyOfTheSameBytes", THROUGHPUT,
     ">= 0.35x", lambda r: r >= 0.35),
    ("archive decode 1 M u32 vs memcpy", "ArchiveDecode", "MemcpyOfTheSameBytes", THROUGHPUT,
     ">= 0.15x", lambda r: r >= 0.15),
    ("DES key schedule + block vs OpenSSL", "DesKeyAndBlock", "OpenSslDesKeyAndBlock", TIME,
     "<= 1.5x", lambda r: r <= 1.5),
    ("SHA-256 of 43 bytes vs OpenSSL", "Sha256OfTheAccessText", "OpenSslSha256OfTheAccessText",
     TIME, "<= 1.0x", lambda r: r <= 1.0),
    ("flow log of a full ring: trace vs text", (TRACE_TURNS, "trace"), (TRACE_TURNS, "text"),
     TIME, "<= 1.50x", lambda r: r <= 1.50),
    ("announce: build + send vs build + sendto", (ANNOUNCE_TURNS, "announce"),
     [(ANNOUNCE_TURNS, "build"), (ANNOUNCE_TURNS, "sendto")], TIME, "<= 1.10x",
     lambda r: r <= 1.10),
    ("announce: build + send vs sendto", "AnnounceBuildAndSend", SENDTO, TIME, "(info)", INFO),
    ("announce: send alone vs sendto", "AnnounceSendOnly", SENDTO, TIME, "(part)", INFO),
    ("Announce() with its mode switch vs sendto", "AnnounceWithItsModeSwitch", SENDTO, TIME,
     "(whole)", INFO),
]
# The slow-down of two threads over one, against the same slow-down of the bare ring, both
# taken over the same slices in which the two took turns.
CONTENTION_GOAL = 1.25


def medians(path):
    with open(path, encoding="utf-8") as f:
        results = json.load(f)["benchmarks"]
    return {b["run_name"]: b for b in results if b.get("aggregate_name") == "median"}


def describe(runs, names, kind):
    names = names if isinstance(names, list) else [names]
    if kind == THROUGHPUT:
        value = sum(runs[n]["bytes_per_second"] for n in names)
        return value, f"{value / 1e9:.2f} GB/s"
    value = sum(nanoseconds(runs, n) for n in names)
    return value, f"{value / 1e6:.1f} ms" if value >= 1e6 else f"{value:.1f} ns"


def nanoseconds(runs, name):
    """A benchmark's time per iteration, or a way's of a benchmark that took turns."""
    if isinstance(name, tuple):
        run, counter = name
        return runs[run][counter]
    return runs[name]["real_time"] * NS_PER[runs[name]["time_unit"]]


def main():
    runs = medians(sys.argv[1])
    rows, missed = [], 0
    for measure, name, baseline_name, kind, goal, met in MEASURES:
        value, figure = describe(runs, name, kind)
        base, baseline = describe(runs, baseline_name, kind)
        ratio = value / base
        ok = met is INFO or met(ratio)
        missed += 0 if ok else 1
        verdict = "" if met is INFO else "yes" if ok else "NO"
        rows.append((measure, figure, baseline, f"{ratio:.2f}x", goal, verdict))
    def flow_per_ring(name):
        return runs[name]["flow_ns"] / runs[name]["ring_ns"]

    contention = flow_per_ring(TURNS_2) / flow_per_ring(TURNS_1)
    ok = contention <= CONTENTION_GOAL
    missed += 0 if ok else 1
    rows.append(("flow record's 2-thread slow-down vs the bare ring's", "", "", f"{contention:.2f}x",
                 f"<= {CONTENTION_GOAL:.2f}x", "yes" if ok else "NO"))
    header = ("measure", "figure", "baseline", "ratio", "goal", "met")
    widths = [max(len(r[i]) for r in rows + [header]) for i in range(len(header))]
    for row in [header] + rows:
        print("  ".join(cell.ljust(w) for cell, w in zip(row, widths)).rstrip())
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
