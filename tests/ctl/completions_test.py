"""The completions, tried in bash; those of zsh and fish must name the same words."""

import re
import shutil
import subprocess

import harness
import kinds
import help as program_help

COMPLETIONS = harness.SOURCE / "packaging/completions"
KINDS = set(kinds.ALL)


class CompletionsTest(harness.CtlTest):
    def complete(self, *words):
        """What bash offers for the last of the words behind the name of the program."""
        script = (
            f". {COMPLETIONS}/obg_manifestctl.bash; COMP_WORDS=(obg_manifestctl \"$@\"); COMP_CWORD=$#; "
            "_obg_manifestctl; printf '%s\\n' \"${COMPREPLY[@]}\"")
        done = subprocess.run(["bash", "--norc", "-uc", script, "bash", *words], capture_output=True, text=True,
                              cwd=harness.SCRATCH, check=True)
        self.assertEqual(done.stderr, "")
        return set(done.stdout.split("\n")) - {""}

    def lay_files(self):
        for name in ("core.xml", "store.dat", "with blank.xml"):
            (harness.SCRATCH / name).touch()
        (harness.SCRATCH / "folder").mkdir()

    def test_bash_offers_every_command(self):
        self.assertEqual(self.complete(""), set(program_help.commands()))
        self.assertEqual(self.complete("pl"), {"plan"})

    def test_bash_offers_every_option_in_front_of_the_command(self):
        self.assertEqual(self.complete("-"), program_help.options())

    def test_bash_offers_every_option_behind_a_command(self):
        for command in program_help.commands():
            with self.subTest(command):
                self.assertEqual(self.complete(command, "-"), program_help.options(command))

    def test_bash_passes_over_options_and_their_values_to_find_the_command(self):
        for before in (["--root", "plan"], ["--root", "=", "plan"], ["--legacy"], ["--color", "never", "--legacy"]):
            with self.subTest(before):
                self.assertEqual(self.complete(*before, "verify", "--s"), {"--strays"})

    def test_bash_offers_the_values_of_options(self):
        self.assertEqual(self.complete("--format", ""), {"text", "json", "sarif"})
        self.assertEqual(self.complete("--format", "=", "j"), {"json"})
        self.assertEqual(self.complete("--format", "="), {"text", "json", "sarif"})
        self.assertEqual(self.complete("--color", "a"), {"auto", "always"})
        self.assertEqual(self.complete("list", "--kind", ""), KINDS)

    def test_bash_offers_folders_stores_and_manifests_where_they_belong(self):
        self.lay_files()
        self.assertEqual(self.complete("--root", ""), {"folder"})
        self.assertEqual(self.complete("--store", "s"), {"store.dat"})
        self.assertEqual(self.complete("check", "s"), {"store.dat"})
        for command in (["lint"], ["plan", "-i"], ["verify"]):
            self.assertEqual(self.complete(*command, ""), {"core.xml", "with blank.xml", "folder"})

    def test_bash_is_told_which_program_it_completes(self):
        done = subprocess.run(["bash", "--norc", "-c", f". {COMPLETIONS}/obg_manifestctl.bash; complete -p"],
                              capture_output=True, text=True, check=True)
        self.assertEqual(done.stdout, "complete -F _obg_manifestctl obg_manifestctl\n")

    def test_zsh_and_fish_name_every_command_and_option(self):
        options = set.union(program_help.options(), *map(program_help.options, program_help.commands()))
        for shell in ("zsh", "fish"):
            text = (COMPLETIONS / f"obg_manifestctl.{shell}").read_text()
            if shell == "zsh":
                commands = re.findall(r"^    '(\w+):", text, re.MULTILINE)
                named = set(re.findall(r"(?<![\w-])(--?[a-z][a-z-]*)\[", text))
            else:
                text = "\n".join(line for line in text.splitlines() if line.startswith(("complete", "set -l kinds")))
                commands = re.findall(r"-n \$before -a (\w+) ", text)
                named = {"--" + name for name in re.findall(r"^complete.* -l ([\w-]+)", text, re.MULTILINE)}
                named |= {"-" + name for name in re.findall(r"^complete.* -s (\w)\b", text, re.MULTILINE)}
            self.assertEqual(commands, program_help.commands(), shell)
            self.assertEqual(named, options, shell)
            self.assertIn(" ".join(sorted(KINDS)), " ".join(sorted(re.search(r"msi [a-z0-9 ]+", text)[0].split())))

    def test_each_shell_that_is_here_accepts_its_completion(self):
        for shell in ("bash", "zsh", "fish"):
            if shell == "bash" or shutil.which(shell):
                subprocess.run([shell, "-n", COMPLETIONS / f"obg_manifestctl.{shell}"], check=True)


if __name__ == "__main__":
    harness.main()
