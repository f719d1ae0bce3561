"""What the tests of obg_manifestctl stand on: a machine of their own, and the program as users run it.

Each NAME_test.py is run by ctest as ctl.NAME and ends with

    if __name__ == "__main__":
        harness.main()

which enters a private mount namespace (in a user namespace when it is not root), lays empty file systems over /opt and
/var/lib, and runs the tests there: they see the real paths, and the machine is left untouched. Where the kernel refuses
that, or a module or program is missing, the tests fail.

CMake tells by environment variables where things are: OBG_CTL and OBG_TOOL are the programs of this build, OBG_SOURCE is
the source tree, OBG_SANITIZE names the sanitizers of the build, OBG_COVERAGE is ON where it counts what is reached.
"""

import functools
import json
import os
import pathlib
import pty
import shutil
import subprocess
import sys
import tty
import unittest

import jsonschema

import kinds

ROOT = pathlib.Path("/opt/orvanta/brightgate")
LEGACY_ROOT = pathlib.Path("/opt/orvanta/tessellink")
STORE = ROOT / "VPNManifest.dat"
LEGACY_STORE = LEGACY_ROOT / "VPNManifest.dat"
STATE = pathlib.Path("/var/lib/obg-manifest")
SCRATCH = pathlib.Path("/opt/scratch")

CTL = os.environ["OBG_CTL"]
TOOL = os.environ["OBG_TOOL"]
SOURCE = pathlib.Path(os.environ["OBG_SOURCE"])
SCHEMAS = SOURCE / "packaging/schemas"
IS_SANITIZED = bool(os.environ.get("OBG_SANITIZE"))
IS_COUNTED = os.environ.get("OBG_COVERAGE") == "ON"

# An ordinary user: still uid 0 of the namespace, but the mode of a file binds it.
WITHOUT_RIGHTS = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"]

# The detector of leaks cannot run under it.
STRACE = ["env", "ASAN_OPTIONS=detect_leaks=0", "strace"]


def uncounted(reason):
    """Leaves a test out where what is reached is counted: a counting program writes files of its own when it ends."""
    return unittest.skipIf(IS_COUNTED, reason)


@functools.cache
def space_to_start():
    """The address space that the program starts in, rounded up to a power of two: an emulator needs a lot of it."""
    def starts_in(size):
        return subprocess.run(["prlimit", f"--as={size}", CTL, "--version"], capture_output=True).returncode == 0

    return next(filter(starts_in, (1 << exponent for exponent in range(20, 40))))


def in_memory_of(size):
    """A command that runs the program with that many bytes beside what it starts in. With a sanitizer there is no limit:
    that reserves terabytes before the program's first line."""
    return [] if IS_SANITIZED else ["prlimit", f"--as={space_to_start() + size}"]


class Run:
    """How a run of the program ended. `out` and `err` are texts; `output` is standard output's bytes."""

    def __init__(self, process):
        self.status = process.returncode
        self.output = process.stdout or b""
        self.out = self.output.decode("utf-8")
        self.err = (process.stderr or b"").decode("utf-8")

    def __repr__(self):
        return f"status {self.status}\n--- standard output\n{self.out}--- standard error\n{self.err}---"


def schema_of(document):
    return json.loads((SCHEMAS / f"{document['format']}.schema.json").read_text())


