#!/usr/bin/env python3
"""report.py ANSWERS OUT   makes one report of what many machines say of themselves.

ANSWERS holds one JSON file a machine, as report.yml writes it: `machine`, `reached`, `facts` (what `obg_manifestctl
facts` printed, or null), `verify` (the text that `obg_manifestctl --format json verify --strays` printed) and
`complaint`. OUT gets report.html, which needs nothing beside it, report.json, versions.csv and machines.csv.

Whatever a machine says is data that may be wrong or hostile: an answer that is not understood is a line of the report,
and nothing in one can become markup or a formula. The answers are read one by one; of each only numbers are kept.
"""
import array
import collections
import csv
import datetime
import functools
import html
import json
import pathlib
import re
import string
import sys

STORES = ("current", "legacy")
# A store in one of these states needs no look.
QUIET_STATES = ("good", "absent")
# A page with more rows than this is of no use to a person; report.json has them all.
MOST_FINDINGS = 1000
MOST_NAMES = 5

Entry = collections.namedtuple("Entry", "store module id kind")
Finding = collections.namedtuple("Finding", "module id path result")


class Misunderstood(Exception):
    """An answer does not have the shape that the programs give it."""


def member(value, name, kind, default=None):
    """The member of a JSON object, which is of that kind; the default where there is none."""
    if not isinstance(value, dict):
        raise Misunderstood("not an object where one belongs")
    found = value.get(name, default)
    if not isinstance(found, kind) and found is not default:
        raise Misunderstood(f"{name} is not of its kind")
    return found


@functools.lru_cache
def module_of(manifest):
    """A module is called as its manifest is, without folder and ending."""
    return pathlib.PurePosixPath(manifest).stem


def version_order(version):
    """Orders versions as people read them: runs of digits by their number, everything else by its characters."""
    return [(1, len(run.lstrip("0")), run.lstrip("0")) if run[0] in "0123456789" else (0, 0, run)
            for run in re.findall(r"[0-9]+|[^0-9]+", version)]


class Report:
    def __init__(self):
        self.machines = []
        self.findings = {}
        self.numbers = {}  # (entry, version) -> its number in what a machine holds
        self.holders = collections.Counter()

    def add(self, answer, name):
        """Takes in the answer of one machine; `name` is used where it does not say its own."""
        machine = {"machine": name, "reached": False, "complaint": "", "stores": [], "verify": {}, "held": array.array("L")}
        self.machines.append(machine)
        try:
            machine["machine"] = member(answer, "machine", str, name)
            machine["reached"] = member(answer, "reached", bool, False)
            machine["complaint"] = member(answer, "complaint", str, "")
            if machine["reached"]:
                modules = self.add_verify(machine, member(answer, "verify", str, ""))
                self.add_facts(machine, member(answer, "facts", dict), modules)
        except Misunderstood as problem:
            machine["complaint"] = f"the answer is not understood: {problem}"

    def add_verify(self, machine, text):
        """Counts what verify found. Returns the module that lists each id: the name of its manifest."""
        if not text:
            return {}
        try:
            document = json.loads(text)
        except (ValueError, RecursionError):
            raise Misunderstood("verify printed no JSON") from None
        modules = {}
        for file in member(document, "files", list, []):
            result = member(file, "result", str, "")
            identity = member(file, "id", str) or ""
            module = module_of(member(file, "manifest", str) or "")
            modules.setdefault(identity, module)
            machine["verify"][result] = machine["verify"].get(result, 0) + 1
            if result != "ok":
                finding = Finding(module, identity, member(file, "path", str) or "", result)
                self.findings.setdefault(finding, []).append(machine["machine"])
        return modules

    def add_facts(self, machine, facts, modules):
        if facts is None:
            machine["complaint"] = machine["complaint"] or "no facts: obg_manifestctl is not installed"
            return
        for name in STORES:
            store = member(facts, name, dict, {})
            state = member(store, "state", str, "unknown")
            found = [f"{member(finding, 'rule', str, '')}: {member(finding, 'message', str, '')}"
                     for finding in member(store, "findings", list, [])]
            machine["stores"].append(
                {"store": name, "path": member(store, "path", str, ""), "state": state, "findings": found})
            for identity, value in member(store, "entries", dict, {}).items():
                entry = Entry(name, modules.get(identity, ""), identity, member(value, "kind", str) or "")
                key = (entry, member(value, "version", str, ""))
                number = self.numbers.setdefault(key, len(self.numbers))
                self.holders[number] += 1
                machine["held"].append(number)

    def finish(self):
        """Works out what is newest, and who is behind it, once all machines are known."""
        versions = collections.defaultdict(list)
        for (entry, version), number in self.numbers.items():
            versions[entry[0], entry[2]].append((version_order(version), version, entry, number))
        newest = set()
        self.versions = []
        for identity in sorted(versions):
            ordered = sorted(versions[identity], key=lambda row: row[:2], reverse=True)
            top = ordered[0][1]
            newest.update(row[3] for row in ordered if row[1] == top)
            self.versions.append(self.row_of(ordered))
        entries = list(self.numbers)
        self.machines.sort(key=lambda machine: machine["machine"])
        for machine in self.machines:
            held = machine.pop("held")
            machine["entries"] = len(held)
            machine["behind"] = [entries[number][0].id for number in held if number not in newest]

    def row_of(self, ordered):
        """One id in one store: its versions, newest first, with the number of machines."""
        counts = collections.Counter()
        for _, version, _, number in ordered:
            counts[version] += self.holders[number]
        modules = sorted({row[2].module for row in ordered} - {""})
        kinds = sorted({row[2].kind for row in ordered} - {""})
        total = sum(counts.values())
        return {"store": ordered[0][2].store, "module": ", ".join(modules), "id": ordered[0][2].id,
                "kind": ", ".join(kinds), "machines": total, "behind": total - counts[ordered[0][1]],
                "versions": [{"version": version, "machines": number} for version, number in counts.items()]}

    def troubled_stores(self):
        return [{"machine": machine["machine"], **store} for machine in self.machines for store in machine["stores"]
                if store["state"] not in QUIET_STATES or store["findings"]]

    def sorted_findings(self):
        rows = [{**finding._asdict(), "machines": names} for finding, names in self.findings.items()]
        return sorted(rows, key=lambda row: (-len(row["machines"]), row["module"], row["id"], row["path"]))


