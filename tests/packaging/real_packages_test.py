#!/usr/bin/env python3
"""The packages as they are delivered, under the real dpkg and the real rpm: what holds of modules without maintainer
scripts, and what becomes of the packages themselves.

usage: real_packages_test.py PACKAGES [unittest arguments]

PACKAGES is the folder that script/package has filled with debs and rpms. As root. The private machine is that of
triggers_test.py; what the packages depend on are packages of the versions that this machine has.
"""
import os
import re
import shutil
import sys
import sysconfig
import unittest
from pathlib import Path

import lifecycle_test as base
import triggers_test
from lifecycle_test import CORE_1, CORE_2, SCRATCH, run
from triggers_test import KEEPER

SAMPLES = Path(__file__).resolve().parents[2] / "packaging/sample"
PROGRAMS = SCRATCH / "programs"
TOOL = "obg-manifesttool"
INSTALLED_KEEPER = Path("/usr/bin/obg_manifestctl")
SBIN = Path("/usr/sbin")
MACHINES_DPKG = Path("/opt/dpkg")


def package(name, suffix):
    """The one package of that name among the delivered ones."""
    found, = (path for path in PACKAGES.glob(f"{name}[-_][0-9]*{suffix}"))
    return found


def files_of(listing):
    return [path for path in map(Path, listing.splitlines()) if path.is_file()]


class Dpkg(triggers_test.Dpkg):
    # An administrator's file, which only a purge takes away.
    kept = [Path("/etc/ansible/facts.d/obg_manifest.fact")]

    def create_database(self):
        super().create_database()
        for name in sorted(self.dependencies()):
            self.add_as_installed(name)

    @staticmethod
    def dependencies():
        """The packages of other sources that the delivered ones depend on."""
        lists = (run("dpkg-deb", "--field", package(name, ".deb"), "Depends").stdout for name in (TOOL, KEEPER))
        return {words.split()[0] for words in ",".join(lists).split(",")} - {TOOL}

    def add_as_installed(self, name):
        architecture = run("dpkg", "--print-architecture").stdout.strip()
        stanza = run("dpkg-query", "--admindir", MACHINES_DPKG, "--show", "--showformat",
                     "\nPackage: ${Package}\nStatus: ${Status}\nVersion: ${Version}\nArchitecture: ${Architecture}\n"
                     "Maintainer: nobody <nobody@example.org>\nDescription: of this machine\n",
                     f"{name}:{architecture}").stdout
        with (self.database / "status").open("a") as status:
            status.write(stanza)
        (self.database / f"info/{name}.list").write_text("/.\n")
        (self.database / f"info/{name}.md5sums").touch()

    def damage(self):
        return run("dpkg", "--verify", TOOL, KEEPER, check=False).stdout

    def files(self, name):
        return files_of(run("dpkg-query", "--listfiles", name).stdout)

    def build_tool(self, _tool, _out):
        return package(TOOL, ".deb")

    def build_keeper(self, _out):
        return package(KEEPER, ".deb")


class Rpm(triggers_test.Rpm):
    kept = []

    def create_database(self):
        super().create_database()
        work = SCRATCH / "machine-rpm"
        work.mkdir()
        provides = "".join(f"Provides: {capability}\n" for capability in self.capabilities())
        (work / "machine.spec").write_text(
            "Name: machine\nVersion: 1\nRelease: 1\nSummary: what this machine has\nLicense: none\nBuildArch: noarch\n"
            f"AutoReqProv: no\nProvides: /bin/sh coreutils diffutils grep\n{provides}%description\n%files\n")
        run("rpmbuild", "-bb", "--quiet", "--define", f"_topdir {work}", "--define", f"_rpmdir {work}",
            "--define", "_build_name_fmt machine.rpm", work / "machine.spec")
        self.rpm("--upgrade", work / "machine.rpm")

    @staticmethod
    def capabilities():
        """What this machine's libraries provide of those that the delivered packages name."""
        required = "".join(run("rpm", "--query", "--requires", "--package", package(name, ".rpm")).stdout
                           for name in (TOOL, KEEPER))
        for library in sorted(set(re.findall(r"(?m)^(\S+\.so\.[0-9.]+)\(", required))):
            path = Path("/usr/lib", sysconfig.get_config_var("MULTIARCH"), library)
            yield from run("/usr/lib/rpm/elfdeps", "--provides", path).stdout.split()
        yield "rtld(GNU_HASH)"

    def damage(self):
        return self.rpm("--verify", TOOL, KEEPER, check=False).stdout

    def files(self, name):
        return files_of(self.rpm("--query", "--list", name).stdout)

    def build_tool(self, _tool, _out):
        return package(TOOL, ".rpm")

    def build_keeper(self, _out):
        return package(KEEPER, ".rpm")


