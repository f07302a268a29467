#!/usr/bin/env python3
"""Which tests alone catch a fault: small faults put into the portable product code one at a
time (an operator turned, a constant moved by one, a call left out), the native suites rebuilt
and run against each. A copy of the tracked tree is mutated, never the work tree.

usage: scripts/mutants.py [--budget N] [--seed S] [--recheck | --again] [--report-only]
                          [--files PATH...] [--fuzz TARGET [--fuzz-seconds S]]
Results go to build/mutants/results.json; a second run with the same seed resumes,
--recheck runs every mutant that survived before against the tree as it is now, and --again
every mutant that ran before (after a change to the tests: does the suite still catch what
it caught?). --files mutates only those files, every mutant of them up to the budget.
--fuzz makes a fuzz target a judge beside the suites: each mutant is built into it as
scripts/fuzz.sh builds it (clang, libFuzzer, AddressSanitizer and UBSan), which replays the
committed corpus and, if that passes, fuzzes from it for S seconds (60 by default)."""
import argparse
import collections
import glob
import json
import os
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WORK = os.path.join(ROOT, "build", "mutants")
SRC, BUILD = os.path.join(WORK, "src"), os.path.join(WORK, "build")
RESULTS = os.path.join(WORK, "results.json")
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


def prepare():
    subprocess.run([os.path.join(ROOT, "scripts", "deps.sh")], check=True)
    if shutil.which("ninja") is None:
        subprocess.run("apt-get update -qq && apt-get install -y -qq ninja-build >/dev/null",
                       shell=True, check=True)
    files = set(subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True,
                               check=True).stdout.split())
    # The copy follows the tree: what changed is written anew (a fresh time for the build to
    # see), what is gone goes, the rest stays untouched so that nothing else rebuilds.
    for folder, _, names in os.walk(SRC):
        for name in names:
            if os.path.relpath(os.path.join(folder, name), SRC) not in files:
                os.remove(os.path.join(folder, name))
    for name in files:
        source, target = os.path.join(ROOT, name), os.path.join(SRC, name)
        if os.path.exists(target) and open(source, "rb").read() == open(target, "rb").read():
            continue
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(source, target)
    subprocess.run(["cmake", "-S", SRC, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                    "-DCMAKE_CXX_COMPILER=g++", "-DCMAKE_C_COMPILER=gcc",
                    "-DCMAKE_CXX_FLAGS=-O0 -g0"], check=True, capture_output=True)


def build():
    return subprocess.run(["ninja", "-C", BUILD] + SUITES, capture_output=True).returncode == 0


def program_times():
    return {suite: os.path.getmtime(os.path.join(BUILD, "bin", suite)) for suite in SUITES}


def failing_tests(suites=SUITES):
    """`suite:Test.Name` of every failed test; `suite:*crash` or `suite:*timeout` when the
    program gave no report."""
    failed = []
    for suite in suites:
        report = os.path.join(WORK, suite + ".json")
        if os.path.exists(report):
            os.remove(report)
        try:
            subprocess.run([os.path.join(BUILD, "bin", suite), "--gtest_output=json:" + report],
                           capture_output=True, timeout=60, cwd=BUILD)
        except subprocess.TimeoutExpired:
            failed.append(suite + ":*timeout")
            continue
        if not os.path.exists(report):
            failed.append(suite + ":*crash")
            continue
        for group in json.load(open(report))["testsuites"]:
            failed += [f"{suite}:{group['name']}.{case['name']}" for case in group["testsuite"]
                       if case.get("failures")]
    return failed


def choose(budget, seed, files=None):
    """Up to `budget` mutants, spread evenly over the product's files (or over `files`)."""
    by_file = {}
    for folder in FOLDERS:
        for path in sorted(glob.glob(os.path.join(SRC, folder, "**", "*.cpp"), recursive=True)):
            if files and os.path.relpath(path, SRC) not in files:
                continue
            if "/testing/" not in path and not path.endswith("_win.cpp"):
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


