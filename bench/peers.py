"""What a user would otherwise pick to record a module's files, each as a program that runs.py can measure."""

import os
import shutil
import sqlite3
import subprocess
import sys

from runs import AGAIN, RECORD, SCRATCH, STRIKE, Floor, expect_equal

HERE = os.path.dirname(os.path.abspath(__file__))
PACKAGE = "bench-files"
FOLDER = "/usr/share/" + PACKAGE


def quietly(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options).stdout


class SqliteScript(Floor):
    """A script that reads the manifest and keeps a SQLite table of the entries that the tool would keep."""

    database = SCRATCH + "/installed.sqlite"

    def __init__(self, name, says, command):
        self.name = name
        self.says = says
        self.script = command

    def command(self, mode, sample):
        return [*self.script, "-x" if mode == STRIKE else "-i", self.database, sample.path]

    def set_up(self, mode, sample):
        if os.path.exists(self.database):
            os.remove(self.database)
        if mode != RECORD:
            quietly(*self.command(RECORD, sample))

    def check(self, mode, sample):
        connection = sqlite3.connect(self.database)
        found = sorted(connection.execute("SELECT id, version FROM installed"))
        connection.close()
        expected = sorted((name, version) for _, version, name in sample.recorded)
        expect_equal(self.name, mode, sample, found, [] if mode == STRIKE else expected)


class PackageManager(Floor):
    """Keeps one package with an empty file for each entry of the manifest. Subclasses say how."""

    def __init__(self):
        self.root = f"{SCRATCH}/{self.name}"
        self.built = {}

    def package_of(self, sample):
        if sample.count not in self.built:
            folder = f"{self.root}/{sample.count}"
            os.makedirs(folder)
            self.built[sample.count] = self.build(sample, folder)
        return self.built[sample.count]

    def set_up(self, mode, sample):
        self.package_of(sample)
        shutil.rmtree(self.root + "/db", ignore_errors=True)
        self.make_database(self.root + "/db")
        if mode != RECORD:
            quietly(*self.command(RECORD, sample))

    def check(self, mode, sample):
        expected = [] if mode == STRIKE else sorted(f"{FOLDER}/{name}" for name in sample.names)
        expect_equal(self.name, mode, sample, sorted(self.recorded()), expected)


def make_empty_files(folder, names):
    os.makedirs(folder)
    for name in names:
        with open(f"{folder}/{name}", "wb"):
            pass


class Dpkg(PackageManager):
    name = "dpkg"
    says = "`dpkg -i` and `--purge` of a package with as many empty files, into a database of its own, without syncing;" \
        " it also lays the files down"

    def build(self, sample, folder):
        tree = folder + "/tree"
        make_empty_files(tree + FOLDER, sample.names)
        os.makedirs(tree + "/DEBIAN")
        with open(tree + "/DEBIAN/control", "w", encoding="utf-8") as control:
            control.write(
                f"Package: {PACKAGE}\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@localhost>\n"
                "Description: files to measure with\n"
            )
        quietly("dpkg-deb", "--build", "--root-owner-group", "-Znone", tree, folder + "/package.deb")
        shutil.rmtree(tree)
        return folder + "/package.deb"

    def make_database(self, root):
        for folder in ("info", "updates", "triggers"):
            os.makedirs(f"{root}/var/lib/dpkg/{folder}")
        for file in ("status", "available"):
            with open(f"{root}/var/lib/dpkg/{file}", "wb"):
                pass

    def command(self, mode, sample):
        change = ["--purge", PACKAGE] if mode == STRIKE else ["-i", self.package_of(sample)]
        return ["dpkg", f"--root={self.root}/db", "--force-unsafe-io", f"--log={SCRATCH}/dpkg.log", *change]

    def recorded(self):
        listing = f"{self.root}/db/var/lib/dpkg/info/{PACKAGE}.list"
        if not os.path.exists(listing):
            return []
        with open(listing, encoding="utf-8") as stream:
            return [line for line in stream.read().splitlines() if line.startswith(FOLDER + "/")]


class Rpm(PackageManager):
    name = "rpm"
    says = "`rpm -i` and `-e` with `--justdb` of a package with as many empty files, into a database of its own;" \
        " it only records them"

    spec = f"""Name: {PACKAGE}
Version: 1
Release: 1
Summary: files to measure with
License: none
BuildArch: noarch
AutoReqProv: no
%description
%{{summary}}
%files
{FOLDER}
"""

    def build(self, sample, folder):
        make_empty_files(f"{folder}/root{FOLDER}", sample.names)
        with open(folder + "/files.spec", "w", encoding="utf-8") as spec:
            spec.write(self.spec)
        quietly(
            "rpmbuild", "-bb", "--quiet", f"--buildroot={folder}/root", "--define", f"_topdir {folder}",
            "--define", "__os_install_post %{nil}", "--define", "_binary_payload w0.gzdio", folder + "/files.spec",
        )
        return f"{folder}/RPMS/noarch/{PACKAGE}-1-1.noarch.rpm"

    def rpm(self, *arguments):
        return ["rpm", "--force-debian", f"--dbpath={self.root}/db", *arguments]

    def make_database(self, root):
        os.makedirs(root)

    def command(self, mode, sample):
        if mode == STRIKE:
            return self.rpm("-e", "--justdb", PACKAGE)
        again = ["--replacepkgs"] if mode == AGAIN else []
        return self.rpm("-i", "--justdb", "--nodeps", *again, self.package_of(sample))

    def recorded(self):
        listing = quietly(*self.rpm("-qal"))
        return [line for line in listing.splitlines() if line.startswith(FOLDER + "/")]


def all_peers():
    return [
        SqliteScript("Python", "a Python script with ElementTree and sqlite3 (bench/peers/register.py)",
                     [sys.executable, HERE + "/peers/register.py"]),
        SqliteScript("xmlstarlet", "a shell script that pipes xmlstarlet into sqlite3 (bench/peers/register.sh)",
                     ["sh", HERE + "/peers/register.sh"]),
        Dpkg(),
        Rpm(),
    ]
