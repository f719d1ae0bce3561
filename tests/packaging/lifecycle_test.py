#!/usr/bin/env python3
"""The sample modules under the real dpkg and the real rpm, at the real paths, from installation to removal.

usage: lifecycle_test.py TOOL SAMPLES [unittest arguments]

TOOL is the built obg_manifesttool, SAMPLES the folder packaging/sample. The tests run in a private mount namespace with
a tmpfs over /opt and over the tool's folder, and package databases of their own; the machine is left untouched.
"""

import hashlib
import os
import shutil
import struct
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

SCRATCH = Path("/opt/scratch")  # inside the private tmpfs
ROOT = Path("/opt/orvanta/brightgate")
STORE = ROOT / "VPNManifest.dat"
INSTALLED_TOOL = Path("/usr/bin/obg_manifesttool")
CORE = "brightgate-core"
POSTURE = "brightgate-posture"
EXE, SCRIPT = 2, 4

CORE_1 = [(EXE, "5.1.2.42", "VPNCore"), (SCRIPT, "5.1.2.42", "VPNAgent"), (SCRIPT, "5.1.2.42", "VPNRepair")]
CORE_2 = [(EXE, "5.1.4.74", "VPNCore"), (SCRIPT, "5.1.2.42", "VPNAgent"), (SCRIPT, "5.1.4.74", "VPNRoutes")]
POSTURE_1 = [(EXE, "5.1.4.74", "VPNPosture"), (SCRIPT, "5.1.4.74", "VPNPosture-rules")]


def added_first(entries, file_id):
    """The order that an upgrade leaves: what is new stands before what was struck and recorded again."""
    return sorted(entries, key=lambda entry: entry[2] != file_id)


def run(*command, check=True, **options):
    done = subprocess.run(
        [str(word) for word in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        text=True, **options)
    if check and done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}: status {done.returncode}\n{done.stdout}")
    return done


def field(text):
    return struct.pack("<I", len(text) + 1) + text.encode() + b"\0"


def store_bytes(entries):
    records = (struct.pack("<I", kind) + field(version) + field(file_id) for kind, version, file_id in entries)
    return struct.pack("<II", 1, 0) + b"".join(records)


class Dpkg:
    database = Path("/var/lib/dpkg")
    suffix = "_all.deb"
    options = ("--log=/dev/null", "--force-unsafe-io")

    def create_database(self):
        for folder in ("info", "updates", "triggers"):
            (self.database / folder).mkdir()
        (self.database / "available").touch()
        # On every machine a package owns /opt, so that no other one's removal takes it away. It needs a file of its
        # own: a package that consists of folders alone disappears when another one has them all.
        (self.database / "status").write_text(
            "Package: base-files\nStatus: install ok installed\nVersion: 1\nArchitecture: all\n"
            "Maintainer: nobody <nobody@example.org>\nDescription: the folders of every machine\n")
        (self.database / "info/base-files.md5sums").touch()
        (self.database / "info/base-files.list").write_text("/.\n/etc\n/etc/passwd\n/opt\n/usr\n/usr/bin\n")

    def build_tool(self, tool, out):
        tree = SCRATCH / "tool-deb"
        (tree / "DEBIAN").mkdir(parents=True)
        (tree / "DEBIAN/control").write_text(
            "Package: obg-manifesttool\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@example.org>\n"
            "Description: the tool under test\n")
        (tree / "usr/bin").mkdir(parents=True)
        shutil.copy(tool, tree / "usr/bin/obg_manifesttool")
        run("dpkg-deb", "--root-owner-group", "-Znone", "--build", tree, out / "tool.deb")
        return out / "tool.deb"

    def dpkg(self, *arguments, check=True):
        return run("dpkg", *self.options, *arguments, check=check)

    def install(self, *packages, check=True):
        return self.dpkg("--install", *packages, check=check)

    reinstall = downgrade = install

    def install_without_root(self, package):
        return self.dpkg("--path-exclude=/opt/*", "--install", package)

    def install_without_tool(self, package):
        return self.dpkg("--force-depends", "--install", package)

    def remove(self, *names):
        return self.dpkg("--remove", *names)

    def state(self, name):
        """The version, when the package is installed and its files are as they were packed."""
        shown = run("dpkg-query", "-W", "-f", "${db:Status-Status} ${Version}", name, check=False)
        if shown.returncode != 0:
            return None
        status, version = shown.stdout.split(" ", 1)
        if status == "installed":
            return version
        return status if status != "not-installed" else None

    def damage(self):
        return run("dpkg", "--audit").stdout

    def run_script_again(self, name):
        return run(self.database / "info" / f"{name}.postinst", "configure", "1",
                   env={**os.environ, "DPKG_MAINTSCRIPT_PACKAGE": name})


