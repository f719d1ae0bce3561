#!/usr/bin/env python3
"""Modules without maintainer scripts, kept in the store by the triggers of the package obg-manifestctl, under the real
dpkg and the real rpm.

usage: triggers_test.py TOOL SAMPLES [unittest arguments]

Arguments and private machine are those of lifecycle_test.py; obg_manifestctl stands beside TOOL. What the package
obg-manifestctl brings is taken from where the real packages take it.
"""
import fcntl
import os
import re
import shutil
import sys
import unittest
from pathlib import Path

import lifecycle_test as base
from lifecycle_test import CORE, CORE_1, CORE_2, POSTURE, POSTURE_1, ROOT, SCRATCH, STORE, run

KEEPER = "obg-manifestctl"
STATE = Path("/var/lib/obg-manifest")
LOCK = ROOT / "VPNManifest.dat.lock"
LIBEXEC = Path("/usr/libexec")
DONE_FOR = Path("/run/obg-manifestctl.synced")
CALLS = SCRATCH / "calls"
MANIFESTS = "/opt/orvanta/brightgate/manifest"


def fill_tree(tree):
    """The files of the package obg-manifestctl. The program leaves a line for each of its calls."""
    packaging = SAMPLES.parent
    (tree / "usr/bin").mkdir(parents=True)
    (tree / "usr/libexec").mkdir(parents=True)
    shutil.copytree(packaging / "triggers", tree / "usr/libexec/obg-manifest")
    program = tree / "usr/bin/obg_manifestctl"
    program.write_text(f'#!/bin/sh\necho "$*" >>{CALLS}\nexec {TOOL.parent}/obg_manifestctl "$@"\n')
    program.chmod(0o755)


class Dpkg(base.Dpkg):
    def create_database(self):
        super().create_database()
        with (self.database / "info/base-files.list").open("a") as files:
            files.write("/usr/libexec\n/var\n/var/lib\n")

    def build_keeper(self, out):
        tree = SCRATCH / "keeper-deb"
        fill_tree(tree)
        control = tree / "DEBIAN"
        control.mkdir()
        (control / "control").write_text(
            f"Package: {KEEPER}\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@example.org>\n"
            "Depends: obg-manifesttool\nDescription: the trigger under test\n")
        debian = SAMPLES.parent / "debian"
        for name in ("triggers", "postinst", "postrm"):
            shutil.copy(debian / f"{KEEPER}.{name}", control / name)
            (control / name).chmod(0o644 if name == "triggers" else 0o755)
        run("dpkg-deb", "--root-owner-group", "-Znone", "--build", tree, out / "keeper.deb")
        return out / "keeper.deb"


class Rpm(base.Rpm):
    def build_keeper(self, out):
        work = SCRATCH / "keeper-rpm"
        work.mkdir()
        fill_tree(work / "tree")
        spec = (SAMPLES.parent / "rpm/obg-manifesttool.spec.in").read_text()
        triggers = re.findall(rf"(?m)^(%transfiletrigger\w+) -n {KEEPER} (-p .*\n)", spec)
        ghost, = re.findall(r"(?m)^%ghost .*\n", spec)
        assert len(triggers) == 2, triggers
        sections = "\n".join(f"{kind} {rest}".replace("%{_libexecdir}", "/usr/libexec") for kind, rest in triggers)
        (work / "keeper.spec").write_text(
            f"Name: {KEEPER}\nVersion: 1\nRelease: 1\nSummary: the trigger under test\nLicense: none\nBuildArch: noarch\n"
            "Requires: obg-manifesttool\nAutoReqProv: no\n%description\n%install\n"
            f"cp -R {work}/tree/. %{{buildroot}}\n{sections}\n%files\n{ghost}/usr/bin/obg_manifestctl\n/usr/libexec/obg-manifest\n")
        run("rpmbuild", "-bb", "--quiet", "--nodeps", "--define", f"_topdir {work}", "--define", f"_rpmdir {out}",
            "--define", "__os_install_post %{nil}", "--define", "_build_name_fmt keeper.rpm", work / "keeper.spec")
        return out / "keeper.rpm"


