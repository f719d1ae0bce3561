"""Work that lasts longer than a second shows its progress on standard error, when that is a terminal."""

import concurrent.futures
import fcntl
import hashlib
import os
import pty
import re
import termios

import harness
from harness import SCRATCH, STORE, store_bytes

MANIFEST = SCRATCH / "m.xml"
SLOW_FILE = harness.ROOT / "vpn/profile/p"
# What a command that looks reads, as arguments, the file whose opening is held up, and what it shows meanwhile.
SLOW = [
    (["list"], STORE, "listing: "),
    (["check"], STORE, "checking stores: 0 of 1, "),
    (["diff", str(STORE), str(STORE)], STORE, "comparing: "),
    (["lint", "--strict", str(MANIFEST)], MANIFEST, "checking manifests: 0 of 1, "),
    (["plan", "-i", str(MANIFEST)], MANIFEST, "planning manifests: 0 of 1, "),
    (["verify", str(MANIFEST)], MANIFEST, "reading manifests: 0 of 1, "),
    (["verify", str(MANIFEST)], SLOW_FILE, "verifying files: 0 of 1, "),
]


class ProgressTest(harness.CtlTest):
    def setUp(self):
        super().setUp()
        STORE.write_bytes(store_bytes(("a", "exe", "1")))
        digits = hashlib.sha256(b"content").hexdigest()
        MANIFEST.write_text('<vpn rev="1.0"><file id="a" version="1" type="exe"><uri>a</uri></file>'
                            '<file type="profile"><uri>files/p</uri>'
                            f'<hash type="sha256">{digits}</hash></file></vpn>')
        SLOW_FILE.parent.mkdir(parents=True)
        SLOW_FILE.write_bytes(b"content")
        # A sanitizer's search for leaks is not possible in a traced process.
        os.environ["ASAN_OPTIONS"] = "detect_leaks=0"
        os.environ["NO_COLOR"] = "1"

    def slowly(self, file, run, arguments):
        """Runs the program as `run` does, on a system where it takes more than a second to open that file."""
        hold_up = ["strace", "-f", "-qq", "-o", "/dev/null", "-P", str(file), "-e", "trace=openat", "-e",
                   "inject=openat:delay_enter=2000000"]
        return run(*arguments, before=hold_up)

    def slowly_each(self, run):
        """The outcome of each row of SLOW, run at the same time."""
        with concurrent.futures.ThreadPoolExecutor(len(SLOW)) as pool:
            return list(pool.map(lambda row: self.slowly(row[1], run, row[0]), SLOW))

    def test_a_terminal_is_shown_how_far_it_is_until_the_result_is_there(self):
        for (command, file, line), run in zip(SLOW, self.slowly_each(self.on_a_terminal)):
            with self.subTest(command, file=file):
                self.assertEqual(run.status, 0, run)
                shown, _, result = run.out.rpartition("\r\033[K")
                self.assertRegex(shown, re.escape(f"\033[?7l{line}") + "[1-9] s" + re.escape("\033[?7h"))
                self.assertEqual(result, self.ctl(*command).out)

    def test_a_pipe_is_shown_nothing(self):
        for (command, file, _), run in zip(SLOW, self.slowly_each(self.ctl)):
            with self.subTest(command, file=file):
                self.assertRun(run, 0, self.ctl(*command).out)

    def test_work_of_less_than_a_second_shows_nothing(self):
        for command, _, _ in SLOW:
            with self.subTest(command):
                self.assertEqual(self.on_a_terminal(*command).out, self.ctl(*command, status=0).out)

    def test_a_complaint_stands_in_a_line_of_its_own(self):
        run = self.slowly(MANIFEST, self.on_a_terminal, ["lint", str(MANIFEST), "absent"])
        self.assertIn("\r\033[Kobg_manifestctl: cannot read absent: No such file or directory\n", run.out)

    def test_a_wait_for_a_lock_says_who_holds_it(self):
        lock = STORE.with_name("VPNManifest.dat.lock")
        for command in (["apply", "--wait", "2", "-i", str(MANIFEST)], ["sync", "--wait", "2"]):
            with open(lock, "w") as held, self.subTest(command):
                fcntl.flock(held, fcntl.LOCK_EX)
                held.write("4711 somebody\n")
                held.flush()
                run = self.on_a_terminal(*command, status=2)
                complaint = f"{lock} is held by process 4711 (somebody)"
                self.assertIn(f"\033[?7lwaiting: {complaint}: 1 s\033[?7h", run.out)
                self.assertTrue(run.out.endswith(f"\r\033[Kobg_manifestctl: {complaint}\n"), run)

    def test_a_slow_change_is_shown(self):
        for command, file, line in ((["apply", "-i", str(MANIFEST)], MANIFEST, "reading manifests: 0 of 1, "),
                                    (["apply", "-i", str(MANIFEST)], STORE, "recording: "),
                                    (["sync"], STORE, "synchronizing: ")):
            with self.subTest(command):
                run = self.slowly(file, self.on_a_terminal, command)
                self.assertEqual(run.status, 0, run)
                self.assertIn(f"\033[?7l{line}1 s\033[?7h", run.out)

    def test_a_terminal_that_is_stopped_holds_up_nobody_who_holds_a_lock(self):
        keeper, screen = pty.openpty()
        termios.tcflow(screen, termios.TCOOFF)
        run = self.slowly(STORE, lambda *arguments, **options: self.ctl(*arguments, stderr=screen, **options),
                          ["apply", "-i", str(MANIFEST)])
        os.close(keeper)
        os.close(screen)
        self.assertEqual(run.status, 0, run)

    def test_facts_prints_nothing_but_its_object(self):
        run = self.slowly(STORE, self.on_a_terminal, ["facts"])
        self.assertEqual(run.out, self.ctl("facts").out)


if __name__ == "__main__":
    harness.main()
