"""What holds for every command: help, the version, usage, and what becomes of output that cannot be written."""

import ctypes.util
import fcntl
import os
import subprocess

import harness
import help as program_help
from harness import SCRATCH, STORE, WITHOUT_RIGHTS, store_bytes

STORE_BYTES = store_bytes(("core", "exe", "1"))
MANIFEST = SCRATCH / "m.xml"
# Every command that looks, in a way that has a result and ends with 0 or 1 where lay_sample() was called.
LOOKING = [["list"], ["list", "--kind", "exe"], ["check"], ["diff", str(STORE), str(SCRATCH / "other")],
           ["lint", str(MANIFEST)], ["plan", "-i", str(MANIFEST)], ["plan", "-x", str(MANIFEST)],
           ["verify", str(MANIFEST)], ["verify", "--strays", str(MANIFEST)], ["facts"]]


def lay_sample():
    STORE.write_bytes(STORE_BYTES)
    (SCRATCH / "other").write_bytes(store_bytes(("core", "exe", "2")))
    MANIFEST.write_text('<vpn rev="1.0"><file id="a" version="1" type="exe" new=""><uri>a</uri></file></vpn>')


class EverywhereTest(harness.CtlTest):
    def test_help_names_the_usage_and_every_global_option(self):
        run = self.ctl("--help", status=0)
        self.assertEqual(run.err, "")
        for text in ("obg_manifestctl [OPTIONS]", "--root DIR", "--legacy", "--store FILE", "--format text|json|sarif",
                     "--color auto|always|never", "--version"):
            self.assertIn(text, run.out)

    def test_version_is_that_of_the_project(self):
        listed = (harness.SOURCE / "CMakeLists.txt").read_text().split("VERSION ")[2].split()[0]
        self.assertRun(self.ctl("--version"), 0, f"obg_manifestctl {listed}\n")

    def test_wrong_usage_is_2_and_is_complained_of_on_standard_error_alone(self):
        for arguments in ([], ["no-such-command"], ["--no-such-option"], ["--root"], ["--format", "xml"],
                          ["--color", "red"], ["--legacy", "--store", "x"]):
            with self.subTest(arguments):
                run = self.ctl(*arguments, status=2)
                self.assertEqual(run.out, "")
                for line in run.err.splitlines():
                    self.assertTrue(line.startswith("obg_manifestctl: "), run)

    def test_an_option_without_its_value_says_which_one_is_missing(self):
        for arguments, value in ((["--root"], "--root: 1 required DIR"),
                                 (["--color"], "--color: 1 required auto|always|never"),
                                 (["list", "--kind"], "--kind: 1 required WORD"),
                                 (["check", "--explain"], "--explain: 1 required RULE"),
                                 (["lint", "--explain"], "--explain: 1 required RULE"),
                                 (["sync", "--wait"], "--wait: 1 required SECONDS")):
            with self.subTest(arguments):
                self.assertRun(self.ctl(*arguments), 2, err=(
                    f"obg_manifestctl: {value} missing\nobg_manifestctl: try obg_manifestctl --help\n"))

    def test_a_command_that_is_none_is_named(self):
        for arguments, complaint in ((["no-such", "x"], "there is no command no-such"),
                                     (["[a]"], "there is no command [a]"), (["--no"], "there is no option --no"),
                                     ([], "a command is required"), (["--legacy"], "a command is required")):
            with self.subTest(arguments):
                self.assertRun(self.ctl(*arguments), 2, err=(
                    f"obg_manifestctl: {complaint}\nobg_manifestctl: try obg_manifestctl --help\n"))

    def test_a_wrong_word_is_answered_with_the_words_that_there_are(self):
        self.assertRun(self.ctl("--format", "xml", "list"), 2, err=(
            "obg_manifestctl: --format: it is one of text, json, sarif\n"
            "obg_manifestctl: try obg_manifestctl --help\n"))

    def test_a_complaint_steers_no_terminal(self):
        self.assertRun(self.ctl("lint", b"\x1b[2J\xff"), 2,
                       err="obg_manifestctl: cannot read \\x1b[2J\\xff: No such file or directory\n")
        self.assertRun(self.ctl("list", "--kind", "\x1b[2J\n"), 2, err=(
            "obg_manifestctl: --kind: there is no kind \\x1b[2J\\x0a\n"
            "obg_manifestctl: try obg_manifestctl --help\n"))

    def test_a_full_device_is_2_and_is_said_in_words(self):
        with open("/dev/full", "wb") as full:
            run = self.ctl("--version", stdout=full)
        self.assertRun(run, 2, err="obg_manifestctl: cannot write to standard output: No space left on device\n")

    def test_a_pipe_that_nobody_reads_is_2(self):
        reading, writing = os.pipe()
        os.close(reading)
        run = self.ctl("--version", stdout=writing)
        os.close(writing)
        self.assertRun(run, 2, err="obg_manifestctl: cannot write to standard output: Broken pipe\n")

    def test_options_may_stand_behind_the_command_too(self):
        STORE.write_bytes(STORE_BYTES)
        self.assertEqual(self.ctl("list", "--format", "json", status=0).out, self.ctl("--format", "json", "list").out)

    def test_sarif_is_for_lint_alone(self):
        lay_sample()
        for command in LOOKING:
            with self.subTest(command):
                run = self.ctl("--format", "sarif", *command)
                if command[0] == "lint":
                    self.assertEqual((run.status, run.err), (0, ""))
                else:
                    self.assertRun(run, 2, err="obg_manifestctl: the format sarif is for lint alone\n")

    def test_json_is_the_only_thing_that_is_printed_when_it_is_asked_for(self):
        lay_sample()
        for command in [*LOOKING, ["lint", "--explain", "no-id"], ["check", "--explain", "empty-id"]]:
            with self.subTest(command):
                run = self.ctl("--format", "json", *command)
                self.assertEqual(run.err, "")
                self.assertEqual(harness.validated(run.out)["format"], f"obg-manifest-{command[0]}")

    def test_each_command_has_a_help(self):
        for command in program_help.commands():
            run = self.ctl(command, "--help", status=0)
            self.assertIn(f"obg_manifestctl {command} [OPTIONS]", run.out)
            self.assertEqual(run.err, "")

    def test_a_result_that_cannot_be_written_is_2(self):
        lay_sample()
        for command in [*LOOKING, *(["--format", "json", *command] for command in LOOKING)]:
            with self.subTest(command), open("/dev/full", "wb") as full:
                self.assertRun(self.ctl(*command, stdout=full), 2, err=(
                    "obg_manifestctl: cannot write to standard output: No space left on device\n"))

    def test_a_closed_standard_output_is_2(self):
        run = self.ctl("-c", 'exec "$0" --version >&-', harness.CTL, program="sh")
        self.assertRun(run, 2, err="obg_manifestctl: cannot write to standard output: Bad file descriptor\n")