def earlier(results, statuses):
    """The mutants that ran with one of `statuses`, as they apply to the tree now (moved lines
    are dropped)."""
    chosen = []
    for r in results:
        path = os.path.join(SRC, r["file"])
        lines = open(path, encoding="utf-8").read().split("\n") if os.path.exists(path) else []
        if r["status"] in statuses and r["line"] <= len(lines) and \
                lines[r["line"] - 1].strip() == r["before"]:
            line = lines[r["line"] - 1]
            chosen.append((path, r["line"] - 1, line, line[:len(line) - len(line.lstrip())] +
                           r["after"]))
    return chosen


def run(budget, seed, rerun, files=None, fuzz=None):
    prepare()
    if not build() or failing_tests():
        sys.exit("the tree without mutations does not build or does not pass")
    if fuzz and fuzz_judge(fuzz["target"], 0) != {"killed": False}:
        sys.exit("the fuzz target does not build or fails on its corpus without mutations")
    results = json.load(open(RESULTS)) if os.path.exists(RESULTS) else []
    chosen = earlier(results, rerun) if rerun else choose(budget, seed, files)
    # A mutant run again replaces its earlier entry when its run is done.
    done = set() if rerun else {(r["file"], r["line"], r["after"]) for r in results}
    started = time.time()
    for index, (path, number, line, mutated) in enumerate(chosen):
        name = os.path.relpath(path, SRC)
        if (name, number + 1, mutated.strip()) in done:
            continue
        original = open(path, encoding="utf-8").read()
        lines = original.split("\n")
        lines[number] = mutated
        open(path, "w", encoding="utf-8").write("\n".join(lines))
        try:
            # Only the programs the mutant was linked into can fail.
            before = program_times()
            killed = None
            if build():
                after = program_times()
                killed = failing_tests([suite for suite in SUITES if after[suite] != before[suite]])
            judged = fuzz_judge(fuzz["target"], fuzz["seconds"]) if fuzz and killed is not None \
                else None
        finally:
            open(path, "w", encoding="utf-8").write(original)
        status = "invalid" if killed is None else "killed" if killed else "survived"
        results = [r for r in results
                   if (r["file"], r["line"], r["after"]) != (name, number + 1, mutated.strip())]
        results.append({"file": name, "line": number + 1, "before": line.strip(),
                        "after": mutated.strip(), "status": status, "killedBy": killed or []})
        if judged is not None:
            results[-1]["fuzz"] = judged
        json.dump(results, open(RESULTS, "w"), indent=0)
        print(f"[{index + 1}/{len(chosen)}, {time.time() - started:.0f} s] {status:8s} "
              f"{name}:{number + 1}", flush=True)
    build()


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
    """How many valid mutants of `files` the suites and the fuzz target each kill."""
    results = [r for r in json.load(open(RESULTS)) if "fuzz" in r and r["status"] != "invalid"
               and (not files or r["file"] in files)]
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


def report():
    results = [r for r in json.load(open(RESULTS)) if r["status"] != "invalid"]
    killed = [r for r in results if r["status"] == "killed"]
    print(f"mutants: {len(results)} compiled, {len(killed)} caught "
          f"({100.0 * len(killed) / max(1, len(results)):.1f} %)")
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
    print("\nmutants that only this file's tests catch:")
    for name in sorted({file_of(t) for r in killed for t in r["killedBy"]},
                       key=lambda n: (-alone[n], n)):
        print(f"  {alone[name]:4d}  {name}")
    print("\nmutants no test catches, per product file:")
    for name, count in collections.Counter(
            r["file"] for r in results if r["status"] == "survived").most_common():
        print(f"  {count:4d}  {name}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--budget", type=int, default=300)
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
        rerun = {"survived", "killed"} if args.again else {"survived"} if args.recheck else None
        run(args.budget, args.seed, rerun, args.files, fuzz)
    report()
    if fuzz:
        fuzz_report(args.fuzz, args.files)


if __name__ == "__main__":
    main()
