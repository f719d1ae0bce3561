"""Runs a program once on a manifest of a given size, and measures it. Whoever keeps a store has it put into the right
state before the run and checked after it."""

import math
import os
import re
import subprocess
from collections import namedtuple
from functools import lru_cache

import manifests
import store

RECORD, AGAIN, STRIKE = MODES = ("-i", "-i again", "-x")

INSTALL_ROOT = "/opt/orvanta/brightgate"
STORE_FILE = INSTALL_ROOT + "/VPNManifest.dat"
SCRATCH = "/opt/bench"

Cost = namedtuple("Cost", "milliseconds peak_bytes")


class WrongStore(Exception):
    """A run that was measured did not leave what it must leave."""


class Sample:
    """A generated manifest as a file, and what a store must hold once it is recorded."""

    def __init__(self, count):
        entries = manifests.make_entries(count)
        self.count = count
        self.names = [entry.id for entry in entries]
        self.recorded = store.expected(entries)
        self.path = f"{SCRATCH}/{count}.xml"
        with open(self.path, "w", encoding="utf-8") as stream:
            stream.write(manifests.render(entries))


@lru_cache(maxsize=None)
def sample_of(count):
    return Sample(count)


class Floor:
    """A program that takes the tool's arguments and keeps no store."""

    status = 0  # what it must end with

    def __init__(self, name, path):
        self.name = name
        self.path = path

    def set_up(self, mode, sample):
        pass

    def command(self, mode, sample):
        return [self.path, "-x" if mode == STRIKE else "-i", INSTALL_ROOT, sample.path]

    def check(self, mode, sample):
        pass


class StoreKeeper(Floor):
    """A program that takes the tool's arguments and keeps the current root's store."""

    def set_up(self, mode, sample):
        if os.path.exists(STORE_FILE):
            os.remove(STORE_FILE)
        if mode != RECORD:
            store.write(STORE_FILE, sample.recorded)

    def check(self, mode, sample):
        expect_equal(self.name, mode, sample, store.read(STORE_FILE), [] if mode == STRIKE else sample.recorded)


def expect_equal(name, mode, sample, found, expected):
    if found != expected:
        raise WrongStore(f"{name} {mode}, {sample.count} entries: {len(found)} records, expected {len(expected)}")


def run_checked(program, mode, sample, command, status=0):
    """Runs the command in place of the program's own and returns what it wrote on both streams."""
    program.set_up(mode, sample)
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != status:
        raise WrongStore(f"{' '.join(command)}: exit status {done.returncode}\n{done.stdout}")
    program.check(mode, sample)
    return done.stdout


class Measurer:
    def __init__(self, measure_program):
        self.measure_program = measure_program

    def cost(self, program, mode, count):
        """CPU time and peak memory of one run."""
        sample = sample_of(count)
        output = run_checked(program, mode, sample, [self.measure_program, *program.command(mode, sample)])
        microseconds, peak_bytes, status = map(int, output.split()[-3:])
        if status != program.status:
            raise WrongStore(f"{program.name} {mode}, {count} entries: exit status {status}\n{output}")
        return Cost(microseconds / 1000, peak_bytes)

    @lru_cache(maxsize=None)
    def instructions(self, program, mode, count):
        """Instructions of one run, from the first of the loader to the last of the exit handlers."""
        out = SCRATCH + "/callgrind.out"
        self.callgrind(program, mode, count, out)
        with open(out, encoding="utf-8") as stream:
            return int(re.search(r"^(?:summary|totals): (\d+)", stream.read(), re.MULTILINE).group(1))

    def callgrind(self, program, mode, count, out):
        sample = sample_of(count)
        command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", *program.command(mode, sample)]
        run_checked(program, mode, sample, command, program.status)

    def peak_per_entry(self, program, mode, sizes):
        """Least-squares slope of peak memory over the number of entries, in bytes."""
        return slope(sizes, [self.cost(program, mode, size).peak_bytes for size in sizes])


def growth_exponent(small_cost, large_cost, size_ratio):
    """The exponent e when cost grows as size to the power e."""
    return math.log(large_cost / small_cost) / math.log(size_ratio)


def slope(xs, ys):
    mean_x, mean_y = sum(xs) / len(xs), sum(ys) / len(ys)
    return sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys)) / sum((x - mean_x) ** 2 for x in xs)