class Triggers:
    """What holds under both package systems for modules that have no script."""

    @classmethod
    def setUpClass(cls):
        cls.packages = SCRATCH / cls.__name__
        cls.packages.mkdir()
        cls.system.create_database()
        cls.keeper = cls.system.build_keeper(cls.packages)
        cls.system.install(cls.system.build_tool(TOOL, cls.packages), cls.keeper)
        shutil.copytree(cls.system.database, cls.packages / "database")
        for folder in (base.INSTALLED_TOOL.parent, LIBEXEC):
            shutil.copytree(folder, cls.packages / folder.name, symlinks=True)
        cls.core_1, cls.core_2, cls.posture_1 = map(cls.build, ("core-1", "core-2", "posture-1"))
        cls.core_1_with_scripts = cls.build("core-1", "scripted")
        cls.core_2_broken = cls.break_manifest()
        cls.posture_for_core = cls.build_successor()

    @classmethod
    def build(cls, module, form="plain", samples=None):
        samples = samples or SAMPLES
        out = cls.packages / form
        out.mkdir(exist_ok=True)
        before = set(out.iterdir())
        options = ["--without-scripts"] if form != "scripted" else []
        run(samples / "build", *options, cls.system.suffix.rsplit(".", 1)[1], samples / module, out)
        package, = set(out.iterdir()) - before
        return package

    @classmethod
    def break_manifest(cls):
        """A later core whose manifest the tool rejects; the sample's build would refuse it, so it looks away."""
        copy = cls.packages / "core-broken"
        shutil.copytree(SAMPLES / "core-2", copy)
        manifest = copy / "root/manifest/core.xml"
        manifest.write_text(manifest.read_text().replace('"script"', '"skript"'))
        (copy / "module").write_text((copy / "module").read_text().replace("5.1.4.74", "5.1.5.0"))
        out = cls.packages / "broken"
        run("env", "OBG_MANIFESTCTL=true", SAMPLES / "build", "--without-scripts",
            cls.system.suffix.rsplit(".", 1)[1], copy, out)
        package, = out.iterdir()
        return package

    @classmethod
    def build_successor(cls):
        """The posture module as a package in whose favour the core goes."""
        return cls.build_with_words("posture-1", "successor", {
            "deb/control": ("Depends:", f"Conflicts: {CORE}\nReplaces: {CORE}\n"),
            "rpm/module.spec": ("BuildArch:", f"Obsoletes: {CORE} < 9\n")})

    @classmethod
    def build_with_words(cls, module, form, words):
        """A module's package by templates that have more words: for each, what these stand in front of."""
        samples = cls.packages / f"samples-{form}"
        shutil.copytree(SAMPLES, samples)
        for template, (behind, added) in words.items():
            text = (samples / template).read_text()
            (samples / template).write_text(text.replace(behind, added + behind))
        return cls.build(module, form, samples)

    def setUp(self):
        base.empty_folder(self.system.database)
        shutil.copytree(self.packages / "database", self.system.database, dirs_exist_ok=True)
        for folder in (base.INSTALLED_TOOL.parent, LIBEXEC):
            restore(self.packages / folder.name, folder)
        shutil.rmtree(ROOT.parent, ignore_errors=True)
        shutil.rmtree(STATE, ignore_errors=True)
        DONE_FOR.unlink(missing_ok=True)
        CALLS.write_text("")

    def syncs(self):
        """How often sync has run since the last question."""
        lines = CALLS.read_text().splitlines()
        CALLS.write_text("")
        return sum(line == "sync" for line in lines)

    def assert_store(self, entries):
        self.assertEqual(base.store_bytes(entries).hex(" "), STORE.read_bytes().hex(" "))

    def assert_no_store(self):
        self.assertFalse(STORE.exists())

    def assert_one_line(self, done, pattern):
        """A transaction has succeeded, and its sync has said one line."""
        self.assertEqual(0, done.returncode, done.stdout)
        line, = [line for line in done.stdout.splitlines() if line.startswith("obg-manifestctl: sync: ")]
        self.assertRegex(line, pattern)

    def assert_silent(self, done):
        self.assertEqual(0, done.returncode, done.stdout)
        self.assertNotIn("obg-manifestctl: sync: ", done.stdout)

    def test_a_fresh_installation_records_the_module(self):
        self.assert_silent(self.system.install(self.core_1))
        self.assert_store(CORE_1)

    def test_a_reinstallation_leaves_the_store_as_it_was(self):
        self.system.install(self.core_1)
        before = STORE.stat()
        self.assert_silent(self.system.reinstall(self.core_1))
        self.assertEqual((before.st_ino, before.st_mtime_ns), (STORE.stat().st_ino, STORE.stat().st_mtime_ns))

    def test_an_upgrade_records_the_new_ids_and_strikes_the_dropped_one(self):
        self.system.install(self.core_1)
        self.assert_silent(self.system.install(self.core_2))
        self.assert_store(CORE_2)

    def test_a_downgrade_strikes_what_only_the_newer_version_had(self):
        self.system.install(self.core_2)
        self.assert_silent(self.system.downgrade(self.core_1))
        self.assert_store(CORE_1)

    def test_a_removal_strikes_the_module_and_leaves_the_other_one(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_1)
        self.assert_silent(self.system.remove(CORE))
        self.assert_store(POSTURE_1)
        self.assert_silent(self.system.remove(POSTURE))
        self.assert_no_store()

    def test_several_modules_in_one_transaction_are_one_sync(self):
        self.syncs()
        self.assert_silent(self.system.install(self.core_1, self.posture_1))
        self.assert_store(CORE_1 + POSTURE_1)
        self.assertEqual(1, self.syncs())
        self.assert_silent(self.system.remove(CORE, POSTURE))
        self.assert_no_store()
        self.assertEqual(1, self.syncs())

    def test_whatever_a_transaction_does_it_is_one_sync(self):
        for name, transaction in (
                ("installation", lambda: self.system.install(self.core_1)),
                ("upgrade", lambda: self.system.install(self.core_2)),
                ("reinstallation", lambda: self.system.reinstall(self.core_2)),
                ("downgrade", lambda: self.system.downgrade(self.core_1)),
                ("one for another", lambda: self.system.install(self.posture_for_core)),
                ("removal", lambda: self.system.remove(POSTURE))):
            with self.subTest(name):
                self.syncs()
                self.assert_silent(transaction())
                self.assertEqual(1, self.syncs())
        self.assert_no_store()

    def test_a_module_that_makes_way_for_another_one_is_struck(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_for_core)
        self.assert_store(POSTURE_1)

    def test_a_keeper_that_comes_with_an_upgrade_is_one_sync(self):
        self.forget_keeper()
        self.system.install(self.core_1_with_scripts)
        self.syncs()
        self.assert_silent(self.system.install(self.keeper, self.core_2))
        self.assertEqual(1, self.syncs())

    def test_what_the_upgrade_drops_that_brings_the_keeper_stays_until_a_rebuild(self):
        self.forget_keeper()
        self.system.install(self.core_1_with_scripts)
        self.system.install(self.keeper, self.core_2)
        self.assertIn(base.field("VPNRepair"), STORE.read_bytes())
        strays = run("obg_manifestctl", "verify", "--strays", check=False).stdout
        self.assertRegex(strays, r"(?m)^unlisted +VPNRepair ")
        run("obg_manifestctl", "sync", "--rebuild")
        self.assert_store(CORE_2)

    def test_a_module_with_a_broken_manifest_is_one_line_and_stops_no_other_one(self):
        self.system.install(self.core_1)
        self.assert_one_line(self.system.install(self.core_2_broken, self.posture_1),
                             r"^obg-manifestctl: sync: status 1: .*core\.xml")
        self.assert_store(CORE_1 + POSTURE_1)

    def test_a_damaged_store_is_one_line_and_is_left_as_it_is(self):
        self.system.install(self.core_1)
        damaged = STORE.read_bytes()[:-3]
        STORE.write_bytes(damaged)
        self.assert_one_line(self.system.install(self.core_2), r"^obg-manifestctl: sync: status 2: .*VPNManifest\.dat")
        self.assertEqual(damaged, STORE.read_bytes())

    def test_a_store_that_cannot_be_written_is_one_line_and_made_up_for_by_the_next_transaction(self):
        self.system.install(self.core_1)
        run("mount", "--bind", ROOT, ROOT)
        try:
            run("mount", "-t", "tmpfs", "-o", "size=4k,nr_inodes=2", "obg", base.make_folder(STATE))
            self.assert_one_line(self.system.install(self.core_2), r"^obg-manifestctl: sync: status 2: ")
            self.assert_store(CORE_1)
        finally:
            run("umount", STATE)
            run("umount", ROOT)
        self.assert_silent(self.system.install(self.posture_1))
        self.assert_store(CORE_2 + POSTURE_1)

    def test_without_the_keeper_a_module_leaves_its_entries_until_the_keeper_comes_back(self):
        self.system.install(self.core_1, self.posture_1)
        self.forget_keeper()
        self.system.remove(CORE)
        self.assert_store(CORE_1 + POSTURE_1)
        self.assert_silent(self.system.install(self.keeper))
        self.assert_store(POSTURE_1)

    def test_the_keeper_goes_after_the_last_module(self):
        self.system.install(self.core_1)
        self.system.remove(CORE)
        self.assert_silent(self.system.remove(KEEPER))
        self.assert_no_store()

    def test_modules_that_are_there_before_the_keeper_are_recorded_when_it_comes(self):
        self.forget_keeper()
        self.install_without_keeper(self.core_1)
        self.assert_no_store()
        self.assert_silent(self.system.install(self.keeper))
        self.assert_store(CORE_1)

    def test_a_machine_goes_over_from_scripts_to_none(self):
        self.forget_keeper()
        self.system.install(self.core_1_with_scripts)
        self.assert_store(CORE_1)
        self.system.install(self.keeper)
        self.assert_store(CORE_1)
        self.assert_silent(self.system.install(self.core_2))
        self.assert_store(CORE_2)
        self.assert_silent(self.system.remove(CORE))
        self.assert_no_store()


