#!/usr/bin/env python3
"""What one would write instead of the tool: the files of a manifest in a SQLite table.

    register.py -i|-x DATABASE MANIFEST
"""

import sqlite3
import sys
import xml.etree.ElementTree as ElementTree

KEPT = {"msi", "exe", "script", "dmg", "rpm", "deb"}


def main(mode, database, manifest):
    files = ElementTree.parse(manifest).getroot().iter("file")
    store = sqlite3.connect(database)
    with store:
        store.execute("CREATE TABLE IF NOT EXISTS installed (id TEXT PRIMARY KEY, kind TEXT, version TEXT)")
        if mode == "-i":
            store.executemany(
                "INSERT INTO installed VALUES (?, ?, ?)"
                " ON CONFLICT (id) DO UPDATE SET kind = excluded.kind, version = excluded.version",
                ((file.get("id"), file.get("type"), file.get("version")) for file in files if file.get("type") in KEPT),
            )
        else:
            store.executemany("DELETE FROM installed WHERE id = ?", ((file.get("id"),) for file in files))
    store.close()


if __name__ == "__main__":
    main(*sys.argv[1:4])
