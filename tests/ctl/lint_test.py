"""lint: every fault of a manifest at once, each with its place. The folder lint has a small manifest for each rule."""

import json
import os
import pathlib
import pty
import subprocess
import unittest

import jsonschema

import harness

FIXTURES = harness.SOURCE / "tests/ctl/lint"
SUM = "82af5c670b0891e4b5631d0a7b7062f4a6ec715260dd5d2af621e9a5e22a029d"

# The one line that each manifest gets: its name begins with the name of the rule that it breaks.
EXPECTED = {
    "after-nul": "7:1: warning: a zero byte ends the manifest; 24 bytes behind it are not read [after-nul]",
    "ampersand-in-attribute": '3:3: warning: the value of "id" becomes "VPN&#38;Core" [ampersand-in-attribute]',
    "cut-blanks": '5:5: warning: blanks are cut off within the text, which becomes "Orvanta&Core" [cut-blanks]',
    "cut-blanks-of-an-attribute": '3:3: warning: blanks around the value of "id" are cut off [cut-blanks]',
    "dropped-text": '5:5: warning: the text "and more" is dropped [dropped-text]',
    "dropped-text-before-the-children": '4:5: warning: the text "packages/core.exe" is dropped [dropped-text]',
    "empty": "1:1: error: the manifest is empty [empty]",
    "entity-in-attribute": '4:3: warning: the value of "module" stays "&maker;" [entity-in-attribute]',
    "entity-in-text": "6:19: warning: an entity is expanded [entity-in-text]",
    "hash-digits": f'5:5: warning: "{SUM[:-1]}g" has other than hexadecimal digits [hash-digits]',
    "hash-length": "5:5: warning: a sum by sha1 has 40 digits, not 64 [hash-length]",
    "ignored-action": '3:3: warning: the action of a file of the type "resource" is fixed [ignored-action]',
    "ignored-at-end": '6:3: warning: the last element, "file", is ignored [ignored-at-end]',
    "ignored-service-type": '3:3: warning: a file of the type "exe" has no service-type [ignored-service-type]',
    "l10n-name": '3:3: error: a file of the type "l10n" is called "Tessellink.mo", not "Brightgate.mo" [l10n-name]',
    "leading-blanks": "1:1: warning: blanks before the XML declaration are skipped [leading-blanks]",
    "nesting": '4:3: warning: "uri" does not stand in its "file" [nesting]',
    "nesting-of-files": '5:5: warning: "file" does not stand in the root [nesting]',
    "no-action": "3:3: error: neither a type nor an action [no-action]",
    "no-file-name": '3:3: warning: nothing is left of a name that ends in "/" [no-file-name]',
    "no-hash": '3:3: error: a file of the type "profile" needs a hash [no-hash]',
    "no-hash-type": '3:3: error: a file of the type "resource" needs the type of its hash [no-hash-type]',
    "no-id": '3:3: error: a file of the type "exe" is recorded and needs an id [no-id]',
    "no-lang": '3:3: error: a file of the type "mst" needs a lang [no-lang]',
    "no-source": "3:3: error: neither a uri nor a filename [no-source]",
    "no-version": '3:3: error: a file of the type "exe" is recorded and needs a version [no-version]',
    "not-file": '5:5: error: "sha256" is neither a file nor a child of one [not-file]',
    "not-well-formed": "4:33: error: Opening and ending tag mismatch: uri and url [not-well-formed]",
    "repeated-child": '6:5: warning: "name" replaces what was given before [repeated-child]',
    "repeated-child-after-the-attribute": '5:5: warning: "type" replaces what was given before [repeated-child]',
    "repeated-id": '6:3: warning: the id "VPNCore" hides the entry in line 3 [repeated-id]',
    "rev-form": '2:1: warning: the rev "1.0beta" is read as 1.0 [rev-form]',
    "rev-format": "2:1: error: the root has no rev [rev-format]",
    "rev-unsupported": '2:1: error: the rev "1.1" is not supported [rev-unsupported]',
    "root-name": '2:1: error: the root is called "VPN", not "vpn" [root-name]',
    "single-element": '2:1: warning: a single element, "vpn", lists nothing [single-element]',
    "too-few-elements": "2:1: error: a root and one more element hold no entry [too-few-elements]",
    "unknown-action": '3:3: warning: unknown action "Copy" counts as none [unknown-action]',
    "unknown-attribute": '3:3: warning: unknown attribute "iscore" is ignored [unknown-attribute]',
    "unknown-attribute-of-a-child": '4:5: warning: unknown attribute "host" is ignored [unknown-attribute]',
    "unknown-attribute-of-the-root": '2:1: warning: unknown attribute "version" is ignored [unknown-attribute]',
    "unknown-hash-type": '5:5: warning: unknown hash type "md5" counts as none [unknown-hash-type]',
    "unknown-is-core": '3:3: warning: is_core "true" counts as "no" [unknown-is-core]',
    "unknown-service-type": '3:3: warning: unknown service-type "vpn" [unknown-service-type]',
    "unknown-standalone": '3:3: warning: standalone "yes" counts as "false" [unknown-standalone]',
    "unknown-type": '3:3: error: unknown type "EXE" [unknown-type]',
    "unknown-type-in-a-child": '4:5: error: unknown type "executable" [unknown-type]',
    "unrecorded-id":
        '3:3: warning: a file of the type "resource" is not recorded: the id "VPNLogo" has no use [unrecorded-id]',
    "unsafe-name": '3:3: warning: the lang "../../bin" is no directory name [unsafe-name]',
    "unsafe-name-of-a-file": '3:3: warning: ".." is no file name [unsafe-name]',
    "version-form": '3:3: warning: the version "5,1,2,42" is not numbers with points between them [version-form]',
    "version-without-id": "3:3: error: a version without an id [version-without-id]",
    "xml-complaint": "3:13: warning: colons are forbidden from PI names 'obg:note' [xml-complaint]",
}
# These want files that are too large to keep; tests below make them.
ELSEWHERE = {"size-wraps", "too-large"}
RULES = {line.split("[")[-1].rstrip("]") for line in EXPECTED.values()} | ELSEWHERE