def closed(schema):
    """The schema without its leave for members that it does not name. Those who read a document have it, so that a new
    member breaks nobody; the program must put in what is described and nothing else."""
    if isinstance(schema, list):
        return [closed(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    parts = {name: closed(part) for name, part in schema.items()}
    return {"additionalProperties": False, **parts} if parts.get("type") == "object" and "properties" in parts else parts


def validated(text):
    """The one JSON document that the text is; an error when it is none or its schema does not accept it."""
    document = json.loads(text)
    schema = schema_of(document)
    jsonschema.Draft202012Validator.check_schema(schema)
    jsonschema.Draft202012Validator(schema).validate(document | {"member_of_a_later_release": None})
    jsonschema.Draft202012Validator(closed(schema)).validate(document)
    assert list(document)[:2] == ["format", "version"], "a document starts with its format and its version"
    assert document["version"] == 1
    assert text.endswith("}\n")
    return document


class CtlTest(unittest.TestCase):
    """A test starts with empty install roots, no store, no state, and an empty folder SCRATCH."""

    maxDiff = None

    def setUp(self):
        for folder in ("/opt", "/var/lib"):
            for entry in pathlib.Path(folder).iterdir():
                shutil.rmtree(entry) if entry.is_dir() and not entry.is_symlink() else entry.unlink()
        for folder in (ROOT, LEGACY_ROOT, SCRATCH):
            folder.mkdir(parents=True)

    def ctl(self, *arguments, status=None, before=(), program=CTL, **options):
        """Runs obg_manifestctl with the arguments. `status`, when given, is the exit status that it must have;
        `before` is a command that runs the program; the options are those of subprocess.run."""
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("cwd", SCRATCH)
        run = Run(subprocess.run([*before, program, *arguments], timeout=100, **options))
        if status is not None:
            self.assertEqual(run.status, status, run)
        return run

    def on_a_terminal(self, *arguments, status=None, before=(), **environment):
        """Runs obg_manifestctl with a terminal as its standard output and standard error. All that is shown there, as
        it was written, is `out`."""
        master, slave = pty.openpty()
        tty.setraw(slave)
        process = subprocess.Popen([*before, CTL, *arguments], stdin=subprocess.DEVNULL, stdout=slave, stderr=slave,
                                   cwd=SCRATCH, env=dict(os.environ, TERM="xterm", **environment))
        os.close(slave)
        shown = b""
        try:
            while block := os.read(master, 4096):
                shown += block
        except OSError:  # How a terminal says that nobody writes to it any more.
            pass
        os.close(master)
        run = Run(subprocess.CompletedProcess(process.args, process.wait(), shown))
        if status is not None:
            self.assertEqual(run.status, status, run)
        return run

    def assertStopsOnFailedOutput(self, *arguments):
        """Standard output that cannot be written ends the command with 2, complained, whatever it is."""
        reading, writing = os.pipe()
        os.close(reading)
        with open("/dev/full", "wb") as full, open(writing, "wb") as unread:
            for stdout, reason in ((full, "No space left on device"), (unread, "Broken pipe")):
                run = self.ctl(*arguments, stdout=stdout)
                self.assertRun(run, 2, err=f"obg_manifestctl: cannot write to standard output: {reason}\n")
        run = self.ctl("-c", 'exec "$0" "$@" >&-', CTL, *arguments, program="sh")
        self.assertRun(run, 2, err="obg_manifestctl: cannot write to standard output: Bad file descriptor\n")

    def json(self, *arguments, status=0, err="", **options):
        """The document that `--format json` prints, held against its schema. Nothing else may be printed."""
        run = self.ctl("--format", "json", *arguments, status=status, **options)
        self.assertEqual(run.err, err, run)
        return validated(run.out)

    def tool(self, *arguments, status=0):
        """Runs obg_manifesttool, which must end with that status; returns its log lines."""
        run = self.ctl(*arguments, program=TOOL, status=status)
        return run.out.splitlines()

    def assertRun(self, run, status, out="", err=""):
        self.assertEqual((run.out, run.err, run.status), (out, err, status), run)


def entry(attributes, children="<uri>u</uri>"):
    return f"<file {attributes}>{children}</file>"


def exe(file_id, version):
    return entry(f'id="{file_id}" version="{version}" type="exe"')


def resource(file_id, version):
    return entry(f'id="{file_id}" version="{version}" type="resource"', '<uri>u</uri><hash type="sha1">00</hash>')


def text_field(text):
    """A text as a store holds it: its length with the NUL behind it, the text, the NUL."""
    text = text if isinstance(text, bytes) else text.encode()
    return (len(text) + 1).to_bytes(4, "little") + text + b"\0"


def record(file_id, kind, version):
    """A record as a store holds it; `kind` is a word of the manifest or any number."""
    number = kinds.ALL.get(kind, kind)
    return number.to_bytes(4, "little") + text_field(version) + text_field(file_id)


def store_bytes(*entries, major=1, minor=0):
    """The bytes of a store of (id, kind, version), by hand and not by the program."""
    return major.to_bytes(4, "little") + minor.to_bytes(4, "little") + b"".join(record(*entry) for entry in entries)


def main():
    outside = os.environ.pop("OBG_OUTER_NAMESPACE", None)
    namespace = os.readlink("/proc/self/ns/mnt")
    if outside is None:
        private = SOURCE / "script/private"
        os.execve(private, [private, sys.executable, "-B", *sys.argv], dict(os.environ, OBG_OUTER_NAMESPACE=namespace))
    if namespace == outside:
        sys.exit("refused to cover /opt: it is the machine's own")
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", "/var/lib"], check=True)
    os.environ.update(LC_ALL="C.UTF-8", TZ="UTC")
    for name in ("NO_COLOR", "TERM"):
        os.environ.pop(name, None)
    unittest.main(verbosity=2 if IS_COUNTED else 1)
