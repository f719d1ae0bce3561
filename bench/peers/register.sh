#!/bin/sh
# What one would write instead of the tool: the files of a manifest in a SQLite table.
#
#     register.sh -i|-x DATABASE MANIFEST
set -eu
mode=$1 database=$2 manifest=$3

if [ "$mode" = -i ]; then
    change='INSERT INTO installed SELECT id, kind, version FROM listed
                WHERE kind IN ("msi", "exe", "script", "dmg", "rpm", "deb")
                ON CONFLICT (id) DO UPDATE SET kind = excluded.kind, version = excluded.version;'
else
    change='DELETE FROM installed WHERE id IN (SELECT id FROM listed);'
fi

xmlstarlet select --text --template --match //file \
    --value-of @id --output '|' --value-of @type --output '|' --value-of @version --nl "$manifest" |
    sqlite3 -batch "$database" \
        'CREATE TABLE IF NOT EXISTS installed (id TEXT PRIMARY KEY, kind TEXT, version TEXT);' \
        'CREATE TEMP TABLE listed (id TEXT, kind TEXT, version TEXT);' \
        '.separator |' '.import /dev/stdin listed' \
        "BEGIN; $change COMMIT;"
