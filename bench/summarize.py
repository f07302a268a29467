#!/usr/bin/env python3
"""Reads Google Benchmark's JSON (medians of repetitions) and prints each measure beside
its baseline: figure, baseline, ratio, goal, met. Exits 1 when a goal is missed.

usage: summarize.py RESULTS.json
"""
import json
import sys

# (measure, benchmark, baseline, how the ratio is taken, goal text, test of the ratio)
TIME, THROUGHPUT = "time", "throughput"
MEASURES = [
    ("flow record vs atomic add + clock", "FlowRecord/real_time/threads:1",
     "AtomicAddAndClock/real_time/threads:1", TIME, "<= 1.10x", lambda r: r <= 1.10),
    ("flow record vs gettid system call", "FlowRecord/real_time/threads:1",
     "GettidSystemCall", TIME, "<= 0.2x", lambda r: r <= 0.2),
    ("flow record, 2 threads vs 1", "FlowRecord/real_time/threads:2",
     "FlowRecord/real_time/threads:1", TIME, "<= 2x", lambda r: r <= 2.0),
    ("bare ring of such entries, 2 threads vs 1",
     "SharedRingOfTheSameEntries/real_time/threads:2",
     "SharedRingOfTheSameEntries/real_time/threads:1", TIME, "(floor)", lambda r: True),
    ("archive encode 1 M u32 vs memcpy", "ArchiveEncode", "MemcpyOfTheSameBytes", THROUGHPUT,
     ">= 0.35x", lambda r: r >= 0.35),
    ("archive decode 1 M u32 vs memcpy", "ArchiveDecode", "MemcpyOfTheSameBytes", THROUGHPUT,
     ">= 0.15x", lambda r: r >= 0.15),
    ("DES key schedule + block vs OpenSSL", "DesKeyAndBlock", "OpenSslDesKeyAndBlock", TIME,
     "<= 1.5x", lambda r: r <= 1.5),
    ("SHA-256 of 43 bytes vs OpenSSL", "Sha256OfTheAccessText", "OpenSslSha256OfTheAccessText",
     TIME, "<= 1.0x", lambda r: r <= 1.0),
    ("announce: build + send vs sendto", "AnnounceBuildAndSend", "RawSendtoOfTheSameBytes",
     TIME, "<= 1.05x", lambda r: r <= 1.05),
    ("announce: build alone vs sendto", "AnnounceBuildOnly", "RawSendtoOfTheSameBytes", TIME,
     "(part)", lambda r: True),
    ("announce: send alone vs sendto", "AnnounceSendOnly", "RawSendtoOfTheSameBytes", TIME,
     "(part)", lambda r: True),
    ("Announce() with its mode switch vs sendto", "AnnounceWithItsModeSwitch",
     "RawSendtoOfTheSameBytes", TIME, "(whole)", lambda r: True),
]


def medians(path):
    with open(path, encoding="utf-8") as f:
        results = json.load(f)["benchmarks"]
    return {b["run_name"]: b for b in results if b.get("aggregate_name") == "median"}


def describe(bench, kind):
    if kind == THROUGHPUT:
        return bench["bytes_per_second"], f'{bench["bytes_per_second"] / 1e9:.2f} GB/s'
    return bench["real_time"], f'{bench["real_time"]:.1f} ns'


def main():
    runs = medians(sys.argv[1])
    rows, missed = [], 0
    for measure, name, baseline_name, kind, goal, met in MEASURES:
        value, figure = describe(runs[name], kind)
        base, baseline = describe(runs[baseline_name], kind)
        ratio = value / base
        ok = met(ratio)
        missed += 0 if ok else 1
        rows.append((measure, figure, baseline, f"{ratio:.2f}x", goal, "yes" if ok else "NO"))
    header = ("measure", "figure", "baseline", "ratio", "goal", "met")
    widths = [max(len(r[i]) for r in rows + [header]) for i in range(len(header))]
    for row in [header] + rows:
        print("  ".join(cell.ljust(w) for cell, w in zip(row, widths)).rstrip())
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
