#!/usr/bin/env python3
"""The SDK as an application developer gets it. The Windows build is installed into a folder
of its own; each public header is compiled alone against that package, and the example in
it is configured from there with MinGW, the package as its only path, and run under Wine
against lumo-sim, which judges every byte the example sends. Ctrl+C must end it cleanly:
unregistered, exit status 0."""
import argparse
import os
import signal
import subprocess
import sys
import tempfile

from wine_program import WineScenarioTest, main

ARGS = None
# The service answers the request for the instrument with a record cut after its name
# ("Arm"), which the library zero-extends to 700 bytes.
CUT_RECORD = "050201" + "00" * 17 + "410072006d000000"
SERVICE_SCRIPT = f"""\
answer 2233 = 0 {CUT_RECORD}
wait-registered 30000
wait-message 2233 30000
send instrument
set name Bra\u00df 2
set type 1
set subtype 3
set version1 7.12
set version2 2.5
send instrument
wait-unregistered 60000
"""
INSTRUMENTS = [  # lumo-sim's default instrument, then the one the script sets
    'instrument (1000): type 2, sub-type 0, "LUMO-SIM", versions 6.3 and 1.0',
    'instrument (1000): type 1, sub-type 3, "Bra\u00df 2", versions 7.12 and 2.5',
]
ASKED = 'instrument (2233): type 0, sub-type 0, "Arm", versions 0.5 and 2.1'


def run(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(command)} failed:\n{result.stdout}")


def build_against(package, source, build):
    """Configures and builds a CMake project whose only way to the SDK is the package."""
    run("cmake", "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={package}",
        "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_CXX_COMPILER={ARGS.compiler}",
        "-DCMAKE_CXX_FLAGS=-Werror")
    run("cmake", "--build", build, "-j2")


class SdkTest(WineScenarioTest):
    @classmethod
    def run_scenario(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="lumo-sdk-")
        cls.addClassCleanup(cls.folder.cleanup)
        package = os.path.join(cls.folder.name, "sdk")
        run("cmake", "--install", ARGS.build, "--component", "sdk", "--prefix", package)
        build_against(package, ARGS.headers_project, os.path.join(cls.folder.name, "headers"))
        watcher_build = os.path.join(cls.folder.name, "watcher")
        build_against(package, os.path.join(package, "examples", "watcher"), watcher_build)

        cls.watcher = cls.launch.start("lumo-watcher",
                                       os.path.join(watcher_build, "lumo-watcher.exe"), [])
        cls.watcher.wait_until(lambda: "waiting for the service" in cls.watcher.text(),
                               "the watcher waiting")
        cls.service = cls.launch.service("service", SERVICE_SCRIPT)
        cls.watcher.wait_until(lambda: INSTRUMENTS[-1] in cls.watcher.text(), "the instruments")
        cls.watcher.process.send_signal(signal.SIGINT)  # Wine hands it on as Ctrl+C
        cls.watcher_status = cls.watcher.finish()
        cls.service_status = cls.service.finish()
        cls.lines = list(cls.watcher.raw)  # its standard output

    def test_it_prints_the_parameter_table_as_the_release_tool_does(self):
        table = self.launch.run("lumo-client", "lumo-client.exe", ["params"])
        table.finish()
        expected = [f'parameter {p["id"]}: "{p["name"]}", type {p["valueType"]}, '
                    f'category {p["category"]}' for p in table.records()]
        self.assertEqual(len(expected), 33)
        self.assertEqual([line for line in self.lines if line.startswith("parameter ")], expected)

    def test_it_prints_each_instrument_the_service_reports(self):
        self.assertEqual([line for line in self.lines if line.startswith("instrument (1000)")],
                         INSTRUMENTS)
        self.assertIn(ASKED, self.lines)

    def test_ctrl_c_ends_it_unregistered(self):
        self.assertEqual(self.watcher_status, 0, self.watcher.text())
        self.assertEqual(self.lines[-2:], ["ending", "ended"])
        self.assertEqual(self.service_status, 0, self.service.text())
        received = self.service.events("received")
        self.assertEqual([r["messageId"] for r in received], [2000, 2233, 2001])
        self.assertFalse([r for r in received if "malformed" in r], received)
        self.service.wait_for("client-forgotten", reason="unregistered")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--build", "--compiler", "--headers-project"):
        parser.add_argument(option, required=True)
    ARGS, sys.argv[1:] = parser.parse_known_args()
    main()
