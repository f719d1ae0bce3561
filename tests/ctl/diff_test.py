"""`diff`: what came, went and changed between two stores."""

import harness
from harness import SCRATCH, record, store_bytes


class DiffTest(harness.CtlTest):
    def setUp(self):
        super().setUp()
        self.old = SCRATCH / "old"
        self.new = SCRATCH / "new"
        self.old.write_bytes(store_bytes(("stays", "exe", "1"), ("goes", "rpm", "1"), ("changes", "exe", "1")))
        self.new.write_bytes(store_bytes(("comes", "deb", "2"), ("changes", "exe", "2"), ("stays", "exe", "1")))

    def test_changes_are_told_in_the_order_of_ids(self):
        self.assertRun(self.ctl("diff", "old", "new"), 1, (
            "changed  changes  exe 1  ->  exe 2\n"
            "added    comes    -      ->  deb 2\n"
            "removed  goes     rpm 1  ->  -\n"))

    def test_json_tells_what_was_and_what_is(self):
        self.assertEqual(self.json("diff", "old", "new", status=1), {
            "format": "obg-manifest-diff", "version": 1,
            "changes": [
                {"change": "changed", "id": "changes", "old": {"kind": "exe", "version": "1"},
                 "new": {"kind": "exe", "version": "2"}},
                {"change": "added", "id": "comes", "old": None, "new": {"kind": "deb", "version": "2"}},
                {"change": "removed", "id": "goes", "old": {"kind": "rpm", "version": "1"}, "new": None}]})

    def test_another_kind_is_a_change(self):
        self.old.write_bytes(store_bytes(("a", "exe", "1")))
        self.new.write_bytes(store_bytes(("a", "msi", "1")))
        self.assertRun(self.ctl("diff", "old", "new"), 1, "changed  a  exe 1  ->  msi 1\n")

    def test_the_same_store_is_0(self):
        self.assertRun(self.ctl("diff", "old", "old"), 0)
        self.assertEqual(self.json("diff", "old", "old")["changes"], [])

    def test_another_order_is_no_change(self):
        self.new.write_bytes(store_bytes(("changes", "exe", "1"), ("stays", "exe", "1"), ("goes", "rpm", "1")))
        self.assertRun(self.ctl("diff", "old", "new"), 0)

    def test_bytes_that_readers_pass_over_are_no_change(self):
        self.new.write_bytes(self.old.read_bytes() + record("p", "profile", "1") + b"\0")
        self.assertRun(self.ctl("diff", "old", "new"), 0)

    def test_a_store_that_is_not_there_is_2(self):
        for files in (("old", "none"), ("none", "old")):
            self.assertRun(self.ctl("diff", *files), 2, err=(
                "obg_manifestctl: cannot read none: No such file or directory; obg_manifestctl check tells more\n"))

    def test_a_store_that_is_not_good_is_2_whichever_it_is(self):
        self.new.write_bytes(self.old.read_bytes()[:-1])
        for files in (("old", "new"), ("new", "old"), ("new", "new")):
            run = self.ctl("--format", "json", "diff", *files, status=2)
            self.assertEqual(run.out, "")
            self.assertIn("obg_manifestctl: new: the store is damaged; obg_manifestctl check tells more\n", run.err)

    def test_ids_of_any_bytes_are_told(self):
        self.old.write_bytes(store_bytes())
        self.new.write_bytes(store_bytes((b"\xff\x07", "exe", b"\xfe")))
        self.assertRun(self.ctl("diff", "old", "new"), 1, "added  \\xff\\x07  -  ->  exe \\xfe\n")
        self.assertEqual(self.json("diff", "old", "new", status=1)["changes"], [
            {"change": "added", "id": "\ufffd\x07", "id_hex": "ff07", "old": None,
             "new": {"kind": "exe", "version": "\ufffd", "version_hex": "fe"}}])

    def test_exactly_two_files_are_wanted(self):
        for files in ((), ("old",), ("old", "new", "old")):
            self.assertEqual(self.ctl("diff", *files, status=2).out, "")

    def test_colour_comes_when_it_is_asked_for(self):
        self.assertRun(self.ctl("--color", "always", "diff", "old", "new"), 1, (
            "\033[1;35mchanged\033[0m  changes  exe 1  ->  exe 2\n"
            "\033[32madded\033[0m    comes    -      ->  deb 2\n"
            "\033[1;31mremoved\033[0m  goes     rpm 1  ->  -\n"))


if __name__ == "__main__":
    harness.main()
