#!/usr/bin/env python3
"""The fault matrix of obg_manifestctl: every system call of `apply` and `sync` on the store, the locks, the state, the
manifests and standard output, failed in every way it can fail.

usage: ctl_matrix.py --ctl CTL --short-transfers MODULE [--table] [SCENARIO...]

A scenario is traced once. Then the program runs again for each of its calls and each fault: the call fails with an
errno, moves fewer bytes than asked, or the program is killed at it (a kill before a call is one after the call before
it). Each run must end in the outcome that is expected of it. Then the same command runs again, without a fault: it must
come to the end that an undisturbed run comes to, and leave nothing temporary.

--table prints a row for each run. Runs in a private mount namespace with empty file systems over /opt and /var/lib; the
machine is left untouched. Needs strace.
"""

import collections
import dataclasses
import errno
import os
import re
import shutil
import signal
import subprocess
import sys
from pathlib import Path

import store_model as model
from fault_matrix import NAMESPACE, in_namespaces, parse_arguments
from scenarios import MANIFEST, ROOT, SCRATCH, STORE, entries

STATE = Path("/var/lib/obg-manifest")
FOLDER = ROOT / "manifest"
TEMPORARY = ".obg-"
OUTPUT = SCRATCH / "output"

# What each call can return, on some file system or other.
FAULTS = {
    "openat": (errno.EIO, errno.EACCES, errno.EPERM, errno.EINTR, errno.ENOMEM, errno.EMFILE, errno.ENFILE, errno.ESTALE),
    "openat+create": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EACCES, errno.EPERM, errno.EROFS, errno.EINTR,
                      errno.ENOMEM, errno.EMFILE, errno.ENFILE, errno.ENAMETOOLONG),
    "readlink": (errno.EIO, errno.EACCES, errno.ENOMEM),
    "newfstatat": (errno.EIO, errno.EACCES, errno.ENOMEM, errno.EOVERFLOW),
    "read": (errno.EIO, errno.EINTR, errno.ENOMEM),
    "write": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EFBIG, errno.EPIPE, errno.EPERM, errno.EINTR),
    "pwrite64": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EINTR),
    "ftruncate": (errno.EIO, errno.EPERM, errno.EINTR),
    "dup": (errno.EMFILE,),
    "fsync": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EROFS, errno.EINVAL, errno.EINTR),
    "close": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EINTR),
    "flock": (errno.ENOLCK, errno.EIO, errno.EINVAL, errno.EINTR),
    "getdents64": (errno.EIO, errno.ENOMEM),
    "flistxattr": (errno.EIO, errno.ENOMEM, errno.E2BIG),
    "fgetxattr": (errno.EIO, errno.ENOMEM, errno.ENODATA, errno.ERANGE),
    "fsetxattr": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EPERM),
    "fchmod": (errno.EIO, errno.EPERM, errno.EROFS),
    "fchown": (errno.EIO, errno.EPERM, errno.EROFS, errno.EDQUOT),
    "renameat": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EACCES, errno.EPERM, errno.EBUSY, errno.ENOMEM, errno.EROFS),
    "unlinkat": (errno.EIO, errno.EACCES, errno.EPERM, errno.EBUSY, errno.ENOMEM, errno.EROFS),
    "mkdir": (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EACCES, errno.EPERM, errno.EMLINK, errno.ENOMEM, errno.EROFS),
}


@dataclasses.dataclass
class Scenario:
    name: str
    command: list
    listed: list = dataclasses.field(default_factory=list)  # what the manifest lists that `apply` is given
    store: bytes | None = None
    earlier: dict | None = None  # the manifests that were installed when `sync` ran before; None: it did not
    installed: dict = dataclasses.field(default_factory=dict)

    @property
    def is_sync(self):
        return self.command[0] == "sync"

    def lay_down(self, ctl):
        for folder in (ROOT, STATE):
            shutil.rmtree(folder, ignore_errors=True)
        FOLDER.mkdir(parents=True)
        MANIFEST.write_text(manifest_of(self.listed))
        if self.store is not None:
            STORE.write_bytes(self.store)
        if self.earlier is not None:
            lay_manifests(self.earlier)
            subprocess.run([ctl, "sync"], check=True, stdout=subprocess.DEVNULL)
        lay_manifests(self.installed)
        if STORE.exists():
            STORE.chmod(0o640)
            os.setxattr(STORE, "trusted.obg", b"kept")


def lay_manifests(manifests):
    for path in FOLDER.iterdir():
        path.unlink()
    for name, listed in manifests.items():
        (FOLDER / name).write_text(manifest_of(listed))


def manifest_of(listed):
    files = (f'<file id="{file_id}" type="{model.KEPT_WORDS[kind]}" version="{version}"><uri>u</uri></file>'
             for file_id, kind, version in listed)
    return '<vpn rev="1.0">\n' + "\n".join(files) + "\n</vpn>\n"


