"""What Linux shows of the Wine processes of a run: finding one by its program's name, its
memory and its CPU, and the percentiles the measuring scripts report."""
import glob
import os


def prefix_pids(prefix):
    """The processes of one Wine prefix, its server among them: other trees run Wine on this
    machine too, each in a prefix of its own, with programs of the same names."""
    key = b"WINEPREFIX=" + os.fsencode(os.path.abspath(prefix))
    found = []
    for environ in glob.glob("/proc/[0-9]*/environ"):
        try:
            with open(environ, "rb") as f:
                if key in f.read().split(b"\0"):
                    found.append(int(environ.split("/")[2]))
        except OSError:
            continue
    return found


def linux_pid(name, prefix):
    """The process of the prefix whose command name (Wine gives it the program's name, cut
    to 15 characters) starts like `name`."""
    for pid in prefix_pids(prefix):
        try:
            if open(f"/proc/{pid}/comm").read().strip().startswith(name[:15]):
                return pid
        except OSError:
            continue
    raise SystemExit(f"no process {name} in {prefix}")


def cpu_ns(pid):
    """The CPU time of all the process's threads, in nanoseconds (the scheduler's own
    account: /proc's ticks of 10 ms are too coarse for an idle program)."""
    total = 0
    for schedstat in glob.glob(f"/proc/{pid}/task/*/schedstat"):
        try:
            total += int(open(schedstat).read().split()[0])
        except OSError:
            continue  # a thread that ended meanwhile
    return total


def switches(pid, task="*"):
    """Context switches of the process's threads (or of one of them), voluntary or not."""
    total = 0
    for status in glob.glob(f"/proc/{pid}/task/{task}/status"):
        try:
            for line in open(status):
                if line.startswith(("voluntary_ctxt_switches", "nonvoluntary_ctxt_switches")):
                    total += int(line.split()[1])
        except OSError:
            continue
    return total


def status_kb(pid, key):
    """A kB figure of /proc/PID/status, such as RssAnon."""
    for line in open(f"/proc/{pid}/status"):
        if line.startswith(key + ":"):
            return int(line.split()[1])
    return 0


def percentile(values, p):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(round(p / 100 * (len(ordered) - 1))))]
