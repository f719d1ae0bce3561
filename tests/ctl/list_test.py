"""`list`: the entries that a reader of the store gets."""

import os

import harness
from harness import STORE, LEGACY_STORE, record, store_bytes

THREE = store_bytes(("core", "exe", "1.2"), ("core-rpm", "rpm", "1.2-1"), ("agent", "script", "3"))
THREE_LISTED = (
    "core      exe     1.2\n"
    "core-rpm  rpm     1.2-1\n"
    "agent     script  3\n")


class ListTest(harness.CtlTest):
    def test_entries_are_listed_in_the_stores_order(self):
        STORE.write_bytes(THREE)
        self.assertRun(self.ctl("list"), 0, THREE_LISTED)

    def test_json_names_the_store_and_its_entries(self):
        STORE.write_bytes(THREE)
        self.assertEqual(self.json("list"), {
            "format": "obg-manifest-list", "version": 1,
            "store": {"path": "/opt/orvanta/brightgate/VPNManifest.dat", "state": "good"},
            "entries": [{"id": "core", "kind": "exe", "version": "1.2"},
                        {"id": "core-rpm", "kind": "rpm", "version": "1.2-1"},
                        {"id": "agent", "kind": "script", "version": "3"}]})

    def test_an_absent_store_has_no_entries(self):
        self.assertRun(self.ctl("list"), 0)
        self.assertEqual(self.json("list")["store"]["state"], "absent")
        self.assertFalse(STORE.exists())

    def test_an_install_root_that_is_not_there_is_an_absent_store(self):
        STORE.parent.rmdir()
        self.assertRun(self.ctl("list"), 0)

    def test_a_pattern_is_a_shell_pattern_on_the_whole_id(self):
        STORE.write_bytes(THREE)
        self.assertRun(self.ctl("list", "core*"), 0, "core      exe  1.2\ncore-rpm  rpm  1.2-1\n")
        self.assertRun(self.ctl("list", "core"), 0, "core  exe  1.2\n")
        self.assertRun(self.ctl("list", "[ac]????"), 0, "agent  script  3\n")
        self.assertRun(self.ctl("list", "gent"), 1)

    def test_one_of_several_patterns_is_enough(self):
        STORE.write_bytes(THREE)
        self.assertRun(self.ctl("list", "agent", "core"), 0, "core   exe     1.2\nagent  script  3\n")

    def test_patterns_of_brackets_braces_and_dashes_are_patterns(self):
        STORE.write_bytes(store_bytes(("a", "exe", "1"), ("{}", "exe", "2"), ("-x", "exe", "3"), ("check", "exe", "4")))
        self.assertRun(self.ctl("list", "[a]"), 0, "a  exe  1\n")
        self.assertRun(self.ctl("list", "[a,b]"), 0, "a  exe  1\n")
        self.assertRun(self.ctl("list", "{}"), 0, "{}  exe  2\n")
        self.assertRun(self.ctl("list", "--", "-x"), 0, "-x  exe  3\n")
        self.assertRun(self.ctl("list", "check"), 0, "check  exe  4\n")

    def test_kind_narrows_further(self):
        STORE.write_bytes(THREE)
        self.assertRun(self.ctl("list", "--kind", "rpm"), 0, "core-rpm  rpm  1.2-1\n")
        self.assertRun(self.ctl("list", "--kind", "rpm", "core*"), 0, "core-rpm  rpm  1.2-1\n")
        self.assertRun(self.ctl("list", "--kind", "rpm", "--kind", "exe"), 0, "core      exe  1.2\ncore-rpm  rpm  1.2-1\n")
        self.assertRun(self.ctl("list", "--kind", "rpm", "agent"), 1)

    def test_patterns_or_kinds_without_a_match_are_1(self):
        STORE.write_bytes(THREE)
        self.assertRun(self.ctl("list", "nothing"), 1)
        self.assertRun(self.ctl("list", "--kind", "dmg"), 1)
        self.assertEqual(self.json("list", "nothing", status=1)["entries"], [])
        STORE.unlink()
        self.assertRun(self.ctl("list", "core"), 1)

    def test_a_word_that_is_no_kind_is_2(self):
        run = self.ctl("list", "--kind", "tarball", status=2)
        self.assertEqual(run.out, "")
        self.assertIn("obg_manifestctl: --kind: there is no kind tarball\n", run.err)

    def test_an_id_that_is_repeated_keeps_its_place_and_has_its_last_version(self):
        STORE.write_bytes(THREE + record("core", "msi", "9"))
        self.assertRun(self.ctl("list"), 0, (
            "core      msi     9\n"
            "core-rpm  rpm     1.2-1\n"
            "agent     script  3\n"))

    def test_kinds_that_readers_skip_are_not_listed(self):
        STORE.write_bytes(store_bytes(("p", "profile", "1"), ("core", "exe", "2")))
        self.assertRun(self.ctl("list"), 0, "core  exe  2\n")

    def test_a_damaged_store_is_2_and_check_is_named(self):
        STORE.write_bytes(THREE[:-3])
        expected = (f"obg_manifestctl: {STORE}: the store is damaged; obg_manifestctl check tells more\n")
        self.assertRun(self.ctl("list"), 2, err=expected)
        self.assertRun(self.ctl("--format", "json", "list"), 2, err=expected)

    def test_a_newer_store_is_2_and_check_is_named(self):
        STORE.write_bytes(store_bytes(major=2))
        self.assertRun(self.ctl("list"), 2, err=(
            f"obg_manifestctl: {STORE}: the store is of a version that is not read; obg_manifestctl check tells more\n"))

    def test_a_store_that_cannot_be_read_is_2_in_words(self):
        STORE.mkdir()
        self.assertRun(self.ctl("list"), 2, err=f"obg_manifestctl: cannot read {STORE}: Is a directory; "
                                                "obg_manifestctl check tells more\n")

    def test_a_store_without_rights_to_read_is_2_in_words(self):
        STORE.write_bytes(THREE)
        STORE.chmod(0)
        run = self.ctl("list", before=harness.WITHOUT_RIGHTS)
        self.assertRun(run, 2, err=f"obg_manifestctl: cannot read {STORE}: Permission denied; "
                                   "obg_manifestctl check tells more\n")

    def test_wide_characters_and_marks_keep_the_columns(self):
        STORE.write_bytes(store_bytes(("日本", "exe", "1"), ("e\u0301", "rpm", "2"), ("abcd", "deb", "3")))
        self.assertRun(self.ctl("list"), 0, "日本  exe  1\ne\u0301     rpm  2\nabcd  deb  3\n")

    def test_an_empty_text_shows_as_such(self):
        STORE.write_bytes(store_bytes(("", "exe", "1"), ("core", "exe", "")))
        self.assertRun(self.ctl("list"), 0, '""    exe  1\ncore  exe\n')

    def test_what_would_steer_a_terminal_is_escaped(self):
        STORE.write_bytes(store_bytes((b"\x1b[31mred\xff", "exe", "1\n2"), ("\u202eabc", "rpm", "\u009b2J")))
        self.assertRun(self.ctl("list"), 0, (
            "\\x1b[31mred\\xff  exe  1\\x0a2\n"
            "\\xe2\\x80\\xaeabc  rpm  \\xc2\\x9b2J\n"))

    def test_json_holds_the_exact_bytes_of_what_is_not_utf_8(self):
        STORE.write_bytes(store_bytes((b"\x1b\xff\xc3", "exe", "1")))
        run = self.ctl("--format", "json", "list", status=0)
        self.assertNotIn("\x1b", run.out)
        self.assertEqual(harness.validated(run.out)["entries"],
                         [{"id": "\x1b\ufffd\ufffd", "id_hex": "1bffc3", "kind": "exe", "version": "1"}])

    def test_a_replacement_character_that_stands_in_the_store_has_no_hex(self):
        STORE.write_bytes(store_bytes(("\ufffd", "exe", "1")))
        self.assertEqual(self.json("list")["entries"], [{"id": "\ufffd", "kind": "exe", "version": "1"}])

    def test_a_pipe_is_read_like_a_file(self):
        reading, writing = os.pipe()
        os.write(writing, THREE)
        os.close(writing)
        self.assertRun(self.ctl("--store", "/dev/stdin", "list", stdin=reading), 0, THREE_LISTED)
        os.close(reading)

    def test_legacy_means_the_other_install_root(self):
        LEGACY_STORE.write_bytes(store_bytes(("old", "exe", "4")))
        self.assertRun(self.ctl("--legacy", "list"), 0, "old  exe  4\n")
        self.assertRun(self.ctl("list"), 0)

    def test_a_hundred_thousand_entries_are_listed(self):
        STORE.write_bytes(store_bytes(*((f"id{n}", "exe", "1") for n in range(100_000))))
        lines = self.ctl("list", status=0).out.splitlines()
        self.assertEqual((len(lines), lines[0], lines[-1]), (100_000, "id0      exe  1", "id99999  exe  1"))


if __name__ == "__main__":
    harness.main()
