"""What the commands of obg_manifestctl that change the store cost beside the tool: `apply` on one manifest, and `sync` of
many that have not changed."""

import os
import shutil
import subprocess

import manifests
from runs import AGAIN, INSTALL_ROOT, RECORD, STRIKE, Floor, StoreKeeper

ROUNDS = 7
MANIFESTS, ENTRIES = 100, 50
SIZES = [20, 1_000, 10_000]
APPLY_GOAL, SYNC_GOAL = 1.5, 5


class Apply(StoreKeeper):
    def command(self, mode, sample):
        return [self.path, "apply", "-x" if mode == STRIKE else "-i", sample.path]


class Repeated(Floor):
    """A program that is run again and again on the machine as it stands."""

    def __init__(self, name, *command):
        super().__init__(name, command[0])
        self.words = list(command)

    def command(self, mode, sample):
        return self.words


def lay_modules(ctl):
    """Many modules, all of them recorded. Returns the path of one's manifest."""
    shutil.rmtree(INSTALL_ROOT)
    folder = INSTALL_ROOT + "/manifest"
    os.makedirs(folder)
    entries = manifests.make_entries(MANIFESTS * ENTRIES)
    for number in range(MANIFESTS):
        with open(f"{folder}/module-{number:03}.xml", "w", encoding="utf-8") as stream:
            stream.write(manifests.render(entries[number * ENTRIES:(number + 1) * ENTRIES]))
    subprocess.run([ctl, "sync"], check=True, stdout=subprocess.DEVNULL)
    return f"{folder}/module-{MANIFESTS // 2:03}.xml"


def print_report(tool, ctl, measurer, print_table, median_and_spread, interleaved):
    def compared(theirs, ours, mode, count):
        """CPU time and instructions, ours over theirs."""
        times = interleaved(measurer, [theirs, ours], mode, count, ROUNDS)
        counted = measurer.instructions(ours, mode, count) / measurer.instructions(theirs, mode, count)
        return [median_and_spread([b / a for a, b in zip(times[theirs], times[ours])]), f"{counted:.2f}"]

    programs = StoreKeeper("obg_manifesttool", tool), Apply("apply", ctl)
    print(f"`apply` over the tool, fsync included (goal for CPU time from 1,000 entries on: {APPLY_GOAL}):\n")
    print_table(["entries", "", "CPU time", "instructions"], [
        [f"{count:,}", mode, *compared(*programs, mode, count)] for count in SIZES for mode in (RECORD, AGAIN, STRIKE)])

    # The state of sync is the machine's own elsewhere.
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", "/var/lib"], check=True)
    try:
        manifest = lay_modules(ctl)
        programs = Repeated("tool", tool, "-i", INSTALL_ROOT, manifest), Repeated("sync", ctl, "sync")
        print(f"`sync` of {MANIFESTS} unchanged manifests with {ENTRIES} entries each, in runs of the tool on one of them "
              f"(goal: {SYNC_GOAL}):\n")
        print_table(["CPU time", "instructions"], [compared(*programs, RECORD, ENTRIES)])
    finally:
        subprocess.run(["umount", "/var/lib"], check=True)
