"""The RELAX NG schema of manifests once more, by the programs that its language comes from. They want Java."""

import re
import shutil
import subprocess

import harness
from schema_test import RNC, RNG, GeneratedTest, verdicts


class SchemaByJavaTest(GeneratedTest):
    def test_trang_makes_the_one_form_of_the_other(self):
        made = harness.SCRATCH / "made.rng"
        subprocess.run(["trang", RNC, made], check=True)
        self.assertEqual(made.read_text(), RNG.read_text())

    def test_jing_says_the_same_as_xmllint(self):
        paths = self.write_generated()
        run = subprocess.run(["jing", "-c", RNC, *paths], capture_output=True, text=True)
        refused = {match[1] for match in re.finditer(r"^(.*?):\d+:\d+: error: ", run.stdout, re.MULTILINE)}
        self.assertEqual({path: str(path) not in refused for path in paths}, verdicts(RNG, paths))


if __name__ == "__main__":
    if shutil.which("jing") and shutil.which("trang"):
        harness.main()
    # ctest takes this line for a test that was skipped.
    print("skipped: jing and trang are not installed")