ENTRY = '<file id="{id}" version="1.0" type="exe"><uri>{id}.exe</uri></file>'
GOOD = '<vpn rev="1.0">' + ENTRY.format(id="a") + "</vpn>"
# A fault that is easily moved about in a document.
UNKNOWN = '<file id="a" version="1.0" type="exe" x="y"><uri>a</uri></file>'
COMPLAINT = 'warning: unknown attribute "x" is ignored [unknown-attribute]'


def is_accepted_by_tool(test, path):
    run = test.ctl("-i", str(harness.ROOT), path, program=harness.TOOL)
    test.assertIn(run.status, (0, 4), run)
    return run.status == 0


class LintTest(harness.CtlTest):
    def write(self, text, name="m.xml"):
        path = harness.SCRATCH / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return name

    def lines(self, text, status):
        """What lint says of a manifest, without the name of the file in front."""
        run = self.ctl("lint", self.write(text), status=status)
        self.assertEqual(run.err, "")
        for line in run.out.splitlines():
            self.assertTrue(line.startswith("m.xml:"), line)
        return [line.removeprefix("m.xml:") for line in run.out.splitlines()]


class RulesTest(LintTest):
    def test_each_rule_has_a_manifest_that_breaks_it(self):
        log = json.loads(self.ctl("--format", "sarif", "lint", self.write(GOOD), status=0).out)
        rules = {rule["id"] for rule in log["runs"][0]["tool"]["driver"]["rules"]}
        self.assertEqual(RULES, rules)
        self.assertEqual({path.stem for path in FIXTURES.glob("*.xml")}, set(EXPECTED))

    def test_a_manifest_that_breaks_a_rule_gets_its_finding_alone(self):
        for name, line in EXPECTED.items():
            with self.subTest(name):
                path = FIXTURES / f"{name}.xml"
                status = 1 if " error: " in line else 0
                self.assertRun(self.ctl("lint", path), status, f"{path}:{line}\n")

    def test_an_error_is_what_the_tool_rejects_or_what_damages_the_store(self):
        for name, line in EXPECTED.items():
            with self.subTest(name):
                is_rejected = " error: " in line and name not in ("no-id", "no-version")
                self.assertEqual(is_accepted_by_tool(self, FIXTURES / f"{name}.xml"), not is_rejected)

    def test_json_has_the_same_findings_and_the_tools_verdict(self):
        for name, line in EXPECTED.items():
            with self.subTest(name):
                path = FIXTURES / f"{name}.xml"
                row, column, rest = line.split(":", 2)
                severity, message = rest.strip().removesuffix("]").split(": ", 1)
                message, rule = message.rsplit(" [", 1)
                document = self.json("lint", str(path), status=1 if severity == "error" else 0)
                self.assertEqual(document["manifests"], [{
                    "path": str(path), "accepted": is_accepted_by_tool(self, path),
                    "findings": [{"line": int(row), "column": int(column), "severity": severity, "rule": rule,
                                  "message": message}]}])

    def test_the_examples_have_no_fault_but_ids_that_are_not_recorded(self):
        examples = [*harness.SOURCE.glob("examples/[!b]*.xml"), *harness.SOURCE.glob("packaging/sample/**/manifest/*.xml")]
        self.assertGreaterEqual(len(examples), 10)
        for path in examples:
            with self.subTest(path):
                run = self.ctl("lint", path, status=0)
                for line in run.out.splitlines():
                    self.assertTrue(line.endswith("[unrecorded-id]"), line)

    def test_a_manifest_of_2_gib_is_too_large(self):
        name = self.write(GOOD)
        os.truncate(harness.SCRATCH / name, 2**31)
        self.assertRun(self.ctl("lint", name), 1,
                       "m.xml:1:1: error: the manifest is larger than the tool can count [too-large]\n")

    def test_of_4_gib_and_some_bytes_only_those_bytes_are_read(self):
        name = self.write(GOOD)
        os.truncate(harness.SCRATCH / name, 2**32 + len(GOOD))
        self.assertRun(self.ctl("lint", name), 0,
                       f"m.xml:1:1: warning: only the first {len(GOOD)} bytes are read [size-wraps]\n")


