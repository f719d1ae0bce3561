"""What the build and `cmake --install` lay down, and where."""

import os
import pathlib
import subprocess

import harness
import help as program_help
from harness import SCRATCH

BUILD = pathlib.Path(harness.CTL).parent


class InstalledTest(harness.CtlTest):
    def installed(self, component):
        """The files that a component lays down, below the prefix."""
        prefix = SCRATCH / component
        subprocess.run(["cmake", "--install", BUILD, "--component", component, "--prefix", prefix], check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, "DESTDIR": ""})
        return {str(path.relative_to(prefix)) for path in prefix.rglob("*") if path.is_file()}

    def test_the_build_puts_both_programs_at_its_root(self):
        self.assertTrue((BUILD / "CMakeCache.txt").is_file())
        self.assertEqual(pathlib.Path(harness.TOOL).parent, BUILD)

    def test_both_programs_install_into_the_same_folder(self):
        self.assertIn("bin/obg_manifestctl", self.installed("ctl"))
        self.assertIn("bin/obg_manifesttool", self.installed("tool"))

    def test_a_schema_of_every_document_is_installed(self):
        schemas = {f"share/obg-manifest/schemas/obg-manifest-{command}.schema.json"
                   for command in program_help.commands()}
        self.assertLessEqual(schemas, self.installed("ctl"))

    def test_manual_page_completions_and_grammars_are_installed_where_they_are_looked_for(self):
        self.assertLessEqual({
            "share/man/man1/obg_manifestctl.1",
            "share/bash-completion/completions/obg_manifestctl",
            "share/zsh/site-functions/_obg_manifestctl",
            "share/fish/vendor_completions.d/obg_manifestctl.fish",
            "share/xml/obg-manifest/obg-manifest.rnc",
            "share/xml/obg-manifest/obg-manifest.rng"}, self.installed("ctl"))


if __name__ == "__main__":
    harness.main()
