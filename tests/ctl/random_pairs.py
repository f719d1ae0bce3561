"""Random pairs of a store and manifests that the tool accepts, the same ones for the same seed.

Little stands in them, so that what meets in a pair often concerns the same id: a handful of ids and versions, a few
entries. Everything that the tool loads without a complaint occurs in the stores, also what it never writes itself; and
everything that it accepts in the manifests, also entries that damage the store.
"""

import random
import struct
from collections import namedtuple
from xml.sax.saxutils import quoteattr

import kinds

# mode is "-i" or "-x", store the bytes of the file or None where there is none, manifests a list of documents.
Pair = namedtuple("Pair", "mode store manifests")

IDS = ["VPNCore", "vpncore", "VPNCore-rpm", "a", "VPN Ger\u00e4t \u65e5\u672c", "R&D", "<\"'>", "x" * 300]
VERSIONS = ["5.1.2.42", "5.1.4.74", "1", "2026.11-1~rc1", "v" * 90]
# What only a store can hold: bytes that are not UTF-8, and "&" as it stands in one that a manifest was recorded in.
STORED_IDS = [name.encode() for name in IDS] + [b"R&#38;D", b"\xff\xfe", b"line\nfeed"]


def random_pair(seed, number):
    draw = random.Random(f"{seed}/{number}")
    manifests = [manifest(draw) for _ in range(draw.choice([1, 1, 1, 2, 3]))]
    return Pair(draw.choice(["-i", "-i", "-x"]), store(draw), manifests)


def store(draw):
    """The bytes of a store, or None where there is none."""
    if draw.random() < 0.1:
        return None
    header = (1, 0) if draw.random() < 0.95 else (0, draw.choice([0, 77]))
    count = draw.choice([0, 1, 2, 3, 5, 8, 40])
    stray = draw.randrange(1, 4) if draw.random() < 0.05 else 0
    return struct.pack("<II", *header) + b"".join(record(draw) for _ in range(count)) + b"\xee" * stray


def record(draw):
    numbers = kinds.STORED if draw.random() < 0.95 else kinds.DROPPED
    kind = struct.pack("<I", draw.choice(list(numbers.values())))
    return kind + text(draw, draw.choice(VERSIONS).encode()) + text(draw, draw.choice(STORED_IDS))


def text(draw, stored):
    """A string of the store; one in a hundred is empty, holds a zero byte or ends with another one than zero."""
    ending = b"\0"
    odd = draw.random()
    if odd < 0.003:
        stored = b""
    elif odd < 0.006:
        stored += b"\0behind"
    elif odd < 0.01:
        ending = b"e"
    return struct.pack("<I", len(stored) + 1) + stored + ending


def manifest(draw):
    entries = "".join(entry(draw) for _ in range(draw.choice([0, 1, 1, 2, 3, 6])))
    return f'<?xml version="1.0"?>\n<vpn rev="1.0">\n{entries}</vpn>\n'.encode()


def entry(draw):
    attributes = key(draw)
    children = "<uri>files/Tessellink.mo</uri>" + '<hash type="sha256">' + "0" * 64 + "</hash>"
    kind = draw.choice(list(kinds.STORED) * 3 + list(kinds.DROPPED) + [None])
    if kind is None:
        attributes["action"] = "copy"
    elif draw.random() < 0.1:
        children += f"<type>{kind}</type>"
    else:
        attributes["type"] = kind
    attributes["lang"] = "de"
    stated = " ".join(f"{name}={quoteattr(value)}" for name, value in attributes.items())
    return f"  <file {stated}>{children}</file>\n"


def key(draw):
    """Id and version; now and then the one is empty, or the other, or both are missing."""
    odd = draw.random()
    if odd < 0.01:
        return {}
    name = "" if odd < 0.02 else draw.choice(IDS)
    if odd > 0.98:
        return {"id": name}
    return {"id": name, "version": "" if odd > 0.97 else draw.choice(VERSIONS)}
