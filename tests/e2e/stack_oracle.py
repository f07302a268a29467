"""The judges of lumo-dump's stacks that no one here wrote: the system's own unwinder, whose
walk of the faulting context a test program writes beside its dump; the toolchain's
address-to-line tool for names and lines; and its disassembler for the call that must end
just before each return address."""
import glob
import json
import os
import re
import subprocess

TOOLS = "x86_64-w64-mingw32-"
# Where Wine keeps the system's DLLs as the files it loads: with them at hand, lumo-dump walks
# the system's frames by their unwind data, as the system does.
SYSTEM_DLLS = glob.glob("/usr/lib/*/wine/x86_64-windows")[0]


def tool(name, *args):
    return subprocess.run([TOOLS + name, *args], capture_output=True, text=True,
                          check=True).stdout


class Program:
    """A program file of ours as the toolchain reads it (following its debug link): its image
    base, the ends of its call instructions, and names and lines."""

    def __init__(self, path):
        self.path = path
        headers = tool("objdump", "-p", path)
        self.base = int(re.search(r"^ImageBase\s+([0-9a-fA-F]+)", headers, re.M).group(1), 16)
        code = re.findall(r"^\s*([0-9a-f]+):\t(\S+)", tool("objdump", "-d", "--no-show-raw-insn",
                                                          "--section=.text", path), re.M)
        self.call_ends = {int(at, 16) for (_, op), (at, _) in zip(code, code[1:])
                          if op.startswith("call")}

    def places(self, addresses):
        """(function, file, line) of each address: the function that holds it (the outermost
        of the chain of functions inlined there), and the line of the innermost; None for
        what the tool cannot name."""
        blocks = []
        for line in tool("addr2line", "-a", "-i", "-f", "-C", "-e", self.path,
                         *map(hex, addresses)).splitlines():
            if re.fullmatch(r"0x[0-9a-f]+", line):
                blocks.append([])
            else:
                blocks[-1].append(line)
        places = []
        for block in blocks:
            function, (file, line) = block[-2], block[1].split(" ")[0].rsplit(":", 1)
            places.append((None if function == "??" else function,
                           None if file == "??" or not line.isdigit() else os.path.normpath(file),
                           int(line) if line.isdigit() else 0))
        return places


def unqualified(name):
    """A demangled name without its parameters and scopes: "a::b(int)" is "b"."""
    depth, end = 0, len(name)
    for i in range(len(name) - 1, -1, -1):
        depth += {")": 1, "(": -1}.get(name[i], 0)
        if depth == 0 and name[i] == "(":
            end = i
            break
    return name[:end].rsplit("::", 1)[-1]


def read_record(dump):
    with open(dump + ".unwind") as record:
        return [json.loads(line) for line in record]


def check_stack(test, frames, record, program):
    """lumo-dump's frames (its JSON) against the system's record, and each frame in the
    program against the toolchain. Returns the frames in the program."""
    walked = [r for r in record if r["inModule"]]
    test.assertEqual([(f["address"], f["stackPointer"], f["scanned"]) for f in frames][:len(walked)],
                     [(r["rip"], r["rsp"], False) for r in walked][:len(frames)])
    if len(walked) < len(record) and len(frames) > len(walked):
        test.assertTrue(frames[len(walked)]["scanned"], "the system's walk left the code there")
    ours = [(i, f) for i, f in enumerate(frames) if f["module"] == os.path.basename(program.path)]
    places = program.places([program.base + f["offset"] - (i > 0) for i, f in ours])
    for (i, f), (function, file, line) in zip(ours, places):
        where = f"frame #{i} {f}"
        if i > 0:
            test.assertIn(program.base + f["offset"], program.call_ends, where)
        if function:  # for a name without linkage, the tool gives the last part alone
            test.assertIn(function, (f["function"], unqualified(f["function"])), where)
        test.assertEqual((os.path.normpath(f["file"]) if f["file"] else None, f["line"]),
                         (file, line), where)
    return [f for _, f in ours]
