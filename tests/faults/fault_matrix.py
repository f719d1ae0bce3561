#!/usr/bin/env python3
"""The fault matrix: every system call of the tool on the manifest and the store, failed in every way it can fail.

usage: fault_matrix.py --tool TOOL --short-transfers MODULE [--table] [SCENARIO...]

A scenario is traced once. Then the tool runs again for each of its calls and each fault: the call fails with an errno
(once, and for writes also from there on), moves fewer bytes than asked, or the program is killed at it. Each run must
end in the outcome that is expected of it: exit status, every log line, every byte of the store. "real" holds faults
that need no injection: full and read-only disks, links, folders, closed streams.

--table prints a row for each run. Runs in a private mount namespace with a tmpfs over /opt; the machine is left
untouched. Needs strace.
"""

import argparse
import os
import pathlib
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

from injected_faults import run_scenario
from real_faults import RealFaults
from scenarios import MANIFEST, ROOT, SCRATCH, Report, scenarios

NAMESPACE = "/proc/self/ns/mnt"


def run_here(arguments):
    """In the private namespace, with nothing in /opt."""
    if os.readlink(NAMESPACE) == arguments.outside:
        sys.exit("fault_matrix.py: refused to write to /opt: it is the machine's own")
    SCRATCH.mkdir(parents=True)
    ROOT.mkdir(parents=True)
    report = Report(arguments.table)
    for scenario in scenarios():
        if scenario.name in arguments.scenario:
            run_scenario(arguments, scenario, report)
    if "real" in arguments.scenario:
        RealFaults(arguments.command, report).run_all()
    runs = ", ".join(f"{count} {outcome}" for outcome, count in sorted(report.outcomes.items()))
    print(f"{' '.join(arguments.scenario)}: {sum(report.outcomes.values())} ends, {report.wrong} wrong ({runs})")
    return 1 if report.wrong else 0


def in_namespaces(script, switches, names):
    """Runs the script once for each name, each in a namespace of its own, two at a time. Returns the highest status."""
    private = pathlib.Path(__file__).resolve().parents[2] / "script/private"
    outside = ["--outside", os.readlink(NAMESPACE)]
    # A call is found again by its number. The sanitizers read /proc/self/maps until it fits into their buffer, so
    # that the number of calls would change with the addresses.
    same_addresses = ["setarch", "--addr-no-randomize"]

    def run_one(name):
        return subprocess.run([*same_addresses, private, sys.executable, "-B", script, *outside, *switches, name],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    with ThreadPoolExecutor(max_workers=2) as pool:
        ends = []
        for end in pool.map(run_one, names):
            print(end.stdout, end="", flush=True)
            ends.append(end.returncode)
    return max(ends)


def parse_arguments(description, program, names):
    """What a matrix is called with. `program` is the option that names the program; without names all are meant."""
    parser = argparse.ArgumentParser(description=description.split("\n\n")[0])
    parser.add_argument(program, required=True)
    parser.add_argument("--short-transfers", required=True)
    parser.add_argument("--table", action="store_true")
    parser.add_argument("--outside", help=argparse.SUPPRESS)  # the namespace that this process has been led out of
    parser.add_argument("scenario", nargs="*", metavar="SCENARIO", help="of " + ", ".join(names))
    arguments = parser.parse_intermixed_args()
    arguments.scenario = arguments.scenario or names
    if unknown := set(arguments.scenario) - set(names):
        parser.error(f"no scenario: {' '.join(unknown)}")
    return arguments


def main():
    if not shutil.which("strace"):
        sys.exit("fault_matrix.py: strace is missing; apt-get install strace")
    arguments = parse_arguments(__doc__, "--tool", [*(scenario.name for scenario in scenarios()), "real"])
    arguments.command = lambda scenario: [arguments.tool, scenario.mode, ROOT, MANIFEST]
    # Leaks are looked for elsewhere: their detector cannot run under strace.
    os.environ["ASAN_OPTIONS"] = "detect_leaks=0:verify_asan_link_order=0"
    if arguments.outside:
        return run_here(arguments)
    switches = ["--table"] if arguments.table else []
    return in_namespaces(__file__, ["--tool", arguments.tool, "--short-transfers", arguments.short_transfers, *switches],
                         arguments.scenario)


if __name__ == "__main__":
    sys.exit(main())