class Rpm:
    database = SCRATCH / "rpm-database"
    suffix = "-1.noarch.rpm"

    def create_database(self):
        self.database.mkdir()
        self.rpm("--initdb")

    def build_tool(self, tool, out):
        work = SCRATCH / "tool-rpm"
        work.mkdir()
        # Nothing else of a machine stands in this database, so the package also provides what the scripts run.
        (work / "tool.spec").write_text(
            "Name: obg-manifesttool\nVersion: 1\nRelease: 1\nSummary: the tool under test\nLicense: none\n"
            "BuildArch: noarch\nAutoReqProv: no\nProvides: /bin/sh coreutils diffutils grep\n"
            "%description\n%install\nmkdir -p %{buildroot}/usr/bin\n"
            f"cp {tool} %{{buildroot}}/usr/bin/obg_manifesttool\n%files\n/usr/bin/obg_manifesttool\n")
        run("rpmbuild", "-bb", "--quiet", "--define", f"_topdir {work}", "--define", f"_rpmdir {out}",
            "--define", "__os_install_post %{nil}", "--define", "_binary_payload w0.gzdio",
            "--define", "_binaries_in_noarch_packages_terminate_build 0",
            "--define", "_build_name_fmt tool.rpm", work / "tool.spec")
        return out / "tool.rpm"

    def rpm(self, *arguments, check=True):
        return run("rpm", "--dbpath", self.database, *arguments, check=check)

    def install(self, *packages, check=True):
        return self.rpm("--upgrade", *packages, check=check)

    def reinstall(self, package):
        return self.rpm("--reinstall", package)

    def downgrade(self, package):
        return self.rpm("--upgrade", "--oldpackage", package)

    def install_without_root(self, package):
        return self.rpm("--upgrade", "--excludepath", "/opt", package)

    def install_without_tool(self, package):
        return self.rpm("--upgrade", "--nodeps", package)

    def remove(self, *names):
        return self.rpm("--erase", *names)

    def state(self, name):
        shown = self.rpm("--query", "--qf", "%{VERSION}\\n", name, check=False)
        return shown.stdout.strip() if shown.returncode == 0 else None

    def damage(self):
        return self.rpm("--verify", "--all", "--nodeps", check=False).stdout

    def run_script_again(self, name):
        script = self.rpm("--query", "--qf", "%{POSTIN}", name).stdout
        return run("sh", "-c", script, "post", "1")


