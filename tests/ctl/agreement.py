#!/usr/bin/env python3
"""Holds a command of obg_manifestctl against what obg_manifesttool does, on random pairs of a store and manifests.

usage: agreement.py --tool TOOL --ctl CTL plan [COUNT [SEED]]

Both programs run as users run them, at the real paths. Each worker has a private mount namespace with a tmpfs over
/opt; the machine is left untouched. A pair that they do not agree on is printed with the number by which SEED makes it.
"""

import argparse
import ctypes
import hashlib
import json
import multiprocessing
import os
import pathlib
import struct
import subprocess
import sys

import kinds
import random_pairs

ROOT = "/opt/orvanta/brightgate"
STORE = ROOT + "/VPNManifest.dat"
ENVIRONMENT = {"LC_ALL": "C.UTF-8"}
CLONE_NEWNS = 0x00020000


class Disagreement(Exception):
    pass


def expect(what, found, expected):
    if found != expected:
        raise Disagreement(f"{what} is {found}, not {expected}")


def run(*command):
    return subprocess.run(
        command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=ENVIRONMENT,
        close_fds=False)


def read(path):
    """The bytes of a file; None when there is none."""
    try:
        with open(path, "rb") as stream:
            return stream.read()
    except FileNotFoundError:
        return None


def lay(path, content):
    if content is not None:
        with open(path, "wb") as stream:
            stream.write(content)
    elif os.path.exists(path):
        os.remove(path)


def number_of_entries(store):
    """How many entries a reader gets of the bytes of a store."""
    major, minor = struct.unpack_from("<II", store)
    ids, at = set(), 8
    if (major, minor) != (1, 0) and major != 0:
        return 0
    while at + 4 <= len(store):
        (kind,) = struct.unpack_from("<I", store, at)
        at += 4
        texts = []
        if kind in kinds.ALL.values():
            for _ in range(2):
                count = struct.unpack_from("<I", store, at)[0] if at + 4 <= len(store) else 0
                if count == 0 or at + 4 + count > len(store):
                    return 0
                texts.append(store[at + 4:at + 3 + count].split(b"\0")[0])
                at += 4 + count
        if kind in kinds.STORED.values():
            ids.add(texts[1])
    return len(ids)


class Machine:
    """Stands below a private /opt, with a pair laid out on it."""

    def __init__(self, tool, ctl):
        self.tool = tool
        self.ctl = ctl
        if ctypes.CDLL(None, use_errno=True).unshare(CLONE_NEWNS) != 0:
            sys.exit(f"agreement.py: no private mount namespace: {os.strerror(ctypes.get_errno())}")
        subprocess.run(["mount", "--make-rprivate", "/"], check=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", "/opt"], check=True)
        os.makedirs(ROOT)

    def lay_out(self, pair):
        lay(STORE, pair.store)
        self.manifests = [f"/opt/{number}.xml" for number in range(len(pair.manifests))]
        for path, manifest in zip(self.manifests, pair.manifests):
            lay(path, manifest)

    def run_tool(self, mode):
        """Has the tool take one manifest after the other, and returns the store that it leaves."""
        self.log = b""
        for path in self.manifests:
            done = run(self.tool, mode, ROOT, path)
            expect("the tool's exit status", done.returncode, 0)
            self.log += done.stdout
        return read(STORE)


def check_plan(machine, pair):
    machine.lay_out(pair)
    done = run(machine.ctl, "--format", "json", "plan", pair.mode, *machine.manifests)
    expect("the store after the plan", read(STORE), pair.store)
    left = machine.run_tool(pair.mode)
    expect("the plan's exit status", done.returncode, 0 if left == pair.store else 1)
    if left is None:
        expected = {"entries": None, "size": None, "sha256": None}
    else:
        sha256 = hashlib.sha256(left).hexdigest()
        expected = {"entries": number_of_entries(left), "size": len(left), "sha256": sha256}
    expect("result", json.loads(done.stdout)["result"], expected)


def check_apply(machine, pair):
    machine.lay_out(pair)
    done = run(machine.ctl, "apply", pair.mode, *machine.manifests)
    left = read(STORE)
    lay(STORE, pair.store)
    left_by_tool = machine.run_tool(pair.mode)
    # An entry without id or version, which is not written to its end: the one thing that is refused.
    is_lost = b" Line: 494 " in machine.log
    expect("the exit status of apply", done.returncode, 2 if is_lost else 0)
    expect("the store after apply", left, pair.store if is_lost else left_by_tool)


CHECKS = {"plan": check_plan, "apply": check_apply}


def work(options, numbers, disagreements):
    machine = Machine(options.tool, options.ctl)
    for number in numbers:
        pair = random_pairs.random_pair(options.seed, number)
        try:
            CHECKS[options.command](machine, pair)
        except (Disagreement, ValueError, KeyError) as reason:
            disagreements.put(f"pair {number} of seed {options.seed}: {reason}\n{pair}")


def enter_namespace():
    """Runs this script again where it may mount."""
    if "OBG_AGREEMENT" not in os.environ:
        private = pathlib.Path(__file__).resolve().parents[2] / "script/private"
        os.environ["OBG_AGREEMENT"] = "inside"
        os.execv(private, [private, sys.executable, "-B", *sys.argv])


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tool", required=True)
    parser.add_argument("--ctl", required=True)
    parser.add_argument("command", choices=CHECKS)
    parser.add_argument("count", nargs="?", type=int, default=100_000)
    parser.add_argument("seed", nargs="?", type=int, default=1)
    return parser.parse_args()


def main():
    options = parse_arguments()
    enter_namespace()
    disagreements = multiprocessing.SimpleQueue()
    jobs = os.cpu_count()
    workers = [
        multiprocessing.Process(target=work, args=(options, range(job, options.count, jobs), disagreements))
        for job in range(jobs)
    ]
    for worker in workers:
        worker.start()
    found = 0
    while any(worker.is_alive() for worker in workers) or not disagreements.empty():
        for worker in workers:
            worker.join(0.1)
        while not disagreements.empty():
            found += 1
            print(disagreements.get(), flush=True)
    if any(worker.exitcode != 0 for worker in workers):
        sys.exit("agreement.py: a worker broke off")
    print(f"{options.command}: {options.count:,} pairs of seed {options.seed}, {found:,} disagreements")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
