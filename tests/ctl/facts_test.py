"""`facts`: both stores as one JSON object for fact collectors."""

import os

import harness
from harness import LEGACY_STORE, STORE, record, store_bytes


class FactsTest(harness.CtlTest):
    def test_both_stores_are_told_with_their_entries_by_id(self):
        STORE.write_bytes(store_bytes(("core", "exe", "1.2"), ("agent", "script", "3")))
        run = self.ctl("facts", status=0)
        self.assertEqual(run.err, "")
        document = harness.validated(run.out)
        self.assertRegex(document.pop("program_version"), r"^\d+\.\d+\.\d+$")
        self.assertEqual(document, {
            "format": "obg-manifest-facts", "version": 1,
            "current": {"state": "good", "path": "/opt/orvanta/brightgate/VPNManifest.dat", "findings": [],
                        "entries": {"agent": {"kind": "script", "version": "3"}, "core": {"kind": "exe", "version": "1.2"}}},
            "legacy": {"state": "absent", "path": "/opt/orvanta/tessellink/VPNManifest.dat", "findings": [],
                       "entries": {}}})
        self.assertEqual(list(document["current"]["entries"]), ["agent", "core"])

    def test_text_and_json_are_the_same(self):
        self.assertEqual(self.ctl("facts", status=0).out, self.ctl("--format", "json", "facts", status=0).out)

    def test_a_damaged_store_is_a_fact_and_0(self):
        STORE.write_bytes(store_bytes(("core", "exe", "1.2"))[:-1])
        LEGACY_STORE.write_bytes(store_bytes(("core", "exe", "1")) + b"\0")
        document = harness.validated(self.ctl("facts", status=0).out)
        self.assertEqual(document["current"]["state"], "damaged")
        self.assertEqual([(finding["offset"], finding["rule"]) for finding in document["current"]["findings"]],
                         [(8, "cause-cut"), (20, "count-too-large")])
        self.assertEqual(document["legacy"]["state"], "good")
        self.assertEqual([(finding["offset"], finding["rule"]) for finding in document["legacy"]["findings"]],
                         [(27, "stray-bytes")])

    def test_it_waits_for_nothing(self):
        os.mkfifo(STORE)
        LEGACY_STORE.mkdir()
        document = harness.validated(self.ctl("facts", status=0).out)
        self.assertEqual([document[name]["state"] for name in ("current", "legacy")], ["unreadable", "unreadable"])
        self.assertEqual([finding["rule"] for finding in document["current"]["findings"]], ["unreadable"])

    def test_it_does_not_wait_for_a_lock(self):
        lock = STORE.with_name(STORE.name + ".lock")
        lock.touch()
        run = self.ctl(str(lock), harness.CTL, "facts", program="flock", status=0)
        self.assertEqual(run.err, "")

    def test_the_options_for_one_store_change_nothing_but_root_does(self):
        plain = self.ctl("facts", status=0).out
        self.assertEqual(self.ctl("--legacy", "facts", status=0).out, plain)
        self.assertEqual(self.ctl("--store", "/nowhere", "facts", status=0).out, plain)
        document = harness.validated(self.ctl("--root", "/image", "facts", status=0).out)
        self.assertEqual(document["current"]["path"], "/image/opt/orvanta/brightgate/VPNManifest.dat")

    def test_ids_that_are_not_utf_8_are_told_apart_and_hold_their_bytes(self):
        STORE.write_bytes(store_bytes((b"\xfe", "exe", "1"), (b"\xff", "exe", "2"), (b"\xff", "rpm", "3")))
        entries = harness.validated(self.ctl("facts", status=0).out)["current"]["entries"]
        self.assertEqual(entries, {"\ufffd": {"id_hex": "fe", "kind": "exe", "version": "1"},
                                   "\ufffd ff": {"id_hex": "ff", "kind": "rpm", "version": "3"}})

    def test_it_takes_no_operands(self):
        self.ctl("facts", "more", status=2)


if __name__ == "__main__":
    harness.main()