class Lifecycle:
    """What holds under both package systems. `system` is one of the two above."""

    system = None

    @classmethod
    def setUpClass(cls):
        cls.packages = SCRATCH / cls.__name__
        cls.packages.mkdir()
        cls.system.create_database()
        cls.system.install(cls.system.build_tool(TOOL, cls.packages))
        shutil.copytree(cls.system.database, cls.packages / "database")
        shutil.copy2(INSTALLED_TOOL, cls.packages / "tool")

        cls.core_1 = cls.build(SAMPLES / "core-1")
        cls.core_2 = cls.build(SAMPLES / "core-2")
        cls.posture_1 = cls.build(SAMPLES / "posture-1")
        cls.core_broken = cls.build(
            cls.changed("core-2", "5.1.5.0", lambda xml: xml.replace('"script"', '"skript"')), judge="true")
        # The file that version 2 of the core drops has moved to the posture module.
        cls.posture_with_repair = cls.build(cls.changed(
            "posture-1", "5.1.5.0", lambda xml: xml.replace("VPNPosture-rules", "VPNRepair")))

    @classmethod
    def changed(cls, module, version, change):
        """A copy of a module folder with another version and a changed manifest."""
        copy = cls.packages / f"{module}-{version}"
        shutil.copytree(SAMPLES / module, copy)
        words = (copy / "module").read_text().splitlines()
        (copy / "module").write_text(
            "\n".join(f"VERSION={version}" if word.startswith("VERSION=") else word for word in words) + "\n")
        manifest, = (copy / "root/manifest").iterdir()
        manifest.write_text(change(manifest.read_text()))
        return copy

    @classmethod
    def build(cls, module, judge=None):
        """Builds the module's package. `judge` stands in for obg_manifestctl, to get a module that it would refuse."""
        before = set(cls.packages.iterdir())
        environment = os.environ | ({"OBG_MANIFESTCTL": judge} if judge else {})
        run(SAMPLES / "build", cls.system.suffix.rsplit(".", 1)[1], module, cls.packages, env=environment)
        package, = set(cls.packages.iterdir()) - before
        return package

    def setUp(self):
        empty_folder(self.system.database)
        shutil.copytree(self.packages / "database", self.system.database, dirs_exist_ok=True)
        shutil.copy2(self.packages / "tool", INSTALLED_TOOL)
        shutil.rmtree(ROOT.parent, ignore_errors=True)

    def assert_store(self, entries):
        self.assertEqual(store_bytes(entries).hex(" "), STORE.read_bytes().hex(" "))

    def assert_no_store(self):
        self.assertFalse(STORE.exists())

    def assert_installed(self, name, version):
        self.assertEqual(version, self.system.state(name))
        self.assertEqual("", self.system.damage())

    def assert_clean(self):
        """Nothing of the client is left on the machine."""
        self.assertFalse(ROOT.parent.exists(), list(ROOT.parent.rglob("*")))

    def assert_silent(self, done):
        self.assertEqual([], self.complaints(done))

    def assert_complains_once(self, done, pattern):
        self.assertEqual(0, done.returncode)
        self.assertEqual(1, len(self.complaints(done)), done.stdout)
        self.assertRegex(done.stdout, f"(?m)^{pattern}$")

    @staticmethod
    def complaints(done):
        return [line for line in done.stdout.splitlines() if "brightgate-" in line and "obg_manifesttool -" in line]

    def test_a_fresh_installation_records_the_module(self):
        self.assert_silent(self.system.install(self.core_1))
        self.assert_installed(CORE, "5.1.2.42")
        self.assert_store(CORE_1)

    def test_a_reinstallation_leaves_the_store_as_it_was(self):
        self.system.install(self.core_1)
        self.assert_silent(self.system.reinstall(self.core_1))
        self.assert_installed(CORE, "5.1.2.42")
        self.assert_store(CORE_1)

    def test_an_upgrade_records_the_new_ids_and_strikes_the_dropped_one(self):
        self.system.install(self.core_1)
        self.assert_silent(self.system.install(self.core_2))
        self.assert_installed(CORE, "5.1.4.74")
        self.assert_store(added_first(CORE_2, "VPNRoutes"))
        self.assertFalse((ROOT / "bin/brightgate-repair").exists())

    def test_a_downgrade_strikes_what_only_the_newer_version_had(self):
        self.system.install(self.core_2)
        self.assert_silent(self.system.downgrade(self.core_1))
        self.assert_installed(CORE, "5.1.2.42")
        self.assert_store(added_first(CORE_1, "VPNRepair"))

    def test_a_removal_leaves_nothing_behind(self):
        self.system.install(self.core_1)
        self.system.install(self.core_2)
        self.assert_silent(self.system.remove(CORE))
        self.assert_clean()

    def test_a_removal_while_another_module_stays(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_1)
        self.assert_store(CORE_1 + POSTURE_1)
        self.assert_silent(self.system.remove(CORE))
        self.assert_store(POSTURE_1)
        self.assert_installed(POSTURE, "5.1.4.74")
        self.assert_silent(self.system.remove(POSTURE))
        self.assert_clean()

    def test_an_upgrade_while_another_module_stays(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_1)
        self.assert_silent(self.system.install(self.core_2))
        self.assert_store(POSTURE_1 + added_first(CORE_2, "VPNRoutes"))
        self.assert_installed(POSTURE, "5.1.4.74")

    def test_a_module_installed_again_after_its_removal(self):
        self.system.install(self.core_2)
        self.system.remove(CORE)
        self.assert_silent(self.system.install(self.core_1))
        self.assert_store(CORE_1)

    def test_everything_removed_at_once_with_the_tool(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_1)
        self.assert_silent(self.system.remove("obg-manifesttool", POSTURE, CORE))
        self.assert_clean()

    def test_a_second_run_of_the_same_script_is_harmless(self):
        self.system.install(self.core_1)
        self.system.install(self.core_2, self.posture_1)
        before = STORE.read_bytes()
        self.assert_silent(self.system.run_script_again(CORE))
        self.assertEqual(before, STORE.read_bytes())

    def test_an_id_that_moved_to_another_module_survives_the_upgrade_that_drops_it(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_with_repair)
        self.assert_silent(self.system.install(self.core_2))
        self.assertIn(field("5.1.4.74") + field("VPNRepair"), STORE.read_bytes())
        self.assert_silent(self.system.remove(CORE))
        self.assert_store([(EXE, "5.1.4.74", "VPNPosture"), (SCRIPT, "5.1.4.74", "VPNRepair")])

    def test_a_broken_manifest_is_one_line_and_leaves_the_store_alone(self):
        self.system.install(self.posture_1)
        self.assert_complains_once(
            self.system.install(self.core_broken),
            r"brightgate-core: obg_manifesttool -i /opt/orvanta/brightgate/manifest/core\.xml: status 4: "
            r"\S+ \S+ obg_manifesttool\[\d+\]: \[ERROR\] Function: parseManifestFile .* Unknown \"type\" attribute")
        self.assert_installed(CORE, "5.1.5.0")
        self.assert_store(POSTURE_1)
        self.assert_silent(self.system.remove(CORE))
        self.assert_store(POSTURE_1)

    def test_an_upgrade_to_a_broken_manifest_keeps_the_old_entries_until_a_good_one_comes(self):
        self.system.install(self.core_1)
        self.assert_complains_once(self.system.install(self.core_broken), r"brightgate-core: .* status 4: .*")
        self.assert_installed(CORE, "5.1.5.0")
        self.assert_store(CORE_1)
        self.assert_silent(self.system.downgrade(self.core_2))
        self.assert_store(added_first(CORE_2, "VPNRoutes"))

    def test_a_removal_after_an_upgrade_to_a_broken_manifest_strikes_the_old_entries(self):
        self.system.install(self.core_1)
        self.system.install(self.core_broken)
        self.assert_silent(self.system.remove(CORE))
        self.assert_clean()

    def test_a_machine_without_the_install_root(self):
        self.assert_complains_once(
            self.system.install_without_root(self.core_1),
            r"brightgate-core: obg_manifesttool -i /opt/orvanta/brightgate/manifest/core\.xml: status 4: "
            r".*\[ERROR\] Function: readManifestFile .*")
        self.assertEqual("5.1.2.42", self.system.state(CORE))
        self.assert_silent(self.system.remove(CORE))
        self.assertIn(self.system.state(CORE), (None, "config-files"))

    def test_a_module_whose_files_an_administrator_has_deleted_can_be_removed(self):
        self.system.install(self.core_1)
        shutil.rmtree(ROOT.parent)
        self.assert_silent(self.system.remove(CORE))
        self.assertIn(self.system.state(CORE), (None, "config-files"))

    def test_a_machine_without_the_tool(self):
        INSTALLED_TOOL.unlink()
        self.assert_complains_once(
            self.system.install_without_tool(self.core_1),
            r"brightgate-core: obg_manifesttool -i /opt/orvanta/brightgate/manifest/core\.xml: status 127: "
            r".*obg_manifesttool: .*")
        self.assertEqual("5.1.2.42", self.system.state(CORE))
        self.assert_no_store()

    def test_a_store_that_cannot_be_written_is_made_up_for_by_a_reinstallation(self):
        STORE.mkdir(parents=True)
        (STORE / "keep").touch()
        self.assert_complains_once(
            self.system.install(self.core_1),
            r"brightgate-core: obg_manifesttool -i /opt/orvanta/brightgate/manifest/core\.xml: status 5: "
            r".*\[ERROR\] Function: WriteFile .*")
        self.assert_installed(CORE, "5.1.2.42")
        shutil.rmtree(STORE)
        self.assert_silent(self.system.reinstall(self.core_1))
        self.assert_store(CORE_1)

    def test_nothing_is_recorded_that_could_not_be_struck_later(self):
        """A disk without room for the copy of the manifest."""
        run("mount", "-t", "tmpfs", "-o", "size=64k", "obg", make_folder(ROOT / "manifest"))
        try:
            self.system.install(self.core_1)
            with self.assertRaises(OSError), open(ROOT / "manifest/ballast", "wb") as ballast:
                ballast.write(bytes(1 << 20))
            manifest = ROOT / "manifest/core.xml"
            manifest.write_text(manifest.read_text().replace("VPNRepair", "VPNExtra!"))
            done = self.system.run_script_again(CORE)
            self.assertRegex(done.stdout, r"^cp: .*/manifest/core\.xml\.pending.*: No space left on device\n$")
            self.assert_store(CORE_1)
            self.assertFalse((ROOT / "manifest/core.xml.pending").exists())
        finally:
            run("umount", ROOT / "manifest")

    def test_a_failed_strike_does_not_hold_up_the_removal_and_is_made_up_for_later(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_1)
        with read_only(STORE):
            self.assert_complains_once(
                self.system.remove(CORE),
                r"brightgate-core: obg_manifesttool -x /opt/orvanta/brightgate/manifest/core\.xml\.recorded: status 5: "
                r".*\[ERROR\] .*Read-only file system.*")
        self.assertIn(self.system.state(CORE), (None, "config-files"))
        self.assert_store(CORE_1 + POSTURE_1)
        self.assert_silent(self.system.install(self.core_2))
        self.assert_store(POSTURE_1 + added_first(CORE_2, "VPNRoutes"))

    def test_a_store_that_could_not_be_deleted_counts_as_a_failed_strike(self):
        self.system.install(self.core_1)
        with read_only(STORE):
            self.assert_complains_once(
                self.system.remove(CORE), r"brightgate-core: .*\.recorded: status 0: .* Invoked Function: remove .*")
        self.system.install(self.core_2)
        self.assert_silent(self.system.remove(CORE))
        self.assert_clean()

    def test_an_upgrade_that_could_not_strike_is_made_up_for_by_the_removal(self):
        self.system.install(self.core_1)
        with tool_that_fails_to("-x"):
            self.assert_complains_once(self.system.install(self.core_2), r"brightgate-core: .*\.recorded: status 5: .*")
        self.assert_installed(CORE, "5.1.4.74")
        self.assertIn(field("VPNRepair"), STORE.read_bytes())
        self.assert_silent(self.system.remove(CORE))
        self.assert_clean()

    def test_an_upgrade_that_could_not_strike_is_made_up_for_by_a_reinstallation(self):
        self.system.install(self.core_1)
        with tool_that_fails_to("-x"):
            self.system.install(self.core_2)
        self.assert_silent(self.system.reinstall(self.core_2))
        self.assert_store(added_first(CORE_2, "VPNRoutes"))

    def test_what_a_killed_script_may_have_recorded_is_struck(self):
        self.system.install(self.core_1)
        manifest = ROOT / "manifest/core.xml"
        shutil.copy(SAMPLES / "core-2/root/manifest/core.xml", f"{manifest}.pending")
        run("obg_manifesttool", "-i", ROOT, f"{manifest}.pending")
        self.assert_silent(self.system.remove(CORE))
        self.assert_clean()

    def test_what_an_unfinished_version_may_have_recorded_is_struck_by_the_next_one(self):
        self.system.install(self.core_1)
        pending = ROOT / "manifest/core.xml.pending"
        pending.write_text((ROOT / "manifest/core.xml").read_text().replace("VPNRepair", "VPNUnfinished"))
        run("obg_manifesttool", "-i", ROOT, pending)
        self.assertIn(field("VPNUnfinished"), STORE.read_bytes())
        self.assert_silent(self.system.install(self.core_2))
        self.assert_store(added_first(CORE_2, "VPNRoutes"))
        self.assertFalse(pending.exists())

    def test_a_removal_without_a_store_is_silent(self):
        self.system.install(self.core_1)
        STORE.unlink()
        self.assert_silent(self.system.remove(CORE))
        self.assert_clean()

    def test_a_damaged_store_is_reported_and_recorded_anew(self):
        self.system.install(self.core_1)
        STORE.write_bytes(STORE.read_bytes()[:-3])
        self.assert_complains_once(self.system.reinstall(self.core_1), r"brightgate-core: .* status 0: .*\[ERROR\] .*")
        self.assert_store(CORE_1)


    def test_a_damaged_store_gets_the_entries_of_all_modules_back(self):
        for change, entries in ((self.system.reinstall, CORE_1 + POSTURE_1),
                                (lambda _: self.system.remove(CORE), POSTURE_1)):
            with self.subTest(entries=entries):
                self.setUp()
                self.system.install(self.core_1)
                self.system.install(self.posture_1)
                STORE.write_bytes(STORE.read_bytes()[:-3])
                self.assert_complains_once(change(self.core_1), r"brightgate-core: .* status 0: .*\[ERROR\] .*")
                self.assert_store(entries)
                self.assertEqual(CORE_1 == entries[:3], (ROOT / "manifest/core.xml.recorded").exists())