class Delivered:
    """What holds of the delivered packages beyond what holds of modules."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.earlier_keeper = cls.earlier.build_keeper(base.make_folder(cls.packages / "earlier"))

    def setUp(self):
        # What the earlier release has left is not what is restored.
        INSTALLED_KEEPER.unlink(missing_ok=True)
        shutil.rmtree(triggers_test.LIBEXEC / "obg-manifest", ignore_errors=True)
        super().setUp()

    def go_back(self):
        """Has the package as an earlier release, with a module."""
        self.forget_keeper()
        self.system.install(self.earlier_keeper)
        self.system.install(self.core_1)
        self.syncs()

    def test_an_upgrade_of_the_package_leaves_the_store_as_it_was(self):
        self.go_back()
        self.assert_silent(self.system.install(self.keeper))
        self.assert_store(CORE_1)

    def test_an_upgrade_of_the_package_and_of_a_module_in_one_transaction(self):
        self.go_back()
        self.assert_silent(self.system.install(self.keeper, self.core_2))
        self.assert_store(CORE_2)

    def test_the_files_are_there_and_go_with_the_package(self):
        self.forget_keeper()
        self.system.install(self.keeper)
        self.assertEqual("", self.system.damage())
        files = self.system.files(KEEPER)
        self.assertIn(INSTALLED_KEEPER, files)
        self.forget_keeper()
        self.assertEqual([], [file for file in files if file.exists() and file not in self.system.kept])


class DpkgDelivered(Delivered, triggers_test.DpkgTriggers):
    system = Dpkg()
    earlier = triggers_test.Dpkg()


class RpmDelivered(Delivered, triggers_test.RpmTriggers):
    system = Rpm()
    earlier = triggers_test.Rpm()


def lay_private_machine():
    base.make_folder(MACHINES_DPKG)
    run("mount", "--bind", Dpkg.database, MACHINES_DPKG)
    triggers_test.lay_private_machine()
    for folder in map(Path, ("/etc", "/usr/lib", "/usr/share")):
        layers = base.make_folder(SCRATCH / "layers" / folder.name)
        upper, work = base.make_folder(layers / "upper"), base.make_folder(layers / "work")
        run("mount", "-t", "overlay", "obg", "-o",
            f"redirect_dir=on,lowerdir={folder},upperdir={upper},workdir={work}", folder)


def count_runs():
    """Both package systems look for programs there first. Each run of obg_manifestctl leaves a line."""
    base.cover(SBIN)
    program = SBIN / INSTALLED_KEEPER.name
    program.write_text(f'#!/bin/sh\necho "$*" >>{triggers_test.CALLS}\nexec {INSTALLED_KEEPER} "$@"\n')
    program.chmod(0o755)
    os.environ["PATH"] = f"{SBIN}:/usr/bin"


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("real_packages_test.py: only root may lay a layer over folders of the system")
    PACKAGES = Path(sys.argv[1]).resolve()
    base.enter_private_machine()
    lay_private_machine()
    count_runs()
    for name in (TOOL, KEEPER):
        run("dpkg-deb", "--extract", package(name, ".deb"), PROGRAMS)
    triggers_test.try_out(PROGRAMS / "usr/bin/obg_manifesttool", SAMPLES)
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
