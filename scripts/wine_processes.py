"""What Linux shows of the Wine processes of a run: finding one by its program's name, its
memory and its CPU, and the percentiles the measuring scripts report."""
import glob


def linux_pid(name):
    """The process whose command name (Wine gives it the program's name, cut to 15
    characters) starts like `name`."""
    for comm in glob.glob("/proc/[0-9]*/comm"):
        try:
            if open(comm).read().strip().startswith(name[:15]):
                return int(comm.split("/")[2])
        except OSError:
            continue
    raise SystemExit(f"no process {name}")


def status_kb(pid, key):
    """A kB figure of /proc/PID/status, such as RssAnon."""
    for line in open(f"/proc/{pid}/status"):
        if line.startswith(key + ":"):
            return int(line.split()[1])
    return 0


def percentile(values, p):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(round(p / 100 * (len(ordered) - 1))))]