class DpkgLifecycle(Lifecycle, unittest.TestCase):
    system = Dpkg()

    def script(self, name, *arguments):
        return run(self.system.database / "info" / f"{CORE}.{name}", *arguments)

    def repack(self, package, name, change):
        """A package with other control files: change(the folder DEBIAN)."""
        tree = self.packages / f"{name}-tree"
        run("dpkg-deb", "--raw-extract", package, tree)
        change(tree / "DEBIAN")
        run("dpkg-deb", "--root-owner-group", "--build", tree, self.packages / f"{name}.deb")
        shutil.rmtree(tree)
        return self.packages / f"{name}.deb"

    def test_a_purge_after_the_removal_leaves_nothing_in_the_database(self):
        self.system.install(self.core_1)
        self.system.remove(CORE)
        self.assertIn(self.system.state(CORE), (None, "config-files"))
        self.assert_silent(self.system.dpkg("--purge", CORE))
        self.assertIsNone(self.system.state(CORE))
        self.assert_clean()

    def test_a_purge_of_an_installed_module(self):
        self.system.install(self.core_1)
        self.assert_silent(self.system.dpkg("--purge", CORE))
        self.assertIsNone(self.system.state(CORE))
        self.assert_clean()

    def test_a_purge_strikes_what_the_removal_could_not(self):
        self.system.install(self.core_1)
        self.system.install(self.posture_1)
        with read_only(STORE):
            self.system.remove(CORE)
        self.assert_silent(self.system.dpkg("--purge", CORE))
        self.assert_store(POSTURE_1)

    def test_an_upgrade_that_was_unpacked_but_never_configured_can_be_removed(self):
        self.system.install(self.core_1)
        self.system.dpkg("--unpack", self.core_2)
        self.assert_store(CORE_1)
        self.assert_silent(self.system.remove(CORE))
        self.assert_no_store()
        self.assert_silent(self.system.dpkg("--purge", CORE))
        self.assert_clean()

    def test_an_interrupted_upgrade_is_finished_by_configure(self):
        self.system.install(self.core_1)
        self.system.dpkg("--unpack", self.core_2)
        self.assert_silent(self.system.dpkg("--configure", "--pending"))
        self.assert_installed(CORE, "5.1.4.74")
        self.assert_store(added_first(CORE_2, "VPNRoutes"))

    def test_an_upgrade_that_is_aborted_leaves_the_old_version_recorded(self):
        def fail(control):
            (control / "preinst").write_text("#!/bin/sh\nexit 1\n")
            (control / "preinst").chmod(0o755)

        self.system.install(self.core_1)
        failed = self.system.install(self.repack(self.core_2, "core-fails", fail), check=False)
        self.assertNotEqual(0, failed.returncode)
        self.assert_silent(failed)
        self.assert_installed(CORE, "5.1.2.42")
        self.assert_store(CORE_1)

    def test_a_removal_that_is_aborted_records_the_module_again(self):
        self.system.install(self.core_1)
        self.script("prerm", "remove")
        self.assert_no_store()
        self.script("postinst", "abort-remove")
        self.assert_store(CORE_1)

    def test_a_module_that_makes_way_for_another_package_is_struck(self):
        def conflict(control):
            text = (control / "control").read_text()
            (control / "control").write_text(text.replace(
                "Depends:", "Conflicts: brightgate-core\nReplaces: brightgate-core\nDepends:"))

        self.system.install(self.core_1)
        self.assert_silent(self.system.install(self.repack(self.posture_1, "posture-conflicts", conflict)))
        self.assertIn(self.system.state(CORE), (None, "config-files"))
        self.assert_store(POSTURE_1)

    def test_a_deconfigured_module_stays_recorded(self):
        def break_core(control):
            text = (control / "control").read_text()
            (control / "control").write_text(text.replace("Depends:", "Breaks: brightgate-core (<< 5.1.4)\nDepends:"))

        self.system.install(self.core_1)
        package = self.repack(self.posture_1, "posture-breaks", break_core)
        self.system.dpkg("--auto-deconfigure", "--unpack", package)
        self.assertEqual("half-configured", self.system.state(CORE))
        self.assert_store(CORE_1)
        self.assert_silent(self.system.install(self.core_2))
        self.assert_silent(self.system.dpkg("--configure", "--pending"))
        self.assert_store(added_first(CORE_2, "VPNRoutes") + POSTURE_1)

    def test_a_module_that_disappears_into_another_package(self):
        def take_over(control):
            text = (control / "control").read_text()
            text = text.replace("Package: brightgate-core", "Package: brightgate-suite")
            (control / "control").write_text(text.replace("Depends:", "Replaces: brightgate-core\nDepends:"))

        self.system.install(self.core_1)
        self.assert_silent(self.system.install(self.repack(self.core_1, "suite", take_over)))
        self.assertIsNone(self.system.state(CORE))
        self.assert_store(CORE_1)


