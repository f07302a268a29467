#!/usr/bin/env python3
"""lumo-client drives lumo-sim, each a separate Wine process: every command form goes once
through a real WM_COPYDATA, and the service's side reads its bytes with its own decoder."""
import hashlib
import struct
import unittest

from wine_program import Launcher, main

SERVICE_WINDOW = "LUMO_SIM_SERVICE"
DATA_REPLY_HEADER = bytes(range(48))

# Every command form once: (line, message id, fields the service must have read).
FORMS = [
    ("request 2002 1 2 3 4", 2002, {"form": 1, "a": 1, "b": 2, "c": 3, "d": 4}),
    ("request 2002 7 9", 2002, {"form": 2, "a": 7, "b": 9}),
    ("request 2004 1 2 3 4 0x5", 2004, {"a": 1, "b": 2, "c": 3, "d": 4, "e": 5}),
    ("request 2005 -2", 2005, {"value": -2}),
    ("request 2007 5 Grüße, arm", 2007, {"value": 5, "text": "Grüße, arm", "textUnits": 10}),
    ("request 2008", 2008, {}),
    ("request 2009 9", 2009, {"value": 9}),
    ("request 2010", 2010, {}),
    ("request 2011 0x0102030405060708", 2011, {"value": 0x0102030405060708}),
    ("request 2012", 2012, {}),
    ("request 2013", 2013, {}),
    ("request 2014", 2014, {}),
    ("request 2016 1 2 3 hex:deadbeef", 2016,
     {"a": 1, "b": 2, "c": 3, "dataSize": 4, "data": "deadbeef"}),
    ("request 2019 -1", 2019, {"value": -1}),
    ("request 2020", 2020, {}),
    ("request 2021", 2021, {}),
    ("request 2022 4000000000", 2022, {"value": 4000000000}),
    ("request 2023", 2023, {}),
    ("request 2024", 2024, {}),
    ("request 2030", 2030, {}),
    ("request 2031", 2031, {}),
    ("request 2080", 2080, {}),
    ("request 2081", 2081, {}),
    ("request 2082", 2082, {}),
    ("request 2083", 2083, {}),
    ("request 2100 hex:1234", 2100, {"bytes": "1234"}),
    ("request 2200", 2200, {}),
    ("request 2201", 2201, {}),
    ("request 2203 3 4", 2203, {"id": 3, "value": 4}),
    ("request 2204 3 two words", 2204, {"id": 3, "text": "two words"}),
    ("request 2205 3 7 8", 2205, {"id": 3, "values": [7, 8]}),
    ("request 2206", 2206, {}),
    ("request 2207 3 -1 2", 2207, {"id": 3, "first": -1, "second": 2}),
    ("request 2211", 2211, {}),
    ("request 2212 3 narrow text", 2212, {"id": 3, "text": "narrow text"}),
    ("request 2214 6 0.5", 2214, {"flag": 0, "value": 6, "number": 0.5}),
    ("request 2216", 2216, {}),
    ("request 2217", 2217, {}),
    ("request 2220 0", 2220, {"form": 1}),
    ("request 2220 1", 2220, {"form": 2}),
    ("request 2221", 2221, {}),
    ("request 2222", 2222, {}),
    ("request 2223", 2223, {}),
    ("request 2224", 2224, {}),
    ("request 2233", 2233, {}),
    ("request 1021", 1021, {}),
    ("request 1022 open sesame", 1022, {"leading": 0, "digestWellFormed": True}),
    ("request 2067", 2067, {}),
    ("request 2065 hello display", 2065, {"displayText": "owner", "text": "hello display"}),
    ("request 2066 one two", 2066, {"items": ["one", "two"]}),
    ("request 2061", 2061, {}),
    ("request 2227 9 speed=fast", 2227, {"scriptId": 9, "arguments": {"speed": "fast"},
                                         "last": 0}),
    ("request 2227 9", 2227, {"scriptId": 9, "arguments": {}, "last": 0}),
    ("request 2228", 2228, {}),
    ("request 2229", 2229, {}),
    ("request 2230", 2230, {}),
    ("request 2300 -3", 2300, {"value": -3}),
    ("request 2301 1 2", 2301, {"a": 1, "b": 2, "third": 0}),
]

# The service answers every request with the same id and result 0, but these.
SERVICE_SCRIPT = f"""\
answer * = 0
answer 2013 = 4
answer 2004 = 0 0a0b0c
answer 2016 2015 0 {DATA_REPLY_HEADER.hex()}cafe
answer 2022 2015 0 {DATA_REPLY_HEADER[:47].hex()}
answer 2233 = 0 01
wait-registered 30000
wait-unregistered 60000
"""


class ClientCommandsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.launch = Launcher()
        lines = "display-text owner\n" + "".join(line + "\n" for line, _, _ in FORMS)
        cls.service = cls.launch.service("service", SERVICE_SCRIPT)
        cls.service.wait_for("window-created")
        cls.client = cls.launch.start("lumo-client", "lumo-client.exe",
                                      ["--wait-ms", "3000", "--service-window", SERVICE_WINDOW,
                                       "--script", cls.launch.script("client", lines)])
        cls.client_status = cls.client.finish(timeout_s=120)
        cls.service.finish()

    @classmethod
    def tearDownClass(cls):
        cls.launch.stop_all()

    def requests(self):
        return [r for r in self.service.events("received")
                if r["messageId"] not in (2000, 2001)]

    def test_every_form_arrives_as_the_service_reads_it(self):
        self.assertEqual(self.client_status, 0, self.client.text())
        received = self.requests()
        self.assertEqual([r["messageId"] for r in received], [id for _, id, _ in FORMS])
        for (line, _, fields), got in zip(FORMS, received):
            with self.subTest(line):
                self.assertNotIn("malformed", got)
                self.assertEqual((got["dwData"], got["dataSizeMatches"]), (0, True))
                self.assertTrue(got["chunkReservedZero"] and got["senderReservedZero"])
                self.assertEqual({k: got["request"].get(k) for k in fields}, fields)

    def test_the_access_request_carries_the_digest_of_time_and_text_only(self):
        access = next(r for r in self.requests() if r["messageId"] == 1022)
        time, digest = access["request"]["time"], access["request"]["digest"]
        self.assertEqual(digest, hashlib.sha256(f"{time}:open sesame".encode()).hexdigest())
        self.assertNotIn("sesame".encode().hex(), access["payload"])
        self.assertEqual(len(bytes.fromhex(access["payload"])), 4 + 4 + 64 + 8)
        self.assertEqual(struct.unpack("<q", bytes.fromhex(access["payload"])[-8:])[0], time)

    def test_the_client_prints_each_send_and_each_answer(self):
        records = self.client.records()
        sent = [r for r in records if "sent" in r]
        self.assertEqual([(r["sent"], r["result"]) for r in sent],
                         [(id, 0) for _, id, _ in FORMS])
        replies = [r for r in records if "reply" in r]
        expected = {
            2013: {"result": 4, "bytes": 0, "slot": 18},
            2004: {"result": 0, "bytes": 3, "slot": 31},
            2233: {"bytes": 700, "slot": 41},
            2214: {"result": 0, "bytes": 0, "slot": 53},
            1022: {"result": 0, "bytes": 0, "slot": 62},
            2065: {"result": 0, "bytes": 0, "client": "display"},
            2301: {"result": 0, "bytes": 0, "client": "wrtl"},
        }
        for id, fields in expected.items():
            with self.subTest(reply=id):
                reply = next(r for r in replies if r["reply"] == id)
                self.assertEqual({k: reply.get(k) for k in fields}, fields)
        data_replies = [(r["result"], r["bytes"]) for r in replies if r["reply"] == 2015]
        self.assertEqual(data_replies, [(0, 2), (7, 0)])
        self.assertEqual(len(replies), len(FORMS))
        # The session's end tells the service, not the application, which is gone by then.
        events = [r["event"] for r in records if isinstance(r.get("event"), str)]
        self.assertEqual(events, ["server-available", "registered"])

    def test_the_session_ends_with_the_unregistration(self):
        self.assertEqual(self.service.events("received")[-1]["messageId"], 2001)
        self.assertEqual(self.service.events("client-forgotten")[0]["reason"], "unregistered")


class LumoClientAloneTest(unittest.TestCase):
    def setUp(self):
        self.launch = Launcher()

    def tearDown(self):
        self.launch.stop_all()

    def run_client(self, *args):
        client = self.launch.start("lumo-client", "lumo-client.exe", list(args))
        return client.finish(), client

    def test_params_lists_the_table_without_a_service(self):
        status, client = self.run_client("params")
        self.assertEqual(status, 0)
        lines = client.text().splitlines()
        self.assertEqual(len(lines), 33)
        self.assertEqual(lines[0], '{"id":1,"name":"Language","valueType":1,"category":1}')

    def test_a_bad_command_sends_nothing_and_a_missing_service_fails(self):
        status, client = self.run_client("request", "2100", "hex:01")
        self.assertEqual(status, 2)
        self.assertIn("line 1: request 2100: 2100 takes exactly 2 bytes", client.text())
        status, client = self.run_client("--wait-ms", "300", "request", "2013")
        self.assertEqual(status, 1)
        self.assertIn("no service registered this client within 300 ms", client.text())

    def test_a_refused_registration_sends_nothing_and_fails(self):
        service = self.launch.service("service", "set accept off\nwait 4000\n")
        service.wait_for("window-created")
        status, client = self.run_client("--wait-ms", "1500", "--service-window",
                                         SERVICE_WINDOW, "request", "2013")
        self.assertEqual(status, 1, client.text())
        service.finish()
        self.assertEqual([(r["messageId"], r["answer"]) for r in service.events("received")],
                         [(2000, 0)])
        self.assertEqual([r for r in client.records() if "sent" in r], [])


if __name__ == "__main__":
    main()
