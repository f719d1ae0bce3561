"""`sync`: the store holds what the installed manifests list."""

import fcntl
import json
import os
import random
import shutil
import signal
import subprocess

import harness
from harness import LEGACY_ROOT, LEGACY_STORE, ROOT, SCRATCH, STATE, STORE, WITHOUT_RIGHTS
from harness import entry, exe, resource, store_bytes

FOLDER = ROOT / "manifest"
LOCK = ROOT / "VPNManifest.dat.lock"
STATE_FILE = STATE / "current.json"
# How many runs of random steps there are, and how long each is.
SEEDS = int(os.environ.get("OBG_SYNC_SEEDS", "1"))
STEPS = 100


class SyncTest(harness.CtlTest):
    def setUp(self):
        super().setUp()
        FOLDER.mkdir()

    def lay(self, name, *entries, folder=FOLDER):
        (folder / name).write_text('<vpn rev="1.0">' + "".join(entries) + "</vpn>", encoding="utf-8")

    def take(self, name):
        (FOLDER / name).unlink()

    def break_manifest(self, name):
        (FOLDER / name).write_text("<vpn rev='1.0'><file/><file type='no such kind'/></vpn>")

    def record(self, *entries):
        """As somebody else does it, with the tool."""
        path = SCRATCH / "foreign.xml"
        path.write_text('<vpn rev="1.0">' + "".join(entries) + "</vpn>")
        self.tool("-i", str(ROOT), str(path))

    def sync(self, *arguments, status=0, **options):
        return self.ctl("sync", *arguments, status=status, **options)

    def assertStore(self, *entries):
        self.assertEqual(STORE.read_bytes() if STORE.exists() else None, store_bytes(*entries) if entries else None)

    def recorded(self):
        """What the state claims, held against its schema: (manifest, id, kind, version)."""
        state = harness.validated(STATE_FILE.read_text())
        self.assertEqual(state["store"], str(STORE))
        return [tuple(claim.values()) for claim in state["recorded"]]

    def assertUntouched(self, action):
        """Neither store nor state is written."""
        def stand():
            return [(path, path.stat().st_ino, path.stat().st_mtime_ns, path.read_bytes())
                    for path in (STORE, STATE_FILE) if path.exists()]
        before = stand()
        run = action()
        self.assertEqual(stand(), before)
        return run

    # What is recorded and struck

    def test_new_manifests_are_recorded_in_the_order_of_their_names(self):
        self.lay("b.xml", exe("b", "1"), resource("r", "1"))
        self.lay("a.xml", exe("a2", "1"), exe("a1", "1"))
        run = self.sync()
        self.assertEqual(run.out, "add  a2  exe 1  a.xml\nadd  a1  exe 1  a.xml\nadd  b   exe 1  b.xml\n"
                                  f"The store holds 3 entries in {STORE.stat().st_size} bytes.\n")
        self.assertStore(("a2", "exe", "1"), ("a1", "exe", "1"), ("b", "exe", "1"))
        self.assertEqual(self.recorded(), [("a.xml", "a2", "exe", "1"), ("a.xml", "a1", "exe", "1"),
                                           ("b.xml", "b", "exe", "1")])

    def test_manifests_are_the_xml_files_in_the_byte_order_of_their_names(self):
        for name in ("a.xml", "B.xml", "9.xml", "10.xml", "a.xml.recorded", "a.XML", ".hidden.xml", "xml"):
            self.lay(name, exe(name, "1"))
        self.sync()
        self.assertStore(*((name, "exe", "1") for name in ("10.xml", "9.xml", "B.xml", "a.xml")))

    def test_twice_the_same_writes_nothing(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        run = self.assertUntouched(self.sync)
        self.assertEqual(run.out, "The store stays as it is.\n")

    def test_twice_the_same_writes_nothing_with_something_to_report_either(self):
        self.lay("a.xml", exe("a", "1"))
        self.lay("b.xml", exe("a", "2"))
        self.sync(status=1)
        self.assertUntouched(lambda: self.sync(status=1))

    def test_manifests_that_are_as_the_last_run_left_them_are_not_parsed_again(self):
        log = SCRATCH / "trace"
        for version, is_parsed in (("1", True), ("1", False), ("2", True)):
            self.lay("a.xml", exe("a", version))
            self.sync(before=[*harness.STRACE, "-e", "trace=openat", "-o", log])
            self.assertEqual("libxml2" in log.read_text(), is_parsed)

    def test_a_changed_manifest(self):
        self.lay("a.xml", exe("a", "1"), exe("gone", "1"), exe("same", "1"))
        self.sync()
        self.lay("a.xml", exe("new", "1"), exe("a", "2"), exe("same", "1"))
        run = self.sync()
        self.assertEqual(run.out.splitlines()[:-1], ["add     new   exe 1           a.xml",
                                                     "update  a     exe 1 -> exe 2  a.xml",
                                                     "strike  gone  exe 1           a.xml"])
        self.assertStore(("a", "exe", "2"), ("same", "exe", "1"), ("new", "exe", "1"))

    def test_a_manifest_that_is_taken_away(self):
        self.lay("a.xml", exe("a", "1"))
        self.lay("b.xml", exe("b", "1"))
        self.sync()
        self.take("a.xml")
        self.sync()
        self.assertStore(("b", "exe", "1"))
        self.take("b.xml")
        run = self.sync()
        self.assertEqual(run.out.splitlines()[-1], "The store is deleted.")
        self.assertStore()
        self.assertEqual(self.recorded(), [])

    def test_a_renamed_manifest_changes_nothing(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        (FOLDER / "a.xml").rename(FOLDER / "b.xml")
        self.assertEqual(self.sync().out, "The store stays as it is.\n")
        self.assertEqual(self.recorded(), [("b.xml", "a", "exe", "1")])

    def test_an_id_that_wanders_from_one_manifest_to_another_stays(self):
        self.lay("a.xml", exe("a", "1"), exe("w", "1"))
        self.lay("b.xml", exe("b", "1"))
        self.sync()
        self.lay("a.xml", exe("a", "1"))
        self.lay("b.xml", exe("b", "1"), exe("w", "2"))
        self.sync()
        self.assertStore(("a", "exe", "1"), ("w", "exe", "2"), ("b", "exe", "1"))
        self.take("a.xml")
        self.sync()
        self.assertStore(("w", "exe", "2"), ("b", "exe", "1"))

    def test_an_id_whose_kind_is_no_longer_recorded_goes(self):
        self.lay("a.xml", exe("a", "1"), exe("b", "1"))
        self.sync()
        self.lay("a.xml", resource("a", "1"), exe("b", "1"))
        run = self.sync()
        self.assertEqual(run.out.splitlines()[0], "drop  a  exe 1 -> resource 1  a.xml")
        self.assertStore(("b", "exe", "1"))

    def test_what_somebody_struck_is_recorded_again(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        STORE.unlink()
        self.sync()
        self.assertStore(("a", "exe", "1"))

    # What others recorded

    def test_entries_of_others_are_left_alone(self):
        self.record(exe("foreign", "1"))
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        self.take("a.xml")
        self.sync()
        self.assertStore(("foreign", "exe", "1"))

    def test_an_entry_of_others_becomes_its_own_once_a_manifest_lists_it(self):
        self.record(exe("f", "1"))
        self.lay("a.xml", exe("f", "1"))
        self.assertEqual(self.sync().out, "The store stays as it is.\n")
        self.take("a.xml")
        self.sync()
        self.assertStore()

    def test_an_entry_that_others_have_changed_since_is_theirs(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        self.record(exe("a", "2"))
        self.take("a.xml")
        self.sync()
        self.assertStore(("a", "exe", "2"))

    def test_bytes_that_the_tool_passes_over_stay_as_long_as_nothing_changes(self):
        STORE.write_bytes(store_bytes(("f", "exe", "1"), ("r", "resource", "1")) + b"\xee")
        content = STORE.read_bytes()
        self.sync()
        self.assertEqual(STORE.read_bytes(), content)

    # Manifests that are no good

    def test_two_manifests_that_list_one_id(self):
        self.lay("a.xml", exe("x", "1"), exe("a", "1"))
        self.lay("b.xml", exe("x", "2"))
        run = self.sync(status=1)
        self.assertEqual(run.err, "obg_manifestctl: x is listed by a.xml and b.xml; b.xml holds\n")
        self.assertStore(("x", "exe", "2"), ("a", "exe", "1"))
        self.take("b.xml")
        self.sync()
        self.assertStore(("x", "exe", "1"), ("a", "exe", "1"))

    def test_a_rejected_manifest_is_named_and_its_entries_stay(self):
        self.lay("a.xml", exe("a", "1"))
        self.lay("b.xml", exe("b", "1"))
        self.sync()
        self.break_manifest("a.xml")
        self.lay("b.xml", exe("b", "2"))
        run = self.sync(status=1)
        self.assertEqual(run.err, "obg_manifestctl: a.xml is skipped, and its entries stay: it is not acceptable; see what "
                                  "is wrong with: obg_manifestctl lint\n")
        self.assertStore(("a", "exe", "1"), ("b", "exe", "2"))
        self.take("a.xml")
        self.sync()
        self.assertStore(("b", "exe", "2"))

    def test_what_a_rejected_manifest_listed_may_be_listed_by_another(self):
        self.lay("b.xml", exe("x", "1"))
        self.sync()
        self.break_manifest("b.xml")
        self.lay("a.xml", exe("x", "2"))
        self.sync(status=1)
        self.assertStore(("x", "exe", "2"))
        self.assertEqual(self.recorded(), [("a.xml", "x", "exe", "2")])

    def test_a_manifest_that_cannot_be_read_is_a_rejected_one(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        (FOLDER / "a.xml").chmod(0)
        run = self.sync(status=1, before=WITHOUT_RIGHTS)
        self.assertIn("a.xml is skipped, and its entries stay: it cannot be read: Permission denied", run.err)
        self.assertStore(("a", "exe", "1"))

    def test_a_manifest_with_an_entry_that_no_store_can_hold_is_a_rejected_one(self):
        self.lay("a.xml", exe("a", ""))
        self.lay("b.xml", exe("b", "1"))
        run = self.sync(status=1)
        self.assertIn('a.xml is skipped, and its entries stay: the store cannot hold "a"', run.err)
        self.assertStore(("b", "exe", "1"))

    def test_the_folder_gone_is_the_last_module_gone(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        shutil.rmtree(FOLDER)
        self.sync()
        self.assertStore()

    def test_the_install_root_gone_forgets_what_was_recorded(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        shutil.rmtree(ROOT)
        self.assertEqual(self.sync().out, "The store stays as it is.\n")
        self.assertFalse(ROOT.exists())
        ROOT.mkdir()
        self.record(exe("a", "1"))
        self.sync()
        self.assertStore(("a", "exe", "1"))

    def test_a_folder_that_cannot_be_read_strikes_nothing(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        FOLDER.chmod(0)
        run = self.assertUntouched(lambda: self.sync(status=2, before=WITHOUT_RIGHTS))
        self.assertEqual(run.err, f"obg_manifestctl: cannot read {FOLDER}: Permission denied\n")
        FOLDER.chmod(0o755)
        shutil.rmtree(FOLDER)
        FOLDER.write_text("")
        self.assertUntouched(lambda: self.sync(status=2))

    # The state

    def test_a_lost_state_strikes_nothing(self):
        self.lay("a.xml", exe("a", "1"))
        self.lay("b.xml", exe("b", "1"))
        self.sync()
        STATE_FILE.unlink()
        self.take("a.xml")
        self.sync()
        self.assertStore(("a", "exe", "1"), ("b", "exe", "1"))
        self.assertEqual(self.recorded(), [("b.xml", "b", "exe", "1")])

    def test_a_damaged_state_is_said_and_strikes_nothing(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        whole = STATE_FILE.read_text()
        self.take("a.xml")
        for damaged in ("", "{", "null", "[]", "{}", whole[:-10], whole.replace('"exe"', '"resource"'),
                        whole.replace('"exe"', "2"), whole.replace(str(STORE), "/elsewhere"),
                        whole.replace('"version": 1,', '"version": 0,', 1), "[" * 100000):
            STATE_FILE.write_text(damaged)
            run = self.sync(status=1)
            self.assertEqual(run.err, f"obg_manifestctl: {STATE_FILE} is damaged: what sync has recorded before is not "
                                      "known\n", damaged[:20])
            self.assertStore(("a", "exe", "1"))
            self.sync()

    def test_a_state_of_a_later_version_is_refused(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        STATE_FILE.write_text(STATE_FILE.read_text().replace('"version": 1,', '"version": 2,', 1))
        self.take("a.xml")
        run = self.assertUntouched(lambda: self.sync(status=2))
        self.assertIn("was written by a later version of this program", run.err)

    def test_names_that_are_not_utf_8_come_back_as_they_were(self):
        name = os.fsencode(FOLDER) + b"/\xff.xml"
        with open(name, "w") as manifest:
            manifest.write('<vpn rev="1.0">' + exe("a", "1") + "</vpn>")
        self.sync()
        self.assertEqual(harness.validated(STATE_FILE.read_text())["recorded"][0]["manifest_hex"], "ff2e786d6c")
        with open(name, "w") as manifest:
            manifest.write("<vpn/")
        run = self.sync(status=1)
        self.assertIn("\\xff.xml is skipped", run.err)
        self.assertStore(("a", "exe", "1"))

    def test_each_store_has_its_own_state(self):
        legacy = LEGACY_ROOT / "manifest"
        legacy.mkdir()
        self.lay("a.xml", exe("a", "1"))
        self.lay("l.xml", exe("l", "1"), folder=legacy)
        self.sync()
        self.ctl("--legacy", "sync", status=0)
        self.ctl("--store", "other.dat", "sync", status=0)
        self.assertEqual(LEGACY_STORE.read_bytes(), store_bytes(("l", "exe", "1")))
        self.assertEqual((SCRATCH / "other.dat").read_bytes(), store_bytes(("a", "exe", "1")))
        names = sorted(path.name for path in STATE.iterdir() if path.suffix == ".json")
        self.assertEqual(names[:2], ["current.json", "legacy.json"])
        self.assertRegex(names[2], "^store-[0-9a-f]{64}.json$")
        self.take("a.xml")
        self.ctl("--store", "other.dat", "sync", status=0)
        self.assertFalse((SCRATCH / "other.dat").exists())
        self.assertStore(("a", "exe", "1"))

    def test_the_current_store_under_another_name_has_the_same_state(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        alias = SCRATCH / "alias.dat"
        alias.symlink_to(STORE)
        self.take("a.xml")
        self.lay("b.xml", exe("b", "1"))
        self.ctl("--store", alias, "sync", status=0)
        self.assertStore(("b", "exe", "1"))

    def test_below_a_root(self):
        image = SCRATCH / "image"
        folder = image / "opt/orvanta/brightgate/manifest"
        folder.mkdir(parents=True)
        self.lay("a.xml", exe("a", "1"), folder=folder)
        self.ctl("--root", image, "sync", status=0)
        self.assertEqual((image / "opt/orvanta/brightgate/VPNManifest.dat").read_bytes(), store_bytes(("a", "exe", "1")))
        state = json.loads((image / "var/lib/obg-manifest/current.json").read_text())
        self.assertEqual(state["store"], str(STORE), "the image may become a machine")
        self.assertFalse(STORE.exists() or STATE.exists())
        (folder / "a.xml").unlink()
        self.ctl("--root", str(image) + "/", "sync", status=0)
        self.assertFalse((image / "opt/orvanta/brightgate/VPNManifest.dat").exists())

    def test_below_a_root_that_is_not_there_yet(self):
        for root in ("image", "images/new", SCRATCH / "absolute"):
            with self.subTest(root):
                self.assertRun(self.ctl("--root", root, "sync"), 0, out="The store stays as it is.\n")
                self.assertTrue((SCRATCH / root / "var/lib/obg-manifest/current.json").exists())

    def test_below_a_root_the_legacy_store_and_one_that_is_named(self):
        image = SCRATCH / "image"
        for place, name in (("orvanta/tessellink", "l"), ("orvanta/brightgate", "c")):
            (image / "opt" / place / "manifest").mkdir(parents=True)
            self.lay("m.xml", exe(name, "1"), folder=image / "opt" / place / "manifest")
        self.ctl("--root", image, "--legacy", "sync", status=0)
        self.assertEqual((image / "opt/orvanta/tessellink/VPNManifest.dat").read_bytes(), store_bytes(("l", "exe", "1")))
        self.ctl("--root", image, "--store", "other.dat", "sync", status=0)
        self.assertEqual((SCRATCH / "other.dat").read_bytes(), store_bytes(("c", "exe", "1")))
        self.assertEqual(2, len(list((image / "var/lib/obg-manifest").glob("*.json"))))
        self.assertFalse(LEGACY_STORE.exists() or STORE.exists() or STATE.exists())

    # Links, owner, mode, attributes

    def test_a_link_stays_one_until_the_last_entry_goes(self):
        target = SCRATCH / "real.dat"
        STORE.symlink_to(target)
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        content = target.read_bytes()
        self.assertEqual(content, store_bytes(("a", "exe", "1")))
        self.assertTrue(STORE.is_symlink() and (SCRATCH / "real.dat.lock").exists())
        self.take("a.xml")
        self.sync()
        self.assertFalse(STORE.is_symlink())
        self.assertEqual(target.read_bytes(), content, "as the tool leaves it")

    def test_mode_and_attributes_are_kept(self):
        self.record(exe("f", "1"))
        STORE.chmod(0o640)
        os.setxattr(STORE, "trusted.obg", b"kept")
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        self.assertStore(("f", "exe", "1"), ("a", "exe", "1"))
        self.assertEqual((STORE.stat().st_mode & 0o7777, os.getxattr(STORE, "trusted.obg")), (0o640, b"kept"))

    # Damaged and lost stores

    def test_a_newer_and_an_unreadable_store_are_refused(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        self.lay("a.xml", exe("a", "2"))
        STORE.write_bytes(store_bytes(("f", "exe", "1"), major=2))
        run = self.assertUntouched(lambda: self.sync(status=2))
        self.assertEqual(run.err, f"obg_manifestctl: {STORE}: the store is of a version that is not read; "
                                  "obg_manifestctl check tells more\n")
        STORE.chmod(0o200)
        run = self.assertUntouched(lambda: self.sync(status=2, before=WITHOUT_RIGHTS))
        self.assertEqual(run.err, f"obg_manifestctl: cannot read {STORE}: Permission denied\n")

    def test_rebuild_makes_a_lost_store_again_also_when_the_state_is_lost_with_it(self):
        self.lay("a.xml", exe("a", "1"), exe("b", "1"))
        self.sync()
        for lost in ([STORE], [STORE, STATE_FILE]):
            for path in lost:
                path.unlink()
            self.sync("--rebuild")
            self.assertStore(("a", "exe", "1"), ("b", "exe", "1"))
        self.take("a.xml")
        self.sync()
        self.assertStore()

    def test_a_dry_run_of_a_rebuild_shows_and_does_nothing(self):
        self.lay("a.xml", exe("a", "1"))
        STORE.write_bytes(store_bytes(("f", "exe", "1"), ("lost", "exe", "1"))[:-3])
        run = self.assertUntouched(lambda: self.sync("--dry-run", "--rebuild", status=1))
        self.assertEqual(run.out.splitlines()[:-1], ["add     a  exe 1  a.xml", "strike  f  exe 1  (in no manifest)"])

    def test_bytes_of_others_steer_no_terminal_and_are_whole_in_json(self):
        content = store_bytes((b"\x1b[2J\xff", "exe", b"\x07"))
        STORE.write_bytes(content)
        self.assertEqual(self.sync("--rebuild").out,
                         "strike  \\x1b[2J\\xff  exe \\x07  (in no manifest)\nThe store is deleted.\n")
        STORE.write_bytes(content)
        change, = self.json("sync", "--rebuild")["changes"]
        self.assertEqual((change["id"], change["id_hex"]), ("\x1b[2J\ufffd", "1b5b324aff"))

    def test_a_damaged_store_is_refused(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        STORE.write_bytes(STORE.read_bytes()[:-1])
        run = self.assertUntouched(lambda: self.sync(status=2))
        self.assertEqual(run.err, f"obg_manifestctl: {STORE}: the store is damaged; obg_manifestctl check tells more\n")

    def test_rebuild_mends_a_damaged_store_and_shows_what_of_others_could_be_read(self):
        self.lay("a.xml", exe("a", "2"), exe("n", "1"))
        STORE.write_bytes(store_bytes(("f", "exe", "1"), ("a", "exe", "1"), ("lost", "exe", "1"))[:-3])
        run = self.sync("--rebuild")
        self.assertEqual(run.out.splitlines()[:-1], ["update  a  exe 1 -> exe 2  a.xml", "add     n  exe 1           a.xml",
                                                     "strike  f  exe 1           (in no manifest)"])
        self.assertStore(("a", "exe", "2"), ("n", "exe", "1"))
        self.assertUntouched(lambda: self.sync("--rebuild"))
        self.assertUntouched(self.sync)

    def test_rebuild_mends_a_store_of_a_later_version_and_an_unreadable_one(self):
        self.lay("a.xml", exe("a", "1"))
        STORE.write_bytes(store_bytes(("f", "exe", "1"), major=257))
        self.sync("--rebuild")
        self.assertStore(("a", "exe", "1"))
        STORE.write_bytes(b"")
        self.sync("--rebuild")
        self.assertStore(("a", "exe", "1"))

    def test_rebuild_drops_what_no_manifest_lists_and_says_so(self):
        self.record(exe("f", "1"))
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        document = self.json("sync", "--rebuild")
        self.assertEqual(document["changes"], [{"change": "strike", "id": "f", "old": {"kind": "exe", "version": "1"},
                                                "new": None, "manifest": None}])
        self.assertStore(("a", "exe", "1"))

    def test_rebuild_without_manifests_deletes_the_store(self):
        STORE.write_bytes(b"damaged")
        self.sync("--rebuild")
        self.assertStore()

    def test_rebuild_keeps_what_a_rejected_manifest_listed(self):
        self.lay("a.xml", exe("a", "1"))
        self.lay("b.xml", exe("b", "1"))
        self.sync()
        self.break_manifest("a.xml")
        STORE.write_bytes(b"damaged")
        self.sync("--rebuild", status=1)
        self.assertStore(("a", "exe", "1"), ("b", "exe", "1"))

    # Dry run and documents

    def test_a_dry_run_shows_and_does_nothing(self):
        self.lay("a.xml", exe("a", "1"), resource("r", "1"))
        run = self.sync("--dry-run", status=1)
        size = len(store_bytes(("a", "exe", "1")))
        self.assertEqual(run.out, f"add  a  exe 1  a.xml\nThe store would hold 1 entry in {size} bytes.\n")
        self.assertEqual([path.name for path in ROOT.iterdir()], ["manifest"])
        self.assertFalse(STATE.exists())
        self.sync()
        run = self.assertUntouched(lambda: self.sync("--dry-run"))
        self.assertEqual(run.out, "The store would stay as it is.\n")
        document = self.json("sync", "--dry-run")
        self.assertEqual([row["change"] for row in document["changes"]], ["keep", "unrecorded"])
        self.assertEqual((document["dry_run"], document["changed"]), (True, False))

    def test_a_dry_run_waits_for_nobody(self):
        self.lay("a.xml", exe("a", "1"))
        with open(ROOT / "VPNManifest.dat.lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.sync("--dry-run", status=1)

    def test_documents(self):
        self.lay("a.xml", exe("a", "1"))
        self.lay("b.xml", exe("a", "2"))
        self.break_manifest("c.xml")
        document = self.json("sync", status=1)
        self.assertEqual(document["changes"], [{"change": "add", "id": "a", "old": None,
                                                "new": {"kind": "exe", "version": "2"}, "manifest": "b.xml"}])
        self.assertEqual([(each["rule"], each["manifest"], each["id"]) for each in document["findings"]],
                         [("rejected", "c.xml", None), ("listed-twice", "b.xml", "a")])
        self.assertIs(document["changed"], True)
        self.assertEqual(document["result"]["entries"], 1)
        self.assertEqual(self.json("sync", status=1)["result"], document["result"])

    def test_the_result_of_a_settled_run_is_complete(self):
        self.lay("a.xml", exe("a", "1"))
        first = self.json("sync")
        self.assertEqual(self.json("sync")["result"], first["result"])

    # Standard output and the disk

    def test_sarif_is_not_for_it(self):
        self.lay("a.xml", exe("a", "1"))
        self.assertRun(self.sync("--format", "sarif", status=2), 2,
                       err="obg_manifestctl: the format sarif is for lint alone\n")
        self.assertStore()

    def test_a_change_that_a_power_cut_may_undo_is_1_and_is_said(self):
        self.lay("a.xml", exe("a", "1"))
        for folder in (ROOT, STATE):
            STORE.unlink(missing_ok=True)
            STATE_FILE.unlink(missing_ok=True)
            run = self.sync(status=1, before=[*harness.STRACE, "-o", "/dev/null", "-e", "inject=fsync:error=EIO", "-P",
                                              folder])
            self.assertIn(f"obg_manifestctl: done, but a power cut may undo it: cannot write {folder}: "
                          "Input/output error\n", run.err)
            self.assertStore(("a", "exe", "1"))

    def test_a_result_that_cannot_be_written_changes_nothing(self):
        self.lay("a.xml", exe("a", "1"))
        self.assertStopsOnFailedOutput("sync")
        self.assertStore()
        self.assertFalse(STATE_FILE.exists())
        self.sync()
        self.lay("a.xml", exe("b", "1"))
        self.assertStopsAndStands()
        self.take("a.xml")
        self.assertStopsAndStands()

    def test_a_result_that_cannot_be_written_leaves_the_state_of_a_store_that_stays(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        (FOLDER / "a.xml").rename(FOLDER / "b.xml")
        self.assertStopsAndStands()

    def assertStopsAndStands(self):
        def stand():
            return STORE.read_bytes(), STATE_FILE.read_bytes(), sorted([*ROOT.iterdir(), *STATE.iterdir()])
        before = stand()
        for form in ("text", "json"):
            self.assertStopsOnFailedOutput("--format", form, "sync")
            self.assertEqual(stand(), before)

    # The lock

    def test_a_run_that_is_killed_while_it_holds_both_locks_is_made_up_for_by_the_next(self):
        self.lay("a.xml", exe("a", "1"))
        self.sync()
        self.lay("a.xml", exe("a", "2"))
        holder = subprocess.Popen([*harness.STRACE, "-o", "/dev/null", "-P", ROOT, "-e", "trace=renameat", "-e",
                                   "inject=renameat:delay_enter=60000000", harness.CTL, "sync"],
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.assertIn(b"update", holder.stdout.readline(), "it comes to the replacement")
        pid = LOCK.read_text().split()[0]
        for lock in (LOCK, STATE / "current.json.lock"):
            self.assertEqual(lock.read_text(), f"{pid} obg_manifestctl sync\n")
        self.assertEqual(self.sync("--wait", "0", status=2).err,
                         f"obg_manifestctl: {STATE}/current.json.lock is held by process {pid} (obg_manifestctl sync)\n")
        self.assertEqual(self.ctl("apply", "--wait", "0", "-x", FOLDER / "a.xml", status=2).err,
                         f"obg_manifestctl: {LOCK} is held by process {pid} (obg_manifestctl sync)\n")
        os.kill(int(pid), signal.SIGKILL)
        holder.kill()
        holder.communicate()
        self.assertStore(("a", "exe", "1"))
        self.sync("--wait", "20")
        self.assertStore(("a", "exe", "2"))
        self.take("a.xml")
        self.sync()
        self.assertStore()

    def test_both_locks_are_waited_for_and_named(self):
        for path in (ROOT / "VPNManifest.dat.lock", STATE / "current.json.lock"):
            path.parent.mkdir(exist_ok=True)
            with open(path, "w") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX)
                lock.write("4711 somebody\n")
                lock.flush()
                run = self.sync("--wait", "0", status=2)
            self.assertEqual(run.err, f"obg_manifestctl: {path} is held by process 4711 (somebody)\n")

    # A model

    def test_random_steps_end_as_the_model_says(self):
        for seed in range(SEEDS):
            with self.subTest(seed=seed):
                self.setUp_again()
                Steps(self, random.Random(seed)).run(STEPS)

    def setUp_again(self):
        super().setUp()
        FOLDER.mkdir()


class Steps:
    """Random steps of modules, of other installers and of accidents; a sync after each, held against what the words of
    the manual come to: sets and dictionaries, and nothing of the program's own way."""

    IDS = ["VPNCore", "a", "b", "c", "d", "e"]
    NAMES = ["1.xml", "2.xml", "3.xml"]
    KINDS = ["exe", "rpm", "resource"]

    def __init__(self, test, draw):
        self.test = test
        self.draw = draw
        self.store = {}  # id: (kind, version)
        self.own = {}  # id: ((kind, version), name of the manifest)
        self.manifests = {}  # name: list of (id, kind, version), or None for one that is no good
        self.trace = []

    def run(self, count):
        for _ in range(count):
            step = self.draw.choice([self.lay, self.lay, self.lay, self.take, self.rename, self.spoil, self.others_record,
                                     self.others_strike, self.lose_state, self.damage])
            self.trace.append(step.__name__)
            step()

    def random_entries(self):
        return [(self.draw.choice(self.IDS), self.draw.choice(self.KINDS), self.draw.choice("123"))
                for _ in range(self.draw.choice([0, 1, 2, 3]))]

    def lay(self):
        name = self.draw.choice(self.NAMES)
        self.manifests[name] = self.random_entries()
        self.write(name)
        self.sync()

    def write(self, name):
        words = [resource(i, v) if k == "resource" else entry(f'id="{i}" version="{v}" type="{k}"')
                 for i, k, v in self.manifests[name]]
        self.test.lay(name, *words)

    def take(self):
        if self.manifests:
            name = self.draw.choice(sorted(self.manifests))
            del self.manifests[name]
            self.test.take(name)
        self.sync()

    def rename(self):
        if self.manifests:
            old, new = self.draw.choice(sorted(self.manifests)), self.draw.choice(self.NAMES)
            self.manifests[new] = self.manifests.pop(old)
            (FOLDER / old).rename(FOLDER / new)
        self.sync()

    def spoil(self):
        name = self.draw.choice(self.NAMES)
        self.manifests[name] = None
        self.test.break_manifest(name)
        self.sync()

    def others_record(self):
        file_id, version = self.draw.choice(self.IDS), self.draw.choice("123")
        self.test.record(exe(file_id, version))
        self.store[file_id] = ("exe", version)
        self.sync()

    def others_strike(self):
        file_id = self.draw.choice(self.IDS)
        path = SCRATCH / "foreign.xml"
        path.write_text(f'<vpn rev="1.0">{exe(file_id, "1")}</vpn>')
        self.test.tool("-x", str(ROOT), str(path))
        self.store.pop(file_id, None)
        self.sync()

    def lose_state(self):
        STATE_FILE.unlink(missing_ok=True)
        self.own = {}
        self.sync()

    def damage(self):
        """The store is damaged: refused until it is rebuilt."""
        if not self.store:
            return
        STORE.write_bytes(STORE.read_bytes()[:-1])
        self.test.sync(status=2)
        whole = dict(self.store)
        self.store = {file_id: what for file_id, (what, name) in self.own.items()
                      if self.manifests.get(name, ()) is None}
        self.expect()
        run = self.test.ctl("sync", "--rebuild")
        self.test.assertEqual(run.status, 1 if self.has_findings() else 0, (self.trace, run, whole))
        self.compare()

    def sync(self):
        self.expect()
        run = self.test.ctl("sync")
        self.test.assertEqual(run.status, 1 if self.has_findings() else 0, (self.trace, run))
        self.compare()
        self.test.assertUntouched(lambda: self.test.ctl("sync"))

    def listings(self):
        """id: (kind, version, name), the later name over the earlier; and the ids that several list."""
        listed, twice = {}, set()
        for name in sorted(self.manifests):
            for file_id, kind, version in self.manifests[name] or []:
                if file_id in listed and listed[file_id][2] != name and {kind, listed[file_id][0]} != {"resource"}:
                    twice.add(file_id)
                listed[file_id] = (kind, version, name)
        return listed, twice

    def has_findings(self):
        return None in self.manifests.values() or bool(self.listings()[1])

    def expect(self):
        """What store and claims are after a sync."""
        listed, _ = self.listings()
        own = {}
        for file_id, (what, name) in self.own.items():
            if file_id not in listed and self.store.get(file_id) == what:
                if self.manifests.get(name, ()) is None:
                    own[file_id] = (what, name)
                else:
                    del self.store[file_id]
        for file_id, (kind, version, name) in listed.items():
            self.store.pop(file_id, None)
            if kind != "resource":
                self.store[file_id] = (kind, version)
                own[file_id] = ((kind, version), name)
        self.own = own

    def compare(self):
        content = STORE.read_bytes() if STORE.exists() else store_bytes()
        records, at = {}, 8
        while at < len(content):
            kind, texts = int.from_bytes(content[at:at + 4], "little"), []
            at += 4
            for _ in range(2):
                count = int.from_bytes(content[at:at + 4], "little")
                texts.append(content[at + 4:at + 3 + count].decode())
                at += 4 + count
            records[texts[1]] = ({2: "exe", 17: "rpm"}[kind], texts[0])
        self.test.assertEqual(records, self.store, self.trace)
        claims = {file_id: ((kind, version), name) for name, file_id, kind, version in self.test.recorded()}
        self.test.assertEqual(claims, self.own, self.trace)


if __name__ == "__main__":
    harness.main()