def visible(text):
    """Text for a page: what is no printable character is spelled out, and nothing is markup."""
    return html.escape("".join(c if c.isprintable() else f"\\u{{{ord(c):x}}}" for c in text))


def cell(label, content, css="", key=None):
    """A cell of HTML content."""
    key = "" if key is None else f' data-key="{html.escape(str(key))}"'
    css = f' class="{css}"' if css else ""
    return f'<td data-label="{label}"{css}{key}>{content}</td>'


def number_cell(label, number, is_bad=False):
    return cell(label, number or "", "number bad" if is_bad and number else "number", number)


def table(title, columns, rows, note=""):
    """A titled table of rows that are ready HTML."""
    heading = f'<h2>{title} <span class="none">{len(rows)}{note}</span><span class="shown none"></span></h2>'
    if not rows:
        return heading.replace("<h2>", '<h2 class="empty">') + '\n<p class="none">None.</p>'
    head = "".join(f'<th scope="col" data-label="{column}"><button type="button">{column}</button></th>'
                   for column in columns)
    body = "\n".join(f"<tr>{row}</tr>" for row in rows)
    return f"{heading}\n<table><thead><tr>{head}</tr></thead>\n<tbody>\n{body}\n</tbody></table>"


def bars(row):
    parts = []
    for position, version in enumerate(row["versions"]):
        share = 100 * version["machines"] / row["machines"]
        parts.append(f'<span>{visible(version["version"]) or "(none)"}</span>'
                     f'<span><span class="bar{" newest" if position == 0 else ""}" style="--share:{share:.1f}%;'
                     f'display:block"></span></span><span class="number">{version["machines"]}</span>')
    return f'<div class="bars">{"".join(parts)}</div>'


def version_row(row):
    return (cell("Store", row["store"]) + cell("Module", visible(row["module"])) + cell("Id", visible(row["id"])) +
            cell("Kind", visible(row["kind"])) +
            cell("Versions", bars(row), key=row["versions"][0]["version"]) + number_cell("Behind", row["behind"], True))


def some_of(names):
    """The first few names, and how many more there are."""
    more = f" and {len(names) - MOST_NAMES} more" if len(names) > MOST_NAMES else ""
    return ", ".join(visible(name) for name in names[:MOST_NAMES]) + more


def state_class(state):
    return "state" if state in QUIET_STATES else "state bad"


def machine_row(machine):
    states = {store["store"]: store["state"] for store in machine["stores"]}
    found = sum(number for result, number in machine["verify"].items() if result != "ok")
    reached = cell("Reached", "yes") if machine["reached"] else cell("Reached", "no", "bad")
    behind = f'{len(machine["behind"])}: {some_of(machine["behind"])}' if machine["behind"] else ""
    return (cell("Machine", visible(machine["machine"])) + reached +
            "".join(cell(name.capitalize(), visible(states.get(name, "")),
                         state_class(states.get(name, "good"))) for name in STORES) +
            number_cell("Entries", machine["entries"]) + cell("Behind", behind, key=len(machine["behind"])) +
            number_cell("Findings", found, True) + cell("Complaint", visible(machine["complaint"])))


