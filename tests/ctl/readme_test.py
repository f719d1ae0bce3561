"""The run that the README shows, done again."""

import os
import re
import subprocess

import harness


class ReadmeTest(harness.CtlTest):
    def test_the_run_is_what_the_programs_print(self):
        readme = (harness.SOURCE / "README.md").read_text(encoding="utf-8")
        shown = re.search(r"^```console\n(.*?)^```$", readme, re.MULTILINE | re.DOTALL)[1]
        folders = [os.path.dirname(program) for program in (harness.CTL, harness.TOOL)]
        environment = dict(os.environ, PATH=os.pathsep.join([*folders, os.environ["PATH"]]))
        printed = ""
        for command in re.findall(r"^# (.*)$", shown, re.MULTILINE):
            done = subprocess.run(["sh", "-c", command], cwd=harness.SOURCE, env=environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True, check=True)
            printed += f"# {command}\n{done.stdout}"
        self.assertEqual(printed, shown)


if __name__ == "__main__":
    harness.main()
