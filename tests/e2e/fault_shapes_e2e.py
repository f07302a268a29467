#!/usr/bin/env python3
"""lumo-dump's stack of every shape of fault, under Wine: each shape's dump, read beside the
program and the system's DLLs, gives the frames that the system's own unwinder walked at the
moment of the fault, and the names and lines of the toolchain's address-to-line tool; where
the system's walk leaves the code, lumo-dump's next frame is marked as found by scanning."""
import os

import stack_oracle
from exit_log_machine import ExitLogMachine
from wine_program import WineTest, main, windows_path

ACCESS_VIOLATION, SINGLE_STEP, STACK_OVERFLOW = 0xC0000005, 0x80000004, 0xC00000FD
GCC_CXX_EXCEPTION = 0x20474343

# Shape, exception, and the first frames in the program: (function, found by scanning).
SHAPES = [
    ("leaf", ACCESS_VIOLATION, [("LeafWrite", False)]),
    ("epilogue", SINGLE_STEP, [("StepIntoEpilogue", False)]),
    ("probe", STACK_OVERFLOW, [("___chkstk_ms", False),
                               ("(anonymous namespace)::Probe()", True)]),
    ("alloca", ACCESS_VIOLATION, [("(anonymous namespace)::BeyondAlloca(int)", False)]),
    ("recursion", ACCESS_VIOLATION, [("(anonymous namespace)::Recurse(int)", False)] * 101),
    ("system", ACCESS_VIOLATION, []),
    ("thrown", GCC_CXX_EXCEPTION, []),
    ("thread", ACCESS_VIOLATION, [("(anonymous namespace)::Recurse(int)", False)] * 4),
    ("chained", ACCESS_VIOLATION, [("ChainedFaultPart", False),
                                   ("(anonymous namespace)::CallChained(int)", False)]),
]


class FaultShapesTest(WineTest):
    def setUp(self):
        super().setUp()
        self.machine = ExitLogMachine(self.launch.wine)
        self.machine.provide_folder(True)

    def tearDown(self):
        super().tearDown()
        self.machine.restore()

    def test_every_shape_walks_as_the_system_does_and_names_as_the_toolchain_does(self):
        program = stack_oracle.Program(os.path.join(self.launch.bin, "fault-shapes.exe"))
        for shape, code, first in SHAPES:
            with self.subTest(shape):
                new = lambda: sorted(self.machine.files() - self.machine.files_before)
                for name in new():  # dumps are named by the second: one shape at a time
                    os.remove(os.path.join(self.machine.folder, name))
                # The guard ends the run normally, whatever the fault.
                self.assertEqual(self.launch.run(shape, "fault-shapes.exe", [shape]).finish(), 0)
                [dump, _] = [os.path.join(self.machine.folder, name) for name in new()]
                reader = self.launch.run("lumo-dump", "lumo-dump.exe", [
                    "--json", "--modules", windows_path(self.launch.bin),
                    "--modules", windows_path(stack_oracle.SYSTEM_DLLS), windows_path(dump)])
                self.assertEqual(reader.finish(), 0, reader.text())
                exception = reader.wait_for("exception")
                self.assertEqual(exception["code"], code)
                frames = reader.events("frame", threadId=exception["threadId"])
                ours = stack_oracle.check_stack(self, frames, stack_oracle.read_record(dump),
                                                program)
                self.assertEqual([(f["function"], f["scanned"]) for f in ours][:len(first)],
                                 first, frames)


if __name__ == "__main__":
    main()