class DocumentsTest(LintTest):
    def test_a_good_manifest_gives_no_output_and_0(self):
        self.assertEqual(self.lines(GOOD, 0), [])

    def test_all_faults_of_a_document_are_shown_at_once_in_the_order_of_their_places(self):
        self.assertEqual(self.lines(
            '<vpn>\n'
            '<file type="EXE" version="1"><uri>a</uri></file>\n'
            '<junk/>\n'
            '<file type="profile" action="Copy"/>\n'
            '<file id="c" version="1" type="exe"><uri>c</uri><hash type="md5">12</hash></file>\n'
            '</vpn>\n', 1), [
                "1:1: error: the root has no rev [rev-format]",
                '2:1: error: unknown type "EXE" [unknown-type]',
                "2:1: error: a version without an id [version-without-id]",
                '3:1: error: "junk" is neither a file nor a child of one [not-file]',
                '4:1: warning: unknown action "Copy" counts as none [unknown-action]',
                "4:1: error: neither a uri nor a filename [no-source]",
                '4:1: error: a file of the type "profile" needs a hash [no-hash]',
                '5:49: warning: unknown hash type "md5" counts as none [unknown-hash-type]'])

    def test_manifests_are_judged_in_the_order_in_which_they_are_named(self):
        self.write(GOOD.replace("1.0", "2.0"), "b.xml")
        self.write(GOOD.replace("rev", "ver"), "a.xml")
        self.assertRun(self.ctl("lint", "b.xml", "a.xml"), 1, (
            'b.xml:1:1: error: the rev "2.0" is not supported [rev-unsupported]\n'
            "a.xml:1:1: error: the root has no rev [rev-format]\n"
            'a.xml:1:1: warning: unknown attribute "ver" is ignored [unknown-attribute]\n'))

    def test_blanks_alone_are_an_empty_manifest(self):
        self.assertEqual(self.lines(" \r\n\t\n", 1), ["1:1: error: the manifest is empty [empty]"])

    def test_a_manifest_that_begins_with_a_zero_byte_is_empty(self):
        self.assertEqual(self.lines(b"\0" + GOOD.encode(), 1), [
            f"1:1: warning: a zero byte ends the manifest; {len(GOOD)} bytes behind it are not read [after-nul]",
            "1:1: error: the manifest is empty [empty]"])

    def test_an_entry_out_of_an_entity_stands_where_the_entity_is_referred_to(self):
        text = '<!DOCTYPE vpn [<!ENTITY e \'' + UNKNOWN + '\'>]>\n<vpn rev="1.0">\n ' + ENTRY.format(id="b") + "\n &e;</vpn>"
        self.assertEqual(self.lines(text, 0), ["4:2: warning: an entity is expanded [entity-in-text]", "4:2: " + COMPLAINT])

    def test_elements_of_the_tools_own_reading_are_judged_not_those_of_a_comment(self):
        self.assertEqual(self.lines(GOOD.replace("</vpn>", "<!-- <file x='y'/> --></vpn>"), 0), [])

    def test_the_hash_type_that_was_known_last_counts(self):
        text = GOOD.replace("type=\"exe\"", 'type="resource"').replace(' id="a" version="1.0"', "")
        hashes = f'<hash type="sha256">{SUM}</hash><hash type="md5">{SUM}</hash>'
        self.assertEqual([line.split("[")[-1] for line in self.lines(text.replace("</file>", hashes + "</file>"), 0)],
                         ["repeated-child]", "unknown-hash-type]"])