class DpkgTriggers(Triggers, unittest.TestCase):
    system = Dpkg()

    def forget_keeper(self):
        self.system.dpkg("--force-depends", "--remove", KEEPER)

    def install_without_keeper(self, package):
        self.system.dpkg("--force-depends", "--install", package)

    def test_a_purge_strikes_an_installed_module(self):
        self.system.install(self.core_1)
        self.assert_silent(self.system.dpkg("--purge", CORE))
        self.assert_no_store()

    def test_a_purge_of_the_keeper_takes_its_state_along(self):
        self.system.install(self.core_1)
        self.assertTrue(STATE.exists())
        self.system.dpkg("--force-depends", "--purge", KEEPER)
        self.assertFalse(STATE.exists())

    def test_a_purge_of_the_keeper_behind_the_last_module_leaves_nothing(self):
        self.system.install(self.core_1)
        self.system.remove(CORE)
        self.assertTrue(LOCK.exists())
        self.assert_silent(self.system.dpkg("--purge", KEEPER))
        self.assertFalse(ROOT.parent.exists())

    def test_a_purge_of_the_keeper_leaves_the_lock_of_a_store_that_is_there(self):
        self.system.install(self.core_1)
        self.system.dpkg("--force-depends", "--purge", KEEPER)
        self.assert_store(CORE_1)
        self.assertTrue(LOCK.exists())

    def test_a_purge_of_the_keeper_takes_no_lock_from_under_its_holder(self):
        self.system.install(self.core_1)
        self.system.remove(CORE)
        with LOCK.open() as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            self.assert_silent(self.system.dpkg("--purge", KEEPER))
            self.assertTrue(LOCK.exists())

    def test_an_upgrade_that_fails_in_the_middle_of_others_leaves_them_recorded(self):
        tree = self.packages / "failing"
        run("dpkg-deb", "--raw-extract", self.core_2, tree)
        (tree / "DEBIAN/preinst").write_text("#!/bin/sh\nexit 1\n")
        (tree / "DEBIAN/preinst").chmod(0o755)
        run("dpkg-deb", "--root-owner-group", "--build", tree, self.packages / "failing.deb")
        self.system.install(self.core_1)
        done = self.system.install(self.packages / "failing.deb", self.posture_1, check=False)
        self.assertNotEqual(0, done.returncode)
        self.system.dpkg("--configure", "--pending")
        self.assert_store(CORE_1 + POSTURE_1)


