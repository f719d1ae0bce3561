"""Reads and writes an installed-manifest store and says what it must hold. Works from the bytes of the format: it shares
nothing with the tool and, unlike it, forgives nothing."""

import struct

import manifests


def read(path):
    """The records of a store as (kind number, version, id), or an empty list when there is no store."""
    try:
        with open(path, "rb") as stream:
            data = stream.read()
    except FileNotFoundError:
        return []
    if data[:8] != struct.pack("<II", 1, 0):
        raise ValueError("not a store of format 1.0")
    records, at = [], 8
    while at < len(data):
        (kind,) = struct.unpack_from("<I", data, at)
        version, at = read_text(data, at + 4)
        name, at = read_text(data, at)
        records.append((kind, version, name))
    return records


def read_text(data, at):
    (size,) = struct.unpack_from("<I", data, at)
    text = data[at + 4 : at + 4 + size]
    if len(text) != size or text[-1:] != b"\0" or b"\0" in text[:-1]:
        raise ValueError(f"damaged text at byte {at}")
    return text[:-1].decode(), at + 4 + size


def expected(entries):
    """What a store holds once these entries have been recorded into an empty one."""
    return [
        (manifests.NUMBERS_IN_STORE[entry.kind], entry.version, entry.id)
        for entry in entries
        if entry.kind in manifests.NUMBERS_IN_STORE
    ]


def write(path, records):
    data = [struct.pack("<II", 1, 0)]
    for kind, version, name in records:
        data.append(struct.pack("<I", kind))
        for text in (version.encode(), name.encode()):
            data.append(struct.pack("<I", len(text) + 1) + text + b"\0")
    with open(path, "wb") as stream:
        stream.write(b"".join(data))