class RpmLifecycle(Lifecycle, unittest.TestCase):
    system = Rpm()

    def test_the_older_of_two_installed_versions_can_be_erased(self):
        self.system.install(self.core_1)
        self.system.rpm("--install", "--force", self.core_2)
        self.assert_silent(self.system.remove(f"{CORE}-5.1.2.42"))
        self.assert_installed(CORE, "5.1.4.74")
        self.assert_store(added_first(CORE_2, "VPNRoutes"))

    def test_both_modules_and_the_upgrade_in_one_transaction(self):
        self.system.install(self.core_1)
        self.assert_silent(self.system.install(self.core_2, self.posture_1))
        self.assertEqual(len(store_bytes(CORE_2 + POSTURE_1)), STORE.stat().st_size)
        self.assertNotIn(field("VPNRepair"), STORE.read_bytes())
        self.assert_silent(self.system.remove(CORE, POSTURE))
        self.assert_clean()


class Sources(unittest.TestCase):
    """Scripts, manifests and man pages by themselves, without a package system."""

    def test_the_sums_in_the_manifests_are_those_of_the_files(self):
        manifests = list(SAMPLES.glob("*/root/manifest/*.xml"))
        self.assertEqual(3, len(manifests))
        for manifest in manifests:
            for entry in ElementTree.parse(manifest).getroot():
                listed = manifest.parents[1] / entry.findtext("uri")
                self.assertEqual(hashlib.sha256(listed.read_bytes()).hexdigest(), entry.findtext("hash"), listed)

    def test_the_man_pages_have_no_lint(self):
        pages = sorted((SAMPLES.parent / "man").iterdir())
        self.assertEqual(4, len(pages))
        lint = run("mandoc", "-T", "lint", *(page.name for page in pages), cwd=SAMPLES.parent / "man", check=False)
        self.assertEqual("", lint.stdout)

    def test_the_example_of_the_man_page_does_what_the_page_says(self):
        page = (SAMPLES.parent / "man/obg_manifesttool.1").read_text()
        example = page.split("In its shortest form")[1].split(".Bd -literal -offset indent\n")[1].split(".Ed\n")[0]
        script = SCRATCH / "example"
        script.write_text("#!/bin/sh\nset -eu\n" + example)
        run("shellcheck", script)
        shutil.copy(TOOL, INSTALLED_TOOL)
        shutil.rmtree(ROOT.parent, ignore_errors=True)
        manifest = make_folder(ROOT / "manifest") / "core.xml"

        for version, entries in (("core-1", CORE_1), ("core-2", added_first(CORE_2, "VPNRoutes"))):
            shutil.copy(SAMPLES / version / "root/manifest/core.xml", manifest)
            self.assertEqual("", run("dash", script).stdout)
            self.assertEqual(store_bytes(entries), STORE.read_bytes())
        manifest.write_text("<vpn")
        self.assertIn(f"core: {manifest} is not recorded: ", run("dash", script).stdout)
        self.assertEqual(store_bytes(entries), STORE.read_bytes())

    def test_shellcheck_has_nothing_to_say_about_the_finished_scripts(self):
        out = SCRATCH / "scripts"
        run(SAMPLES / "build", "deb", SAMPLES / "core-1", out)
        run("dpkg-deb", "--control", next(out.glob("*.deb")), out / "deb")
        scripts = [out / "deb" / name for name in ("postinst", "prerm", "postrm")]
        run(SAMPLES / "build", "rpm", SAMPLES / "core-1", out)
        for tag in ("POSTIN", "PREUN", "POSTUN"):
            script = run("rpm", "--query", "--package", "--qf", f"%{{{tag}}}", next(out.glob("*.rpm"))).stdout
            (out / tag).write_text("#!/bin/sh\n" + script)
            scripts.append(out / tag)
        run("shellcheck", *scripts, SAMPLES / "build")
        for script in scripts:
            run("dash", "-n", script)