class RpmTriggers(Triggers, unittest.TestCase):
    system = Rpm()

    def forget_keeper(self):
        self.system.rpm("--erase", "--nodeps", KEEPER)

    def install_without_keeper(self, package):
        self.system.rpm("--upgrade", "--nodeps", package)

    def test_an_upgrade_that_fails_in_the_middle_of_others_leaves_them_recorded(self):
        failing = self.build_with_words("core-2", "failing", {"rpm/module.spec": ("%files", "%pre\nexit 1\n\n")})
        self.system.install(self.core_1)
        self.syncs()
        done = self.system.install(failing, self.posture_1, check=False)
        self.assertNotEqual(0, done.returncode)
        self.assertNotIn("obg-manifestctl: sync: ", done.stdout)
        self.assertEqual(1, self.syncs())
        self.assert_store(CORE_1 + POSTURE_1)

    def test_an_upgrade_whose_sync_cannot_be_remembered_is_two(self):
        self.system.install(self.core_1)
        self.syncs()
        run("mount", "-t", "tmpfs", "-o", "ro", "obg", DONE_FOR.parent)
        try:
            self.assert_silent(self.system.install(self.core_2))
        finally:
            run("umount", DONE_FOR.parent)
        self.assertEqual(2, self.syncs())
        self.assert_store(CORE_2)

    def test_the_keeper_takes_along_what_it_remembers(self):
        self.system.install(self.core_1)
        self.assertTrue(DONE_FOR.exists())
        self.forget_keeper()
        self.assertFalse(DONE_FOR.exists())

    def trigger(self):
        """The program of the triggers, run by this process as by one that runs transactions."""
        run(LIBEXEC / "obg-manifest/sync-once-after-transaction")
        return self.syncs()

    def lay_manifest(self):
        manifest = base.make_folder(ROOT / "manifest") / "core.xml"
        shutil.copy(SAMPLES / "core-1/root/manifest/core.xml", manifest)
        self.syncs()
        return manifest

    def test_two_triggers_of_one_process_over_the_same_manifests_are_one_sync(self):
        self.lay_manifest()
        self.assertEqual([1, 0], [self.trigger(), self.trigger()])

    def test_a_process_that_runs_several_transactions_syncs_after_each(self):
        manifest = self.lay_manifest()
        self.trigger()
        shutil.copy(manifest, manifest.with_name("new"))
        manifest.with_name("new").replace(manifest)
        self.assertEqual(1, self.trigger(), "an upgrade")
        shutil.rmtree(manifest.parent)
        self.assertEqual(1, self.trigger(), "the removal of the last module")
        self.assert_no_store()

    def test_a_later_process_of_the_same_number_syncs(self):
        self.lay_manifest()
        self.trigger()
        text, count = re.subn(r"(?m)^(process \d+ started )(\d+)$", r"\g<1>1\2", DONE_FOR.read_text())
        self.assertEqual(1, count)
        DONE_FOR.write_text(text)
        self.assertEqual(1, self.trigger())


