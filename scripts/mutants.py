#!/usr/bin/env python3
"""Which tests alone catch a fault: small faults put into the product code one at a time (an
operator turned, a constant moved by one, a call left out), the suites rebuilt and run against
each. A copy of the tracked tree is mutated, never the work tree. The portable code is judged
by the native suites; the Windows-only code (*_win.cpp) by the Windows suites, run under Wine
with its heap checking as ctest runs them (the end-to-end tests, which need the machine's UDP
port, are left out).

usage: scripts/mutants.py [--budget N] [--wine-budget N] [--seed S] [--recheck | --again]
                          [--report-only] [--files PATH...] [--fuzz TARGET [--fuzz-seconds S]]
Results of both go to build/mutants/results.json; a second run with the same seed resumes,
--recheck runs every mutant that survived before against the tree as it is now, and --again
every mutant that ran before (after a change to the tests: does the suite still catch what
it caught?). Mutants listed in scripts/mutants-excluded.txt, each with the reason why no test
is asked to catch it, are not counted. --files mutates only those files, every mutant of them
up to the budget. --fuzz makes a fuzz target a judge of the native tier beside the suites:
each mutant is built into it as scripts/fuzz.sh builds it (clang, libFuzzer,
AddressSanitizer and UBSan), which replays the committed corpus and, if that passes, fuzzes
from it for S seconds (60 by default)."""
import argparse
import collections
import functools
import glob
import hashlib
import itertools
import json
import os
import random
import re
import shutil
import subprocess
import sys
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WORK = os.path.join(ROOT, "build", "mutants")
SRC, BUILD = os.path.join(WORK, "src"), os.path.join(WORK, "build")
RESULTS = os.path.join(WORK, "results.json")
WINE_WORK = os.path.join(WORK, "wine")
WINE_SRC, WINE_BUILD = os.path.join(WINE_WORK, "src"), os.path.join(WINE_WORK, "build")
WINE_PREFIX = os.path.join(WINE_WORK, "prefix")
EXCLUDED = os.path.join(ROOT, "scripts", "mutants-excluded.txt")
FOLDERS = ["helper", "announce", "network", "service_api", "diagnostics", "platform"]
SUITES = ["announce_tests", "diagnostics_tests", "helper_tests", "identification_tests",
          "network_tests", "platform_tests", "service_api_client_tests",
          "service_api_connection_tests", "service_api_core_tests"]
SWAPS = [(" == ", " != "), (" != ", " == "), (" < ", " <= "), (" <= ", " < "), (" > ", " >= "),
         (" >= ", " > "), (" && ", " || "), (" || ", " && "), ("return true;", "return false;"),
         ("return false;", "return true;"), (" + 1", " - 1"), (" - 1", " + 1"), ("++", "--")]
NUMBER = re.compile(r"\b(0x[0-9A-Fa-f]+|[1-9][0-9]*)u?\b")
CALL_STATEMENT = re.compile(r"^(\s+)([A-Za-z_][\w:.\->]*\(.*\);)$")
NOT_A_CALL = re.compile(r"^\s+(return|if|for|while|else|case|auto|const|std::|using)\b")


def mutations_of(line):
    """Every mutated version of one line of code."""
    code = line.split("//")[0]
    rest = line[len(code):]
    for before, after in SWAPS:
        start = code.find(before)
        while start >= 0:
            yield code[:start] + after + code[start + len(before):] + rest
            start = code.find(before, start + 1)
    for match in NUMBER.finditer(code):
        value = match.group(1)
        moved = hex(int(value, 16) + 1) if value.startswith("0x") else str(int(value) + 1)
        yield code[:match.start(1)] + moved + code[match.end(1):] + rest
    call = CALL_STATEMENT.match(code)
    if call and not NOT_A_CALL.match(code) and "=" not in code.split("(")[0]:
        yield call.group(1) + "(void)0;  // " + call.group(2)


def candidates(path):
    skipping_comment = False
    for number, line in enumerate(open(path, encoding="utf-8").read().split("\n")):
        stripped = line.strip()
        skipping_comment |= stripped.startswith("/*")
        if skipping_comment:
            skipping_comment = "*/" not in stripped
            continue
        if not stripped or stripped.startswith(("//", "#")) or \
                any(word in line for word in ("static_assert", "template", "include")):
            continue
        for mutated in mutations_of(line):
            yield number, line, mutated


