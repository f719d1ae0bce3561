"""Faults that need no injection: full and read-only disks, links, folders, missing rights, closed streams."""

import contextlib
import ctypes
import errno
import os
import shutil
import socket
import subprocess

import store_model as model
from scenarios import (MANIFEST, ROOT, SCRATCH, STORE, Expected, Scenario, difference, entries, is_exactly, lay_down, run,
                       scenarios, store_now)

MS_RDONLY, MS_REMOUNT = 1, 32


@contextlib.contextmanager
def own_file_system(options):
    subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", ROOT], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "-l", ROOT], check=True)


def make_read_only():
    """By the system call: mount(8) repeats options that a user namespace refuses."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.mount(None, bytes(ROOT), None, MS_REMOUNT | MS_RDONLY, None) != 0:
        raise OSError(ctypes.get_errno(), "cannot make the disk read-only")


# The tests run as root; without its capabilities the bits of a file's mode bind root too.
ORDINARY_USER = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"]


class RealFaults:
    """Each method is a fault: it lays the trap, runs the tool and says what was expected."""

    def __init__(self, command, report):
        self.command = command
        self.report = report
        first, self.update, self.removal, self.last_removal, *_ = scenarios()
        self.install = first
        self.install_over = Scenario("install", "-i", model.store_bytes(entries(range(3, 6), "1")), first.listed)

    def check(self, name, scenario, outcome, status, lines, store, before=(), **options):
        end = run([*before, *self.command(scenario)], **options)
        expected = Expected(outcome, status, [lines], is_exactly(store))
        self.report("real", name, scenario.name, expected, difference(end, expected))

    def lay(self, scenario):
        shutil.rmtree(ROOT, ignore_errors=True)
        ROOT.mkdir(parents=True, exist_ok=True)
        lay_down(scenario)

    def lay_empty(self, scenario):
        self.lay(scenario)
        STORE.unlink(missing_ok=True)

    def unwritten(self, name, scenario, error, store=None, lines=(), **options):
        lines = [*lines, model.not_opened_for_writing(error), model.STATUS_5]
        self.check(name, scenario, "unwritten", 5, lines, store, **options)

    def kept(self, name, scenario, error, store=None, lines=(), **options):
        self.check(name, scenario, "kept", 0, [*lines, model.not_removed(error)], store, **options)

    def missing_root(self):
        for scenario, expect_end in ((self.install, self.unwritten), (self.last_removal, self.kept)):
            self.lay(scenario)
            shutil.rmtree(ROOT)
            expect_end("the install root is missing", scenario, errno.ENOENT)

    def root_is_a_file(self):
        for scenario, expect_end in ((self.install, self.unwritten), (self.last_removal, self.kept)):
            self.lay(scenario)
            shutil.rmtree(ROOT)
            ROOT.write_text("")
            expect_end("the install root is a file", scenario, errno.ENOTDIR,
                       lines=[model.not_examined(STORE, errno.ENOTDIR)])
            ROOT.unlink()

    def store_is_a_folder(self):
        self.lay_empty(self.install)
        STORE.mkdir()
        self.unwritten("the store is a folder", self.install, errno.EISDIR)
        self.check("the store is an empty folder", self.last_removal, "done", 0, [], None)
        self.then("is gone", not STORE.exists())
        STORE.mkdir()
        (STORE / "file").touch()
        self.kept("the store is a folder that is not empty", self.last_removal, errno.ENOTEMPTY)

    def store_is_a_socket(self):
        for scenario in (self.install, self.last_removal):
            self.lay_empty(scenario)
            bound = socket.socket(socket.AF_UNIX)
            bound.bind(str(STORE))
            bound.close()
            lines = [model.not_opened_for_reading(errno.ENXIO)]
            if scenario.mode == "-i":
                self.unwritten("the store is a socket", scenario, errno.ENXIO, lines=lines)
            else:
                self.check("the store is a socket", scenario, "noted", 0, lines, None)
                self.then("is gone", not STORE.exists())

    def then(self, what, holds):
        self.report("real", "... and then", f"the store {what}", Expected("done", 0, [[]], None),
                    "" if holds else "it is not so")

    def store_is_a_dangling_link(self):
        target = SCRATCH / "target"
        self.lay_empty(self.install)
        STORE.symlink_to(target)
        self.check("the store is a dangling link", self.install, "done", 0, [], self.install.after)
        self.then("is still a link", STORE.is_symlink() and target.read_bytes() == self.install.after)
        target.unlink()
        self.check("the store is a dangling link", self.last_removal, "done", 0, [], None)
        self.then("is no longer a link", not STORE.is_symlink())

    def store_is_a_link_to_another_file(self):
        target = SCRATCH / "target"
        for scenario in (self.install_over, self.update, self.removal):
            self.lay(scenario)
            STORE.unlink()
            STORE.symlink_to(target)
            target.write_bytes(scenario.before)
            self.check("the store is a link to a file", scenario, "done", 0, [], scenario.after)
            self.then("is still a link", STORE.is_symlink() and target.read_bytes() == scenario.after)
        target.write_bytes(self.last_removal.before)
        MANIFEST.write_text(self.last_removal.manifest())
        self.check("the store is a link to a file", self.last_removal, "done", 0, [], None)
        self.then("is gone, and the file is not", not STORE.is_symlink() and
                    target.read_bytes() == self.last_removal.before)
        target.unlink()

    def store_is_a_link_to_itself(self):
        for scenario in (self.install, self.last_removal):
            self.lay_empty(scenario)
            STORE.symlink_to(STORE)
            lines = [model.not_examined(STORE, errno.ELOOP)]
            if scenario.mode == "-i":
                self.unwritten("the store is a link to itself", scenario, errno.ELOOP, lines=lines)
            else:
                self.check("the store is a link to itself", scenario, "noted", 0, lines, None)

    def ordinary_user(self):
        over = self.install_over
        self.lay(over)
        STORE.chmod(0o444)
        self.unwritten("the store may not be written", over, errno.EACCES, over.before, before=ORDINARY_USER)
        STORE.chmod(0)
        self.unwritten("the store may not be touched", over, errno.EACCES, over.before,
                       [model.not_opened_for_reading(errno.EACCES)], before=ORDINARY_USER)
        STORE.chmod(0o200)
        self.check("the store may not be read", over, "forgot", 0, [model.not_opened_for_reading(errno.EACCES)],
                   over.forgotten, before=ORDINARY_USER)
        self.lay(self.install)
        ROOT.chmod(0o555)
        self.unwritten("the install root may not be written", self.install, errno.EACCES, before=ORDINARY_USER)
        self.lay(self.last_removal)
        ROOT.chmod(0o555)
        self.kept("the install root may not be written", self.last_removal, errno.EACCES, self.last_removal.before,
                  before=ORDINARY_USER)
        self.lay(over)
        MANIFEST.chmod(0)
        self.check("the manifest may not be read", over, "rejected", 4,
                   model.manifest_not_read("fstream::open", errno.EACCES, os.strerror(errno.EACCES)), over.before,
                   before=ORDINARY_USER)
        MANIFEST.chmod(0o644)
        ROOT.chmod(0o755)

    def read_only_disk(self):
        for scenario, expect_end in ((self.update, self.unwritten), (self.last_removal, self.kept)):
            with own_file_system("mode=755"):
                lay_down(scenario)
                make_read_only()
                expect_end("the disk is read-only", scenario, errno.EROFS, scenario.before)

    def full_disk(self):
        with own_file_system("mode=755,size=64k"):
            lay_down(self.install)
            with contextlib.suppress(OSError):
                (ROOT / "filler").write_bytes(bytes(1 << 20))
            lines = model.header_not_written(errno.ENOSPC) + [model.STATUS_5]
            self.check("the disk is full", self.install, "headless", 5, lines, b"")
        with own_file_system("mode=755,size=4k"):
            lay_down(self.install)
            scenario = Scenario("install of 60", "-i", None, entries(range(60), "5.1.2.42"))
            MANIFEST.write_text(scenario.manifest())
            self.check("the disk holds 4096 bytes", scenario, "cut", 0, scenario.lines_when_cut(4096, errno.ENOSPC),
                       scenario.after[:4096])
        with own_file_system("mode=755,nr_inodes=1"):
            lay_down(self.install)
            self.unwritten("the disk has no inode left", self.install, errno.ENOSPC)

    def little_memory(self):
        """However little there is, it runs out before the store is opened for writing, or not at all."""
        many = entries(range(2000), "5.1.4.74")
        scenario = Scenario("install of 2000", "-i", self.update.before, many)
        for size in range(8, 128, 4):
            self.lay(scenario)
            end = subprocess.run(["prlimit", f"--as={size << 20}", *self.command(scenario)], stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
            is_done = end.returncode == 0
            is_right = store_now() == (scenario.after if is_done else scenario.before)
            expected = Expected("done" if is_done else "no memory", 0, [[]], None)
            self.report("real", f"{size} MiB of address space", scenario.name, expected,
                        "" if is_right else f"the store is wrong, status {end.returncode}")

    def streams(self):
        over = self.install_over
        damaged = Scenario("damaged-store", "-i", over.before[:-1], over.listed)
        self.lay(damaged)
        with open("/dev/full", "wb") as full:
            self.check("standard output is full", damaged, "done", 0, [], damaged.after, stdout=full)
        scenario = Scenario("install", "-i", None, [("core", 2, ""), ("posture", 18, "4")])
        self.lay(scenario)
        left = model.HEADER + (2).to_bytes(4, "little") + model.record(("posture", 18, "4"))
        self.check("standard output is closed", scenario, "done", 0, [], left, before=["sh", "-c", '"$@" >&-', "sh"])
        self.lay(damaged)
        reader, writer = os.pipe()
        os.close(reader)
        self.check("nobody reads standard output", damaged, "done", 0, [], damaged.after, stdout=writer)
        os.close(writer)

    def file_size_limit(self):
        self.lay(self.install)
        self.check("files of 4 bytes at most", self.install, "headless", 5,
                   model.header_not_written(errno.EFBIG) + [model.STATUS_5], self.install.after[:4],
                   before=["prlimit", "--fsize=4"])
        self.lay(self.install)
        self.check("files of 99 bytes at most", self.install, "cut", 0, self.install.lines_when_cut(99, errno.EFBIG),
                   self.install.after[:99], before=["prlimit", "--fsize=99"])

    def run_all(self):
        for trap in (self.missing_root, self.root_is_a_file, self.store_is_a_folder, self.store_is_a_socket,
                     self.store_is_a_dangling_link, self.store_is_a_link_to_another_file,
                     self.store_is_a_link_to_itself, self.ordinary_user, self.read_only_disk, self.full_disk,
                     self.little_memory, self.streams, self.file_size_limit):
            trap()
