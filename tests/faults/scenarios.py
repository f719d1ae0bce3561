"""What every run of the fault matrix shares: the scenarios, one run of the tool, and how its end is judged."""

import collections
import dataclasses
import re
import struct
import subprocess
from pathlib import Path

import store_model as model

ROOT = Path("/opt/orvanta/brightgate")
STORE = ROOT / "VPNManifest.dat"
SCRATCH = Path("/opt/scratch")
MANIFEST = SCRATCH / "manifest.xml"


@dataclasses.dataclass
class Scenario:
    """A run: `after` and `lines` are what it leaves and prints; `forgotten` is what it leaves if the store that it finds
    cannot be read."""
    name: str
    mode: str
    before: bytes | None  # None: no file
    listed: list  # the entries of the manifest

    def __post_init__(self):
        self.after, self.lines = self.outcome_of(model.HEADER if self.before is None else self.before)
        self.forgotten, _ = self.outcome_of(model.HEADER)

    def outcome_of(self, store):
        """What the run leaves in the store, and what it prints, when it finds that one."""
        loaded = model.Loading(store)
        entries = dict(loaded.entries)
        for entry in self.listed:
            if self.mode == "-i":
                entries[entry[0]] = entry
            else:
                entries.pop(entry[0], None)
        return model.store_bytes(list(entries.values())), loaded.lines

    def lines_when_cut(self, size, error):
        """What is printed when no more than `size` bytes of `after` get into the file."""
        entries = model.Loading(self.after).entries.values()
        return self.lines + model.records_not_written(entries, size, error)

    def manifest(self):
        files = (f'<file id="{file_id}" type="{model.KEPT_WORDS[kind]}" version="{version}"><uri>packages/{file_id}</uri></file>'
                 for file_id, kind, version in self.listed)
        return '<vpn rev="1.0">\n' + "\n".join(files) + "\n</vpn>\n"


def entries(numbers, version):
    kinds = list(model.KEPT_WORDS)
    return [(f"com.orvanta.brightgate.module-{n:03}.component-with-a-long-identifier-{n * n:06}", kinds[n % len(kinds)], version)
            for n in numbers]


def scenarios():
    store = model.store_bytes
    installed = store(entries(range(200), "5.1.2.42"))
    return [
        Scenario("first-install", "-i", None, entries(range(3), "5.1.2.42")),
        Scenario("update", "-i", installed, entries(range(150, 210), "5.1.4.74-build-20260117")),
        Scenario("removal", "-x", installed, entries(range(0, 60), "5.1.2.42")),
        Scenario("last-removal", "-x", store(entries(range(3), "5.1.2.42")), entries(range(3), "5.1.2.42")),
        Scenario("damaged-store", "-i", installed[:-20], entries(range(3), "5.1.4.74")),
        Scenario("newer-store", "-i", struct.pack("<II", 1, 1) + installed[8:500], entries(range(3), "5.1.4.74")),
    ]


# One run of the tool.

@dataclasses.dataclass
class End:
    """How a run ended: status (of a signal: minus its number), log lines, bytes of the store (None: no file)."""
    status: int
    lines: list
    store: bytes | None


LOG_LINE = re.compile(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d obg_manifesttool\[\d+\]: (\[[A-Z]+\] .*)")


def store_now():
    return STORE.read_bytes() if STORE.is_file() else None


def lay_down(scenario):
    MANIFEST.write_text(scenario.manifest())
    if scenario.before is None:
        STORE.unlink(missing_ok=True)
    else:
        STORE.write_bytes(scenario.before)


def run(command, **options):
    """The end of the run, or a text that says what is wrong with what it printed."""
    done = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL,
                          **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "timeout": 60, **options})
    printed = (done.stdout or b"").decode()
    lines = [LOG_LINE.fullmatch(line) for line in printed.splitlines()]
    if not all(lines) or done.stderr:
        return f"printed what is no log line: {printed!r} {done.stderr!r}"
    return End(done.returncode, [line.group(1) for line in lines], store_now())


# How a run must end.

@dataclasses.dataclass
class Expected:
    outcome: str
    status: int
    lines: list  # alternatives, each a list of lines
    store: object  # a function from the bytes to whether they are right


def is_exactly(wanted):
    return lambda store: store == wanted


def done(scenario):
    return Expected("done", 0, [scenario.lines], is_exactly(scenario.after))


def difference(end, expected):
    """What of the end is not as expected; nothing if all is."""
    if isinstance(end, str):
        return end
    wrong = []
    if end.status != expected.status:
        wrong.append(f"status {end.status}, not {expected.status}")
    if not any(model.lines_match(end.lines, lines) for lines in expected.lines):
        wrong.append("printed:\n    " + "\n    ".join(end.lines[:8]) + "\n  and not:\n    " +
                     "\n    ".join(expected.lines[0][:8]))
    if not expected.store(end.store):
        size = "no file" if end.store is None else f"{len(end.store)} bytes: {end.store[:40].hex(' ')}"
        wrong.append(f"the store is wrong: {size}")
    return "; ".join(wrong)


class Report:
    def __init__(self, is_table):
        self.is_table = is_table
        self.outcomes = collections.Counter()
        self.wrong = 0

    def __call__(self, scenario, where, fault, expected, difference_text):
        self.outcomes[expected.outcome] += 1
        if self.is_table:
            print(f"{scenario:14} {where:32} {fault:34} {expected.outcome}")
        if difference_text:
            self.wrong += 1
            print(f"WRONG: {scenario}: {where}: {fault}: not \"{expected.outcome}\": {difference_text}")
