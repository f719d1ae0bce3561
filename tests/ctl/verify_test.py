"""`verify`: the machine against its manifests."""

import hashlib
import os
import pathlib

import harness
from harness import exe, store_bytes

RESULTS = ["ok", "missing", "different", "unreadable", "not-recorded", "other-version", "unlisted", "rejected"]


def sha256(content):
    return hashlib.sha256(content).hexdigest()


def placed(kind, name, digits, algorithm="sha256", more=""):
    """An entry of a kind with a destination, and its name for an id."""
    return (f'<file id="{name}" version="1" type="{kind}" {more}><uri>files/{name}</uri>'
            f'<hash type="{algorithm}">{digits}</hash></file>')


class VerifyTest(harness.CtlTest):
    def manifest(self, *entries, path=harness.SCRATCH / "m.xml"):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text('<vpn rev="1.0">' + "".join(entries) + "</vpn>", encoding="utf-8")
        return str(path)

    def installed(self, name, *entries, root=harness.ROOT):
        return self.manifest(*entries, path=root / "manifest" / name)

    def lay_store(self, *entries):
        harness.STORE.write_bytes(store_bytes(*entries))

    def lay(self, path, content=b"content"):
        path = pathlib.Path(path)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return str(path)

    def verify(self, *arguments, status=1, before=(), err=""):
        """The rows as tuples of result, id, path, expected and found. The summary must be their number."""
        document = self.json(*arguments, status=status, before=before, err=err)
        rows = document["files"]
        counts = {result: sum(row["result"] == result for row in rows) for result in RESULTS}
        self.assertEqual(list(document["summary"].items()), list(counts.items()))
        for row in rows:
            self.assertEqual(list(row), ["manifest", "id", "path", "result", "expected", "found"])
        return [(row["result"], row["id"], row["path"], row["expected"], row["found"]) for row in rows]

    def results(self, *arguments, **options):
        return [row[:2] for row in self.verify(*arguments, **options)]

    # Files with a destination

    def test_each_kind_with_a_destination_is_looked_for_there(self):
        content = b"content"
        digits = sha256(content)
        path = self.manifest(
            placed("binary", "scripts_OnConnect.sh", digits), placed("binary", "help_en.html", digits),
            placed("l10n", "Tessellink.mo", digits, more='lang="de"'), placed("profile", "Site.xml", digits),
            placed("resource", "logo.svg", digits))
        places = ["vpn/script/OnConnect.sh", "help/en.html", "l10n/de/LC_MESSAGES/Tessellink.mo",
                  "vpn/profile/Site.xml", "resources/logo.svg"]
        paths = [self.lay(harness.ROOT / place, content) for place in places]
        rows = self.verify("verify", path, status=0)
        self.assertEqual([row[0] for row in rows], ["ok"] * 5)
        self.assertEqual([row[2] for row in rows], paths)
        self.assertEqual({row[3:] for row in rows}, {(digits, digits)})

    def test_with_legacy_destinations_are_those_of_the_legacy_root_but_for_profiles(self):
        path = self.manifest(
            placed("binary", "scripts_a.sh", sha256(b"x")), placed("resource", "b", sha256(b"x")),
            placed("profile", "c.xml", sha256(b"x")))
        expected = [self.lay(place, b"x") for place in (
            harness.LEGACY_ROOT / "script/a.sh", harness.LEGACY_ROOT / "resources/b",
            harness.ROOT / "vpn/profile/c.xml")]
        rows = self.verify("--legacy", "verify", path, status=0)
        self.assertEqual([row[2] for row in rows], expected)

    def test_a_profile_is_looked_for_where_its_service_type_says(self):
        path = self.manifest(
            placed("profile", "VpnMgmtTunProfile.xml", sha256(b"x"), more='service-type="vpn-mgmt"'),
            placed("profile", "Site.xml", sha256(b"x")))
        expected = [self.lay(harness.ROOT / place, b"x") for place in (
            "vpn/profile/mgmttun/VpnMgmtTunProfile.xml", "vpn/profile/Site.xml")]
        self.assertEqual([row[2] for row in self.verify("verify", path, status=0)], expected)

    def test_with_an_unknown_service_type_profiles_are_looked_for_as_the_tool_resolves_them(self):
        path = self.manifest(placed("profile", "a.xml", sha256(b"x"), more='service-type="none"'))
        self.lay(harness.ROOT / "vpn/profile/a.xml", b"x")
        self.assertEqual(self.results("verify", path, status=0), [("ok", "a.xml")])

    def test_sha1_and_upper_case_digits_count(self):
        content = b"x" * 300_000
        self.lay(harness.ROOT / "resources/a", content)
        self.lay(harness.ROOT / "resources/b", content)
        path = self.manifest(placed("resource", "a", hashlib.sha1(content).hexdigest(), "sha1"),
                             placed("resource", "b", sha256(content).upper()))
        self.assertEqual(self.results("verify", path, status=0), [("ok", "a"), ("ok", "b")])

    def test_missing_and_different_files_are_found(self):
        self.lay(harness.ROOT / "resources/b", b"other")
        path = self.manifest(placed("resource", "a", "00"), placed("resource", "b", sha256(b"x")))
        folder = str(harness.ROOT / "resources")
        self.assertEqual(self.verify("verify", path), [
            ("missing", "a", folder + "/a", "00", None),
            ("different", "b", folder + "/b", sha256(b"x"), sha256(b"other")),
        ])

    def test_what_cannot_be_read_and_what_is_no_file_is_unreadable(self):
        folder = harness.ROOT / "resources"
        os.chmod(self.lay(folder / "closed"), 0)
        (folder / "folder").mkdir()
        os.mkfifo(folder / "pipe")
        (folder / "circle").symlink_to("circle")
        names = ["closed", "folder", "pipe", "circle"]
        path = self.manifest(*(placed("resource", name, "00") for name in names))
        self.assertEqual(self.results("verify", path, before=harness.WITHOUT_RIGHTS),
                         [("unreadable", name) for name in names])

    def test_a_file_in_place_of_a_folder_makes_what_is_below_missing(self):
        self.lay(harness.ROOT / "resources")
        self.assertEqual(self.results("verify", self.manifest(placed("resource", "a", "00"))), [("missing", "a")])

    def test_many_files_keep_the_order_of_the_manifest(self):
        names = [f"file-{number:03}" for number in range(300)]
        for name in names[::3]:
            self.lay(harness.ROOT / "resources" / name, name.encode())
        path = self.manifest(*(placed("resource", name, sha256(name.encode())) for name in names))
        expected = [("missing" if number % 3 else "ok", name) for number, name in enumerate(names)]
        self.assertEqual(self.results("verify", path), expected)

    # Below --root

    def test_root_moves_destinations_manifests_and_store(self):
        image = harness.SCRATCH / "image"
        root = image / str(harness.ROOT)[1:]
        manifest = self.installed("a.xml", placed("resource", "logo", sha256(b"x")), exe("a", "1"), root=root)
        logo = self.lay(root / "resources/logo", b"x")
        (root / "VPNManifest.dat").write_bytes(store_bytes(("a", "exe", "1")))
        document = self.json("--root", str(image), "verify")
        self.assertEqual([(row["manifest"], row["path"], row["result"]) for row in document["files"]],
                         [(manifest, logo, "ok"), (manifest, None, "ok")])

    def test_no_link_leads_out_of_the_root(self):
        outside = self.lay(harness.SCRATCH / "outside", b"x")
        image = harness.SCRATCH / "image"
        folder = image / str(harness.ROOT)[1:] / "resources"
        folder.mkdir(parents=True)
        (folder / "absolute").symlink_to(outside)
        (folder / "relative").symlink_to("../" * 20 + outside[1:])
        (folder / "folder").symlink_to(harness.SCRATCH)
        path = self.manifest(placed("resource", "absolute", sha256(b"x")), placed("resource", "relative", sha256(b"x")))
        self.assertEqual(self.results("--root", str(image), "verify", path),
                         [("missing", "absolute"), ("missing", "relative")])
        # What the links name may well stand below the root.
        self.lay(image / outside[1:], b"x")
        self.assertEqual(self.results("--root", str(image), "verify", path, status=0),
                         [("ok", "absolute"), ("ok", "relative")])

    def test_a_folder_that_is_a_link_does_not_lead_out_either(self):
        self.lay(harness.SCRATCH / "outside/logo", b"x")
        image = harness.SCRATCH / "image"
        root = image / str(harness.ROOT)[1:]
        root.mkdir(parents=True)
        (root / "resources").symlink_to(harness.SCRATCH / "outside")
        path = self.manifest(placed("resource", "logo", sha256(b"x")))
        self.assertEqual(self.results("--root", str(image), "verify", path), [("missing", "logo")])

    def test_a_language_cannot_lead_out_of_the_root(self):
        self.lay(harness.SCRATCH / "LC_MESSAGES/Tessellink.mo", b"x")
        image = harness.SCRATCH / "image"
        image.mkdir()
        path = self.manifest(placed("l10n", "Tessellink.mo", sha256(b"x"), more=f'lang="{"../" * 20}opt/scratch"'))
        self.assertEqual(self.results("--root", str(image), "verify", path), [("missing", "Tessellink.mo")])

    # Entries of recorded kinds

    def test_recorded_kinds_must_be_in_the_store_with_that_version(self):
        self.lay_store(("a", "exe", "1"), ("b", "rpm", "1"))
        path = self.manifest(exe("a", "1"), exe("b", "2"), exe("c", "3"))
        self.assertEqual(self.verify("verify", path), [
            ("ok", "a", None, "1", "1"), ("other-version", "b", None, "2", "1"), ("not-recorded", "c", None, "3", None)])

    def test_kinds_without_destination_that_are_not_recorded_are_passed_over(self):
        path = self.manifest(placed("transform", "t", "00"), '<file id="n" action="copy"><uri>u</uri></file>')
        self.assertEqual(self.verify("verify", path, status=0), [])

    def test_an_id_counts_as_listed_last(self):
        self.lay_store(("a", "exe", "2"), ("b", "exe", "2"))
        first = self.manifest(exe("a", "1"), exe("a", "2"), exe("b", "1"))
        second = self.manifest(exe("b", "2"), path=harness.SCRATCH / "n.xml")
        self.assertEqual(self.results("verify", first, second, status=0), [("ok", "a"), ("ok", "b")])

    def test_legacy_and_store_choose_the_store(self):
        path = self.manifest(exe("a", "1"))
        for file, options in ((harness.LEGACY_STORE, ["--legacy"]), (harness.SCRATCH / "x", ["--store", "x"])):
            with self.subTest(options):
                self.ctl(*options, "verify", path, status=1)
                file.write_bytes(store_bytes(("a", "exe", "1")))
                self.ctl(*options, "verify", path, status=0)

    def test_strays_shows_what_no_manifest_lists(self):
        self.lay_store(("a", "exe", "1"), ("s", "exe", "7"), ("r", "exe", "1"))
        path = self.manifest(exe("a", "1"), placed("transform", "r", "00"))
        self.assertEqual(self.results("verify", path, status=0), [("ok", "a")])
        rows = self.verify("verify", "--strays", path)
        self.assertEqual(rows[1:], [("unlisted", "s", None, None, "7")])
        row = self.json("verify", "--strays", path, status=1)["files"][1]
        self.assertIsNone(row["manifest"])

    # Manifests

    def test_installed_manifests_are_read_in_the_byte_order_of_their_names(self):
        for name in ("b.xml", "B.xml", "a.xml", "other.txt", ".hidden.xml"):
            self.installed(name, exe(name, "1"))
        self.assertEqual([row[1] for row in self.verify("verify")], ["B.xml", "a.xml", "b.xml"])

    def test_without_a_manifest_folder_there_is_nothing_to_verify(self):
        self.assertEqual(self.verify("verify", status=0), [])
        self.assertRun(self.ctl("verify"), 0, "Nothing is listed.\n")

    def test_a_manifest_folder_that_cannot_be_read_is_2(self):
        folder = harness.ROOT / "manifest"
        folder.mkdir(mode=0)
        self.assertRun(self.ctl("verify", before=harness.WITHOUT_RIGHTS), 2,
                       err=f"obg_manifestctl: cannot read {folder}: Permission denied\n")

    def test_a_manifest_that_the_tool_would_reject_is_a_result(self):
        bad = self.installed("bad.xml", exe("a", "1"), '<file type="none"/><file/>')
        self.installed("good.xml", exe("b", "1"))
        document = self.json("verify", status=1)
        self.assertEqual(document["files"][0], {
            "manifest": bad, "id": None, "path": None, "result": "rejected", "expected": None, "found": None})
        self.assertEqual(document["files"][1]["id"], "b")

    def test_an_empty_manifest_file_is_rejected(self):
        (harness.SCRATCH / "empty.xml").touch()
        self.assertEqual(self.results("verify", "empty.xml"), [("rejected", None)])

    def test_a_manifest_that_cannot_be_read_is_2(self):
        good = self.manifest(exe("a", "1"))
        self.assertRun(self.ctl("verify", good, "none.xml"), 2,
                       err="obg_manifestctl: cannot read none.xml: No such file or directory\n")

    def test_a_store_that_is_damaged_is_2_and_check_is_named(self):
        harness.STORE.write_bytes(b"\1\0\0\0")
        run = self.ctl("verify", self.manifest(exe("a", "1")), status=2)
        self.assertEqual(run.out, "")
        self.assertIn("obg_manifestctl check", run.err)

    # Text

    def test_text_shows_what_is_not_ok_and_counts_the_rest(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"), ("s", "exe", "7"))
        folder = harness.ROOT / "resources"
        self.lay(folder / "good", b"x")
        self.lay(folder / "bad", b"y")
        (folder / "dir").mkdir()
        path = self.manifest(
            exe("a", "1"), exe("b", "2"), exe("c", "3"), placed("resource", "good", sha256(b"x")),
            placed("resource", "bad", sha256(b"x")), placed("resource", "gone", "00"), placed("resource", "dir", "00"))
        empty = harness.SCRATCH / "empty.xml"
        empty.touch()
        self.assertRun(self.ctl("verify", "--strays", path, str(empty)), 1, (
            "other-version  b     1 instead of 2\n"
            "not-recorded   c     3\n"
            f"different      bad   {folder}/bad\n"
            f"missing        gone  {folder}/gone\n"
            f"unreadable     dir   {folder}/dir: Is a directory\n"
            "rejected       -     /opt/scratch/empty.xml\n"
            "unlisted       s     7\n"
            "2 ok, 1 missing, 1 different, 1 unreadable, 1 not-recorded, 1 other-version, 1 unlisted, 1 rejected\n"))

    def test_hostile_bytes_do_not_reach_the_terminal(self):
        self.lay_store((b"\x1b[2J\xff", "exe", b"\x07"))
        run = self.ctl("verify", "--strays", self.manifest(), status=1)
        self.assertEqual(run.out, "unlisted  \\x1b[2J\\xff  \\x07\n1 unlisted\n")
        (row,) = self.json("verify", "--strays", self.manifest(), status=1)["files"]
        self.assertEqual((row["id"], row["id_hex"], row["found"]), ("\x1b[2J\ufffd", "1b5b324aff", "\x07"))

    # The machine is only looked at

    def test_files_and_folders_without_right_to_write_are_enough(self):
        self.lay_store(("a", "exe", "1"))
        os.chmod(harness.STORE, 0o444)
        os.chmod(self.lay(harness.ROOT / "resources/logo", b"x"), 0o444)
        self.installed("a.xml", exe("a", "1"), placed("resource", "logo", sha256(b"x")))
        before = sorted((str(path), path.stat().st_mtime_ns) for path in pathlib.Path("/opt").rglob("*"))
        self.assertEqual(self.ctl("verify", before=harness.WITHOUT_RIGHTS).out, "2 ok\n")
        after = sorted((str(path), path.stat().st_mtime_ns) for path in pathlib.Path("/opt").rglob("*"))
        self.assertEqual(after, before)

    def test_a_gigabyte_is_summed_in_little_memory(self):
        path = harness.ROOT / "resources/large"
        path.parent.mkdir()
        with open(path, "wb") as stream:
            stream.truncate(1 << 30)
        digits = "49bc20df15e412a64472421e13fe86ff1c5165e18b2afccf160d4dc19fe68a14"
        manifest = self.manifest(placed("resource", "large", digits))
        run = self.ctl("verify", manifest, before=harness.in_memory_of(64 << 20))
        self.assertRun(run, 0, "1 ok\n")


if __name__ == "__main__":
    harness.main()