def install():
    subprocess.run([os.path.join(ROOT, "scripts", "deps.sh")], check=True)
    if shutil.which("ninja") is None:
        subprocess.run("apt-get update -qq && apt-get install -y -qq ninja-build >/dev/null",
                       shell=True, check=True)


def copy_tree(copy):
    files = set(subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True,
                               check=True).stdout.split())
    # The copy follows the tree: what changed is written anew (a fresh time for the build to
    # see), what is gone goes, the rest stays untouched so that nothing else rebuilds.
    for folder, _, names in os.walk(copy):
        for name in names:
            if os.path.relpath(os.path.join(folder, name), copy) not in files:
                os.remove(os.path.join(folder, name))
    for name in files:
        source, target = os.path.join(ROOT, name), os.path.join(copy, name)
        if os.path.exists(target) and open(source, "rb").read() == open(target, "rb").read():
            continue
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(source, target)
        shutil.copymode(source, target)  # ctest runs the Windows programs through scripts/


def prepare():
    copy_tree(SRC)
    # With AddressSanitizer and UBSan, as the tests run natively: a mutant that reads past a
    # buffer or shifts too far fails the test run as it would fail there.
    subprocess.run(["cmake", "-S", SRC, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                    "-DCMAKE_CXX_COMPILER=g++", "-DCMAKE_C_COMPILER=gcc", "-DLUMO_SANITIZE=ON",
                    "-DCMAKE_CXX_FLAGS=-O0 -g0"], check=True, capture_output=True)


def build():
    return subprocess.run(["ninja", "-C", BUILD, "-j2"] + SUITES,
                          capture_output=True).returncode == 0


def program_times():
    return {suite: os.path.getmtime(os.path.join(BUILD, "bin", suite)) for suite in SUITES}


def failures_in(suite, report, failed_run):
    """`suite:Test.Name` of every test that failed by its report; `suite:*exit` for a run
    that failed with every test passed (a sanitizer's finding at the end, a leak)."""
    failed = [f"{suite}:{group['name']}.{case['name']}"
              for group in json.load(open(report))["testsuites"] for case in group["testsuite"]
              if case.get("failures")]
    return failed or ([suite + ":*exit"] if failed_run else [])


def failing_tests(suites=SUITES):
    """The failed tests of the suites; `suite:*crash` or `suite:*timeout` when the program
    gave no report."""
    failed = []
    for suite in suites:
        report = os.path.join(WORK, suite + ".json")
        if os.path.exists(report):
            os.remove(report)
        try:
            status = subprocess.run([os.path.join(BUILD, "bin", suite),
                                     "--gtest_output=json:" + report],
                                    capture_output=True, timeout=60, cwd=BUILD).returncode
        except subprocess.TimeoutExpired:
            failed.append(suite + ":*timeout")
            continue
        if not os.path.exists(report):
            failed.append(suite + ":*crash")
            continue
        failed += failures_in(suite, report, status != 0)
    return failed


def wine_prepare():
    copy_tree(WINE_SRC)
    # As the windows preset builds, less the debug information, which changes no code and
    # only slows every link.
    subprocess.run(["cmake", "-S", WINE_SRC, "-B", WINE_BUILD, "-G", "Ninja", "--toolchain",
                    os.path.join(WINE_SRC, "cmake", "mingw-w64-x86_64.cmake"),
                    "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -DNDEBUG",
                    "-DPython3_EXECUTABLE=/usr/bin/python3"], check=True, capture_output=True)


def wine_build():
    return subprocess.run(["ninja", "-C", WINE_BUILD, "-j2"] + SUITES,
                          capture_output=True).returncode == 0


def wine_program_digests():
    """By content, not by time: every suite links the platform library, but a program that
    does not take the mutated object from it comes out byte for byte the same (the link
    stamps no time), and need not spend minutes under Wine."""
    return {suite: hashlib.sha256(open(os.path.join(WINE_BUILD, "bin", suite + ".exe"),
                                       "rb").read()).digest() for suite in SUITES}


