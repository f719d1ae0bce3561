#!/usr/bin/env python3
"""Makes manifests of any size that look like those in examples/, the same ones for the same seed.

    bench/manifests.py ENTRIES [SEED] > manifest.xml

What stands in an entry, and where the numbers come from:

- The kinds are mixed as the manifests of examples/ mix them (counted over the seven that are accepted), so that 15
  entries in 27 are of a kind that the store keeps. The kind stands in the "type" attribute.
- Each kind carries the attributes and child elements that it carries there: a package names its os, os_pkg_id,
  platform and arch, a localisation file its language, and everything has a version, a module, a URI and a sum.
- One sum in five is SHA-1, the rest SHA-256. Scripts have a file name beside their URI. All profiles and half of the
  rest have a display name; one in fifty of those has an ampersand, and one in twenty letters outside ASCII. A third of
  the packages depend on another.
- Ids and URIs are longer than in examples/, because a module of thousands of files names them by folder and component:
  ids of 24 to 52 bytes that share their beginnings, URIs of 52 to 124 bytes. An entry comes to 390 bytes.
"""

import random
import sys
from collections import namedtuple
from pathlib import Path
from xml.sax.saxutils import escape, quoteattr

Entry = namedtuple("Entry", "id kind version xml")

# How many entries in 27 are of each kind. Installers of other systems are in no example.
WEIGHTS = {
    "exe": 4,
    "rpm": 3,
    "deb": 3,
    "script": 5,
    "binary": 3,
    "resource": 1,
    "transform": 2,
    "l10n": 3,
    "profile": 3,
    "msi": 0,
    "mst": 0,
    "dmg": 0,
}

# Word, number and what the store does with it, of every kind.
KINDS = [line.split()[:3] for line in (Path(__file__).parents[1] / "tests/kinds.txt").read_text().splitlines()
         if not line.startswith("#")]
NUMBERS_IN_STORE = {word: int(number) for word, number, store in KINDS if store == "stored"}

MODULES = ["vpn", "posture", "vantorposture", "ravelle", "quorraenabler", "tindra", "solvane", "fennick"]
FOLDERS = ["agent", "core", "gui", "helpers", "plugins", "runtime", "downloader", "diagnostics", "telemetry"]
COMPONENTS = ["service", "launcher", "certificates", "routes", "resolver", "tunnel", "updater", "notifier", "settings",
              "inspector", "scanner", "reporter"]
LANGUAGES = ["de", "fr", "ja", "es", "it", "ko", "pl", "pt-br", "zh-hans", "cs"]
PACKAGES = {"rpm": ("rhel", "{stem}-{version}-1.x86_64.rpm"), "deb": ("debian", "{stem}_{version}_amd64.deb")}
FILE_NAMES = {
    "exe": "{stem}-{version}-x86_64.exe",
    "script": "{stem}-{version}.sh",
    "binary": "scripts_{stem}.sh",
    "resource": "{stem}.svg",
    "transform": "{stem}.xml",
    "profile": "{stem}.xml",
    "l10n": "Tessellink.mo",
}


def attributes_of(draw, kind, name, module, version):
    attributes = {"id": name, "version": version, "type": kind, "module": module}
    if kind in PACKAGES:
        attributes["os"] = PACKAGES[kind][0]
        attributes["os_pkg_id"] = "brightgate-" + module
    if kind in PACKAGES or kind == "exe":
        attributes["platform"] = "linux-64"
        attributes["arch"] = "x86_64"
    if kind == "exe":
        attributes["action"] = "install"
        attributes["is_core"] = draw.choice(["yes", "no"])
    if kind == "l10n":
        attributes["lang"] = draw.choice(LANGUAGES)
    if kind == "profile":
        attributes["service-type"] = "user"
    return attributes


def display_name(draw, folder, component):
    text = f"Orvanta Brightgate Client {folder.capitalize()} {component.capitalize()}"
    if draw.random() < 0.02:
        text += " & Help"
    if draw.random() < 0.05:
        text += " für Geräte"
    return text


def make_entry(draw, number):
    kind = draw.choices(list(WEIGHTS), list(WEIGHTS.values()))[0]
    module, folder, component = draw.choice(MODULES), draw.choice(FOLDERS), draw.choice(COMPONENTS)
    version = f"5.{draw.randrange(3)}.{draw.randrange(20)}.{draw.randrange(100)}"
    name = f"VPN-{module}-{folder}-{component}-{number:05d}"
    attributes = attributes_of(draw, kind, name, module, version)

    pattern = PACKAGES[kind][1] if kind in PACKAGES else FILE_NAMES[kind]
    file_name = pattern.format(stem=f"brightgate-{folder}-{component}-{number:05d}", version=version)
    where = attributes.get("lang", "linux-64")
    uri = f"packages/{module}/{folder}/{where}/{version}/{file_name}"

    algorithm, digits = ("sha1", 40) if draw.random() < 0.2 else ("sha256", 64)
    children = [
        f"<uri>{uri}</uri>",
        f'<hash type="{algorithm}">{draw.getrandbits(4 * digits):0{digits}x}</hash>',
    ]
    if kind == "script":
        children.insert(1, f"<filename>brightgate-{folder}-{component}</filename>")
    if kind == "profile" or draw.random() < 0.5:
        children.append(f"<display-name>{escape(display_name(draw, folder, component))}</display-name>")
    if kind in PACKAGES and draw.random() < 1 / 3:
        children.append(f"<depends>VPN-{module}-core-service-{draw.randrange(number + 1):05d}</depends>")

    stated = " ".join(f"{key}={quoteattr(value)}" for key, value in attributes.items())
    inner = "".join(f"    {child}\n" for child in children)
    return Entry(name, kind, version, f"  <file {stated}>\n{inner}  </file>\n")


def make_entries(count, seed=1):
    draw = random.Random(seed)
    return [make_entry(draw, number) for number in range(count)]


def render(entries):
    body = "".join(entry.xml for entry in entries)
    return f'<?xml version="1.0" encoding="UTF-8"?>\n<vpn rev="1.0">\n{body}</vpn>\n'


if __name__ == "__main__":
    sys.stdout.buffer.write(render(make_entries(*map(int, sys.argv[1:3]))).encode())