class Build(unittest.TestCase):
    """The sample's build refuses a module that could not be recorded, and says where things must lie."""

    def setUp(self):
        self.module = SCRATCH / "module"
        shutil.rmtree(self.module, ignore_errors=True)
        shutil.copytree(SAMPLES / "core-1", self.module)
        self.manifest = self.module / "root/manifest/core.xml"

    def assert_refused(self, pattern):
        for system in ("deb", "rpm"):
            for options in ([], ["--without-scripts"]):
                out = SCRATCH / "refused"
                shutil.rmtree(out, ignore_errors=True)
                done = run(SAMPLES / "build", *options, system, self.module, out, check=False)
                self.assertEqual(1, done.returncode, done.stdout)
                self.assertRegex(done.stdout, pattern)
                self.assertEqual([], list(out.iterdir()))

    def test_a_manifest_that_lint_finds_fault_with(self):
        self.manifest.write_text(self.manifest.read_text().replace('"script"', '"skript"', 1))
        self.assert_refused(r"(?m)core\.xml:7:\d+: error: .*\n(.*\n)*.*core\.xml cannot be recorded as it is$")

    def test_a_manifest_under_another_name(self):
        self.manifest.rename(self.manifest.with_name("kernel.xml"))
        self.assert_refused(r"manifest of module core must be \S+/root/manifest/core\.xml, which is not there")

    def test_a_second_file_beside_the_manifest(self):
        self.manifest.with_name("notes.txt").touch()
        self.assert_refused(r"notes\.txt does not belong there: manifest/ is for core\.xml alone")

    def test_a_module_without_a_name(self):
        words = (self.module / "module").read_text().replace("MODULE=core\n", "")
        (self.module / "module").write_text(words)
        self.assert_refused(r"does not say MODULE=NAME")