# Six times what the slowest suite takes under heap checking on a quiet machine (the
# diagnostics', which writes and reads two dumps).
WINE_TIMEOUT_S = 600


def wine_failing_tests(suites=SUITES):
    """The same for the Windows suites, run by ctest: under Wine with heap checking, in this
    tier's own prefix. A suite that runs out of time has hung on the mutant and counts at
    once. ctest ends the process it started, but not the Wine processes behind it, which
    hold its output open: stopping the prefix's server ends them all."""
    if not suites:
        return []
    reports = os.path.join(WINE_WORK, "reports")
    shutil.rmtree(reports, ignore_errors=True)
    os.makedirs(reports)
    # A Windows program reads a path that starts with / as one on its current drive.
    windows_reports = "Z:" + reports.replace("/", "\\") + "\\"
    environment = dict(os.environ, WINEPREFIX=WINE_PREFIX, GTEST_OUTPUT="json:" + windows_reports)
    ctest = subprocess.Popen(["ctest", "--test-dir", WINE_BUILD, "--timeout", str(WINE_TIMEOUT_S),
                              "-R", f"^({'|'.join(suites)})$"], env=environment,
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    hung = threading.Event()
    watchdog = threading.Timer(WINE_TIMEOUT_S * len(suites) + 60,
                               lambda: (hung.set(), wine_stop()))
    watchdog.start()
    try:
        output = ctest.communicate()[0]
    finally:
        watchdog.cancel()
    failed = []
    for suite in suites:
        report = os.path.join(reports, suite + ".json")
        if os.path.exists(report):
            failed += failures_in(suite, report, re.search(rf" {suite} \.+\*", output))
        elif hung.is_set() or re.search(rf" {suite} \.+\*+Timeout", output):
            failed.append(suite + ":*timeout")
        else:
            failed.append(suite + ":*crash")
    if any(name.endswith(":*timeout") for name in failed):
        wine_stop()
    return failed


def wine_stop():
    subprocess.run([os.path.join(WINE_SRC, "scripts", "wine.sh"), "stop"],
                   env=dict(os.environ, WINEPREFIX=WINE_PREFIX), capture_output=True)


Tier = collections.namedtuple("Tier", "src prepare build times failing judges")
NATIVE = Tier(SRC, prepare, build, program_times, failing_tests,
              lambda path: not path.endswith("_win.cpp"))
WINE = Tier(WINE_SRC, wine_prepare, wine_build, wine_program_digests, wine_failing_tests,
            lambda path: path.endswith("_win.cpp"))


def choose(tier, budget, seed, files=None):
    """Up to `budget` mutants, spread evenly over the product's files that `tier` judges (or
    over those of `files`)."""
    by_file = {}
    for folder in FOLDERS:
        for path in sorted(glob.glob(os.path.join(tier.src, folder, "**", "*.cpp"),
                                     recursive=True)):
            if files and os.path.relpath(path, tier.src) not in files:
                continue
            if "/testing/" not in path and tier.judges(path):
                by_file[path] = list(candidates(path))
    generator = random.Random(seed)
    for pool in by_file.values():
        generator.shuffle(pool)
    chosen = []
    while len(chosen) < budget and any(by_file.values()):
        for path, pool in by_file.items():
            if pool and len(chosen) < budget:
                chosen.append((path, *pool.pop()))
    return chosen


@functools.lru_cache(maxsize=None)
def lines_of(path):
    """A source file's lines, read once: the report looks at every result's file several
    times. Only for trees that no mutant is written into meanwhile (a tier reads its copy
    before its first mutant)."""
    return open(path, encoding="utf-8").read().split("\n") if os.path.exists(path) else []


def line_now(src, result):
    """The mutated line as it stands in the tree at `src` now, or None where it moved."""
    lines = lines_of(os.path.join(src, result["file"]))
    line = lines[result["line"] - 1] if result["line"] <= len(lines) else ""
    return line if line.strip() == result["before"] else None


def earlier(tier, results, statuses):
    """The mutants of `tier` that ran with one of `statuses`, as they apply to the tree now
    (moved lines are dropped), less those the exclusions file names."""
    chosen, reasons = [], excluded()
    for r in results:
        path = os.path.join(tier.src, r["file"])
        line = line_now(tier.src, r)
        if tier.judges(path) and r["status"] in statuses and line is not None and \
                not is_excluded(r, reasons):
            chosen.append((path, r["line"] - 1, line, line[:len(line) - len(line.lstrip())] +
                           r["after"]))
    return chosen


def load_results():
    return json.load(open(RESULTS)) if os.path.exists(RESULTS) else []


def record(result):
    """Adds or replaces one mutant's result. The file is read again first, so that the two
    tiers can run at once."""
    key = (result["file"], result["line"], result["after"])
    results = [r for r in load_results() if (r["file"], r["line"], r["after"]) != key]
    json.dump(results + [result], open(RESULTS + ".new", "w"), indent=0)
    os.replace(RESULTS + ".new", RESULTS)


def run(tier, budget, seed, rerun, files=None, fuzz=None):
    tier.prepare()
    if not tier.build() or tier.failing():
        sys.exit("the tree without mutations does not build or does not pass")
    if fuzz and fuzz_judge(fuzz["target"], 0) != {"killed": False}:
        sys.exit("the fuzz target does not build or fails on its corpus without mutations")
    results = load_results()
    # File by file: the build that puts a file back then also builds its next mutant.
    chosen = sorted(earlier(tier, results, rerun) if rerun else
                    choose(tier, budget, seed, files), key=lambda mutant: mutant[0])
    # A mutant run again replaces its earlier entry when its run is done.
    done = set() if rerun else {(r["file"], r["line"], r["after"]) for r in results}
    started = time.time()
    for index, (path, number, line, mutated) in enumerate(chosen):
        name = os.path.relpath(path, tier.src)
        if (name, number + 1, mutated.strip()) in done:
            continue
        original = open(path, encoding="utf-8").read()
        lines = original.split("\n")
        lines[number] = mutated
        open(path, "w", encoding="utf-8").write("\n".join(lines))
        try:
            # Only the programs the mutant was linked into can fail.
            before = tier.times()
            killed = judged = None
            if tier.build():
                after = tier.times()
                killed = tier.failing([suite for suite in SUITES if after[suite] != before[suite]])
            judged = fuzz_judge(fuzz["target"], fuzz["seconds"]) if fuzz and killed is not None \
                else None
        finally:
            open(path, "w", encoding="utf-8").write(original)
        status = "invalid" if killed is None else "killed" if killed else "survived"
        result = {"file": name, "line": number + 1, "before": line.strip(),
                  "after": mutated.strip(), "status": status, "killedBy": killed or []}
        if judged is not None:
            result["fuzz"] = judged
        record(result)
        print(f"[{index + 1}/{len(chosen)}, {time.time() - started:.0f} s] {status:8s} "
              f"{name}:{number + 1}", flush=True)
    tier.build()


FUZZ_BUILD = os.path.join(WORK, "fuzz")


def fuzz_judge(target, seconds):
    """Whether the fuzz target, built with the mutant, fails on the committed corpus or, with
    `seconds`, while fuzzing from it; None when the mutant does not build into it."""
    if not os.path.exists(os.path.join(FUZZ_BUILD, "build.ninja")):
        subprocess.run(["cmake", "-S", SRC, "-B", FUZZ_BUILD, "-G", "Ninja",
                        "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DCMAKE_CXX_COMPILER=clang++-14",
                        "-DCMAKE_C_COMPILER=clang-14", "-DLUMO_SANITIZE=ON", "-DLUMO_FUZZ=ON"],
                       check=True, capture_output=True)
    if subprocess.run(["ninja", "-C", FUZZ_BUILD, "fuzz_" + target],
                      capture_output=True).returncode != 0:
        return None
    program = os.path.join(FUZZ_BUILD, "bin", "fuzz_" + target)
    corpus = os.path.join(SRC, "tests", "fuzz", "corpus", target)
    scratch = os.path.join(FUZZ_BUILD, "scratch")
    shutil.rmtree(scratch, ignore_errors=True)
    os.makedirs(scratch)
    started = time.time()
    for stage, arguments in (("corpus", ["-runs=0", corpus]),
                             ("fuzzing", [f"-max_total_time={seconds}", "-max_len=4096",
                                          scratch, corpus])):
        if stage == "fuzzing" and seconds == 0:
            break
        try:
            failed = subprocess.run([program, "-timeout=10", "-rss_limit_mb=4096"] + arguments,
                                    capture_output=True, cwd=scratch,
                                    timeout=seconds + 600).returncode != 0
        except subprocess.TimeoutExpired:
            failed = True
        if failed:
            return {"killed": True, "by": stage, "seconds": round(time.time() - started)}
    return {"killed": False}


def fuzz_report(target, files):
    """How many valid mutants of `files` the suites and the fuzz target each kill, the
    excluded ones left out."""
    reasons = excluded()
    results = [r for r in load_results() if "fuzz" in r and r["status"] != "invalid"
               and (not files or r["file"] in files) and not is_excluded(r, reasons)]
    print(f"\n{target} beside the suites, {len(results)} valid mutants:")
    print("  file                                             suites  fuzz target  either")
    for name in sorted({r["file"] for r in results}) + ["all"]:
        mine = [r for r in results if name in ("all", r["file"])]
        suites = sum(r["status"] == "killed" for r in mine)
        fuzzed = sum(r["fuzz"]["killed"] for r in mine)
        either = sum(r["status"] == "killed" or r["fuzz"]["killed"] for r in mine)
        print(f"  {name:48s} {suites:3d}/{len(mine):<3d} {fuzzed:5d} ({100.0 * fuzzed / len(mine):5.1f} %)"
              f" {either:5d}")
    print("  by fuzzing rather than the corpus: " +
          ", ".join(f"{r['file']}:{r['line']} ({r['fuzz']['seconds']} s)" for r in results
                    if r["fuzz"].get("by") == "fuzzing") or "  none")
    for r in results:
        if not r["fuzz"]["killed"]:
            print(f"  not caught by {target}: {r['file']}:{r['line']}  {r['before']}  ->  {r['after']}")


def test_files():
    """Test name (suite.name, without parameters) -> the file that defines it."""
    files = {}
    paths = glob.glob(os.path.join(ROOT, "tests", "**", "*.cpp"), recursive=True)
    for path in paths + glob.glob(os.path.join(ROOT, "tests", "**", "*.h"), recursive=True):
        for match in re.finditer(r"^(?:TEST|TEST_F|TEST_P|TYPED_TEST_P)\((\w+),\s*(\w+)\)",
                                 open(path, encoding="utf-8").read(), re.M):
            files[match.groups()] = os.path.relpath(path, ROOT)
    return files


def excluded():
    """(file, line, mutated line) -> (the line after it, or None; why no test is asked to
    catch that mutant). The file holds blocks of `file:`, `line:`, `into:`, an optional
    `next:` for a line that the file has more than once (the line after the one meant), and
    `why:` (which may go on over indented lines), between blank lines; lines of `#` are
    comments."""
    reasons = {}
    text = open(EXCLUDED, encoding="utf-8").read() if os.path.exists(EXCLUDED) else ""
    for block in re.split(r"\n\s*\n", text):
        fields, key = {}, None
        for line in block.split("\n"):
            if line.startswith("#") or not line.strip():
                continue
            if line[0].isspace() and key:
                fields[key] += " " + line.strip()
            else:
                key, _, value = line.partition(":")
                fields[key] = value.strip()
        if fields:
            reasons[(fields["file"], fields["line"], fields["into"])] = (fields.get("next"),
                                                                         fields["why"])
    return reasons


def is_excluded(result, reasons):
    """Whether the exclusions file names this mutant: by its line, and the line after it
    where the file asks for that."""
    found = reasons.get((result["file"], result["before"], result["after"]))
    if found is None or found[0] is None:
        return found is not None
    lines = lines_of(os.path.join(ROOT, result["file"]))
    return result["line"] < len(lines) and lines[result["line"]].strip() == found[0]


def part_of(name):
    """Where a mutant is counted: the shipped code of each tier, or the native stand-ins of
    the Windows services and the native entry point, which ship in nothing."""
    if name.endswith("_win.cpp"):
        return "wine tier, shipped code"
    if name.endswith("_posix.cpp") or name == "helper/entry/main.cpp":
        return "native stand-ins and main"
    return "native tier, shipped code"


def report():
    reasons = excluded()
    everything = load_results()
    # A mutant run again after its line moved has two results: the one at its line now counts.
    key = lambda r: (r["file"], r["before"], r["after"])
    standing = [line_now(ROOT, r) is not None for r in everything]
    moved_again = {key(r) for r, stands in zip(everything, standing) if stands}
    everything = [r for r, stands in zip(everything, standing)
                  if stands or key(r) not in moved_again]
    results = [r for r in everything if r["status"] != "invalid" and
               not is_excluded(r, reasons)]
    killed = [r for r in results if r["status"] == "killed"]
    for part in ("native tier, shipped code", "native stand-ins and main",
                 "wine tier, shipped code"):
        counted = [r for r in results if part_of(r["file"]) == part]
        caught = sum(r["status"] == "killed" for r in counted)
        print(f"{part}: {len(counted)} compiled, {caught} caught "
              f"({100.0 * caught / max(1, len(counted)):.1f} %)")
    print(f"not counted: {sum(r['status'] == 'invalid' for r in everything)} did not compile, "
          f"{len(everything) - len(results) - sum(r['status'] == 'invalid' for r in everything)} "
          f"excluded ({os.path.relpath(EXCLUDED, ROOT)})")
    files = test_files()

    def file_of(test):
        suite, name = test.split(":", 1)
        if name.startswith("*"):
            return suite + " " + name[1:]
        group, case = name.split(".", 1)
        # Parameterised and typed groups carry an instance prefix or a type index.
        for part in group.split("/"):
            if (part, case.split("/")[0]) in files:
                return files[(part, case.split("/")[0])]
        return suite

    alone = collections.Counter()
    for r in killed:
        catching = {file_of(test) for test in r["killedBy"]}
        if len(catching) == 1:
            alone[catching.pop()] += 1
    catching_files = {file_of(t) for r in killed for t in r["killedBy"]}
    print("\nmutants that only this file's tests catch:")
    for name in sorted(catching_files, key=lambda n: (-alone[n], n)):
        print(f"  {alone[name]:4d}  {name}")
    print("\ntest files of the suites that catch none of them:")
    folders = tuple(f"tests/{suite[:-len('_tests')]}/" for suite in SUITES)
    for name in sorted({f for f in files.values() if f.startswith(folders)} - catching_files):
        print(f"        {name}")
    print("\nmutants no test catches, per product file:")
    survivors = sorted((r for r in results if r["status"] == "survived"),
                       key=lambda r: (r["file"], r["line"]))
    for name, group in itertools.groupby(survivors, key=lambda r: r["file"]):
        group = list(group)
        print(f"  {len(group):4d}  {name}")
        for r in group:
            print(f"        {r['line']:4d}: {r['before']}\n              {r['after']}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--budget", type=int, default=300)
    parser.add_argument("--wine-budget", type=int, default=0,
                        help="mutants of the *_win.cpp files, judged under Wine (about a "
                             "minute each)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--recheck", action="store_true")
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--report-only", action="store_true")
    parser.add_argument("--files", nargs="+")
    parser.add_argument("--fuzz")
    parser.add_argument("--fuzz-seconds", type=int, default=60)
    args = parser.parse_args()
    fuzz = {"target": args.fuzz, "seconds": args.fuzz_seconds} if args.fuzz else None
    if not args.report_only:
        install()
        rerun = {"survived", "killed"} if args.again else {"survived"} if args.recheck else None
        if args.budget > 0:
            run(NATIVE, args.budget, args.seed, rerun, args.files, fuzz)
        if args.wine_budget > 0:
            try:
                run(WINE, args.wine_budget, args.seed, rerun)
            finally:
                wine_stop()
    report()
    if fuzz:
        fuzz_report(args.fuzz, args.files)


if __name__ == "__main__":
    main()
