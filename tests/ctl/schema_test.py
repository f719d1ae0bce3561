"""The RELAX NG schema of manifests: it accepts what is good, and nothing that the tool would reject."""

import os
import subprocess

import harness
import manifests

RNC = harness.SCHEMAS / "obg-manifest.rnc"
RNG = harness.SCHEMAS / "obg-manifest.rng"
FIXTURES = harness.SOURCE / "tests/ctl/lint"
COUNT = int(os.environ.get("OBG_GENERATED_MANIFESTS", "400"))

# Faults that no grammar can name: two ids are compared, or the XML parser hides them. Where the id of a kind that is not
# recorded is of use to other programs, it is no fault. Of a zero byte each version of xmllint makes something else.
BEYOND_A_GRAMMAR = {"cut-blanks", "cut-blanks-of-an-attribute", "entity-in-text", "entity-in-attribute", "repeated-id",
                    "unrecorded-id", "unsafe-name-of-a-file", "version-form", "xml-complaint"}


def verdicts(schema, paths):
    """What xmllint says of each document by that schema: a dictionary from path to bool."""
    run = subprocess.run(["xmllint", "--noout", "--nonet", "--relaxng", schema, *paths], capture_output=True, text=True,
                         errors="replace")
    lines = run.stderr.splitlines()
    assert not any("Relax-NG parser error" in line for line in lines), run.stderr
    valid = {line.removesuffix(" validates") for line in lines if line.endswith(" validates")}
    return {path: str(path) in valid for path in paths}


class GeneratedTest(harness.CtlTest):
    def write_generated(self):
        paths = []
        for number, text in enumerate(manifests.generated(COUNT, seed=11)):
            paths.append(harness.SCRATCH / f"{number}.xml")
            paths[-1].write_bytes(text)
        return paths


class SchemaTest(GeneratedTest):
    def test_good_examples_are_valid(self):
        paths = [*harness.SOURCE.glob("examples/[!b]*.xml"), *harness.SOURCE.glob("packaging/sample/**/manifest/*.xml")]
        self.assertGreaterEqual(len(paths), 10)
        self.assertEqual([path for path, is_valid in verdicts(RNG, paths).items() if not is_valid], [])

    def test_bad_examples_are_not(self):
        paths = list(harness.SOURCE.glob("examples/broken-*.xml"))
        self.assertEqual(len(paths), 2)
        self.assertEqual([path for path, is_valid in verdicts(RNG, paths).items() if is_valid], [])

    def test_every_fault_that_a_grammar_can_name_is_refused(self):
        found = verdicts(RNG, sorted(path for path in FIXTURES.glob("*.xml") if path.stem != "after-nul"))
        self.assertEqual({path.stem for path, is_valid in found.items() if is_valid}, BEYOND_A_GRAMMAR)

    def test_what_is_valid_has_no_error_for_the_tool(self):
        paths = self.write_generated()
        found = verdicts(RNG, paths)
        run = self.ctl("--format", "json", "lint", *paths)
        judged = {row["path"]: row for row in harness.validated(run.out)["manifests"]}
        valid = [path for path, is_valid in found.items() if is_valid]
        for path in valid:
            row = judged[str(path)]
            errors = [finding for finding in row["findings"] if finding["severity"] == "error"]
            self.assertTrue(row["accepted"] and not errors, f"{path.read_text()}\n{row}")
        # Enough of both kinds, or the loop above says nothing.
        self.assertGreater(len(valid), COUNT // 5)
        self.assertGreater(sum(not row["accepted"] for row in judged.values()), COUNT // 10)

    def test_both_forms_of_the_schema_say_the_same(self):
        converted = harness.SCRATCH / "converted.rng"
        subprocess.run(["rnc2rng", RNC, converted], check=True)
        paths = [*self.write_generated(), *FIXTURES.glob("*.xml")]
        self.assertEqual(verdicts(converted, paths), verdicts(RNG, paths))


if __name__ == "__main__":
    harness.main()