def scenarios():
    old, new, few = entries(range(200), "1"), entries(range(150, 210), "2"), entries(range(3), "1")
    record, strike = (["apply", "--wait", "0", mode, str(MANIFEST)] for mode in ("-i", "-x"))
    sync = ["sync", "--wait", "0"]
    return [
        Scenario("apply-first", record, few),
        Scenario("apply-update", record, new, model.store_bytes(old)),
        Scenario("apply-last", strike, few, model.store_bytes(few)),
        Scenario("sync-first", sync, installed={"a.xml": few}),
        Scenario("sync-update", sync, store=model.store_bytes(entries(range(300, 303), "1")),
                 earlier={"a.xml": entries(range(150, 160), "1") + few}, installed={"a.xml": new}),
        Scenario("sync-last", sync, earlier={"a.xml": few}),
    ]


# The trace: which calls there are.

CALL = re.compile(r"(\w+)\((.*)\) += (-?\d+)(?:<(.*)>)?")
NAME = re.compile(r'[<"]([^<>"]+)[>"]')


@dataclasses.dataclass
class Call:
    name: str
    number: int  # among all calls of that name
    target: str
    is_over: bool  # behind the call by which the store becomes the new one
    lists: bool  # opens a folder to list it
    creates: bool
    size: int
    path: str
    number_on_path: int

    def __str__(self):
        return f"{self.name} {self.number} ({self.target}{', afterwards' if self.is_over else ''})"


def target_of(name):
    """What of ours a path or a name in a folder is, or None."""
    if name == str(OUTPUT):
        return "output"
    if name.startswith("/") and not name.startswith((str(ROOT), str(STATE), str(MANIFEST))):
        return None
    if name in (str(ROOT), str(STATE)):
        return "folder"
    if name == str(FOLDER):
        return "manifests"
    for mark, target in ((".lock", "lock"), (".xml", "manifest"), (TEMPORARY, "temporary"), ("VPNManifest.dat", "store"),
                         ("current.json", "state")):
        if mark in name:
            return target
    return None


def trace(ctl, scenario):
    """The calls of an undisturbed run on what is ours, in order."""
    log = SCRATCH / "trace"
    # The detector of leaks cannot run under strace.
    with OUTPUT.open("wb") as output:
        subprocess.run(["env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-y", "-s", "200", "-o", log, ctl,
                        *scenario.command], check=True, stdout=output)
    calls, numbers, on_path = [], collections.Counter(), collections.Counter()
    is_over = False
    for line in log.read_text().splitlines():
        if not (match := CALL.match(line)):
            continue
        name, arguments, result, opened = match.groups()
        numbers[name] += 1
        where = arguments.split(", \"")[0] if name in ("read", "write") else arguments  # not the bytes themselves
        named = [each for each in NAME.findall(where.split(", \"\\")[0]) if target_of(each)]
        if not named or name not in FAULTS:
            continue
        path = opened or named[-1]
        target = target_of(named[-1])
        on_path[name, target] += 1
        size = max(int(result), 0) if name in ("read", "write") else 0
        calls.append(Call(name, numbers[name], target, is_over, "O_NONBLOCK|O_CLOEXEC|O_DIRECTORY" in arguments,
                          "O_CREAT" in arguments, size, path, on_path[name, target]))
        if int(result) == 0 and (name, target) in (("renameat", "store"), ("unlinkat", "store")):
            is_over = True
    return calls


# The faults, and what is expected of each.

@dataclasses.dataclass
class Fault:
    kind: str  # "error", "short" or "kill"
    error: int = 0

    def __str__(self):
        return {"error": errno.errorcode.get(self.error, ""), "short": "moves 3 bytes at most", "kill": "SIGKILL"}[self.kind]


def faults_of(call):
    kind = "openat+create" if call.creates else call.name
    faults = [Fault("error", error) for error in FAULTS[kind]]
    if call.name == "write" and call.size > 3:
        faults.append(Fault("short"))
    return faults + [Fault("kill")]


# The outcomes: the exit status, and which store stands there.
OUTCOMES = {
    "done": (0, "new"),
    "said": (1, "new"),  # made, and not safe against a power cut, or the state not up to date
    "skipped": (1, "old"),  # a manifest that could not be read
    "refused": (2, "old"),
    "killed: old": (-signal.SIGKILL, "old"),
    "killed: new": (-signal.SIGKILL, "new"),
}


def expected(scenario, call, fault):
    """Which outcomes are right."""
    if fault.kind == "kill":
        return ["killed: new" if call.is_over else "killed: old"]
    if fault.kind == "short" or is_harmless(call, fault.error):
        return ["done"]
    if call.target in ("lock", "store", "folder") and call.name == "newfstatat":
        return ["refused", "done"]  # some of the looks are only for links, or are repeated
    if call.target == "manifest" and scenario.is_sync:
        return ["skipped"]
    if call.name == "fsync" and call.target == "folder":
        return ["said"]
    return ["said" if call.is_over else "refused"]


