"""Faults that strace injects, or a library that is loaded before the C library: one for each call and each way to fail."""

import collections
import dataclasses
import errno
import os
import re
import signal

import store_model as model
from scenarios import (MANIFEST, ROOT, SCRATCH, STORE, Expected, difference, done, is_exactly, lay_down, run)

# What each call can return, on some file system or other.
FAULTS = {
    "newfstatat": (errno.EIO, errno.EACCES, errno.EINTR, errno.ENOMEM),
    "openat": (errno.EIO, errno.EACCES, errno.EINTR, errno.ENOMEM, errno.EMFILE),
    "openat+create": (errno.EIO, errno.ENOSPC, errno.EACCES, errno.EINTR, errno.ENOMEM, errno.EMFILE),
    "read": (errno.EIO, errno.EINTR, errno.ENOMEM),
    "write": (errno.EIO, errno.ENOSPC, errno.EINTR, errno.ENOMEM),
    "close": (errno.EIO, errno.ENOSPC, errno.EINTR),
    "unlink": (errno.EIO, errno.ENOSPC, errno.EACCES, errno.EINTR, errno.ENOMEM),
}


# The trace: which calls there are.

@dataclasses.dataclass
class Call:
    name: str
    number: int  # among the calls of that name
    target: str  # "manifest" or "store"
    phase: str  # "load", "parse" or "write"
    size: int  # what it moved
    moved: int  # what the calls before it moved, in this phase

    def __str__(self):
        return f"{self.name} {self.number} ({self.target}, {self.phase})"

    @property
    def can_move_less(self):
        return self.name in ("read", "write") and self.size > 1


CALL = re.compile(r"(\w+)\((.*)\)\s+= (-?\d+)")


def trace(tool, scenario):
    """The calls of an undisturbed run on the manifest, the store and its folder, in order; and its end."""
    lay_down(scenario)
    log = SCRATCH / "trace"
    end = run(["strace", "-y", "-s", "0", "-o", log, "-P", STORE, "-P", ROOT, "-P", MANIFEST, *tool(scenario)])
    calls = []
    numbers = collections.Counter()
    moved = collections.Counter()
    phase = "load"
    for line in log.read_text().splitlines():
        match = CALL.match(line)
        if not match:
            continue
        name, arguments, result = match.groups()
        target = "manifest" if str(MANIFEST) in arguments else "store"
        if target == "manifest":
            phase = "parse"
        elif phase == "parse":
            phase = "write"
        numbers[name] += 1
        size = max(int(result), 0) if name in ("read", "write") else 0
        calls.append(Call(name, numbers[name], target, phase, size, moved[phase]))
        moved[phase] += size
    return calls, end


# The faults, and what is expected of each.

@dataclasses.dataclass
class Fault:
    kind: str  # "error", "errors" (from there on), "short", "short+full" or "kill"
    error: int = 0

    def __str__(self):
        name = errno.errorcode.get(self.error, "")
        return {"error": name, "errors": f"{name} from there on", "short": "moves 3 bytes at most",
                "short+full": f"moves 3 bytes at most, then {name}", "kill": "SIGKILL"}[self.kind]


def faults_of(call):
    kind = "openat+create" if call.name == "openat" and call.phase == "write" else call.name
    faults = [Fault("error", error) for error in FAULTS[kind]]
    if call.name == "write":
        faults += [Fault("errors", error) for error in FAULTS[kind] if error != errno.EINTR]
    if call.can_move_less:
        faults.append(Fault("short"))
        if call.name != "read":
            faults.append(Fault("short+full", errno.ENOSPC))
    return faults + [Fault("kill")]


def forgot(scenario, lines):
    """The store could not be read: the run goes on as if there were none."""
    outcome = "noted" if scenario.forgotten == scenario.after else "forgot"
    if scenario.forgotten is None and scenario.before is None:
        lines = lines + [model.not_removed(errno.ENOENT)]
    return Expected(outcome, 0, [lines], is_exactly(scenario.forgotten))


def expect_load(scenario, call, error):
    if call.name == "newfstatat":
        return forgot(scenario, [model.not_examined(STORE, error)])
    if call.name == "openat":
        return forgot(scenario, [model.not_opened_for_reading(error)])
    if call.name == "read" and error != errno.EINTR:
        return forgot(scenario, model.Loading(scenario.before[:call.moved], error).lines)
    return done(scenario)


