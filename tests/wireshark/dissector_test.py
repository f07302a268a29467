#!/usr/bin/env python3
"""The Wireshark dissector reads the datagrams of the project's own builder.

usage: dissector_test.py --samples PROGRAM --lua tools/wireshark/lumo_discovery.lua
"""
import argparse
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

SAMPLES = None
LUA = None
PORT = 50999
FIELDS = ["lumo_discovery.length", "lumo_discovery.type", "lumo_discovery.sequence",
          "lumo_discovery.text_length", "lumo_discovery.model", "lumo_discovery.name",
          "lumo_discovery.version1", "lumo_discovery.version2", "lumo_discovery.state",
          "lumo_discovery.interval", "lumo_discovery.reserved_text", "_ws.expert.message"]


def ipv4_udp(payload):
    """Raw IPv4 (capture link type 101) from 127.0.0.1 to 127.0.0.1:50999."""
    udp = struct.pack(">HHHH", 50000, PORT, 8 + len(payload), 0) + payload
    header = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(udp), 1, 0, 64, 17, 0,
                         bytes([127, 0, 0, 1]), bytes([127, 0, 0, 1]))
    return header + udp


def write_capture(path, datagrams):
    with open(path, "wb") as f:
        f.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101))
        for i, datagram in enumerate(datagrams):
            packet = ipv4_udp(datagram)
            f.write(struct.pack("<IIII", 1700000000 + i, 0, len(packet), len(packet)))
            f.write(packet)


class DissectorTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        lines = subprocess.run([SAMPLES], check=True, capture_output=True, text=True).stdout
        samples = [line.split() for line in lines.splitlines()]
        cls.labels = [label for label, _ in samples]
        cls.workdir = tempfile.mkdtemp(prefix="dissector-")
        os.chmod(cls.workdir, 0o755)
        capture = os.path.join(cls.workdir, "announcements.pcap")
        write_capture(capture, [bytes.fromhex(data) for _, data in samples])
        os.chmod(capture, 0o644)
        # A copy beside the capture, readable by the ordinary user wherever the tree lies.
        lua = os.path.join(cls.workdir, os.path.basename(LUA))
        shutil.copyfile(LUA, lua)
        os.chmod(lua, 0o644)
        command = ["tshark", "-n", "-X", "lua_script:" + lua, "-r", capture, "-T", "fields",
                   "-E", "separator=|", "-E", "occurrence=a", "-E", "aggregator=;"]
        command += [arg for field in FIELDS for arg in ("-e", field)]
        # Reading a capture needs no rights: run as an ordinary user where we are root.
        if os.geteuid() == 0:
            command = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"] + command
        result = subprocess.run(command, capture_output=True, text=True,
                                env=dict(os.environ, HOME=cls.workdir), cwd=cls.workdir)
        if result.returncode != 0:
            raise AssertionError("tshark failed:\n" + result.stderr)
        rows = [line.split("|") for line in result.stdout.splitlines()]
        cls.rows = {label: dict(zip(FIELDS, row)) for label, row in zip(cls.labels, rows)}

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.workdir, ignore_errors=True)

    def test_an_announcement_and_its_withdrawal_read_field_by_field(self):
        announce, withdraw = self.rows["announce"], self.rows["withdraw"]
        self.assertEqual(
            [announce[f] for f in FIELDS[:-1]],
            ["53", "5009", announce["lumo_discovery.sequence"], "39", "Zento S", "Simulator",
             "2.1", "1.0", "0", "2000", ""])
        self.assertEqual(withdraw["lumo_discovery.type"], "5010")
        self.assertEqual(withdraw["lumo_discovery.sequence"], announce["lumo_discovery.sequence"])
        self.assertEqual(announce["_ws.expert.message"], "")

    def test_broken_datagrams_carry_their_warnings(self):
        expected = {
            "unknown-type": ["Unknown message type"],
            "cut-closing-zero": ["Length 53 but the datagram has 52 bytes",
                                 "Text length 39 but 38 bytes follow",
                                 "No closing zero byte after the texts"],
            "cut-in-name": ["Length 53 but the datagram has 24 bytes",
                            "Text length 39 but 10 bytes follow",
                            "Instrument name has no terminator",
                            "No closing zero byte after the texts"],
            "header-only": ["Shorter than the 14-byte header"],
        }
        for label, messages in expected.items():
            with self.subTest(label):
                self.assertEqual(self.rows[label]["_ws.expert.message"].split(";"), messages)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--samples", required=True)
    parser.add_argument("--lua", required=True)
    args, rest = parser.parse_known_args()
    SAMPLES, LUA = args.samples, args.lua
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)