class StartTest(harness.CtlTest):
    """What only some commands need is not loaded by the others."""

    def test_no_large_library_is_bound_at_the_start(self):
        needed = self.ctl("-d", harness.CTL, program="readelf", status=0).out
        for library in ("libxml2", "libicu", "libcrypto"):
            self.assertNotIn(library, needed)

    def test_a_command_that_parses_manifests_loads_what_it_needs(self):
        (SCRATCH / "m.xml").write_text('<vpn rev="1.0"><file id="a" version="1" type="exe"><uri>a</uri></file></vpn>')
        self.assertEqual(self.ctl("lint", "m.xml", status=0).err, "")

    def test_a_library_that_cannot_be_loaded_is_2_and_is_named(self):
        (SCRATCH / "m.xml").write_text('<vpn rev="1.0"><file id="a" version="1" type="exe"><uri>a</uri></file></vpn>')
        for name in ("xml2", "crypto"):
            with self.subTest(name):
                broken = SCRATCH / name / ctypes.util.find_library(name)
                broken.parent.mkdir()
                broken.touch()
                self.assertRun(self.ctl("--format", "json", "plan", "-i", "m.xml",
                                        env=dict(os.environ, LD_LIBRARY_PATH=str(broken.parent))), 2,
                               err=f"obg_manifestctl: cannot load {broken}: file too short\n")