class read_only:
    """Nobody, not even root, can write or delete the file within this scope."""

    def __init__(self, path):
        self.path = path

    def __enter__(self):
        run("mount", "--bind", self.path, self.path)
        run("mount", "-o", "remount,bind,ro", self.path)

    def __exit__(self, *_):
        run("umount", self.path)


class tool_that_fails_to:
    """The tool as it is where the store cannot be written, for one of its two modes."""

    def __init__(self, mode):
        self.mode = mode

    def __enter__(self):
        shutil.move(INSTALLED_TOOL, SCRATCH / "tool")
        INSTALLED_TOOL.write_text(
            f'#!/bin/sh\n[ "$1" != {self.mode} ] || {{ echo "[ERROR] store not written"; exit 5; }}\n'
            f'exec {SCRATCH}/tool "$@"\n')
        INSTALLED_TOOL.chmod(0o755)

    def __exit__(self, *_):
        shutil.move(SCRATCH / "tool", INSTALLED_TOOL)


def make_folder(path):
    path.mkdir(parents=True, exist_ok=True)
    return path


def empty_folder(path):
    for entry in path.iterdir():
        shutil.rmtree(entry) if entry.is_dir() else entry.unlink()


def enter_private_machine():
    """Runs this script again in a mount namespace of its own, as root there."""
    if os.environ.get("OBG_PRIVATE_MACHINE") == "yes":
        return
    os.environ["OBG_PRIVATE_MACHINE"] = "yes"
    private = Path(__file__).resolve().parents[2] / "script/private"
    os.execv(private, [private, sys.executable, *sys.argv])


def lay_private_machine():
    """Covers every folder that the packages or the package systems write to."""
    SCRATCH.mkdir()
    if Dpkg.database.exists():
        run("mount", "-t", "tmpfs", "obg", Dpkg.database)
    cover(INSTALLED_TOOL.parent)


def cover(folder):
    """The folder stays what it was, but for what is added to it."""
    original = make_folder(SCRATCH / folder.name)
    run("mount", "--bind", folder, original)
    run("mount", "-t", "tmpfs", "obg", folder)
    for entry in original.iterdir():
        (folder / entry.name).symlink_to(entry)


if __name__ == "__main__":
    TOOL, SAMPLES = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    os.environ["OBG_MANIFESTCTL"] = str(TOOL.with_name("obg_manifestctl"))
    enter_private_machine()
    lay_private_machine()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
