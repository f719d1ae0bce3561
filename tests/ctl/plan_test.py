"""`plan`: what the tool would do to the store, and that it is not done."""

import hashlib

import harness
from harness import entry, exe, resource, store_bytes

DELETED = {"entries": None, "size": None, "sha256": None}


def result_of(entries, content):
    return {"entries": entries, "size": len(content), "sha256": hashlib.sha256(content).hexdigest()}


class PlanTest(harness.CtlTest):
    def manifest(self, *entries, name="m.xml"):
        path = harness.SCRATCH / name
        path.write_text('<vpn rev="1.0">' + "".join(entries) + "</vpn>", encoding="utf-8")
        return str(path)

    def lay_store(self, *entries):
        content = store_bytes(*entries)
        harness.STORE.write_bytes(content)
        return content

    def plan(self, *arguments, status):
        """The changes as tuples, and the result."""
        document = self.json("plan", *arguments, status=status)
        rows = []
        for change in document["changes"]:
            self.assertEqual(list(change), ["change", "id", "old", "new"])
            old, new = (side and tuple(side.values()) for side in (change["old"], change["new"]))
            rows.append((change["change"], change["id"], old, new))
        return rows, document["result"]

    # What becomes of entries

    def test_a_first_installation_adds_what_is_recorded(self):
        rows, result = self.plan("-i", self.manifest(exe("a", "1"), resource("b", "2")), status=1)
        self.assertEqual(rows, [("add", "a", None, ("exe", "1")), ("unrecorded", "b", None, ("resource", "2"))])
        self.assertEqual(result, result_of(1, store_bytes(("a", "exe", "1"))))

    def test_an_entry_that_is_there_is_kept_or_updated_in_its_place(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"), ("c", "rpm", "1"))
        rows, result = self.plan("-i", self.manifest(exe("b", "2"), exe("a", "1"), exe("c", "1")), status=1)
        self.assertEqual(rows, [
            ("update", "b", ("exe", "1"), ("exe", "2")),
            ("keep", "a", ("exe", "1"), ("exe", "1")),
            ("update", "c", ("rpm", "1"), ("exe", "1")),
        ])
        self.assertEqual(result, result_of(3, store_bytes(("a", "exe", "1"), ("b", "exe", "2"), ("c", "exe", "1"))))

    def test_an_entry_of_a_kind_that_is_not_recorded_drops_what_the_store_has(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"))
        rows, result = self.plan("-i", self.manifest(resource("b", "2")), status=1)
        self.assertEqual(rows, [("drop", "b", ("exe", "1"), ("resource", "2"))])
        self.assertEqual(result, result_of(1, store_bytes(("a", "exe", "1"))))

    def test_when_the_last_entry_is_dropped_the_header_stays(self):
        self.lay_store(("b", "exe", "1"))
        _, result = self.plan("-i", self.manifest(resource("b", "2")), status=1)
        self.assertEqual(result, result_of(0, store_bytes()))

    def test_what_is_dropped_and_listed_again_is_added(self):
        self.lay_store(("a", "exe", "1"))
        rows, _ = self.plan("-i", self.manifest(resource("a", "2"), resource("a", "3"), exe("a", "4")), status=1)
        self.assertEqual([row[:3] for row in rows], [
            ("drop", "a", ("exe", "1")), ("unrecorded", "a", None), ("add", "a", None)])

    def test_an_entry_without_kind_has_none(self):
        rows, _ = self.plan("-i", self.manifest(entry('id="a" version="1" action="copy"')), status=1)
        self.assertEqual(rows, [("unrecorded", "a", None, (None, "1"))])

    def test_striking_looks_at_ids_alone(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"), ("c", "exe", "1"))
        rows, result = self.plan("-x", self.manifest(resource("a", "9"), exe("b", "9"), exe("d", "9")), status=1)
        self.assertEqual(rows, [
            ("strike", "a", ("exe", "1"), ("resource", "9")),
            ("strike", "b", ("exe", "1"), ("exe", "9")),
            ("absent", "d", None, ("exe", "9")),
        ])
        self.assertEqual(result, result_of(1, store_bytes(("c", "exe", "1"))))

    def test_a_store_that_loses_its_last_entry_is_deleted(self):
        self.lay_store(("a", "exe", "1"))
        self.assertEqual(self.plan("-x", self.manifest(exe("a", "1")), status=1)[1], DELETED)

    def test_an_entry_listed_twice_is_met_as_the_first_has_left_it(self):
        rows, result = self.plan("-i", self.manifest(exe("a", "1"), exe("a", "2")), status=1)
        self.assertEqual(rows, [("add", "a", None, ("exe", "1")), ("update", "a", ("exe", "1"), ("exe", "2"))])
        self.assertEqual(result["entries"], 1)

    # One manifest after the other

    def test_manifests_are_taken_one_after_the_other(self):
        first = self.manifest(exe("a", "1"))
        second = self.manifest(exe("b", "1"), exe("a", "2"), name="n.xml")
        rows, result = self.plan("-i", first, second, status=1)
        self.assertEqual([row[:2] for row in rows], [("add", "a"), ("add", "b"), ("update", "a")])
        self.assertEqual(result, result_of(2, store_bytes(("a", "exe", "2"), ("b", "exe", "1"))))

    def test_a_dropped_entry_has_lost_its_place_for_the_next_manifest(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"))
        drops = self.manifest(resource("a", "2"))
        adds = self.manifest(exe("a", "3"), name="n.xml")
        _, result = self.plan("-i", drops, adds, status=1)
        self.assertEqual(result, result_of(2, store_bytes(("b", "exe", "1"), ("a", "exe", "3"))))

    def test_an_entry_without_version_damages_the_store(self):
        # The type alone is written. A reader takes the count and the texts behind it for what they are not.
        rows, result = self.plan("-i", self.manifest(entry('id="a" type="exe"'), exe("b", "1")), status=1)
        self.assertEqual(rows, [("damage", "a", None, ("exe", "")), ("add", "b", None, ("exe", "1"))])
        left = store_bytes() + (2).to_bytes(4, "little") + harness.record("b", "exe", "1")
        self.assertEqual(result, result_of(0, left))

    def test_a_manifest_after_damage_meets_the_store_as_the_tool_would_load_it(self):
        self.lay_store(("c", "exe", "1"))
        damaging = self.manifest(entry('type="exe"'), exe("b", "1"))
        rows, result = self.plan("-i", damaging, self.manifest(exe("a", "1"), name="n.xml"), status=1)
        self.assertEqual([row[:2] for row in rows], [("damage", ""), ("add", "b"), ("add", "a")])
        self.assertEqual(result, result_of(1, store_bytes(("a", "exe", "1"))))

    # What the file would be

    def test_a_store_that_would_stay_as_it_is_is_0(self):
        content = self.lay_store(("a", "exe", "1"))
        self.assertEqual(self.plan("-i", self.manifest(exe("a", "1")), status=0)[1], result_of(1, content))
        self.assertEqual(self.plan("-x", self.manifest(exe("b", "1")), status=0)[1], result_of(1, content))

    def test_no_store_stays_none_when_nothing_is_listed(self):
        self.assertEqual(self.plan("-i", self.manifest(), status=0), ([], DELETED))
        self.assertEqual(self.plan("-x", self.manifest(exe("a", "1")), status=0)[1], DELETED)

    def test_bytes_that_the_tool_would_not_write_again_are_a_change(self):
        harness.STORE.write_bytes(store_bytes(("a", "exe", "1")) + b"\0\0")
        rows, result = self.plan("-i", self.manifest(exe("a", "1")), status=1)
        self.assertEqual(rows[0][0], "keep")
        self.assertEqual(result, result_of(1, store_bytes(("a", "exe", "1"))))

    def test_the_plan_is_what_the_tool_then_does_and_touches_nothing_itself(self):
        content = self.lay_store(("a", "exe", "1"), ("b", "exe", "1"))
        path = self.manifest(exe("b", "2"), exe("c", "3"))
        before = harness.STORE.stat()
        _, result = self.plan("-i", path, status=1)
        self.assertEqual(harness.STORE.read_bytes(), content)
        self.assertEqual(harness.STORE.stat().st_mtime_ns, before.st_mtime_ns)
        self.tool("-i", str(harness.ROOT), path)
        self.assertEqual(result, result_of(3, harness.STORE.read_bytes()))

    # Which store

    def test_legacy_root_and_store_choose_the_store(self):
        path = self.manifest(exe("a", "1"))
        image = harness.SCRATCH / "image/opt/orvanta/brightgate"
        image.mkdir(parents=True)
        content = store_bytes(("a", "exe", "1"))
        for file, options in ((harness.LEGACY_STORE, ["--legacy"]), (image / "VPNManifest.dat", ["--root", "image"]),
                              (harness.SCRATCH / "x", ["--store", "x"])):
            with self.subTest(options):
                self.ctl(*options, "plan", "-i", path, status=1)
                file.write_bytes(content)
                self.ctl(*options, "plan", "-i", path, status=0)

    # Not done

    def test_a_manifest_that_the_tool_would_reject_is_2(self):
        good, bad = self.manifest(exe("a", "1")), self.manifest(entry('type="none"'), name="bad.xml")
        self.assertRun(self.ctl("plan", "-i", good, bad), 2, err=(
            f"obg_manifestctl: {bad} is rejected; see why with: obg_manifestctl lint {bad}\n"))

    def test_a_manifest_that_is_not_there_is_2(self):
        run = self.ctl("plan", "-i", "none.xml")
        self.assertRun(run, 2, err="obg_manifestctl: cannot read none.xml: No such file or directory\n")

    def test_a_folder_as_a_manifest_is_2(self):
        run = self.ctl("plan", "-i", str(harness.SCRATCH))
        self.assertRun(run, 2, err=f"obg_manifestctl: cannot read {harness.SCRATCH}: Is a directory\n")

    def test_a_store_that_is_not_good_is_2_and_check_is_named(self):
        path = self.manifest(exe("a", "1"))
        for content in (store_bytes(("a", "exe", "1"))[:-1], store_bytes(major=2), b"", b"\1\0\0\0\0\0\0\0\x63\0\0\0"):
            with self.subTest(content):
                harness.STORE.write_bytes(content)
                run = self.ctl("plan", "-i", path, status=2)
                self.assertEqual(run.out, "")
                self.assertIn("obg_manifestctl check", run.err)
                self.assertEqual(harness.STORE.read_bytes(), content)

    def test_one_mode_and_a_manifest_are_needed(self):
        path = self.manifest(exe("a", "1"))
        for arguments in ([path], ["-i"], ["-i", "-x", path], ["-y", path]):
            with self.subTest(arguments):
                self.assertEqual(self.ctl("plan", *arguments, status=2).out, "")

    # Text

    def test_text_shows_what_changes_and_what_the_store_would_be(self):
        self.lay_store(("VPNCore", "exe", "1"), ("b", "rpm", "1"), ("gone", "exe", "7"))
        path = self.manifest(exe("VPNCore", "2"), entry('id="b" version="1" type="rpm"'), exe("new", "1"),
                             resource("logo", "3"), resource("gone", "8"), entry('id="x" type="deb"'))
        self.assertRun(self.ctl("plan", "-i", path), 1, (
            "update      VPNCore  exe 1 -> exe 2\n"
            "keep        b        rpm 1\n"
            "add         new      exe 1\n"
            "unrecorded  logo     resource 3\n"
            "drop        gone     exe 7 -> resource 8\n"
            "damage      x        deb -\n"
            "The store would be damaged: a reader would get 0 entries of its 68 bytes.\n"))

    def test_text_says_when_nothing_changes_or_the_store_goes(self):
        self.lay_store(("a", "exe", "1"))
        path = self.manifest(exe("a", "1"))
        self.assertRun(self.ctl("plan", "-i", path), 0, "keep  a  exe 1\nThe store would stay as it is.\n")
        self.assertRun(self.ctl("plan", "-x", path), 1, "strike  a  exe 1\nThe store would be deleted.\n")

    def test_hostile_bytes_reach_neither_the_terminal_nor_break_json(self):
        self.lay_store((b"\x1b[2J\xff", "exe", b"\x80"), ("a", "exe", b"\x1b]0;x\x07"))
        path = self.manifest(exe("a", "1"))
        self.assertRun(self.ctl("plan", "-i", path), 1, (
            "update  a  exe \\x1b]0;x\\x07 -> exe 1\n"
            "The store would hold 2 entries in 44 bytes.\n"))
        harness.STORE.write_bytes(store_bytes(("a", "exe", b"\xff1")))
        (change,) = self.json("plan", "-i", path, status=1)["changes"]
        self.assertEqual(change["old"], {"kind": "exe", "version": "\ufffd1", "version_hex": "ff31"})


if __name__ == "__main__":
    harness.main()
