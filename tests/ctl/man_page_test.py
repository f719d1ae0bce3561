"""The tables of obg_manifestctl(1), held against the program and its schemas. A table in the page's source stands between
the comments

    .\\" table: NAME
    .\\" end

and each of its rows begins with an ".It" macro.
"""

import json
import re
import subprocess

import harness
import help as program_help

PAGE = harness.SOURCE / "packaging/man/obg_manifestctl.1"


def table(name):
    """The heads of the rows of a table, without macros."""
    source = PAGE.read_text()
    found = re.search(rf'^\.\\" table: {re.escape(name)}\n(.*?)^\.\\" end$', source, re.MULTILINE | re.DOTALL)
    if found is None:
        raise AssertionError(f"the page has no table: {name}")
    return [without_macros(line[4:]) for line in found[1].splitlines() if line.startswith(".It ")]


def without_macros(head):
    return re.sub(r"\bFl (\S+)", r"-\1", re.sub(r"\b(Li|Pa|Ev|Ar|Cm) ", "", head))


def options_of(name):
    return {head.split()[0] for head in table(name) if head.startswith("-")}


def schema(command):
    return json.loads((harness.SCHEMAS / f"obg-manifest-{command}.schema.json").read_text())


def members_of(node, definitions, path=""):
    """The path of every member that a schema knows but for the first two and those with exact bytes."""
    if "$ref" in node:
        node = definitions[node["$ref"].rsplit("/", 1)[1]]
    for choice in node.get("anyOf", []) + node.get("oneOf", []):
        yield from members_of(choice, definitions, path)
    if "items" in node:
        yield from members_of(node["items"], definitions, path + "[]")
    for name, member in node.get("properties", {}).items():
        inner = f"{path}.{name}" if path else name
        if inner not in ("format", "version") and not name.endswith("_hex"):
            yield inner
            yield from members_of(member, definitions, inner)


class ManPageTest(harness.CtlTest):
    def test_options_are_those_of_the_program(self):
        self.assertEqual(options_of("options"), program_help.options())

    def test_commands_are_those_of_the_program(self):
        commands = PAGE.read_text().split(".Sh COMMANDS", 1)[1].split(".Sh OUTPUT", 1)[0]
        self.assertEqual(re.findall(r"^\.Ss (.*)", commands, re.MULTILINE), program_help.commands())

    def test_every_command_has_a_synopsis(self):
        synopsis = PAGE.read_text().split(".Sh SYNOPSIS", 1)[1].split(".Sh DESCRIPTION", 1)[0]
        self.assertEqual(list(dict.fromkeys(re.findall(r"^\.Cm (.*)", synopsis, re.MULTILINE))),
                         program_help.commands())

    def test_options_of_commands_are_those_of_the_program(self):
        for command in program_help.commands():
            with self.subTest(command):
                self.assertEqual(options_of(f"arguments of {command}"), program_help.options(command) - {"--help"})

    def test_operands_are_those_of_the_program(self):
        for command in program_help.commands():
            with self.subTest(command):
                usage = re.search(r"obg_manifestctl .*\[OPTIONS\].*", program_help.help_of(command))[0]
                operands = [word.strip("[].").lower() for word in usage.split()[2:] if word != "[OPTIONS]"]
                heads = table(f"arguments of {command}")
                self.assertEqual([head for head in heads if not head.startswith("-")], operands)

    def test_members_are_those_of_the_schemas(self):
        for command in program_help.commands():
            with self.subTest(command):
                document = schema(command)
                members = dict.fromkeys(members_of(document, document.get("$defs", {})))
                self.assertEqual(table(f"members of {command}"), list(members))

    def test_words_are_those_of_the_schemas(self):
        properties = schema("plan")["properties"]["changes"]["items"]["properties"]
        self.assertEqual(table("changes of plan"), properties["change"]["enum"])
        properties = schema("verify")["properties"]["files"]["items"]["properties"]
        self.assertEqual(table("results of verify"), properties["result"]["enum"])
        properties = schema("check")["properties"]["stores"]["items"]["properties"]
        self.assertEqual(table("states"), properties["state"]["enum"])

    def test_exit_statuses_are_those_of_the_program(self):
        self.assertEqual(table("exit statuses"), ["0", "1", "2"])
        self.ctl("list", status=0)
        self.ctl("list", "no-such-id", status=1)
        self.ctl("no-such-command", status=2)

    def test_files_are_those_of_the_program(self):
        self.assertEqual(table("files")[:4], [
            str(harness.STORE), str(harness.LEGACY_STORE), f"{harness.ROOT}/manifest/*.xml",
            f"{harness.LEGACY_ROOT}/manifest/*.xml"])

    def test_the_page_is_without_fault(self):
        done = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", PAGE], capture_output=True, text=True)
        self.assertEqual(done.stdout, "")


if __name__ == "__main__":
    harness.main()