def is_harmless(call, error):
    if error == errno.EINTR and call.name in ("read", "write", "fsync", "close", "flock"):
        return True
    if call.name == "close":
        return call.target not in ("temporary", "output")
    if call.target == "folder":
        # Links are looked for, and leftovers.
        return call.lists or call.name in ("readlink", "getdents64")
    if call.target == "temporary" and call.name == "fgetxattr":
        return True  # what it has already need not be written
    return call.name == "readlink" or (call.target == "lock" and call.name in ("pwrite64", "ftruncate"))


# One run.

@dataclasses.dataclass
class Stand:
    """What stands on the disk."""
    store: bytes | None
    state: bytes | None
    mode: int
    temporary: list


def stand():
    def read(path):
        return path.read_bytes() if path.exists() else None
    temporary = [path.name for folder in (ROOT, STATE) if folder.exists() for path in folder.iterdir()
                 if TEMPORARY in path.name]
    mode = STORE.stat().st_mode & 0o7777 if STORE.exists() else 0
    return Stand(read(STORE), read(STATE / "current.json"), mode, temporary)


def run_fault(arguments, scenario, call, fault):
    environment = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0"}
    command = [arguments.ctl, *scenario.command]
    if fault.kind == "short":
        environment.update(LD_PRELOAD=arguments.short_transfers, OBG_SHORT_SIZE="3",
                           OBG_SHORT_FILE=re.sub(TEMPORARY + ".*", TEMPORARY + "*", call.path),
                           OBG_SHORT_CALL=f"{call.name}:{1}")
    else:
        what = "signal=SIGKILL" if fault.kind == "kill" else f"error={errno.errorcode[fault.error]}"
        command = ["strace", "-o", SCRATCH / "trace", "-e", f"inject={call.name}:{what}:when={call.number}", *command]
    with OUTPUT.open("wb") as output:
        return subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                              stderr=subprocess.PIPE, text=True, timeout=60)


def outcome_of(end, before, after, now):
    """The outcome, or what is wrong with the end of a run."""
    for outcome, (status, store) in OUTCOMES.items():
        if end.returncode == status and now.store == (before if store == "old" else after).store:
            break
    else:
        return f"status {end.returncode}, and the store is neither old nor new, or not the one that it tells of"
    if end.returncode in (1, 2) and not end.stderr:
        return "nothing was said"
    if end.returncode == 0 and end.stderr:
        return f"said {end.stderr!r}"
    if end.returncode >= 0 and now.temporary:
        return f"left {now.temporary}"
    if outcome == "refused" and now.state != before.state:
        return "the state has changed"
    if outcome == "done" and now.state != after.state:
        return "the state is not the new one"
    if now.store is not None and now.mode != (before if now.store == before.store else after).mode:
        return f"the mode is {now.mode:o}"
    return outcome


def check(arguments, scenario, call, fault, before, after):
    """The outcome, and what is wrong; nothing when all is right."""
    scenario.lay_down(arguments.ctl)
    end = run_fault(arguments, scenario, call, fault)
    outcome = outcome_of(end, before, after, stand())
    right = expected(scenario, call, fault)
    if outcome not in right:
        return outcome, f"not {' or '.join(right)}: {end.stderr.strip()}"
    again = subprocess.run([arguments.ctl, *scenario.command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if again.returncode != 0 or stand() != after:
        return outcome, f"the next run ends with {again.returncode}, {stand()}: {again.stderr}"
    return outcome, ""


def run_scenario(arguments, scenario):
    scenario.lay_down(arguments.ctl)
    before = stand()
    calls = trace(arguments.ctl, scenario)
    after = stand()
    outcomes, wrong = collections.Counter(), 0
    for call in calls:
        for fault in faults_of(call):
            outcome, difference = check(arguments, scenario, call, fault, before, after)
            outcomes[outcome] += 1
            if arguments.table:
                print(f"{scenario.name:14} {str(call):40} {str(fault):24} {outcome}")
            if difference:
                wrong += 1
                print(f"WRONG: {scenario.name}: {call}: {fault}: {outcome}: {difference}")
    counts = ", ".join(f"{count} {outcome}" for outcome, count in sorted(outcomes.items()))
    print(f"{scenario.name}: {sum(outcomes.values())} ends, {wrong} wrong ({counts})")
    return 1 if wrong or not calls else 0


def run_here(arguments):
    if os.readlink(NAMESPACE) == arguments.outside:
        sys.exit("ctl_matrix.py: refused to cover /opt: it is the machine's own")
    for folder in ("/opt", "/var/lib"):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", folder], check=True)
    SCRATCH.mkdir(parents=True)
    return max(run_scenario(arguments, each) for each in scenarios() if each.name in arguments.scenario)


def main():
    arguments = parse_arguments(__doc__, "--ctl", [scenario.name for scenario in scenarios()])
    if arguments.outside:
        return run_here(arguments)
    switches = ["--table"] if arguments.table else []
    return in_namespaces(__file__, ["--ctl", arguments.ctl, "--short-transfers", arguments.short_transfers, *switches],
                         arguments.scenario)


if __name__ == "__main__":
    sys.exit(main())
