"""What holds for every command: help, the version, usage, and what becomes of output that cannot be written."""

import os

import harness


class EverywhereTest(harness.CtlTest):
    def test_help_names_the_usage_and_every_global_option(self):
        run = self.ctl("--help", status=0)
        self.assertEqual(run.err, "")
        for text in ("Usage: obg_manifestctl", "--root DIR", "--legacy", "--store FILE", "--format text|json|sarif",
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

    def test_a_wrong_word_is_answered_with_the_words_that_there_are(self):
        self.assertRun(self.ctl("--format", "xml"), 2, err=(
            "obg_manifestctl: --format: it is one of text, json, sarif\n"
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

    def test_a_closed_standard_output_is_2(self):
        run = self.ctl("-c", 'exec "$0" --version >&-', harness.CTL, program="sh")
        self.assertRun(run, 2, err="obg_manifestctl: cannot write to standard output: Bad file descriptor\n")


if __name__ == "__main__":
    harness.main()