def store_row(store):
    return (cell("Machine", visible(store["machine"])) + cell("Store", store["store"]) +
            cell("State", visible(store["state"]), state_class(store["state"])) +
            cell("Path", visible(store["path"])) +
            cell("Findings", "<br>".join(visible(finding) for finding in store["findings"])))


def finding_row(finding):
    return (cell("Module", visible(finding["module"])) + cell("Id", visible(finding["id"])) +
            cell("Path", visible(finding["path"])) + cell("Result", visible(finding["result"])) +
            cell("Machines", f'{len(finding["machines"])}: {some_of(finding["machines"])}',
                 key=len(finding["machines"])))


def tile(label, number, is_bad=True):
    return f'<li{" class=bad" if is_bad and number else ""}><b>{number}</b> {label}</li>'


def write_page(report, template, out, written):
    stores, findings = report.troubled_stores(), report.sorted_findings()
    shown = findings[:MOST_FINDINGS]
    tiles = [tile("machines", len(report.machines), False),
             tile("not reached", sum(not machine["reached"] for machine in report.machines)),
             tile("behind", sum(bool(machine["behind"]) for machine in report.machines)),
             tile("stores to look at", len(stores)),
             tile("findings of verify", len(findings))]
    tables = [
        table("Versions", ["Store", "Module", "Id", "Kind", "Versions", "Behind"], [version_row(r) for r in report.versions]),
        table("Stores to look at", ["Machine", "Store", "State", "Path", "Findings"], [store_row(r) for r in stores]),
        table("Findings of verify", ["Module", "Id", "Path", "Result", "Machines"], [finding_row(r) for r in shown],
              f" of {len(findings)}" if len(shown) < len(findings) else ""),
        table("Machines", ["Machine", "Reached", "Current", "Legacy", "Entries", "Behind", "Findings", "Complaint"],
              [machine_row(r) for r in report.machines])]
    page = string.Template(template).substitute(
        machine_count=len(report.machines), written=written, tiles="\n".join(tiles), tables="\n".join(tables), dollar="$")
    out.write_text(page, encoding="utf-8", errors="replace")


def write_json(report, out, written):
    document = {"format": "obg-fleet-report", "version": 1, "written": written, "versions": report.versions,
                "stores": report.troubled_stores(), "findings": report.sorted_findings(), "machines": report.machines}
    with out.open("w", encoding="ascii") as file:
        json.dump(document, file, separators=(",", ":"))


def plain(value):
    """A cell for spreadsheets. One that they would take for a formula gets an apostrophe in front."""
    text = str(value).encode("utf-8", "replace").decode()
    return "'" + text if text[:1] in ("=", "+", "-", "@", "\t", "\r") else text


def write_csv(out, columns, rows):
    with out.open("w", encoding="utf-8", newline="") as file:
        writer = csv.writer(file)
        writer.writerow(columns)
        writer.writerows([plain(value) for value in row] for row in rows)


def write_tables(report, out):
    write_csv(out / "versions.csv", ["store", "module", "id", "kind", "version", "machines"],
              ([row["store"], row["module"], row["id"], row["kind"], version["version"], version["machines"]]
               for row in report.versions for version in row["versions"]))
    write_csv(out / "machines.csv", ["machine", "reached", *STORES, "entries", "behind", "findings", "complaint"],
              ([machine["machine"], "yes" if machine["reached"] else "no",
                *(store["state"] for store in machine["stores"] or ({"state": ""},) * len(STORES)),
                machine["entries"], len(machine["behind"]),
                sum(number for result, number in machine["verify"].items() if result != "ok"), machine["complaint"]]
               for machine in report.machines))


def read_answer(path):
    try:
        return json.loads(path.read_bytes())
    except (OSError, ValueError, RecursionError):
        return None


def main(answers, out):
    report = Report()
    for path in sorted(pathlib.Path(answers).glob("*.json")):
        report.add(read_answer(path), path.stem)
    report.finish()
    written = datetime.datetime.now().astimezone().strftime("%Y-%m-%d %H:%M %Z")
    out = pathlib.Path(out)
    template = pathlib.Path(__file__).with_name("report.html").read_text(encoding="utf-8")
    write_page(report, template, out / "report.html", written)
    write_json(report, out / "report.json", written)
    write_tables(report, out)
    print(out / "report.html")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(f"usage: {__doc__.splitlines()[0]}")
    main(sys.argv[1], sys.argv[2])
