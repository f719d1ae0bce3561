#!/usr/bin/env python3
"""The report of many machines: what it says, and that nothing a machine says can make it say something else."""
import csv
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
REPORT = ROOT / "examples/fleet/report.py"
HOSTILE = '<script>alert("x")</script>{{ 7*7 }}'


def store(state="absent", entries=None, findings=()):
    return {"state": state, "path": "/opt/orvanta/brightgate/VPNManifest.dat", "findings": list(findings),
            "entries": {identity: {"kind": "exe", "version": version} for identity, version in (entries or {}).items()}}


def answer(name, entries, files=(), **current):
    """What a machine with these entries in its current store says; `current` replaces facts of that store."""
    return {"machine": name, "reached": True, "complaint": "", "verify": json.dumps({"files": list(files)}),
            "facts": {"current": store("good" if entries else "absent", entries) | current, "legacy": store()}}


def file(identity, result, manifest="/opt/orvanta/brightgate/manifest/core.xml", path=None):
    return {"manifest": manifest, "id": identity, "path": path, "result": result, "expected": None, "found": None}


class ReportTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.answers, self.out = pathlib.Path(folder.name, "answers"), pathlib.Path(folder.name, "out")
        self.answers.mkdir()
        self.out.mkdir()

    def render(self, *answers):
        for number, one in enumerate(answers):
            data = one if isinstance(one, bytes) else json.dumps(one).encode()
            (self.answers / f"{number:03}.json").write_bytes(data)
        subprocess.run([sys.executable, str(REPORT), str(self.answers), str(self.out)], check=True, capture_output=True)
        self.page = (self.out / "report.html").read_text()
        return json.loads((self.out / "report.json").read_text())

    def rows(self, name):
        with (self.out / name).open(newline="") as table:
            return list(csv.reader(table))

    def test_counts_the_machines_of_each_version_and_who_is_behind_the_newest(self):
        report = self.render(answer("a", {"Core": "5.1.10"}), answer("b", {"Core": "5.1.9"}), answer("c", {"Core": "5.1.9"}))
        self.assertEqual(report["versions"], [
            {"store": "current", "module": "", "id": "Core", "kind": "exe", "machines": 3, "behind": 2,
             "versions": [{"version": "5.1.10", "machines": 1}, {"version": "5.1.9", "machines": 2}]}])
        self.assertEqual([machine["behind"] for machine in report["machines"]], [[], ["Core"], ["Core"]])

    def test_orders_versions_by_number_whatever_their_length_and_zeros(self):
        report = self.render(answer("a", {"Core": "5.01"}), answer("b", {"Core": "5.1.0"}), answer("c", {"Core": "5"}),
                             answer("d", {"Core": "9" * 5000}), answer("e", {"Core": "1" + "0" * 5000}))
        self.assertEqual([row["version"] for row in report["versions"][0]["versions"]],
                         ["1" + "0" * 5000, "9" * 5000, "5.1.0", "5.01", "5"])

    def test_names_the_module_by_the_manifest_that_lists_the_id(self):
        report = self.render(answer("a", {"Core": "5"}, [file("Core", "ok")]))
        self.assertEqual(report["versions"][0]["module"], "core")

    def test_keeps_the_two_stores_of_a_machine_apart(self):
        both = answer("a", {"Core": "5"})
        both["facts"]["legacy"] = store("good", {"Core": "4"})
        report = self.render(both)
        self.assertEqual([(row["store"], row["behind"]) for row in report["versions"]], [("current", 0), ("legacy", 0)])

    def test_lists_the_findings_of_verify_with_the_machines(self):
        files = [file("Core", "ok"), file("Core", "missing", path="/opt/x")]
        report = self.render(answer("a", {}, files), answer("b", {}, files))
        self.assertEqual(report["findings"], [
            {"module": "core", "id": "Core", "path": "/opt/x", "result": "missing", "machines": ["a", "b"]}])

    def test_lists_stores_that_are_not_good_with_what_check_found(self):
        report = self.render(answer("a", {}, state="damaged",
                                    findings=[{"offset": 8, "rule": "cut-record", "message": "the file ends early"}]))
        self.assertEqual(report["stores"], [
            {"machine": "a", "store": "current", "path": "/opt/orvanta/brightgate/VPNManifest.dat", "state": "damaged",
             "findings": ["cut-record: the file ends early"]}])

    def test_a_store_that_cannot_be_read_is_one_to_look_at(self):
        self.assertEqual(len(self.render(answer("a", {}, state="unreadable"))["stores"]), 1)

    def test_a_machine_that_was_not_reached_is_a_line_with_its_reason(self):
        report = self.render({"machine": "a", "reached": False, "facts": None, "verify": "", "complaint": "no route"})
        self.assertEqual((report["machines"][0]["reached"], report["machines"][0]["complaint"]), (False, "no route"))
        self.assertIn("no route", self.page)

    def test_a_machine_without_the_program_says_so(self):
        report = self.render({"machine": "a", "reached": True, "facts": None, "verify": "", "complaint": ""})
        self.assertEqual(report["machines"][0]["complaint"], "no facts: obg_manifestctl is not installed")

    def test_an_answer_that_is_not_understood_is_a_line_and_stops_nothing(self):
        wrong = [b"", b"[" * 100000, b"[]", b'"x"', b"{\"machine\": 5}", answer("a", {}) | {"facts": [1]},
                 answer("a", {}) | {"verify": "no JSON"}, answer("a", {}) | {"verify": '{"files": [7]}'},
                 answer("a", {}, state=[]), answer("a", {}, path=5)]
        report = self.render(*wrong, answer("z", {"Core": "5"}))
        complaints = [machine["complaint"] for machine in report["machines"]]
        self.assertEqual(sum(text.startswith("the answer is not understood: ") for text in complaints), len(wrong))
        self.assertEqual(report["versions"][0]["machines"], 1)

    def test_hostile_texts_are_text_in_the_page(self):
        self.render(answer(HOSTILE, {HOSTILE: HOSTILE}, [file(HOSTILE, HOSTILE, path=HOSTILE)]),
                    {"machine": "b", "reached": False, "facts": None, "verify": "", "complaint": HOSTILE})
        self.assertNotIn("<script>alert", self.page)
        self.assertIn("&lt;script&gt;alert(&quot;x&quot;)&lt;/script&gt;{{ 7*7 }}", self.page)

    def test_what_does_not_print_is_spelled_out_in_the_page(self):
        self.render(answer("a", {"x\u202ey\x1b[31m\udc80": "5"}))
        self.assertIn("x\\u{202e}y\\u{1b}[31m\\u{dc80}", self.page)

    def test_a_dollar_in_an_id_is_no_placeholder(self):
        self.render(answer("a", {"$tiles ${written} $": "5"}))
        self.assertIn("$tiles ${written} $", self.page)

    def test_a_formula_gets_an_apostrophe_in_the_tables(self):
        self.render(answer("=1+1", {"@SUM(A1)": "-5"}))
        self.assertEqual(self.rows("versions.csv")[1], ["current", "", "'@SUM(A1)", "exe", "'-5", "1"])
        self.assertEqual(self.rows("machines.csv")[1], ["'=1+1", "yes", "good", "absent", "1", "0", "0", ""])

    def test_no_machine_at_all_is_a_report_too(self):
        self.assertEqual(self.render()["machines"], [])
        self.assertIn("Installed files of 0 machines", self.page)

    def test_the_page_asks_for_nothing_from_elsewhere(self):
        self.render(answer("a", {"Core": "5"}))
        self.assertNotRegex(self.page, r'(src|href)="(?!data:,|report\.json|versions\.csv|machines\.csv)')
        self.assertNotRegex(self.page, r"url\(|@import|fetch\(|https?:")
        self.assertIn("default-src 'none'", self.page)


if __name__ == "__main__":
    unittest.main()
