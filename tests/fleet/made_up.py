"""Made-up machines: answers as report.yml writes them, the same for the same seed."""
import json
import pathlib
import random

KINDS = ("exe", "deb", "rpm", "script")
RESULTS = ("ok",) * 97 + ("missing", "different", "other-version")


def answer_of(number, entry_count, chance):
    """The answer of one machine with that many entries: one in a hundred is not reached, one in fifty damaged."""
    name = f"client-{number:05}.example.com"
    if chance.random() < 0.01:
        return {"machine": name, "reached": False, "facts": None, "verify": "", "complaint": "no route to host"}
    entries = {f"Module{entry // 20}-File{entry}": {
        "kind": KINDS[entry % len(KINDS)], "version": f"5.{chance.choice((1, 1, 1, 2))}.{chance.randrange(4)}.{entry}"}
        for entry in range(entry_count)}
    damaged = chance.random() < 0.02
    findings = [{"offset": 4711, "rule": "cut-record", "message": "the file ends inside a record"}] if damaged else []
    files = [{"manifest": f"/opt/orvanta/brightgate/manifest/module{entry // 20}.xml", "id": identity, "path": None,
              "result": chance.choice(RESULTS), "expected": value["version"], "found": value["version"]}
             for entry, (identity, value) in enumerate(entries.items())]
    return {"machine": name, "reached": True, "complaint": "", "verify": json.dumps({"files": files}), "facts": {
        "format": "obg-manifest-facts", "version": 1,
        "current": {"state": "damaged" if damaged else "good", "path": "/opt/orvanta/brightgate/VPNManifest.dat",
                    "findings": findings, "entries": {} if damaged else entries},
        "legacy": {"state": "absent", "path": "/opt/orvanta/tessellink/VPNManifest.dat", "findings": [], "entries": {}}}}


def write_answers(folder, machine_count, entry_count, seed=1):
    chance = random.Random(seed)
    for number in range(machine_count):
        answer = answer_of(number, entry_count, chance)
        (pathlib.Path(folder) / f"{answer['machine']}.json").write_text(json.dumps(answer))