class FromNothing(unittest.TestCase):
    """The module of three files in packaging/sample/README.md, typed as the page has it."""

    def test_the_page_makes_a_module_that_is_recorded(self):
        page = (SAMPLES / "README.md").read_text()
        commands = page.split("```sh\n", 1)[1].split("```", 1)[0]
        work = SCRATCH / "from-nothing"
        (work / "packaging").mkdir(parents=True)
        (work / "packaging/sample").symlink_to(SAMPLES)
        run("sh", "-euc", commands, cwd=work)
        package, = (work / "out").glob("*.deb")
        listed = run("dpkg-deb", "--contents", package).stdout
        self.assertEqual(3, len(re.findall(r"(?m)^-", listed)), listed)
        run("dpkg-deb", "--extract", package, work / "machine")
        done = run(TOOL.parent / "obg_manifestctl", "--root", work / "machine", "sync")
        self.assertEqual(0, done.returncode)
        listed = run(TOOL.parent / "obg_manifestctl", "--root", work / "machine", "list").stdout
        self.assertEqual(2, len(listed.splitlines()) - listed.startswith("ID"), listed)


def restore(kept, folder):
    """Gives the folder the files again that it has lost."""
    for entry in kept.iterdir():
        if not os.path.lexists(folder / entry.name):
            copy = shutil.copytree if entry.is_dir() and not entry.is_symlink() else shutil.copy2
            copy(entry, folder / entry.name)


def try_out(tool, samples):
    """Says which programs and which sample modules the tests are of."""
    global TOOL, SAMPLES
    TOOL, SAMPLES = base.TOOL, base.SAMPLES = tool, samples
    os.environ["OBG_MANIFESTCTL"] = str(tool.with_name("obg_manifestctl"))


def lay_private_machine():
    for covered in ("/var/lib", DONE_FOR.parent):
        run("mount", "-t", "tmpfs", "obg", covered)
    base.make_folder(Dpkg.database)
    base.lay_private_machine()
    base.cover(base.make_folder(LIBEXEC))


if __name__ == "__main__":
    base.enter_private_machine()
    lay_private_machine()
    try_out(Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve())
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
