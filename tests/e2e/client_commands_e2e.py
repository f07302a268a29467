#!/usr/bin/env python3
"""lumo-client drives lumo-sim, each a separate Wine process: every command form goes once
through a real WM_COPYDATA, and the service's side reads its bytes with its own decoder."""

from wine_program import WineScenarioTest, WineTest, main

SERVICE_WINDOW = "LUMO_SIM_SERVICE"
DATA_REPLY_HEADER = bytes(range(48))

# Every command form once: the line, and the fields the service must have read.
FORMS = [
    ("request 2002 1 2 3 4", {"form": 1, "a": 1, "b": 2, "c": 3, "d": 4}),
    ("request 2002 7 9", {"form": 2, "a": 7, "b": 9}),
    ("request 2004 1 2 3 4 0x5", {"a": 1, "b": 2, "c": 3, "d": 4, "e": 5}),
    ("request 2005 -2", {"value": -2}),
    ("request 2007 5 Grüße, arm", {"value": 5, "text": "Grüße, arm", "textUnits": 10}),
    ("request 2007 5 ab\0cd", {"value": 5, "text": "ab", "textUnits": 2}),  # zeros after "ab"
    ("request 2009 9", {"value": 9}),
    ("request 2011 0x0102030405060708", {"value": 0x0102030405060708}),
    ("request 2016 1 2 3 hex:deadbeef", {"a": 1, "b": 2, "c": 3, "dataSize": 4, "data": "deadbeef"}),
    ("request 2019 -1", {"value": -1}),
    ("request 2022 4000000000", {"value": 4000000000}),
    ("request 2100 hex:1234", {"bytes": "1234"}),
    ("request 2203 3 4", {"id": 3, "value": 4}),
    ("request 2204 3 two words", {"id": 3, "text": "two words"}),
    ("request 2205 3 7 8", {"id": 3, "values": [7, 8]}),
    ("request 2207 3 -1 2", {"id": 3, "first": -1, "second": 2}),
    ("request 2212 3 narrow text", {"id": 3, "text": "narrow text"}),
    ("request 2214 6 0.5", {"flag": 0, "value": 6, "number": 0.5}),
    ("request 2220 0", {"form": 1}),
    ("request 2220 1", {"form": 2}),
    ("request 1022 open sesame", {"leading": 0}),
    ("request 2065 hello display", {"displayText": "owner", "text": "hello display"}),
    ("request 2066 one two", {"items": ["one", "two"]}),
    ("request 2227 9 speed=fast", {"scriptId": 9, "arguments": {"speed": "fast"}, "last": 0}),
    ("request 2227 9", {"scriptId": 9, "arguments": {}, "last": 0}),
    ("request 2300 -3", {"value": -3}),
    ("request 2301 1 2", {"a": 1, "b": 2, "third": 0}),
] + [(f"request {id}", {}) for id in (
    2008, 2010, 2012, 2013, 2014, 2020, 2021, 2023, 2024, 2030, 2031, 2080, 2081, 2082, 2083,
    2200, 2201, 2206, 2211, 2216, 2217, 2221, 2222, 2223, 2224, 2233, 1021, 2067, 2061, 2228,
    2229, 2230)]
IDS = [int(line.split()[1]) for line, _ in FORMS]

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


class ClientCommandsTest(WineScenarioTest):
    @classmethod
    def run_scenario(cls):
        lines = "display-text owner\n" + "".join(line + "\n" for line, _ in FORMS)
        cls.service = cls.launch.service("service", SERVICE_SCRIPT)
        cls.service.wait_for("window-created")
        cls.client = cls.launch.start("lumo-client", "lumo-client.exe",
                                      ["--wait-ms", "3000", "--service-window", SERVICE_WINDOW,
                                       "--script", cls.launch.script("client", lines)])
        cls.client_status = cls.client.finish(timeout_s=120)
        cls.service.finish()

    def requests(self):
        return [r for r in self.service.events("received")
                if r["messageId"] not in (2000, 2001)]

    def test_every_form_arrives_as_the_service_reads_it(self):
        self.assertEqual(self.client_status, 0, self.client.text())
        received = self.requests()
        self.assertEqual([r["messageId"] for r in received], IDS)
        for (line, fields), got in zip(FORMS, received):
            with self.subTest(line):
                self.assertNotIn("malformed", got)
                self.assertEqual({k: got["request"].get(k) for k in fields}, fields)

    def test_the_client_prints_each_send_and_each_answer(self):
        records = self.client.records()
        sent = [r for r in records if "sent" in r]
        self.assertEqual([(r["sent"], r["result"]) for r in sent],
                         [(id, 0) for id in IDS])
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


class LumoClientAloneTest(WineTest):
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
