#!/usr/bin/env python3
"""playbook_test.py PROGRAMS [MACHINES]   the plays of examples/fleet against machines that are private namespaces.

PROGRAMS is the folder of the built obg_manifestctl. Of the machines (5 unless told) one has a damaged store, one is
asked by a user without rights, one is unreachable; every other one is behind its manifest, the last is up to date.
"""
import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import machines  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
HOSTILE = "{{ 7*7 }}<b>'\""
EXE = 2
MANIFEST = """<vpn rev="1.0">
  <file id="VPNCore" version="5.1.4.74" type="exe"><uri>core.exe</uri></file>
  <file id="{{ 7*7 }}&lt;b>'&quot;" version="{% raw %}" type="exe"><uri>odd.exe</uri></file>
</vpn>
"""


def text(value):
    return struct.pack("<I", len(value) + 1) + value.encode() + b"\0"


def store_bytes(*entries):
    return struct.pack("<II", 1, 0) + b"".join(
        struct.pack("<I", EXE) + text(version) + text(identity) for identity, version in entries)


OLD = store_bytes(("VPNCore", "5.1.2.42"))
NEW = store_bytes(("VPNCore", "5.1.4.74"), (HOSTILE, "{% raw %}"))


class PlaybookTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="obg-fleet-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.folder.chmod(0o755)
        cls.project = cls.folder / "fleet"
        shutil.copytree(ROOT / "examples/fleet", cls.project)
        cls.machines = machines.Machines(cls.folder / "machines")
        cls.addClassCleanup(cls.machines.__exit__)
        cls.lay_down()
        hosts = "".join(f"    {name}:\n" for name in cls.names)
        (cls.project / "inventory.yml").write_text(
            f"fleet:\n  hosts:\n{hosts}  vars:\n    ansible_become: false\n    ansible_python_interpreter: /usr/bin/python3\n")

    @classmethod
    def lay_down(cls):
        """damaged, no-rights, unreachable; then old ones, and a new one last."""
        old = [f"old-{number}" for number in range(1, machine_count - 3)]
        cls.names = ["damaged", "no-rights", "unreachable", *old, "new"]
        cls.old = old
        cls.homes = {}
        for name in cls.names:
            if name == "unreachable":
                continue
            home = cls.machines.add(name, machines.NOBODY if name == "no-rights" else 0)
            cls.homes[name] = home
            (home / "manifest/core.xml").write_text(MANIFEST)
            (home / "VPNManifest.dat").write_bytes({"damaged": OLD[:-3], "new": NEW}.get(name, OLD))
        (cls.homes["no-rights"] / "VPNManifest.dat").chmod(0o600)

    def play(self, name, *options):
        """Runs a play and returns its status and output."""
        done = subprocess.run(["ansible-playbook", *options, name], cwd=self.project, text=True, stdin=subprocess.DEVNULL,
                              env=self.machines.environment(programs), stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.returncode, done.stdout

    def report(self):
        status, output = self.play("report.yml")
        self.assertEqual(status, 0, output)
        self.assertNotIn("failed=1", output)
        return json.loads((self.project / "report/report.json").read_text())

    def test_report_then_sync_then_report_again(self):
        report = self.report()
        before = {machine["machine"]: machine for machine in report["machines"]}
        states = {name: [store["state"] for store in machine["stores"]] for name, machine in before.items()}
        self.assertEqual(states, {"damaged": ["damaged", "absent"], "no-rights": ["unreadable", "absent"], "unreachable": [],
                                  "new": ["good", "absent"], **{name: ["good", "absent"] for name in self.old}})
        self.assertFalse(before["unreachable"]["reached"])
        self.assertIn("No route to host", before["unreachable"]["complaint"])
        self.assertEqual([before[name]["behind"] for name in self.old], [["VPNCore"]] * len(self.old))
        self.assertEqual([(row["id"], row["behind"], [tuple(version.values()) for version in row["versions"]])
                          for row in report["versions"]],
                         [("VPNCore", len(self.old), [("5.1.4.74", 1), ("5.1.2.42", len(self.old))]),
                          (HOSTILE, 0, [("{% raw %}", 1)])])
        self.assertIn("{{ 7*7 }}&lt;b&gt;", (self.project / "report/report.html").read_text())

        status, output = self.play("sync.yml")
        self.assertNotEqual(status, 0, "damaged, without rights and unreachable machines have to show")
        for name in (*self.old, "new"):
            self.assertRegex(output, rf"(?m)^{name} .* unreachable=0 +failed=0 ")
            self.assertRegex(output, rf"(?m)^{name} .* changed={0 if name == 'new' else 1} ")
        for name in self.old:
            self.assertEqual((self.homes[name] / "VPNManifest.dat").read_bytes(), NEW, name)
        self.assertEqual((self.homes["damaged"] / "VPNManifest.dat").read_bytes(), OLD[:-3])

        after = {machine["machine"]: machine for machine in self.report()["machines"]}
        self.assertEqual([after[name]["behind"] for name in self.old], [[]] * len(self.old))
        self.assertEqual(after["damaged"]["stores"], before["damaged"]["stores"])

    def test_verify_fails_the_machines_with_findings(self):
        status, output = self.play("verify.yml", "--limit", "new,damaged")
        self.assertEqual(status, 2, output)
        self.assertRegex(output, r"(?m)^new .* failed=0 ")
        self.assertRegex(output, r"(?m)^damaged .* failed=1 ")

    def test_the_local_fact_is_what_facts_prints(self):
        """With a good store, a damaged one, one that may not be read, and none at all."""
        if "bare" not in self.homes:
            self.homes["bare"] = self.machines.add("bare")
        names = ["damaged", "no-rights", "new", "bare"]
        answers = self.folder / "gathered"
        subprocess.run(["ansible", "all", "-i", ",".join(names) + ",", "-m", "setup", "-a", "gather_subset=!all,!min,local",
                        "-e", "ansible_python_interpreter=/usr/bin/python3", "--tree", answers], cwd=self.project,
                       env=self.machines.environment(programs), check=True, stdin=subprocess.DEVNULL, capture_output=True)
        states = {}
        for name in names:
            holder, user = (self.folder / "machines" / name).read_text().split()
            printed = subprocess.run(
                ["nsenter", "--target", holder, "--mount", "setpriv", "--reuid", user, "--regid", user, "--clear-groups",
                 programs / "obg_manifestctl", "facts"], check=True, capture_output=True).stdout
            fact = json.loads((answers / name).read_text())["ansible_facts"]["ansible_local"]["obg_manifest"]
            self.assertEqual(fact, json.loads(printed), name)
            states[name] = fact["current"]["state"]
        self.assertEqual(states, {"damaged": "damaged", "no-rights": "unreadable", "new": "good", "bare": "absent"})

    def test_the_fact_is_null_where_the_program_is_gone(self):
        empty = self.folder / "empty"
        empty.mkdir(exist_ok=True)
        done = subprocess.run([str(machines.FACT)], env={"PATH": f"{empty}:/bin"}, capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "null\n", ""))

    def test_the_plays_pass_lint_and_syntax_check(self):
        for play in ("report.yml", "sync.yml", "verify.yml"):
            status, output = self.play(play, "--syntax-check")
            self.assertEqual(status, 0, output)
        done = subprocess.run(["ansible-lint", "--offline", "-q", "report.yml", "sync.yml", "verify.yml"], cwd=self.project,
                              env=self.machines.environment(programs), text=True, capture_output=True)
        self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("playbook_test.py: machines are mount namespaces; run this as root, or under unshare --map-root-user")
    programs = pathlib.Path(sys.argv[1]).resolve()
    machine_count = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    unittest.main(argv=sys.argv[:1])
