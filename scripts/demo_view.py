#!/usr/bin/env python3
"""The demo's view of its parties: every line on one time base, short enough for an
80-column terminal, and a summary at the end.

  demo_view.py show PARTY START_MS LOG   read PARTY's JSON lines on stdin, keep them in LOG
                                         and print each as "  12.345 party     what"
                                         (seconds since START_MS, epoch milliseconds)
  demo_view.py summary LOGDIR            count what the logs in LOGDIR show
"""
import json
import os
import sys
import time

WIDTH = 80
NAMES = {1000: "instrument data", 1001: "heartbeat", 1002: "exit", 1005: "shutdown",
         1100: "error", 2000: "registration", 2001: "unregistration"}


def describe_sim(r):
    e = r.get("event")
    if e == "received":
        what = NAMES.get(r["messageId"], str(r["messageId"]))
        if r["messageId"] in (2000, 100):
            what += ", token " + r.get("request", {}).get("token", "?")
        return "received " + what + (" MALFORMED" if "malformed" in r else "")
    if e in ("sent", "answered"):
        what = NAMES.get(r["messageId"], str(r["messageId"]))
        if r["messageId"] == 1000:
            what += f" {r['name']!r} type {r['type']}"
        return f"{e} {what}" + ("" if r.get("delivered") else " (not delivered)")
    if e == "client-forgotten":
        return "client forgotten: " + r["reason"]
    return describe_generic(r)


def describe_plugin(r):
    e = r.get("event")
    if e in ("received", "sent"):
        return f"{e} {r['code']} {NAMES.get(r['code'], '')}".rstrip()
    if e == "helper-exited":
        return f"helper exited, status {r['exitCode']} ({r['exitCode'] - (1 << 32)})"
    if e == "helper-started":
        return "helper started"
    return describe_generic(r)


def describe_listener(r):
    e = r.get("event")
    if e in ("announce", "withdraw"):
        return (f"{e} seq={r['sequence']} {r['model']} / {r['name']} "
                f"{r['version1']} {r['version2']}")
    return describe_generic(r)


def describe_debug(r):
    if r.get("event") == "text":
        return "says " + r["text"].strip()
    return describe_generic(r)


def describe_generic(r):
    fields = " ".join(f"{k}={v}" for k, v in r.items()
                      if k not in ("t", "event", "source", "clockUs"))
    return (str(r.get("event", "")) + " " + fields).strip()


DESCRIBE = {"lumo-sim": describe_sim, "plugin-sim": describe_plugin,
            "dds-listen": describe_listener, "debug": describe_debug}


def show(party, start_ms, log_path):
    describe = DESCRIBE.get(party, describe_generic)
    with open(log_path, "a", encoding="utf-8") as log:
        for line in sys.stdin:
            line = line.rstrip("\r\n")
            log.write(line + "\n")
            log.flush()
            stamp = time.time() * 1000 - start_ms
            try:
                text = describe(json.loads(line))
            except (ValueError, KeyError, TypeError):
                text = line
            row = f"{stamp / 1000:8.3f} {party:<10} {text}"
            row = row if len(row) <= WIDTH else row[: WIDTH - 1] + "…"
            # One write a line: the parties share the terminal.
            os.write(sys.stdout.fileno(), (row + "\n").encode())


def records(path):
    if not os.path.exists(path):
        return []
    result = []
    with open(path, encoding="utf-8") as f:
        for line in f:
            try:
                result.append(json.loads(line))
            except ValueError:
                pass
    return result


def summary(logdir):
    datagrams = records(os.path.join(logdir, "dds-listen"))
    sim = records(os.path.join(logdir, "lumo-sim"))
    plugin = records(os.path.join(logdir, "plugin-sim"))
    exited = [r["exitCode"] for r in plugin if r.get("event") == "helper-exited"]
    rows = [
        ("announcements", sum(r.get("event") == "announce" for r in datagrams)),
        ("withdrawals", sum(r.get("event") == "withdraw" for r in datagrams)),
        ("registrations", sum(r.get("event") == "client-registered" for r in sim)),
        ("heartbeats", sum(r.get("event") == "received" and r.get("code") == 1001
                           for r in plugin)),
        ("helper's exit status", exited[-1] - (1 << 32) if exited else "(still running)"),
    ]
    print("-" * 40)
    for name, value in rows:
        print(f"{name:<22} {value}")


if __name__ == "__main__":
    if sys.argv[1:2] == ["show"] and len(sys.argv) == 5:
        show(sys.argv[2], float(sys.argv[3]), sys.argv[4])
    elif sys.argv[1:2] == ["summary"] and len(sys.argv) == 3:
        summary(sys.argv[2])
    else:
        sys.exit(__doc__)