def expect_parse(scenario, call, error):
    if call.name == "newfstatat":
        why = model.manifest_not_read("CManifestInfo::fileCbSize", model.FIELD_FAILED, "unknown")
    elif call.name == "openat":
        why = model.manifest_not_read("fstream::open", error, os.strerror(error))
    elif call.name == "read" and error != errno.EINTR:
        why = model.manifest_not_read("fstream::read", error, os.strerror(error))
    else:
        return done(scenario)
    return Expected("rejected", 4, [scenario.lines + why], is_exactly(scenario.before))


def expect_write(scenario, call, fault):
    error = fault.error
    if call.name == "unlink":
        return Expected("kept", 0, [scenario.lines + [model.not_removed(error)]], is_exactly(scenario.before))
    if call.name == "openat":
        lines = scenario.lines + [model.not_opened_for_writing(error), model.STATUS_5]
        return Expected("unwritten", 5, [lines], is_exactly(scenario.before))
    if call.name == "close" or error == errno.EINTR:
        return done(scenario)
    return expect_write_lost(scenario, call, fault)


def expect_write_lost(scenario, call, fault):
    """A write failed: what had got there before it is all there is."""
    reached = call.moved + (3 if fault.kind == "short+full" else 0)
    left = is_exactly(scenario.after[:reached])
    if call.moved == 0:
        lines = scenario.lines + model.header_not_written(fault.error) + [model.STATUS_5]
        return Expected("headless", 5, [lines], left)
    return Expected("cut", 0, [scenario.lines_when_cut(reached, fault.error)], left)


def expect_kill(scenario, call):
    is_loaded = call.phase != "load" or call.name == "close"
    lines = [scenario.lines if is_loaded else []]
    if call.phase == "write" and call.name in ("write", "close"):
        left = scenario.after[:call.moved]
        outcome = "empty" if not left else "new" if left == scenario.after else "cut"
        return Expected(f"killed: {outcome}", -signal.SIGKILL, lines, is_exactly(left))
    return Expected("killed: old", -signal.SIGKILL, lines, is_exactly(scenario.before))


def expect(scenario, call, fault):
    if fault.kind == "kill":
        return expect_kill(scenario, call)
    if fault.kind == "short":
        return done(scenario)
    if call.phase == "load":
        return expect_load(scenario, call, fault.error)
    if call.phase == "parse":
        return expect_parse(scenario, call, fault.error)
    return expect_write(scenario, call, fault)


def injections(calls, call, fault):
    """strace's words for the fault."""
    if fault.kind == "kill":
        return [f"inject={call.name}:signal=SIGKILL:when={call.number}"]
    name = errno.errorcode[fault.error]
    if fault.kind == "error":
        return [f"inject={call.name}:error={name}:when={call.number}"]
    before = collections.Counter(other.name for other in calls[:calls.index(call)])
    return [f"inject=write:error={name}:when={before['write'] + 1}+"]


def run_fault(arguments, scenario, calls, call, fault):
    lay_down(scenario)
    tool = arguments.command(scenario)
    if not fault.kind.startswith("short"):
        inject = [word for each in injections(calls, call, fault) for word in ("-e", each)]
        return run(["strace", "-o", SCRATCH / "trace", "-P", STORE, "-P", ROOT, "-P", MANIFEST, *inject, *tool])
    environment = {
        **os.environ, "LD_PRELOAD": arguments.short_transfers, "OBG_SHORT_SIZE": str(min(3, call.size - 1)),
        "OBG_SHORT_FILE": str(STORE if call.target == "store" else MANIFEST),
        "OBG_SHORT_CALL": f"{call.name}:{number_on_target(calls, call)}"}
    if fault.error:
        environment["OBG_SHORT_THEN"] = str(fault.error)
    return run(tool, env=environment)


def number_on_target(calls, call):
    same = [other for other in calls if (other.name, other.target) == (call.name, call.target)]
    return same.index(call) + 1


def run_scenario(arguments, scenario, report):
    calls, end = trace(arguments.command, scenario)
    report(scenario.name, "every call", "no fault", done(scenario), difference(end, done(scenario)))
    for call in calls:
        for fault in faults_of(call):
            expected = expect(scenario, call, fault)
            end = run_fault(arguments, scenario, calls, call, fault)
            report(scenario.name, str(call), str(fault), expected, difference(end, expected))
