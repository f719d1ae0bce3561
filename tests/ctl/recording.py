"""What a run does to the disk, call by call, as strace sees it."""

import dataclasses
import re
import subprocess
from pathlib import Path

CALLS = "openat,creat,write,writev,pwrite64,ftruncate,fsync,fdatasync,rename,renameat,renameat2,unlink,unlinkat,mkdir," \
        "mkdirat,link,linkat"


@dataclasses.dataclass(frozen=True)
class Create:
    """A name that was not there leads to a new, empty file."""
    path: str


@dataclasses.dataclass(frozen=True)
class Write:
    """Bytes at an offset; None is the end of the file."""
    path: str
    data: bytes
    offset: int | None = None


@dataclasses.dataclass(frozen=True)
class Truncate:
    path: str
    size: int


@dataclasses.dataclass(frozen=True)
class Rename:
    old: str
    new: str


@dataclasses.dataclass(frozen=True)
class Unlink:
    path: str


@dataclasses.dataclass(frozen=True)
class MakeFolder:
    path: str


@dataclasses.dataclass(frozen=True)
class Sync:
    """Of a file: its bytes. Of a folder: its names."""
    path: str


LINE = re.compile(r"(?:\d+ +)?(\w+)\((.*)\) += (-?\d+)")
TEXT = re.compile(r'"((?:\\x[0-9a-f]{2})*)"(\.\.\.)?')
DESCRIPTOR = re.compile(r"\d+<([^>]*)>|AT_FDCWD(?:<([^>]*)>)?")


class Unknown(Exception):
    """A call that the model of the disk knows nothing about."""


def record(command, below, scratch):
    """Runs the command; what it does below these folders, in order, and how it ended."""
    log = Path(scratch) / "calls"
    # The detector of leaks cannot run under strace.
    end = subprocess.run(["env", "ASAN_OPTIONS=detect_leaks=0",
                          "strace", "-f", "-y", "-xx", "-s", "100000000", "-o", log, "-e", f"trace={CALLS}", *command],
                         stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    steps = []
    for line in log.read_text().splitlines():
        match = LINE.match(line)
        if match and int(match.group(3)) >= 0:
            steps += [step for step in step_of(match.group(1), match.group(2)) if is_below(step, below)]
    return steps, end


def is_below(step, folders):
    path = step.new if isinstance(step, Rename) else step.path
    return any(path == folder or path.startswith(folder + "/") for folder in folders)


def texts(arguments):
    found = []
    for hexadecimal, cut in TEXT.findall(arguments):
        if cut:
            raise Unknown("a text that strace has cut")
        found.append(bytes.fromhex(hexadecimal.replace("\\x", "")))
    return found


def paths(arguments):
    """The paths of a call: each name with the folder in front of it."""
    found = []
    folder = ""
    for part in re.finditer(DESCRIPTOR.pattern + "|" + TEXT.pattern, arguments):
        if part.group(0).startswith('"'):
            name = texts(part.group(0))[0].decode()
            found.append(name if name.startswith("/") else f"{folder}/{name}")
        else:
            folder = unescaped(part.group(1) or part.group(2) or "")
    return found


def unescaped(path):
    return bytes.fromhex(path.replace("\\x", "")).decode() if "\\x" in path else path


def first_descriptor(arguments):
    return unescaped(DESCRIPTOR.match(arguments).group(1))


def step_of(name, arguments):
    if name in ("openat", "creat"):
        if "O_TRUNC" in arguments:
            return [Truncate(paths(arguments)[0], 0)]
        return [Create(paths(arguments)[0])] if "O_EXCL" in arguments else unchanged(arguments)
    if name in ("write", "writev", "pwrite64"):
        offset = int(arguments.rsplit(",", 1)[1]) if name == "pwrite64" else None
        return [Write(first_descriptor(arguments), b"".join(texts(arguments)), offset)]
    if name == "ftruncate":
        return [Truncate(first_descriptor(arguments), int(arguments.rsplit(",", 1)[1]))]
    if name in ("fsync", "fdatasync"):
        return [Sync(first_descriptor(arguments))]
    if name in ("rename", "renameat", "renameat2"):
        return [Rename(*paths(arguments))]
    if name in ("unlink", "unlinkat"):
        return [Unlink(paths(arguments)[0])]
    if name in ("mkdir", "mkdirat"):
        return [MakeFolder(paths(arguments)[0])]
    raise Unknown(name)


def unchanged(arguments):
    if "O_CREAT" in arguments:
        raise Unknown("a file that is made where one may stand already")
    return []
