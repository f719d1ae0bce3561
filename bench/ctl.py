"""What the commands of obg_manifestctl that look cost: listing beside what else lists as much, growth with the number of
entries, and verifying beside sha256sum."""

import os
import random
import shutil
import sqlite3
import statistics
import subprocess
import time

import manifests
import peers
import store
from runs import INSTALL_ROOT, SCRATCH, STORE_FILE, Floor, WrongStore, growth_exponent

LOOK = "look"
SIZES = [20, 1_000, 10_000, 100_000]
ROUNDS = 5

FILES, BYTES = 10_000, 1_000_000_000
# Verifying is to have at least this share of the speed of sha256sum.
VERIFY_GOAL = 0.9


class Lister(Floor):
    """A program that shows as many entries as the sample has, one a line. Its data are laid out once for each size."""

    def __init__(self, name, says):
        self.name = name
        self.says = says
        self.laid_out = set()

    def set_up(self, mode, sample):
        if sample.count not in self.laid_out:
            self.lay_out(sample)
            self.laid_out.add(sample.count)
            shown = peers.quietly(*self.command(mode, sample)).count("\n")
            if shown != sample.count:
                raise WrongStore(f"{self.name}: shows {shown} lines for {sample.count} entries")


class CtlList(Lister):
    def __init__(self, ctl):
        super().__init__("obg_manifestctl", "`list` of a store")
        self.ctl = ctl

    def lay_out(self, sample):
        store.write(whole_store(sample), records_of(sample))

    def command(self, mode, sample):
        return [self.ctl, "--store", whole_store(sample), "list"]


class DpkgQuery(Lister):
    def __init__(self):
        super().__init__("dpkg-query", "`-W`, of as many packages, in a database of its own")

    def folder(self, sample):
        return f"{SCRATCH}/dpkg-list/{sample.count}"

    def lay_out(self, sample):
        os.makedirs(self.folder(sample) + "/info")
        os.makedirs(self.folder(sample) + "/updates")
        open(self.folder(sample) + "/available", "wb").close()
        with open(self.folder(sample) + "/status", "w", encoding="utf-8") as status:
            for number, (_, version, name) in enumerate(records_of(sample)):
                status.write(
                    f"Package: {name.lower()}\nStatus: install ok installed\nMaintainer: nobody <nobody@localhost>\n"
                    f"Architecture: all\nVersion: {version}\nDescription: file {number}\n\n")

    def command(self, mode, sample):
        return ["dpkg-query", "--admindir", self.folder(sample), "-W"]


class RpmQuery(Lister):
    """As many packages, by the header of one that is copied under names of the same length."""

    template = "bench-000000"

    def __init__(self):
        super().__init__("rpm", "`-qa` of as many packages, in a database of its own, their digests not checked")

    def folder(self, sample):
        return f"{SCRATCH}/rpm-list/{sample.count}"

    def package(self):
        folder = f"{SCRATCH}/rpm-list/template"
        os.makedirs(folder, exist_ok=True)
        with open(folder + "/template.spec", "w", encoding="utf-8") as spec:
            spec.write(
                f"Name: {self.template}\nVersion: 1\nRelease: 1\nSummary: to measure with\nLicense: none\n"
                "BuildArch: noarch\n%description\n%{summary}\n%files\n")
        peers.quietly("rpmbuild", "-bb", "--quiet", "--define", f"_topdir {folder}", folder + "/template.spec")
        return f"{folder}/RPMS/noarch/{self.template}-1-1.noarch.rpm"

    def lay_out(self, sample):
        folder = self.folder(sample)
        os.makedirs(folder)
        peers.quietly("rpm", "--force-debian", f"--dbpath={folder}", "-i", "--justdb", "--nodeps", self.package())
        connection = sqlite3.connect(folder + "/rpmdb.sqlite")
        ((header,),) = connection.execute("SELECT blob FROM Packages").fetchall()
        copies = ((header.replace(self.template.encode(), f"bench-{number:06d}".encode()),)
                  for number in range(1, sample.count))
        connection.executemany("INSERT INTO Packages (blob) VALUES (?)", copies)
        connection.commit()
        connection.close()

    def command(self, mode, sample):
        return ["rpm", f"--dbpath={self.folder(sample)}", "--nodigest", "--nosignature", "-qa"]


class Sqlite(Lister):
    def __init__(self):
        super().__init__("sqlite3", "`SELECT` of all rows of a table of id, kind and version")

    def database(self, sample):
        return f"{SCRATCH}/list-{sample.count}.sqlite"

    def lay_out(self, sample):
        connection = sqlite3.connect(self.database(sample))
        connection.execute("CREATE TABLE installed (id TEXT PRIMARY KEY, kind INTEGER, version TEXT)")
        rows = ((name, kind, version) for kind, version, name in records_of(sample))
        connection.executemany("INSERT INTO installed VALUES (?, ?, ?)", rows)
        connection.commit()
        connection.close()

    def command(self, mode, sample):
        return ["sqlite3", self.database(sample), "SELECT id, kind, version FROM installed"]


class Look(Floor):
    """One command over a store that holds the sample's manifest."""

    def __init__(self, name, ctl, arguments, status=0):
        self.name = name
        self.ctl = ctl
        self.arguments = arguments
        self.status = status

    def set_up(self, mode, sample):
        store.write(STORE_FILE, sample.recorded)
        store.write(SCRATCH + "/other.dat", [(kind, version + ".1", name) for kind, version, name in sample.recorded])

    def command(self, mode, sample):
        return [self.ctl, *(argument.format(manifest=sample.path) for argument in self.arguments)]


