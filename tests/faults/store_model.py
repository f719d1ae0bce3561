"""The store and its log lines as their descriptions say, and nothing of the program."""

import os
import re
import struct
from pathlib import Path

STORE_SOURCE = "../../../../vpn/Common/InstalledManifestInfo"
MANIFEST_SOURCE = "../../../../vpn/Downloader/ManifestInfo"
SYSTEM_SOURCE = "../../../../vpn/Common/Utility/sysutils"
HEADER = struct.pack("<II", 1, 0)
FIELD_FAILED = 0xFE000002
WRITE_FAILED = 0xFE000009

# Of every kind: word, number, what the store does with it, and more that does not matter here.
KINDS = [line.split() for line in (Path(__file__).parents[1] / "kinds.txt").read_text().splitlines()
         if not line.startswith("#")]
KEPT_WORDS = {int(number): word for word, number, store, *_ in KINDS if store == "stored"}
KEPT = set(KEPT_WORDS)
DROPPED = {int(number) for _, number, store, *_ in KINDS if store == "dropped"}
ANY_LINE = "*"


def field(text):
    return struct.pack("<I", len(text) + 1) + text.encode() + b"\0"


def record(entry):
    file_id, kind, version = entry
    return struct.pack("<I", kind) + field(version) + field(file_id)


def store_bytes(entries):
    """What is on the disk for these entries; none of them, no file."""
    return HEADER + b"".join(map(record, entries)) if entries else None


def message(level, function, source, line, text):
    return f"[{level}] Function: {function} File: {source} Line: {line} {text}"


def call_failed(function, source, line, call, code, description, text=""):
    signed = code - (1 << 32) if code >> 31 else code
    return message(
        "ERROR", function, source, line,
        f"Invoked Function: {call} Return Code: {signed} (0x{code:08X}) Description: {description} {text}")


def system_call_failed(function, line, call, error):
    return call_failed(function, STORE_SOURCE, line, call, error, os.strerror(error))


def field_not_read(function, line):
    return call_failed(function, STORE_SOURCE, line, "CInstalledManifestInfo::readManifestData", FIELD_FAILED, "unknown")


def field_not_written(function, line):
    return call_failed(
        function, STORE_SOURCE, line, "CInstalledManifestInfo::writeManifestData", FIELD_FAILED, "unknown")


def not_opened_for_reading(error):
    return system_call_failed("loadInstalledFileData", 267, "fstream::open", error)


def not_opened_for_writing(error):
    return system_call_failed("WriteFile", 445, "fstream::open", error)


def not_removed(error):
    return call_failed("WriteFile", STORE_SOURCE, 432, "remove", error, "unknown")


def not_examined(path, error):
    return call_failed(
        "fileExists", SYSTEM_SOURCE, ANY_LINE, "_tstat", error, "unknown", f"File: {path} Error: {os.strerror(error)}")


def header_not_written(error):
    return [system_call_failed("writeManifestData", 613, "fstream::write", error), field_not_written("WriteFile", 459)]


def records_not_written(entries, reached, error):
    """What is logged of these entries when their file has come to its end at `reached` bytes, by the field that met it."""
    lines = []
    at = len(HEADER)
    for file_id, _, version in entries:
        texts = [len(version), len(file_id)]
        fields = [("integer", 4)] + [field for size in texts for field in (("count", 4), ("text", size + 1))]
        for name, size in fields:
            at += size
            if at > reached:
                lines.append(system_call_failed("writeManifestData", 657 if name == "text" else 613, "fstream::write",
                                                error))
                lines += [field_not_written("writeManifestData", 646)] if name == "count" else []
                lines.append(field_not_written("WriteFile", 494))
                break
    return lines


STATUS_5 = call_failed("main", "../main", 128, "CInstalledManifestInfo::WriteFile", WRITE_FAILED, "unknown")
STATUS_4 = message("ERROR", "main", "../main", 98, "Failed to parse input manifest")


def manifest_not_read(call, code, description):
    return [call_failed("readManifestFile", MANIFEST_SOURCE, ANY_LINE, call, code, description), STATUS_4]


class Damaged(Exception):
    pass


class Loading:
    """Loads a store whose first bytes can be read; behind them reading ends, or fails with an error."""

    def __init__(self, readable, error=None):
        self.bytes = readable
        self.error = error
        self.at = 0
        self.entries = {}
        self.lines = []
        try:
            self.header()
            self.records()
        except Damaged:
            self.entries = {}

    def take(self, size):
        taken = self.bytes[self.at:self.at + size]
        self.at += len(taken)
        return taken if len(taken) == size else None

    def fail(self, line):
        self.lines.append(field_not_read("loadInstalledFileData", line))
        raise Damaged

    def integer(self):
        taken = self.take(4)
        if taken is None and self.error:
            self.lines.append(system_call_failed("readManifestData", 529, "fstream::read", self.error))
        return None if taken is None else struct.unpack("<I", taken)[0]

    def text(self):
        count = self.integer()
        if count is None and self.error:
            self.lines.append(field_not_read("readManifestData", 561))
        if count == 0:
            self.lines.append(field_not_read("readManifestData", 571))
        if not count:
            return None
        taken = self.take(count)
        if taken is None:
            self.lines.append(system_call_failed("readManifestData", 585, "fstream::read", self.error or 0))
            return None
        return taken[:-1].split(b"\0")[0].decode()

    def header(self):
        major = self.integer()
        if major is None:
            self.fail(279)
        minor = self.integer()
        if minor is None:
            self.fail(288)
        if major > 1 or (major == 1 and minor != 0):
            self.lines.append(
                message("WARNING", "loadInstalledFileData", STORE_SOURCE, 300, "Unsupported manifest version"))
            raise Damaged

    def records(self):
        while (kind := self.integer()) is not None:
            if kind not in KEPT | DROPPED:
                raise NotImplementedError("no scenario has an unknown type")
            version = self.text()
            if version is None:
                self.fail(375 if kind in KEPT else 347)
            file_id = self.text()
            if file_id is None:
                self.fail(383 if kind in KEPT else 355)
            if kind in KEPT:
                self.entries[file_id] = (file_id, kind, version)
        if self.error:
            self.fail(320)


def lines_match(printed, expected):
    """Whether these are the lines, whatever the number where an expected one has ANY_LINE."""
    return len(printed) == len(expected) and all(
        have == want or re.sub(r"Line: \d+ ", f"Line: {ANY_LINE} ", have, count=1) == want
        for have, want in zip(printed, expected))