class PlacesTest(LintTest):
    def test_a_column_is_a_byte_and_not_a_character(self):
        self.assertEqual(self.lines(f'<vpn rev="1.0"><!-- Grüße -->{UNKNOWN}</vpn>', 0), ["1:32: " + COMPLAINT])

    def test_a_tab_is_one_column(self):
        self.assertEqual(self.lines(f'<vpn rev="1.0">\n\t\t{UNKNOWN}</vpn>', 0), ["2:3: " + COMPLAINT])

    def test_cr_lf_ends_one_line(self):
        self.assertEqual(self.lines(f'<vpn rev="1.0">\r\n\r\n {UNKNOWN}\r\n</vpn>', 0), ["3:2: " + COMPLAINT])

    def test_a_tag_of_many_lines_stands_where_it_begins(self):
        self.assertEqual(self.lines('<vpn rev="1.0">\n ' + UNKNOWN.replace(" ", "\n\n   ") + "</vpn>", 0),
                         ["2:2: " + COMPLAINT])

    def test_a_byte_order_mark_takes_three_columns(self):
        self.assertEqual(self.lines(b"\xef\xbb\xbf" + f'<vpn rev="1.0">{UNKNOWN}</vpn>'.encode(), 0),
                         ["1:19: " + COMPLAINT])

    def test_blanks_that_the_tool_skips_count(self):
        self.assertEqual(self.lines(f'\n\n  <vpn rev="1.0">{UNKNOWN}</vpn>', 0), ["3:18: " + COMPLAINT])

    def test_a_manifest_in_latin_1_has_the_columns_of_its_own_bytes(self):
        text = f'<?xml version="1.0" encoding="ISO-8859-1"?>\n<vpn rev="1.0"><!-- Grüße -->{UNKNOWN}</vpn>'
        self.assertEqual(self.lines(text.encode("latin-1"), 0), ["2:30: " + COMPLAINT])

    def test_a_long_manifest_in_any_encoding_has_its_true_places(self):
        for encoding in ("ISO-8859-1", "windows-1252", "Shift_JIS", "GB18030"):
            with self.subTest(encoding):
                sign = "é" if encoding in ("ISO-8859-1", "windows-1252") else "日"
                entry = UNKNOWN.replace('id="a"', f'id="{sign}{{}}"')
                text = f'<?xml version="1.0" encoding="{encoding}"?><vpn rev="1.0">\n' + "".join(
                    f"<!--{sign}--> {entry.format(line)}\n" for line in range(2, 2002)) + "</vpn>\n"
                column = len(f"<!--{sign}--> ".encode(encoding)) + 1
                self.assertEqual(self.lines(text.encode(encoding), 0),
                                 [f"{line}:{column}: {COMPLAINT}" for line in range(2, 2002)])

    def test_a_manifest_in_utf_16_ends_at_its_first_zero_byte(self):
        self.assertEqual(self.lines("<a/>".encode("utf-16"), 1), [
            "1:1: error: Start tag expected, '<' not found [not-well-formed]",
            "1:4: warning: a zero byte ends the manifest; 6 bytes behind it are not read [after-nul]"])

    def test_a_fault_behind_64_ki_lines_has_its_true_line(self):
        self.assertEqual(self.lines('<vpn rev="1.0">' + "\n" * 70000 + UNKNOWN + "</vpn>", 0), ["70001:1: " + COMPLAINT])

    def test_a_document_that_is_cut_short_ends_where_the_parser_stands(self):
        text = '<vpn rev="1.0">\n<file id="a"'
        for line in self.lines(text, 1):
            self.assertTrue(line.startswith("2:13: error: "), line)