class PlacesTest(harness.CtlTest):
    """Where stores are looked for."""

    def image(self):
        """A machine below SCRATCH/image, its current install root laid out."""
        root = SCRATCH / "image/opt/orvanta/brightgate"
        root.mkdir(parents=True)
        return root

    def test_root_moves_the_stores_and_shows_in_paths(self):
        (self.image() / "VPNManifest.dat").write_bytes(STORE_BYTES)
        self.assertRun(self.ctl("--root", "image", "list"), 0, "core  exe  1\n")
        document = self.json("--root", f"{SCRATCH}/image/", "list")
        self.assertEqual(document["store"]["path"], f"{SCRATCH}/image/opt/orvanta/brightgate/VPNManifest.dat")
        self.assertRun(self.ctl("list"), 0)

    def test_root_and_legacy_go_together(self):
        legacy = SCRATCH / "image/opt/orvanta/tessellink"
        legacy.mkdir(parents=True)
        (legacy / "VPNManifest.dat").write_bytes(STORE_BYTES)
        self.assertRun(self.ctl("--root", "image", "--legacy", "list"), 0, "core  exe  1\n")

    def test_a_root_that_is_the_machine_itself_changes_nothing(self):
        STORE.write_bytes(STORE_BYTES)
        self.assertEqual(self.json("--root", "/", "list")["store"]["path"], str(STORE))

    def test_store_is_not_looked_up_below_the_root(self):
        (SCRATCH / "store").write_bytes(STORE_BYTES)
        self.assertRun(self.ctl("--root", "image", "--store", "store", "list"), 0, "core  exe  1\n")
        self.assertEqual(self.json("--store", "store", "list")["store"]["path"], "store")

    def test_an_absolute_link_inside_the_root_stays_inside(self):
        (self.image() / "VPNManifest.dat").symlink_to("/data/store")
        (SCRATCH / "image/data").mkdir()
        (SCRATCH / "image/data/store").write_bytes(STORE_BYTES)
        self.assertRun(self.ctl("--root", "image", "list"), 0, "core  exe  1\n")

    def test_no_link_leads_out_of_the_root(self):
        (SCRATCH / "outside").write_bytes(STORE_BYTES)
        link = self.image() / "VPNManifest.dat"
        for target in ("../../../../../../../../../../outside", str(SCRATCH / "outside"), "../../../../outside"):
            with self.subTest(target):
                link.symlink_to(target)
                self.assertRun(self.ctl("--root", "image", "list"), 0)
                link.unlink()

    def test_dots_in_a_link_end_at_the_root(self):
        (self.image() / "VPNManifest.dat").symlink_to("../../../../../../../../../../inside")
        (SCRATCH / "image/inside").write_bytes(STORE_BYTES)
        self.assertRun(self.ctl("--root", "image", "list"), 0, "core  exe  1\n")

    def test_a_link_in_the_middle_of_the_path_is_followed_inside(self):
        (SCRATCH / "image/usr/brightgate").mkdir(parents=True)
        (SCRATCH / "image/usr/brightgate/VPNManifest.dat").write_bytes(STORE_BYTES)
        (SCRATCH / "image/opt/orvanta").mkdir(parents=True)
        (SCRATCH / "image/opt/orvanta/brightgate").symlink_to("/usr/brightgate")
        self.assertRun(self.ctl("--root", "image", "list"), 0, "core  exe  1\n")

    def test_links_in_a_circle_are_2_in_words(self):
        link = self.image() / "VPNManifest.dat"
        link.symlink_to("/opt/orvanta/brightgate/VPNManifest.dat")
        self.assertRun(self.ctl("--root", "image", "list"), 2, err=(
            "obg_manifestctl: cannot read image/opt/orvanta/brightgate/VPNManifest.dat: "
            "Too many levels of symbolic links; obg_manifestctl check tells more\n"))

    def test_without_a_root_a_link_is_followed_as_everywhere(self):
        (SCRATCH / "elsewhere").write_bytes(STORE_BYTES)
        STORE.symlink_to(SCRATCH / "elsewhere")
        self.assertRun(self.ctl("list"), 0, "core  exe  1\n")


