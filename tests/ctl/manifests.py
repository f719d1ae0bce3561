"""Manifests by the hundred, good and bad: each is one of the examples with some of its parts changed at random."""

import copy
import random
import xml.etree.ElementTree as ElementTree

import harness
import kinds

KINDS = list(kinds.ALL)
SUMS = {"sha1": "1cd03ea6ae2213cf46df42b2234545331da55483",
        "sha256": "82af5c670b0891e4b5631d0a7b7062f4a6ec715260dd5d2af621e9a5e22a029d"}

# Values that are right in some place, and such as are right in none.
ATTRIBUTES = {
    "id": ["VPNCore", "VPNAgent", "", " ", "a&b"],
    "version": ["5.1.2.42", "5.1.2.42-1", "", "1,2"],
    "type": [*KINDS, " exe ", "EXE", ""],
    "action": ["install", "copy", "Copy", "apply", ""],
    "lang": ["de", "en", "", "..", "a/b"],
    "is_core": ["yes", "no", "true"],
    "standalone": ["true", "false", "yes"],
    "service-type": ["user", "vpn-mgmt", "vpn", ""],
    "module": ["vpn", ""],
    "os_pkg_id": ["brightgate-core"],
    "Version": ["1"],
}
TEXTS = {
    "type": [*KINDS, " exe\n", "Exe", ""],
    "uri": ["a/b.exe", "l10n/de/Tessellink.mo", "a/", "", " "],
    "filename": ["Tessellink.mo", "x/Tessellink.mo", "b.xml", "scripts_a", "", "a/"],
    "name": ["Tessellink.mo", "b", "", "/"],
    "hash": [*SUMS.values(), "12ab", "", "x" * 64],
    "display-name": ["Core", ""],
    "depends": ["VPNCore", ""],
    "sha256": [SUMS["sha256"]],
}


def new_child(random_):
    name = random_.choice(list(TEXTS))
    child = ElementTree.Element(name)
    child.text = random_.choice(TEXTS[name])
    if name == "hash":
        kind = random_.choice(list(SUMS))
        child.attrib["type"] = kind
        child.text = random_.choice([SUMS[kind], SUMS[kind].upper(), child.text])
    return child


def new_file(random_):
    """Something like an entry of a random kind, mostly a good one."""
    kind = random_.choice(KINDS)
    file = ElementTree.Element("file", {"id": random_.choice("abcdefgh"), "version": "1.0"})
    name = ElementTree.SubElement(file, random_.choice(["uri", "filename", "name"]))
    name.text = "x/Tessellink.mo" if kind == "l10n" else "x/scripts_a.xml"
    if random_.random() < 0.8:
        hash_kind = random_.choice(list(SUMS))
        ElementTree.SubElement(file, "hash", {"type": hash_kind}).text = SUMS[hash_kind]
    if random_.random() < 0.5:
        file.attrib["type"] = kind
    else:
        ElementTree.SubElement(file, "type").text = kind
    if kind in ("l10n", "mst") or random_.random() < 0.2:
        file.attrib["lang"] = "de"
    random_.shuffle(file)
    return file


def set_attribute(random_, element):
    name = random_.choice(list(ATTRIBUTES))
    element.attrib[name] = random_.choice(ATTRIBUTES[name])


def drop_attribute(random_, element):
    if element.attrib:
        del element.attrib[random_.choice(list(element.attrib))]


def set_text(random_, element):
    element.text = random_.choice(TEXTS.get(element.tag, ["text"]))


def drop_child(random_, element):
    if len(element):
        element.remove(random_.choice(list(element)))


def add_child(random_, element):
    element.insert(random_.randint(0, len(element)), new_child(random_))


def repeat_child(random_, element):
    if len(element):
        element.append(copy.deepcopy(random_.choice(list(element))))


def shuffle_children(random_, element):
    random_.shuffle(element)


def move_type(_, element):
    """From the attribute to a child."""
    if "type" in element.attrib:
        ElementTree.SubElement(element, "type").text = element.attrib.pop("type")


def rename(random_, element):
    element.tag = random_.choice(["file", "vpn", *TEXTS])


def add_tail(_, element):
    element.tail = "text"


CHANGES = [set_attribute, drop_attribute, set_text, drop_child, add_child, repeat_child, shuffle_children, move_type, rename,
           add_tail]
REVISIONS = ["1.0", "0.9", "0.0", "1.1", "1", "", "1.0beta", " 1.0 "]


def changed(random_, root):
    if random_.random() < 0.1:
        root.attrib["rev"] = random_.choice(REVISIONS)
    for _ in range(random_.choice([0, 0, 1, 1, 2, 3])):
        files = list(root)
        if files and random_.random() < 0.8:
            element = random_.choice(files)
            if len(element) and random_.random() < 0.3:
                element = random_.choice(list(element))
        else:
            element = root
        random_.choice(CHANGES)(random_, element)


def generated(count, seed):
    """So many documents as bytes, always the same ones for a seed."""
    random_ = random.Random(seed)
    examples = [ElementTree.parse(path).getroot() for path in sorted(harness.SOURCE.glob("examples/[!b]*.xml"))]
    for _ in range(count):
        if random_.random() < 0.5:
            root = copy.deepcopy(random_.choice(examples))
            for file in list(root)[random_.randint(1, 3):]:
                root.remove(file)
        else:
            root = ElementTree.Element("vpn", {"rev": "1.0"})
            root.extend(new_file(random_) for _ in range(random_.randint(1, 3)))
        changed(random_, root)
        root.tail = None
        yield ElementTree.tostring(root, encoding="utf-8", xml_declaration=True)