class OptionsTest(LintTest):
    def test_strict_counts_warnings_as_errors(self):
        name = self.write(GOOD.replace("rev", "x='y' rev"))
        self.assertRun(self.ctl("lint", name), 0, "m.xml:1:1: " + COMPLAINT + "\n")
        self.assertRun(self.ctl("lint", "--strict", name), 1, "m.xml:1:1: " + COMPLAINT + "\n")
        self.ctl("lint", "--strict", self.write(GOOD), status=0)

    def test_explain_tells_why_a_rule_is_there_and_how_to_mend_it(self):
        self.assertRun(self.ctl("lint", "--explain", "no-lang"), 0, (
            "no-lang: error, the tool rejects the manifest\n"
            "\n"
            "The language of a catalogue names the directory that it goes to. Installer transforms are held to the same "
            "rule.\n"
            "\n"
            'To mend it: Add the attribute lang, for example lang="de".\n'))

    def test_explain_knows_every_rule(self):
        for rule in RULES:
            document = self.json("lint", "--explain", rule)
            self.assertEqual([row["rule"] for row in document["rules"]], [rule])

    def test_explain_as_sarif_is_2(self):
        self.assertRun(self.ctl("--format", "sarif", "lint", "--explain", "empty"), 2,
                       err="obg_manifestctl: --explain knows the formats text and json\n")

    def test_explain_of_no_rule_is_2(self):
        self.assertRun(self.ctl("lint", "--explain", "nonsense"), 2,
                       err="obg_manifestctl: there is no rule nonsense; obg_manifestctl(1) lists them\n")

    def test_a_manifest_that_cannot_be_opened_is_2_and_the_others_are_judged(self):
        name = self.write(GOOD.replace("rev", "x='y' rev"))
        run = self.ctl("lint", "absent.xml", name)
        self.assertRun(run, 2, "m.xml:1:1: " + COMPLAINT + "\n",
                       "obg_manifestctl: cannot read absent.xml: No such file or directory\n")

    def test_a_folder_is_2(self):
        self.assertRun(self.ctl("lint", "/opt"), 2, err="obg_manifestctl: cannot read /opt: Is a directory\n")

    def test_a_manifest_without_the_right_to_read_it_is_2(self):
        name = self.write(GOOD)
        (harness.SCRATCH / name).chmod(0)
        self.assertRun(self.ctl("lint", name, before=harness.WITHOUT_RIGHTS), 2,
                       err="obg_manifestctl: cannot read m.xml: Permission denied\n")

    def test_what_is_no_regular_file_is_empty_to_the_tool(self):
        os.mkfifo(harness.SCRATCH / "pipe.xml")
        self.assertRun(self.ctl("lint", "pipe.xml"), 1,
                       "pipe.xml:1:1: error: what is no regular file is empty to the tool [empty]\n")

    def test_no_manifest_is_a_mistake(self):
        self.assertEqual(self.ctl("lint", status=2).out, "")

    def test_colour_is_for_terminals_only(self):
        name = self.write(GOOD.replace("rev", "ver"))
        self.assertNotIn("\033", self.ctl("lint", name, status=1).out)
        self.assertIn("\033", self.ctl("--color", "always", "lint", name, status=1).out)
        terminal, line = pty.openpty()
        with open(line, "wb", closefd=True) as output:
            self.ctl("lint", name, status=1, stdout=output)
            shown = os.read(terminal, 65536)
        os.close(terminal)
        self.assertIn(b"\033", shown)

    def test_hostile_names_reach_no_terminal(self):
        name = "a\033[2J\udcff.xml"
        path = os.fsencode(harness.SCRATCH) + b"/a\033[2J\xff.xml"
        pathlib.Path(os.fsdecode(path)).write_text(GOOD.replace("rev", "ver"))
        run = self.ctl("lint", name, status=1)
        self.assertTrue(run.out.startswith("a\\x1b[2J\\xff.xml:1:1: error: "), run)
        document = self.json("lint", name, status=1)
        self.assertEqual(document["manifests"][0]["path"], "a\033[2J\ufffd.xml")
        self.assertEqual(document["manifests"][0]["path_hex"], "611b5b324aff2e786d6c")

    @harness.uncounted("the counts are created")
    def test_nothing_is_created_or_written(self):
        name = self.write(GOOD)
        before = sorted(os.walk("/opt"))
        self.ctl("lint", name, status=0, before=["env", "ASAN_OPTIONS=detect_leaks=0",
                                                 "strace", "-f", "-o", "/var/lib/trace", "-e", "trace=file"])
        self.assertEqual(sorted(os.walk("/opt")), before)
        self.assertNotIn("O_CREAT", pathlib.Path("/var/lib/trace").read_text())