class LookingTest(harness.CtlTest):
    """Commands that read need no rights but to read, and create nothing."""

    def test_a_store_of_mode_0644_is_read_without_rights(self):
        lay_sample()
        STORE.chmod(0o644)
        for folder in (STORE.parent, SCRATCH):
            folder.chmod(0o555)
        for command in LOOKING:
            with self.subTest(command):
                run = self.ctl(*command, before=WITHOUT_RIGHTS)
                self.assertEqual((run.err, run.status in (0, 1)), ("", True), run)

    def test_a_read_only_file_system_is_enough(self):
        lay_sample()
        subprocess.run(["mount", "-o", "remount,ro", "/opt"], check=True)
        try:
            for command in LOOKING:
                with self.subTest(command):
                    run = self.ctl(*command, cwd="/")
                    self.assertEqual((run.err, run.status in (0, 1)), ("", True), run)
        finally:
            subprocess.run(["mount", "-o", "remount,rw", "/opt"], check=True)

    def test_nobody_is_waited_for(self):
        lay_sample()
        with open(STORE.with_name("VPNManifest.dat.lock"), "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            for command in LOOKING:
                with self.subTest(command):
                    run = self.ctl(*command, before=["timeout", "30"])
                    self.assertEqual((run.err, run.status in (0, 1)), ("", True), run)

    def test_no_file_is_created_or_changed(self):
        lay_sample()
        calls = "trace=open,openat,openat2,creat,mkdir,mkdirat,rename,renameat,renameat2,unlink,unlinkat,link,linkat," \
                "symlink,symlinkat,mknod,mknodat,truncate,ftruncate,chmod,fchmod,fchmodat,utimensat"
        (SCRATCH / "damaged").write_bytes(STORE_BYTES[:-1])
        for command in [*LOOKING, ["check", str(SCRATCH / "damaged")], ["--store", str(SCRATCH / "damaged"), "list"]]:
            with self.subTest(command):
                trace = SCRATCH / "trace"
                # A sanitizer's search for leaks is not possible in a traced process.
                self.ctl(*command, before=["strace", "-f", "-qq", "-e", calls, "-o", str(trace)],
                         env=dict(os.environ, ASAN_OPTIONS="detect_leaks=0"))
                for line in trace.read_text().splitlines():
                    if ".gcda" in line or "/proc/self/" in line:
                        continue
                    self.assertRegex(line, r"open(at2?)?\(.*O_RDONLY")
                    self.assertNotIn("O_CREAT", line)
        self.assertEqual(STORE.read_bytes(), STORE_BYTES)
        self.assertEqual(sorted(path.name for path in STORE.parent.iterdir()), ["VPNManifest.dat"])

    @harness.uncounted("counting takes too long")
    def test_memory_is_in_proportion_to_what_is_read(self):
        lay_sample()
        count = 20_000
        for name, version in (("store", "1"), ("other", "2")):
            (SCRATCH / name).write_bytes(store_bytes(*((f"id{n}", "exe", version) for n in range(count))))
        MANIFEST.write_text('<vpn rev="1.0">' + "".join(
            f'<file id="id{n}" version="3" type="exe"><uri>a</uri></file>' for n in range(count)) + "</vpn>")

        for command in LOOKING:
            with self.subTest(command):
                run = self.ctl("--format", "json", "--store", str(SCRATCH / "store"), *command,
                               before=harness.in_memory_of(240 << 20))
                self.assertEqual((run.err, run.status in (0, 1)), ("", True), run.err)


class ColourTest(harness.CtlTest):
    """Colour only on a terminal and never with NO_COLOR, unless --color says otherwise."""

    def test_a_terminal_gets_colour(self):
        self.assertIn("\033[", self.on_a_terminal("check", status=0).out)

    def test_no_color_is_obeyed(self):
        self.assertNotIn("\033[", self.on_a_terminal("check", status=0, NO_COLOR="1").out)

    def test_a_pipe_gets_none(self):
        self.assertNotIn("\033[", self.ctl("check", status=0).out)

    def test_the_option_has_the_last_word(self):
        self.assertIn("\033[", self.on_a_terminal("--color", "always", "check", status=0, NO_COLOR="1").out)
        self.assertNotIn("\033[", self.on_a_terminal("--color", "never", "check", status=0).out)
        self.assertIn("\033[", self.ctl("--color", "always", "check", status=0).out)

    def test_json_never_has_colour(self):
        self.assertNotIn("\033[", self.ctl("--color", "always", "--format", "json", "check", status=0).out)


if __name__ == "__main__":
    harness.main()