def looks(ctl):
    return [
        Look("list", ctl, ["list"]),
        Look("diff", ctl, ["diff", STORE_FILE, SCRATCH + "/other.dat"], status=1),
        Look("plan -i", ctl, ["plan", "-i", "{manifest}"]),
        Look("plan -x", ctl, ["plan", "-x", "{manifest}"], status=1),
        Look("lint", ctl, ["lint", "{manifest}"]),
    ]


def whole_store(sample):
    return f"{SCRATCH}/whole-{sample.count}.dat"


def records_of(sample):
    """Every entry of the sample as one that is recorded."""
    return [(manifests.NUMBERS_IN_STORE["exe"], entry.version, entry.id) for entry in manifests.make_entries(sample.count)]


def timed(command):
    began = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return time.monotonic() - began


class VerifiedTree:
    """Files below the install root, 1 GB in all, and the manifest that lists them."""

    def __init__(self):
        self.folder = INSTALL_ROOT + "/resources"
        self.manifest = SCRATCH + "/verified.xml"
        self.names = SCRATCH + "/verified.names"
        os.makedirs(self.folder)
        draw = random.Random(1)
        sizes = [draw.randrange(1, 2 * BYTES // FILES) for _ in range(FILES)]
        block = draw.randbytes(max(sizes))
        paths = [f"{self.folder}/file-{number:05d}" for number in range(FILES)]
        for path, size in zip(paths, sizes):
            with open(path, "wb") as stream:
                stream.write(block[:size])
        with open(self.names, "wb") as stream:
            stream.write(b"\0".join(os.fsencode(path) for path in paths))
        sums = peers.quietly("xargs", "-0", "-a", self.names, "sha256sum").splitlines()
        self.write_manifest(dict(reversed(line.split("  ", 1)) for line in sums))
        self.bytes = sum(sizes)

    def write_manifest(self, sums):
        entries = "".join(
            f'<file id="{os.path.basename(path)}" version="1" type="resource"><uri>{os.path.basename(path)}</uri>'
            f'<hash type="sha256">{digits}</hash></file>\n' for path, digits in sums.items())
        with open(self.manifest, "w", encoding="utf-8") as stream:
            stream.write(f'<vpn rev="1.0">\n{entries}</vpn>\n')


def verify_times(ctl):
    """Seconds that sha256sum and verify take, over several rounds in turning order."""
    tree = VerifiedTree()
    threads = str(os.cpu_count())
    commands = {
        "sha256sum": ["xargs", "-0", "-a", tree.names, "-P", threads, "-n", "100", "sha256sum"],
        "verify": [ctl, "verify", tree.manifest],
    }
    times = {name: [] for name in commands}
    for turn in range(ROUNDS):
        for name in list(commands) if turn % 2 == 0 else reversed(list(commands)):
            times[name].append(timed(commands[name]))
    shutil.rmtree(tree.folder)
    return times, tree.bytes


def listers(ctl):
    needs = {"rpm": ["rpm", "rpmbuild"]}
    for lister in [CtlList(ctl), DpkgQuery(), RpmQuery(), Sqlite()]:
        missing = [need for need in needs.get(lister.name, [lister.name]) if shutil.which(need) is None]
        if missing and lister.name != "obg_manifestctl":
            print(f"{lister.name} is not measured: {' and '.join(missing)} not found\n")
        else:
            yield lister


def print_report(ctl, measurer, print_table, median_and_spread, interleaved):
    programs = list(listers(ctl))
    times = {count: interleaved(measurer, programs, LOOK, count, ROUNDS) for count in SIZES}
    print(f"CPU milliseconds to list as many entries, median (least to most) of {ROUNDS} runs:\n")
    print_table(
        ["program", *(f"{count:,}" for count in SIZES)],
        [[program.name, *(median_and_spread(times[count][program], "{:,.1f}") for count in SIZES)]
         for program in programs])
    for program in programs:
        print(f"- {program.name}: {program.says}")

    print("\nGrowth with the number of entries, as the exponent of what a command costs:\n")
    commands = looks(ctl)
    costs = {count: interleaved(measurer, commands, LOOK, count, ROUNDS) for count in (10_000, 100_000)}
    rows = []
    for command in commands:
        exponents = [growth_exponent(a, b, 10) for a, b in zip(costs[10_000][command], costs[100_000][command])]
        start, small, large = (measurer.instructions(command, LOOK, count) for count in (20, 2_000, 20_000))
        rows.append([
            command.name, median_and_spread(exponents), f"{growth_exponent(small - start, large - start, 10):.3f}",
            f"{statistics.median(costs[100_000][command]):,.0f}"])
    print_table(
        ["command", "CPU, 10,000 to 100,000", "instructions net of 20, 2,000 to 20,000", "CPU ms at 100,000"], rows)

    seconds, size = verify_times(ctl)
    speeds = [a / b for a, b in zip(seconds["sha256sum"], seconds["verify"])]
    print(f"Seconds over {FILES:,} files of {size / 1e9:.2f} GB in all, with {os.cpu_count()} threads or processes each:\n")
    print_table(["program", "seconds"], [[name, median_and_spread(seconds[name])] for name in seconds])
    print(f"verify has {median_and_spread(speeds)} times the speed of sha256sum (goal: {VERIFY_GOAL}).\n")