class ManualTest(LintTest):
    TABLES = {"rejecting rules of lint": ("error", "the tool rejects the manifest"),
              "damaging rules of lint": ("error", "the tool damages the store"),
              "warning rules of lint": ("warning", "the tool accepts it in silence")}

    def test_the_manual_lists_every_rule_with_its_reason(self):
        page = (harness.SOURCE / "packaging/man/obg_manifestctl.1").read_text()
        listed = set()
        for table, (severity, consequence) in self.TABLES.items():
            rows = page.split(f'.\\" table: {table}\n')[1].split('.\\" end\n')[0].split(".It Li ")[1:]
            for rule, text in (row.split("\n", 1) for row in rows):
                with self.subTest(rule):
                    (told,) = self.json("lint", "--explain", rule)["rules"]
                    self.assertEqual((told["severity"], told["consequence"]), (severity, consequence))
                    self.assertEqual(told["why"], " ".join(text.split()))
                listed.add(rule)
        self.assertEqual(listed, RULES)


class SarifTest(LintTest):
    SCHEMA = json.loads((harness.SOURCE / "tests/ctl/data/sarif-2.1.0.schema.json").read_text())

    def log(self, *arguments, status):
        run = self.ctl("--format", "sarif", "lint", *arguments, status=status)
        log = json.loads(run.out)
        jsonschema.Draft4Validator(self.SCHEMA).validate(log)
        return log

    def test_every_log_is_valid_by_the_published_schema(self):
        for path in FIXTURES.glob("*.xml"):
            with self.subTest(path.name):
                self.log(path, status=1 if " error: " in EXPECTED[path.stem] else 0)

    def test_a_finding_has_its_rule_level_text_and_place(self):
        log = self.log(self.write(f'<vpn rev="1.0"><!-- Grüße -->{UNKNOWN}</vpn>'), status=0)
        (run,) = log["runs"]
        (result,) = run["results"]
        self.assertEqual(run["tool"]["driver"]["rules"][result["ruleIndex"]]["id"], "unknown-attribute")
        self.assertEqual(result["ruleId"], "unknown-attribute")
        self.assertEqual(result["level"], "warning")
        self.assertEqual(result["message"], {"text": 'unknown attribute "x" is ignored'})
        (place,) = result["locations"]
        self.assertEqual(place, {"physicalLocation": {
            "artifactLocation": {"uri": "m.xml"}, "region": {"startLine": 1, "startColumn": 30}}})

    def test_columns_are_characters_and_the_log_says_so(self):
        log = self.log(self.write(f'<vpn rev="1.0">\n<!-- 日本語 𝄞 -->{UNKNOWN}</vpn>'), status=0)
        self.assertEqual(log["runs"][0]["columnKind"], "unicodeCodePoints")
        region = log["runs"][0]["results"][0]["locations"][0]["physicalLocation"]["region"]
        self.assertEqual(region, {"startLine": 2, "startColumn": 15})

    def test_a_path_is_a_uri(self):
        name = self.write(GOOD.replace("rev", "ver"), "a b%:ä.xml")
        log = self.log(name, str(harness.SCRATCH / name), status=1)
        uris = {result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"] for result in log["runs"][0]["results"]}
        self.assertEqual(uris, {"a%20b%25%3A%C3%A4.xml", "file:///opt/scratch/a%20b%25%3A%C3%A4.xml"})

    def test_a_manifest_that_cannot_be_opened_makes_the_run_unsuccessful(self):
        log = self.log("absent.xml", self.write(GOOD), status=2)
        self.assertEqual(log["runs"][0]["invocations"], [{"executionSuccessful": False}])


class GrowthTest(LintTest):
    def cpu_seconds(self, entries, encoding="UTF-8"):
        text = f'<?xml version="1.0" encoding="{encoding}"?>\n<vpn rev="1.0">\n' + "\n".join(
            f'<file id="a{n}" version="1.0" type="exe" x="y"><uri>a</uri></file>' for n in range(entries)) + "\n</vpn>\n"
        name = self.write(text)
        before = os.times()
        run = self.ctl("--format", "sarif", "lint", name, status=0)
        after = os.times()
        self.assertEqual(run.out.count('"ruleIndex"'), entries)
        return after.children_user - before.children_user + after.children_system - before.children_system

    @unittest.skipIf(harness.IS_SANITIZED, "sanitizers blur the figures")
    @harness.uncounted("counting blurs the figures")
    def test_ten_times_the_entries_take_no_more_than_some_ten_times_the_time(self):
        small = min(self.cpu_seconds(10_000) for _ in range(3))
        self.assertLess(self.cpu_seconds(100_000), 20 * small)

    @unittest.skipIf(harness.IS_SANITIZED, "sanitizers blur the figures")
    @harness.uncounted("counting blurs the figures")
    def test_another_encoding_takes_no_more_than_some_times_the_time(self):
        plain = min(self.cpu_seconds(10_000) for _ in range(3))
        for encoding in ("ISO-8859-1", "windows-1252"):
            with self.subTest(encoding):
                self.assertLess(self.cpu_seconds(10_000, encoding), 5 * plain)


if __name__ == "__main__":
    harness.main()
