"""`apply`: what the tool does, all or nothing."""

import contextlib
import fcntl
import os
import pty
import re
import signal
import subprocess
import threading
import time
import unittest

import harness
from harness import CTL, LEGACY_STORE, ROOT, SCRATCH, STORE, WITHOUT_RIGHTS
from harness import exe, resource, store_bytes, text_field

LOCK = ROOT / "VPNManifest.dat.lock"
FULL_DISK = "No space left on device"


def failing(call, error):
    """A command that runs the program with this call failing every time."""
    return [*harness.STRACE, "-o", "/dev/null", "-e", f"inject={call}:error={error}"]


@contextlib.contextmanager
def terminal():
    """A terminal for the program, and a function that returns what it shows."""
    keeper, screen = pty.openpty()
    try:
        yield screen, lambda: os.read(keeper, 4096)
    finally:
        os.close(keeper)
        os.close(screen)


def chown_as_far_as_possible(path):
    """Gives the file to somebody else, where that may be done; returns whose it is then."""
    with contextlib.suppress(OSError):
        os.chown(path, 1234, 1235)
    return path.stat().st_uid, path.stat().st_gid


class ApplyTest(harness.CtlTest):
    def manifest(self, *entries, name="m.xml"):
        path = SCRATCH / name
        path.write_text('<vpn rev="1.0">' + "".join(entries) + "</vpn>", encoding="utf-8")
        return str(path)

    def lay_store(self, *entries, path=STORE):
        path.write_bytes(store_bytes(*entries))
        return path.read_bytes()

    def assertStands(self, content):
        """This store, the lock file beside it, and nothing else."""
        self.assertEqual(STORE.read_bytes() if STORE.exists() else None, content)
        left = {path.name for path in ROOT.iterdir()} - {"VPNManifest.dat", "VPNManifest.dat.lock"}
        self.assertEqual(left, set())

    def assertRefused(self, run, error, content):
        self.assertRun(run, 2, err=f"obg_manifestctl: {error}\n")
        self.assertStands(content)

    # What becomes of the store

    def test_a_first_installation_writes_what_the_tool_writes(self):
        self.ctl("apply", "-i", self.manifest(exe("a", "1"), resource("b", "2")), status=0)
        self.assertStands(store_bytes(("a", "exe", "1")))

    def test_entries_keep_their_places(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"), ("c", "rpm", "1"))
        self.ctl("apply", "-i", self.manifest(exe("b", "2"), exe("d", "1")), status=0)
        self.assertStands(store_bytes(("a", "exe", "1"), ("b", "exe", "2"), ("c", "rpm", "1"), ("d", "exe", "1")))

    def test_strikes_what_is_listed_of_whatever_kind(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"), ("c", "rpm", "1"))
        self.ctl("apply", "-x", self.manifest(resource("b", "7"), exe("x", "1")), status=0)
        self.assertStands(store_bytes(("a", "exe", "1"), ("c", "rpm", "1")))

    def test_the_file_goes_with_its_last_entry(self):
        self.lay_store(("a", "exe", "1"))
        run = self.ctl("apply", "-x", self.manifest(exe("a", "1")), status=0)
        self.assertEqual(run.out, "strike  a  exe 1\nThe store is deleted.\n")
        self.assertStands(None)

    def test_what_is_not_there_is_struck_without_a_word(self):
        self.assertRun(self.ctl("apply", "-x", self.manifest(exe("a", "1"))), 0, out="The store stays as it is.\n")
        self.assertStands(None)

    def test_manifests_are_taken_one_after_the_other(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"))
        dropping = self.manifest(resource("a", "2"), name="1.xml")
        again = self.manifest(exe("a", "3"), name="2.xml")
        self.ctl("apply", "-i", dropping, again, status=0)
        self.assertStands(store_bytes(("b", "exe", "1"), ("a", "exe", "3")))

    def test_one_manifest_that_is_rejected_stops_all(self):
        content = self.lay_store(("a", "exe", "1"))
        run = self.ctl("apply", "-i", self.manifest(exe("b", "1")), self.manifest("<file/>", exe("c", "1"), name="bad"))
        self.assertEqual(run.status, 2, run)
        self.assertIn("bad", run.err)
        self.assertStands(content)

    def test_the_same_again_does_not_touch_the_file(self):
        manifest = self.manifest(exe("a", "1"))
        self.ctl("apply", "-i", manifest, status=0)
        before = STORE.stat()
        run = self.ctl("apply", "-i", manifest, status=0)
        self.assertEqual(run.out, "The store stays as it is.\n")
        self.assertEqual((STORE.stat().st_ino, STORE.stat().st_mtime_ns), (before.st_ino, before.st_mtime_ns))

    def test_legacy_and_other_stores(self):
        other = SCRATCH / "other.dat"
        self.ctl("--legacy", "apply", "-i", self.manifest(exe("a", "1")), status=0)
        self.ctl("--store", "other.dat", "apply", "-i", self.manifest(exe("b", "1")), status=0)
        self.assertEqual(LEGACY_STORE.read_bytes(), store_bytes(("a", "exe", "1")))
        self.assertEqual(other.read_bytes(), store_bytes(("b", "exe", "1")))
        self.assertFalse(STORE.exists())

    def test_a_store_that_is_named_is_not_looked_up_below_the_root(self):
        self.ctl("--root", "image", "--store", "other.dat", "apply", "-i", self.manifest(exe("b", "1")), status=0)
        self.assertEqual((SCRATCH / "other.dat").read_bytes(), store_bytes(("b", "exe", "1")))
        self.assertFalse((SCRATCH / "image").exists())

    # What it says

    def test_says_what_changed(self):
        self.lay_store(("a", "exe", "1"), ("b", "exe", "1"), ("k", "exe", "1"))
        run = self.ctl("apply", "-i", self.manifest(exe("a", "2"), resource("b", "1"), exe("c", "1"), exe("k", "1")))
        content = store_bytes(("a", "exe", "2"), ("k", "exe", "1"), ("c", "exe", "1"))
        self.assertRun(run, 0, out="update  a  exe 1 -> exe 2\ndrop    b  exe 1 -> resource 1\nadd     c  exe 1\n"
                                   f"The store holds 3 entries in {len(content)} bytes.\n")
        self.assertStands(content)

    def test_says_it_in_json(self):
        document = self.json("apply", "-i", self.manifest(exe("a", "1"), resource("b", "1")))
        self.assertEqual(document["changes"], [
            {"change": "add", "id": "a", "old": None, "new": {"kind": "exe", "version": "1"}},
            {"change": "unrecorded", "id": "b", "old": None, "new": {"kind": "resource", "version": "1"}},
        ])
        self.assertIs(document["changed"], True)
        self.assertEqual(document["result"]["size"], len(store_bytes(("a", "exe", "1"))))
        document = self.json("apply", "-x", self.manifest(exe("a", "1")))
        self.assertEqual(document["result"], {"entries": None, "size": None, "sha256": None})

    def test_bytes_of_an_old_entry_steer_no_terminal_and_are_whole_in_json(self):
        manifest = self.manifest(exe("a", "1"))
        self.lay_store(("a", "exe", b"\x1b]0;x\x07\xff"))
        self.assertEqual(self.ctl("apply", "-x", manifest, status=0).out,
                         "strike  a  exe \\x1b]0;x\\x07\\xff\nThe store is deleted.\n")
        self.lay_store(("a", "exe", b"\xff1"))
        change, = self.json("apply", "-i", manifest)["changes"]
        self.assertEqual(change["old"], {"kind": "exe", "version": "\ufffd1", "version_hex": "ff31"})

    def test_sarif_is_not_for_it(self):
        self.assertRun(self.ctl("--format", "sarif", "apply", "-i", self.manifest(exe("a", "1"))), 2,
                       err="obg_manifestctl: the format sarif is for lint alone\n")
        self.assertStands(None)

    # Standard output

    def test_a_result_that_cannot_be_written_changes_nothing(self):
        self.assertStopsOnFailedOutput("apply", "-i", self.manifest(exe("b", "1")))
        self.assertStands(None)
        content = self.lay_store(("a", "exe", "1"))
        for command in (["-i", self.manifest(exe("b", "1"))], ["-x", self.manifest(exe("a", "1"))]):
            for form in ("text", "json"):
                self.assertStopsOnFailedOutput("--format", form, "apply", *command)
                self.assertStands(content)

    def test_a_change_that_fails_behind_its_result_is_said(self):
        content = self.lay_store(("a", "exe", "1"))
        run = self.ctl("apply", "-i", self.manifest(exe("b", "1")), before=failing("renameat", "EIO"))
        self.assertEqual((run.status, run.err), (2, (
            f"obg_manifestctl: cannot replace {STORE}: Input/output error\n"
            "obg_manifestctl: nothing was changed; the result on standard output does not hold\n")))
        self.assertStands(content)

    @harness.uncounted("the result is not the last that a counting program writes")
    def test_a_terminal_gets_the_result_when_the_lock_has_been_given_back(self):
        with terminal() as (screen, shown):
            log = SCRATCH / "trace"
            self.ctl("apply", "-i", self.manifest(exe("a", "1")), stdout=screen, status=0,
                     before=[*harness.STRACE, "-y", "-e", "trace=write,ftruncate", "-o", log])
            self.assertIn(b"The store holds 1 entry", shown())
        self.assertIn("The store holds", log.read_text().splitlines()[-2], "the last but the exit")

    def test_a_terminal_that_fails_behind_the_change_is_1(self):
        with terminal() as (screen, _):
            run = self.ctl("apply", "-i", self.manifest(exe("a", "1")), stdout=screen,
                           before=[*failing("write", "EIO"), "-P", os.ttyname(screen)])
        self.assertRun(run, 1, err="obg_manifestctl: cannot write to standard output: Input/output error\n")
        self.assertStands(store_bytes(("a", "exe", "1")))

    def test_a_terminal_that_has_hung_up_changes_nothing(self):
        keeper, screen = pty.openpty()
        os.close(keeper)
        run = self.ctl("apply", "-i", self.manifest(exe("a", "1")), stdout=screen)
        os.close(screen)
        self.assertRun(run, 2, err="obg_manifestctl: cannot write to standard output: Input/output error\n")
        self.assertStands(None)

    def test_a_change_that_a_power_cut_may_undo_is_1_and_is_said(self):
        for content, command in ((None, "-i"), (store_bytes(("a", "exe", "1")), "-x")):
            run = self.ctl("apply", command, self.manifest(exe("a", "1")), status=1,
                           before=[*failing("fsync", "EIO"), "-P", ROOT])
            self.assertEqual(run.err, f"obg_manifestctl: done, but a power cut may undo it: cannot write {ROOT}: "
                                      "Input/output error\n")
            self.assertStands(store_bytes(("a", "exe", "1")) if content is None else None)

    # What it refuses

    def test_a_damaged_store_is_refused(self):
        content = self.lay_store(("a", "exe", "1"), ("b", "exe", "1"))[:-1]
        STORE.write_bytes(content)
        self.assertRefused(self.ctl("apply", "-i", self.manifest(exe("c", "1"))),
                           f"{STORE}: the store is damaged; obg_manifestctl check tells more", content)

    def test_a_newer_store_is_refused(self):
        content = store_bytes(("a", "exe", "1"), major=2)
        STORE.write_bytes(content)
        self.assertRefused(self.ctl("apply", "-i", self.manifest(exe("c", "1"))),
                           f"{STORE}: the store is of a version that is not read; obg_manifestctl check tells more",
                           content)

    def test_an_unreadable_store_is_refused(self):
        content = self.lay_store(("a", "exe", "1"))
        STORE.chmod(0o200)
        run = self.ctl("apply", "-i", self.manifest(exe("c", "1")), before=WITHOUT_RIGHTS)
        self.assertRefused(run, f"cannot read {STORE}: Permission denied", content)

    def test_what_is_no_file_is_refused(self):
        STORE.mkdir()
        self.assertRun(self.ctl("apply", "-i", self.manifest(exe("c", "1"))), 2,
                       err=f"obg_manifestctl: cannot read {STORE}: Is a directory\n")
        STORE.rmdir()
        os.mkfifo(STORE)
        self.assertRun(self.ctl("apply", "-x", self.manifest(exe("c", "1"))), 2,
                       err=f"obg_manifestctl: cannot read {STORE}: Invalid argument\n")

    def test_an_entry_that_the_store_could_not_hold_is_refused(self):
        content = self.lay_store(("a", "exe", "1"))
        for manifest in (self.manifest(exe("b", "")), self.manifest(exe("", "1"))):
            self.assertEqual(self.ctl("apply", "-i", manifest).status, 2)
            self.assertStands(content)

    def test_an_entry_that_the_store_can_hold_in_the_end_is_none_of_these(self):
        self.ctl("apply", "-i", self.manifest(exe("b", ""), exe("b", "1")), status=0)
        self.assertStands(store_bytes(("b", "exe", "1")))

    def test_an_entry_without_version_that_was_there_goes_or_stops_all(self):
        content = self.lay_store(("a", "exe", ""), ("b", "exe", "1"))
        self.assertEqual(self.ctl("apply", "-i", self.manifest(exe("c", "1"))).status, 2)
        self.assertStands(content)
        self.ctl("apply", "-i", self.manifest(exe("a", "2")), status=0)
        self.assertStands(store_bytes(("a", "exe", "2"), ("b", "exe", "1")))

    @harness.uncounted("the limit would cut the counts short")
    def test_a_limit_on_the_size_of_files_is_said_and_nothing_is_lost(self):
        content = self.lay_store(("a", "exe", "1"))
        many = self.manifest(*(exe(f"module-{n}", "1") for n in range(1000)))
        run = self.ctl("apply", "-i", many, before=["prlimit", "--fsize=4096"])
        self.assertEqual(run.status, 2)
        self.assertRegex(run.err, r"^obg_manifestctl: cannot write /opt/orvanta/brightgate/\.VPNManifest\.dat\.obg-"
                                  r"[0-9a-f]{32}: File too large\n$")
        self.assertStands(content)

    def test_a_full_disk_is_said_and_nothing_is_lost(self):
        many = self.manifest(*(exe(f"module-{n}", "1") for n in range(1000)))
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "tmpfs", ROOT], check=True)
        try:
            content = self.lay_store(("a", "exe", "1"))
            run = self.ctl("apply", "-i", many)
            self.assertEqual(run.status, 2)
            self.assertIn(FULL_DISK, run.err)
            self.assertStands(content)
        finally:
            subprocess.run(["umount", "-l", ROOT], check=True)

    def test_a_read_only_disk_is_said(self):
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", ROOT], check=True)
        try:
            content = self.lay_store(("a", "exe", "1"))
            subprocess.run(["mount", "-o", "remount,ro", ROOT], check=True)
            run = self.ctl("apply", "-i", self.manifest(exe("b", "1")))
            self.assertRefused(run, f"cannot lock {LOCK}: Read-only file system", content)
        finally:
            subprocess.run(["umount", "-l", ROOT], check=True)

    def test_a_missing_install_root_is_said(self):
        ROOT.rmdir()
        run = self.ctl("apply", "-i", self.manifest(exe("b", "1")))
        self.assertRun(run, 2, err=f"obg_manifestctl: cannot lock {LOCK}: No such file or directory\n")

    def test_wrong_calls_are_refused(self):
        manifest = self.manifest(exe("b", "1"))
        for arguments in (["-i"], [manifest], ["-i", "-x", manifest], ["-i", "--wait", "-1", manifest],
                          ["-i", "--wait", "x", manifest], ["-i", "missing"]):
            self.assertEqual(self.ctl("apply", *arguments).status, 2, arguments)
        self.assertStands(None)

    # Links, owner, mode, attributes

    def test_a_link_stays_one_and_its_file_is_replaced(self):
        target = SCRATCH / "real.dat"
        self.lay_store(("a", "exe", "1"), path=target)
        STORE.symlink_to(target)
        self.ctl("apply", "-i", self.manifest(exe("b", "1")), status=0)
        self.assertTrue(STORE.is_symlink())
        self.assertEqual(target.read_bytes(), store_bytes(("a", "exe", "1"), ("b", "exe", "1")))
        self.assertTrue((SCRATCH / "real.dat.lock").exists(), "the lock lies beside the file")
        self.assertFalse(LOCK.exists())

    def test_a_dangling_link_is_filled(self):
        STORE.symlink_to(SCRATCH / "real.dat")
        self.ctl("apply", "-i", self.manifest(exe("b", "1")), status=0)
        self.assertTrue(STORE.is_symlink())
        self.assertEqual((SCRATCH / "real.dat").read_bytes(), store_bytes(("b", "exe", "1")))

    def test_a_link_goes_with_the_last_entry_and_its_file_stays(self):
        target = SCRATCH / "real.dat"
        content = self.lay_store(("a", "exe", "1"), path=target)
        STORE.symlink_to(target)
        self.ctl("apply", "-x", self.manifest(exe("a", "1")), status=0)
        self.assertFalse(STORE.is_symlink())
        self.assertEqual(target.read_bytes(), content)

    def test_a_link_in_a_circle_is_said(self):
        STORE.symlink_to(STORE)
        self.assertEqual(self.ctl("apply", "-i", self.manifest(exe("a", "1"))).status, 2)
        self.assertTrue(STORE.is_symlink())

    def test_below_a_root_a_link_does_not_lead_out(self):
        root = SCRATCH / "image"
        below = root / "opt/orvanta/brightgate"
        below.mkdir(parents=True)
        (root / "data").mkdir()
        (below / "VPNManifest.dat").symlink_to("/data/real.dat")
        self.ctl("--root", root, "apply", "-i", self.manifest(exe("a", "1")), status=0)
        self.assertEqual((root / "data/real.dat").read_bytes(), store_bytes(("a", "exe", "1")))
        self.ctl("--root", root, "apply", "-x", self.manifest(exe("a", "1")), status=0)
        self.assertFalse((below / "VPNManifest.dat").is_symlink(), "the link itself goes")
        self.assertTrue((root / "data/real.dat").exists())
        self.assertFalse(STORE.exists())

    def test_owner_mode_and_attributes_are_kept(self):
        self.lay_store(("a", "exe", "1"))
        STORE.chmod(0o640)
        owner = chown_as_far_as_possible(STORE)
        os.setxattr(STORE, "trusted.obg", b"kept")
        self.ctl("apply", "-i", self.manifest(exe("b", "1")), status=0)
        self.assertEqual((STORE.stat().st_uid, STORE.stat().st_gid), owner)
        self.assertEqual(STORE.stat().st_mode & 0o7777, 0o640)
        self.assertEqual(os.getxattr(STORE, "trusted.obg"), b"kept")

    def test_a_new_store_has_the_mode_that_the_tool_gives(self):
        before = os.umask(0o027)
        try:
            self.ctl("apply", "-i", self.manifest(exe("b", "1")), status=0)
        finally:
            os.umask(before)
        self.assertEqual(STORE.stat().st_mode & 0o7777, 0o640)

    def test_what_a_killed_run_left_is_removed_by_the_next(self):
        self.lay_store(("a", "exe", "1"))
        (ROOT / (".VPNManifest.dat.obg-" + "0" * 32)).write_bytes(b"half")
        self.ctl("apply", "-i", self.manifest(exe("a", "1")), status=0)
        self.assertStands(store_bytes(("a", "exe", "1")))

    # The lock

    def test_who_does_not_get_the_lock_is_told_who_has_it(self):
        manifest = self.manifest(exe("a", "1"))
        with open(LOCK, "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            lock.write("4711 obg_manifestctl \x1b[31msync\n")
            lock.flush()
            run = self.ctl("apply", "--wait", "0", "-i", manifest)
        self.assertRun(run, 2, err=f"obg_manifestctl: {LOCK} is held by process 4711 (obg_manifestctl \\x1b[31msync)\n")
        self.assertFalse(STORE.exists())

    def test_who_waits_gets_the_lock(self):
        for patience in ([], ["--wait", "50"]):
            lock = open(LOCK, "w")
            fcntl.flock(lock, fcntl.LOCK_EX)
            threading.Timer(0.3, lock.close).start()
            start = time.monotonic()
            self.ctl("apply", *patience, "-i", self.manifest(exe("a", "1")), status=0)
            self.assertGreater(time.monotonic() - start, 0.2)
            self.assertStands(store_bytes(("a", "exe", "1")))

    def test_nobody_reads_a_store_for_a_change_without_its_lock(self):
        log = SCRATCH / "trace"
        self.lay_store(("a", "exe", "1"))
        self.ctl("apply", "-i", self.manifest(exe("b", "1")), status=0,
                 before=[*harness.STRACE, "-y", "-e", "trace=flock,openat,renameat", "-o", log])
        lines = [line for line in log.read_text().splitlines() if "VPNManifest.dat" in line]
        locked, = (n for n, line in enumerate(lines) if line.startswith("flock(") and f"<{LOCK}>" in line)
        self.assertTrue(lines[locked].endswith("LOCK_EX|LOCK_NB) = 0"))
        self.assertFalse([line for line in lines[:locked] if f'"{STORE}"' in line])
        self.assertTrue([line for line in lines[locked:] if f'"{STORE}"' in line])

    def test_a_link_in_the_place_of_the_lock_is_not_followed(self):
        victim = SCRATCH / "victim"
        victim.write_text("untouched")
        LOCK.symlink_to(victim)
        self.assertEqual(self.ctl("apply", "-i", self.manifest(exe("a", "1"))).status, 2)
        self.assertEqual(victim.read_text(), "untouched")

    def test_a_lock_file_that_was_taken_away_and_made_anew_is_the_new_one(self):
        log = SCRATCH / "trace"
        LOCK.touch()
        waiting = subprocess.Popen(
            [*harness.STRACE, "-o", log, "-e", "trace=openat,flock", "-e", "inject=flock:delay_enter=2000000:when=1", CTL,
             "apply", "--wait", "0", "-i", self.manifest(exe("a", "1"))], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.wait_for(lambda: log.exists() and str(LOCK) in log.read_text())
        LOCK.unlink()
        with open(LOCK, "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            _, err = waiting.communicate()
        self.assertEqual((waiting.returncode, err.decode()),
                         (2, f"obg_manifestctl: {LOCK} is held by an unknown process\n"))
        self.assertFalse(STORE.exists())

    # Many at once

    def test_of_fifty_at_once_none_is_lost_and_readers_see_whole_stores(self):
        self.lay_store(("core", "exe", "1"))
        manifests = [self.manifest(*(exe(f"module-{n}-file-{m}", "1") for m in range(20)), name=f"{n}.xml")
                     for n in range(50)]
        seen, over = [], threading.Event()
        readers = [threading.Thread(target=self.read_until, args=(over, seen)) for _ in range(4)]
        for reader in readers:
            reader.start()
        runs = [subprocess.Popen([CTL, "apply", "-i", manifest], stdout=subprocess.DEVNULL) for manifest in manifests]
        self.assertEqual([run.wait() for run in runs], [0] * 50)
        over.set()
        for reader in readers:
            reader.join()
        self.assertEqual({count % 20 for count in seen}, {1}, "a store that was not whole")
        content = STORE.read_bytes()
        self.assertEqual(number_of_records(content), 1001)
        for name in ("core", *(f"module-{n}-file-{m}" for n in range(50) for m in range(20))):
            self.assertIn(text_field(name), content)

    def read_until(self, over, seen):
        """Loads the store again and again, as a program that knows nothing of locks."""
        while not over.is_set():
            seen.append(number_of_records(STORE.read_bytes()))

    def test_a_killed_holder_frees_the_lock(self):
        holder = subprocess.Popen(
            [*harness.STRACE, "-o", "/dev/null", "-e", "inject=fsync:delay_enter=60000000", CTL, "apply", "-i",
             self.manifest(exe("a", "1"))], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.wait_for(lambda: LOCK.exists() and LOCK.read_text())
        pid, command = re.fullmatch(r"(\d+) (.*)\n", LOCK.read_text()).groups()
        self.assertEqual(command, "obg_manifestctl apply")
        other = self.manifest(exe("b", "1"), name="other.xml")
        run = self.ctl("apply", "--wait", "0", "-i", other)
        self.assertRun(run, 2, err=f"obg_manifestctl: {LOCK} is held by process {pid} (obg_manifestctl apply)\n")
        os.kill(int(pid), signal.SIGKILL)
        holder.kill()
        holder.wait()
        self.ctl("apply", "--wait", "20", "-i", other, status=0)
        self.assertStands(store_bytes(("b", "exe", "1")))

    def wait_for(self, condition):
        end = time.monotonic() + 30
        while not condition():
            self.assertLess(time.monotonic(), end, "waited in vain")
            time.sleep(0.01)


def number_of_records(content):
    """How many whole records stand in the bytes; -1 where they are not whole."""
    at, count = 8, 0
    while at < len(content):
        at += 4
        for _ in range(2):
            at += 4 + int.from_bytes(content[at:at + 4], "little")
        count += 1
    return count if at == len(content) else -1


if __name__ == "__main__":
    harness.main()
