"""`check`: all that is wrong with the bytes of a store, and what readers and the next run make of it."""

import harness
from harness import SCRATCH, STORE, record, store_bytes, text_field

CORE = record("core", "exe", "1.2")  # 21 bytes, from 0x08 on
RPM = record("core-rpm", "rpm", "1.2-1")  # 27 bytes, from 0x1d on
AGENT = record("agent", "script", "3")  # 20 bytes, from 0x38 on
HEADER = store_bytes()
WHOLE = HEADER + CORE + RPM + AGENT  # 0x4c bytes
PATH = str(STORE)
CURE = ("to mend it, make the store again from the installed manifests: obg_manifestctl sync --rebuild; "
        "VPNManifest.dat(5) tells more")
STARTS_EMPTY = "the next run starts without any entry and writes over the file"
GIVES_UP = "readers give up and find no entries"


def number(value):
    return value.to_bytes(4, "little")


class CheckTest(harness.CtlTest):
    def assertFindings(self, store, state, entries, *findings):
        """`findings` are lines behind the path: "OFFSET: MESSAGE [RULE]"."""
        STORE.write_bytes(store)
        lines = [f"{PATH}: {state}, {entries}", *(f"{PATH}:{finding}" for finding in findings)]
        self.assertRun(self.ctl("check"), 1 if findings else 0, "".join(line + "\n" for line in lines))
        document = self.json("check", status=1 if findings else 0)
        found = [f"{finding['offset']:#x}: {finding['message']} [{finding['rule']}]"
                 for finding in document["stores"][0]["findings"]]
        self.assertEqual(found, list(findings))

    def test_a_good_store_is_said_to_be_good(self):
        self.assertFindings(WHOLE, "good", "3 entries")
        self.assertFindings(HEADER, "good", "0 entries")
        self.assertFindings(HEADER + CORE, "good", "1 entry")

    def test_json_tells_every_record(self):
        STORE.write_bytes(WHOLE)
        self.assertEqual(self.json("check"), {
            "format": "obg-manifest-check", "version": 1,
            "stores": [{
                "path": PATH, "state": "good", "size": 76,
                "records": [
                    {"offset": 8, "size": 21, "type": 2, "kind": "exe", "version": "1.2", "id": "core", "fate": "kept"},
                    {"offset": 29, "size": 27, "type": 17, "kind": "rpm", "version": "1.2-1", "id": "core-rpm",
                     "fate": "kept"},
                    {"offset": 56, "size": 20, "type": 4, "kind": "script", "version": "3", "id": "agent",
                     "fate": "kept"}],
                "findings": [],
                "reader_entries": [{"id": "core", "kind": "exe", "version": "1.2"},
                                   {"id": "core-rpm", "kind": "rpm", "version": "1.2-1"},
                                   {"id": "agent", "kind": "script", "version": "3"}]}]})

    def fates(self, store, status=1):
        STORE.write_bytes(store)
        records = self.json("check", status=status)["stores"][0]["records"]
        return [(record["offset"], record["size"], record["fate"]) for record in records]

    def test_each_record_has_its_fate(self):
        self.assertEqual(self.fates(HEADER + CORE + record("p", "profile", "1") + number(6) + record("core", "msi", "2")),
                         [(8, 21, "replaced"), (29, 16, "dropped"), (45, 4, "unknown"), (49, 19, "kept")])
        self.assertEqual(self.fates(WHOLE[:-1]), [(8, 21, "lost"), (29, 27, "lost"), (56, 19, "cut")])

    def test_what_was_not_read_is_null(self):
        STORE.write_bytes(HEADER + number(6) + AGENT[:12])
        records = self.json("check", status=1)["stores"][0]["records"]
        self.assertEqual(records, [
            {"offset": 8, "size": 4, "type": 6, "kind": None, "version": None, "id": None, "fate": "unknown"},
            {"offset": 12, "size": 12, "type": 4, "kind": "script", "version": "3", "id": None, "fate": "cut"}])

    def test_no_store_at_all_is_0(self):
        self.assertRun(self.ctl("check"), 0, f"{PATH}: absent, 0 entries\n")
        self.assertEqual(self.json("check")["stores"], [
            {"path": PATH, "state": "absent", "size": 0, "records": [], "findings": [], "reader_entries": []}])
        self.assertFalse(STORE.exists())

    def test_a_file_that_is_not_there_is_2(self):
        STORE.write_bytes(WHOLE)
        self.assertRun(self.ctl("check", "none", str(STORE)), 2,
                       f"none: absent, 0 entries\n{PATH}: good, 3 entries\n",
                       "obg_manifestctl: cannot read none: No such file or directory\n")

    def test_a_file_that_cannot_be_read_is_2(self):
        self.assertRun(self.ctl("check", "."), 2,
                       ".: unreadable, 0 entries\n.:0x0: the file cannot be read: Is a directory [unreadable]\n",
                       "obg_manifestctl: cannot read .: Is a directory\n")

    def test_several_files_are_checked_one_after_the_other(self):
        (SCRATCH / "a").write_bytes(WHOLE)
        (SCRATCH / "b").write_bytes(HEADER + b"\0")
        self.assertRun(self.ctl("check", "a", "b"), 1, (
            "a: good, 3 entries\n"
            "b: good, 0 entries\n"
            "b:0x8: 1 byte behind the last record, too few for a type: readers pass over them, and the next run "
            "leaves them out [stray-bytes]\n"))

    # What readers meet.

    def test_a_header_that_is_cut_is_found(self):
        self.assertFindings(
            HEADER[:5], "damaged", "0 entries",
            f"0x0: the file has 5 bytes, its header takes 8: readers find no entries, and {STARTS_EMPTY} [header-cut]",
            f"0x0: the end of the file is missing: a full disk, a kill or a power cut while it was written; {CURE} "
            "[cause-cut]")

    def test_a_newer_version_is_found(self):
        self.assertFindings(
            store_bytes(major=1, minor=1) + CORE, "unsupported", "0 entries",
            f"0x0: the file says version 1.1, which is not loaded: readers find no entries, and {STARTS_EMPTY}; a newer "
            "release wrote it, or its first bytes were changed [unsupported-version]")

    def test_an_early_version_is_found(self):
        self.assertFindings(
            store_bytes(major=0, minor=7) + CORE, "good", "1 entry",
            "0x0: the file says version 0.7, of before the first release: readers load it, and the next run writes 1.0 "
            "[early-version]")

    def test_a_kind_that_is_skipped_is_found(self):
        self.assertFindings(
            HEADER + record("p", "profile", "1") + CORE, "good", "1 entry",
            "0x8: an entry of kind profile, which is not kept: readers skip it, and the next run leaves it out "
            "[skipped-kind]")

    def test_a_last_byte_that_is_not_zero_is_found(self):
        self.assertFindings(
            HEADER + CORE[:-1] + b"x", "good", "1 entry",
            "0x1c: the last byte of the id is not zero: readers take it for the zero byte, and the next run writes it "
            "so [no-zero-byte]")

    def test_bytes_behind_a_zero_byte_are_found(self):
        self.assertFindings(
            HEADER + number(2) + text_field(b"1\0xy") + text_field("core"), "good", "1 entry",
            "0x11: a zero byte within the version: readers pass over 3 bytes behind it, and the next run leaves them "
            "out [bytes-behind-zero]")

    def test_an_empty_version_is_found(self):
        self.assertFindings(
            HEADER + record("core", "exe", ""), "good", "1 entry",
            '0xc: the entry "core" has an empty version: readers keep it, but the next run writes its type alone, and '
            "readers are out of step from there on; strike the entry, or record it with a version [empty-version]")

    def test_an_empty_id_is_found(self):
        self.assertFindings(
            HEADER + record("", "exe", "1"), "good", "1 entry",
            "0x12: an entry has an empty id: readers keep it, but the next run writes its type and version alone, and "
            "readers are out of step from there on; strike the entry, or record it with an id [empty-id]")

    def test_a_repeated_id_is_found(self):
        self.assertFindings(
            HEADER + CORE + CORE + record("core", "msi", "2"), "good", "1 entry",
            '0x8: the record at 0x1d has the same id "core": readers take kind and version from that one, and the next '
            "run writes one record [repeated-id]",
            '0x1d: the record at 0x32 has the same id "core": readers take kind and version from that one, and the next '
            "run writes one record [repeated-id]")

    def test_stray_bytes_are_found(self):
        self.assertFindings(
            HEADER + CORE + b"abc", "good", "1 entry",
            "0x1d: 3 bytes behind the last record, too few for a type: readers pass over them, and the next run leaves "
            "them out [stray-bytes]")

    def test_types_that_are_none_are_one_finding_where_they_follow_one_another(self):
        self.assertFindings(
            HEADER + CORE + number(6) + number(7) + number(99), "damaged", "1 entry",
            "0x1d: 6 is the type of no kind, nor are the 2 that follow: readers take 4 bytes for each and may be out of "
            "step from here on, and the next run leaves them out [unknown-type]",
            f"0x1d: what stands from here on is no record, and nothing tells what it was; {CURE} [cause-unknown]")

    # What has happened to it, and how to mend it.

    def test_a_store_cut_in_the_middle_names_cause_and_cure(self):
        self.assertFindings(
            WHOLE[:0x28], "damaged", "0 entries",
            "0x1d: the file ends within the record that begins here: a full disk, a kill or a power cut while it was "
            f"written; {CURE} [cause-cut]",
            f"0x21: the count of the version is 6, and 3 bytes are left: {GIVES_UP}, also not the 1 record before this "
            f"one, and {STARTS_EMPTY} [count-too-large]")

    def test_a_store_cut_where_a_count_should_be_names_cause_and_cure(self):
        self.assertFindings(
            WHOLE[:0x23], "damaged", "0 entries",
            "0x1d: the file ends within the record that begins here: a full disk, a kill or a power cut while it was "
            f"written; {CURE} [cause-cut]",
            f"0x21: the file ends where the count of the version should be: {GIVES_UP}, also not the 1 record before "
            f"this one, and {STARTS_EMPTY} [no-count]")

    def test_a_flipped_count_names_cause_and_cure(self):
        self.assertFindings(
            WHOLE[:0x21] + number(134) + WHOLE[0x25:], "damaged", "0 entries",
            f"0x21: the count of the version is 134, and 39 bytes are left: {GIVES_UP}, also not the 1 record before "
            f"this one, and {STARTS_EMPTY} [count-too-large]",
            "0x21: the count of the version was changed: it says 134, its text has 6 bytes, and the next record stands "
            f"at 0x38; {CURE} [cause-wrong-count]")

    def test_a_count_of_zero_names_cause_and_cure(self):
        self.assertFindings(
            WHOLE[:0x2b] + number(0) + WHOLE[0x2f:], "damaged", "0 entries",
            f"0x2b: the count of the id is 0, which no text has: {GIVES_UP}, also not the 1 record before this one, and "
            f"{STARTS_EMPTY} [zero-count]",
            "0x2b: the count of the id was changed: it says 0, its text has 9 bytes, and the next record stands at 0x38; "
            f"{CURE} [cause-wrong-count]")

    def test_a_flipped_type_names_cause_and_cure(self):
        STORE.write_bytes(WHOLE[:0x1d] + number(17 + 256) + WHOLE[0x21:])
        found = self.json("check", status=1)["stores"][0]["findings"]
        self.assertIn({"offset": 0x1d, "rule": "cause-wrong-type",
                       "message": f"the type of a record that is whole was changed to 273; {CURE}"}, found)

    def record_by_the_tool(self, attributes):
        """A manifest whose second entry has these attributes, recorded by the tool itself."""
        (SCRATCH / "m.xml").write_text(
            '<vpn rev="1.0">'
            '<file id="core" version="1.2" type="exe"><uri>a/core</uri></file>'
            f'<file {attributes} type="exe"><uri>a/second</uri></file>'
            '<file id="agent" version="3" type="script"><uri>a/agent</uri></file></vpn>')
        self.tool("-i", str(STORE.parent), str(SCRATCH / "m.xml"))

    def test_an_entry_that_the_tool_recorded_without_a_version_names_cause_and_cure(self):
        self.record_by_the_tool('id="second" version=""')
        found = self.json("check", status=1)["stores"][0]
        self.assertEqual(found["state"], "damaged")
        self.assertIn({"offset": 0x1d, "rule": "cause-no-version", "message": (
            "an entry of kind exe was recorded without a version: only its type is here, the next record stands at "
            f"0x21; {CURE}")}, found["findings"])

    def test_an_entry_that_the_tool_recorded_without_an_id_names_cause_and_cure(self):
        self.record_by_the_tool('id="" version="7"')
        found = self.json("check", status=1)["stores"][0]
        self.assertEqual(found["state"], "damaged")
        self.assertIn({"offset": 0x1d, "rule": "cause-no-id", "message": (
            'an entry of kind exe, version "7", was recorded without an id: the next record stands at 0x27; '
            f"{CURE}")}, found["findings"])

    def test_two_damages_have_two_causes(self):
        store = HEADER + number(2) + CORE + number(17 + 256) + RPM[4:] + AGENT
        STORE.write_bytes(store)
        found = self.json("check", status=1)["stores"][0]["findings"]
        self.assertEqual([(finding["offset"], finding["rule"]) for finding in found
                          if finding["rule"].startswith("cause-")],
                         [(0x8, "cause-no-version"), (0x21, "cause-wrong-type")])

    def test_looking_changes_nothing(self):
        STORE.write_bytes(WHOLE[:0x28])
        before = STORE.stat()
        self.ctl("check", status=1)
        self.assertEqual(STORE.read_bytes(), WHOLE[:0x28])
        self.assertEqual(STORE.stat().st_mtime_ns, before.st_mtime_ns)

    # Against the tool itself.

    def test_a_store_cut_at_every_byte_is_what_the_tool_loads(self):
        (SCRATCH / "add.xml").write_text(
            '<vpn rev="1.0"><file id="new" version="1" type="exe"><uri>a/new</uri></file></vpn>')
        for size in range(len(WHOLE)):
            with self.subTest(size=size):
                STORE.write_bytes(WHOLE[:size])
                found = self.json("check", status=0 if size in (8, 29, 56) else 1)["stores"][0]
                log = self.tool("-i", str(STORE.parent), str(SCRATCH / "add.xml"))
                self.assertEqual(found["state"] == "good", log == [], log)
                entries = [(entry["id"], entry["kind"], entry["version"]) for entry in found["reader_entries"]]
                self.assertEqual(STORE.read_bytes(), store_bytes(*entries, ("new", "exe", "1")))
                self.assertTrue(all(finding["offset"] < max(size, 1) for finding in found["findings"]))

    @harness.uncounted("counting takes too long")
    def test_hostile_counts_and_noise_take_memory_in_proportion(self):
        files = []
        for name, store in (("count", HEADER + number(2) + number(0xFFFFFFFF) + bytes(1_000_000)),
                            ("noise", HEADER + b"\xde\xad\xbe\xef" * 250_000),
                            ("dropped", HEADER + record("", "profile", "") * 70_000)):
            (SCRATCH / name).write_bytes(store)
            files.append(name)
        limited = harness.in_memory_of(240 << 20)
        run = self.ctl("--format", "json", "check", *files, status=1, before=limited)
        self.assertEqual(run.err, "")
        self.ctl("check", *files, status=1, before=limited)

    # Explanations.

    def test_every_rule_is_explained(self):
        schema = harness.schema_of({"format": "obg-manifest-check"})
        for rule in schema["$defs"]["finding"]["properties"]["rule"]["enum"]:
            run = self.ctl("check", "--explain", rule, status=0)
            self.assertTrue(run.out.endswith(".\n") and run.err == "", run)

    def test_an_explanation_comes_as_json_too(self):
        self.assertEqual(self.json("check", "--explain", "stray-bytes"), {
            "format": "obg-manifest-check", "version": 1,
            "rules": [{"rule": "stray-bytes",
                       "explanation": "Up to 3 bytes follow the last record. Readers pass over them."}]})

    def test_the_manual_lists_every_rule_with_its_explanation(self):
        page = (harness.SOURCE / "packaging/man/VPNManifest.dat.5").read_text()
        table = page.split('.\\" table: findings\n')[1].split('.\\" end\n')[0]
        listed = dict(item.split("\n", 1) for item in table.split(".It Li ")[1:])
        schema = harness.schema_of({"format": "obg-manifest-check"})
        self.assertEqual(list(listed), schema["$defs"]["finding"]["properties"]["rule"]["enum"])
        for rule, text in listed.items():
            self.assertEqual(" ".join(text.split()) + "\n", self.ctl("check", "--explain", rule, status=0).out)

    def test_a_rule_that_is_none_is_2_and_the_rules_are_named(self):
        run = self.ctl("check", "--explain", "nothing", status=2)
        self.assertEqual(run.out, "")
        self.assertIn("there is no rule nothing; the rules are unreadable, header-cut, ", run.err)

    def test_a_message_with_hostile_bytes_steers_no_terminal(self):
        STORE.write_bytes(HEADER + record(b"\x1b[2J\xff", "exe", ""))
        self.assertIn('the entry "\\x1b[2J\\xff" has an empty version', self.ctl("check", status=1).out)
        message = self.json("check", status=1)["stores"][0]["findings"][0]
        self.assertIn("message_hex", message)

    def test_colour_comes_when_it_is_asked_for(self):
        STORE.write_bytes(HEADER)
        self.assertRun(self.ctl("--color=always", "check"), 0, f"{PATH}: \033[32mgood\033[0m, 0 entries\n")


if __name__ == "__main__":
    harness.main()
