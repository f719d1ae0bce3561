# What the maintainer scripts of one client module share. The build puts it into each of them, so that a script needs
# nothing but the tool, and not even that when it has nothing to do.
#
# Each module keeps, beside its manifest, a copy of the manifest that is in the store:
#   manifest/NAME.xml             laid down by the package
#   manifest/NAME.xml.recorded    its entries are in the store
#   manifest/NAME.xml.pending     its entries may be in the store: a script is at work, or could not finish
# By the time a script runs, an upgrade has already replaced the manifest; only the copy still knows what the version
# before had recorded. A copy goes when its entries are struck, and only then.
#
# What the tool cannot do is said in one line, and never stops the package system: a later run of the same script (a
# reinstallation, for one) makes up for it.
root=/opt/orvanta/brightgate
manifest=$root/manifest/@MODULE@.xml
recorded=$manifest.recorded
pending=$manifest.pending

# manifesttool -i|-x LIST   Runs the tool. The first warning or error that it logs is left in $record, and becomes one
# line on standard error.
manifesttool() {
    log=$(obg_manifesttool "$1" "$root" "$2" 2>&1) && status=0 || status=$?
    if ! record=$(printf '%s\n' "$log" | grep -m 1 -e '\[ERROR\]' -e '\[WARNING\]'); then
        [ "$status" -ne 0 ] || return 0
        record=$log
    fi
    printf '%s\n' "@PACKAGE@: obg_manifesttool $1 $2: status $status: $record" >&2
    return "$status"
}

# Records what the other modules have recorded again, where it may have got lost.
record_others() {
    for other in "$root"/manifest/*.recorded; do
        [ "$other" = "$recorded" ] || [ ! -f "$other" ] || manifesttool -i "$other" || :
    done
}

# Strikes the entries of LIST. An id that another module lists as well goes back in.
strike() {
    [ -e "$root/VPNManifest.dat" ] || return 0
    manifesttool -x "$1" || return
    # A store that was damaged, or that could not be deleted, is logged, but ends with status 0.
    trouble=$record
    record_others
    [ -z "$trouble" ]
}

# Puts the module's manifest into the store and strikes what only the version before had. The new entries go in first:
# when the tool rejects them, the store keeps the old ones.
record_module() {
    if [ -f "$pending" ] && ! cmp -s "$pending" "$manifest"; then
        strike "$pending" || :
    fi
    if [ -f "$manifest" ] && ! cp "$manifest" "$pending"; then
        rm -f "$pending"
        return
    fi
    if ! manifesttool -i "$manifest"; then
        rm -f "$pending"
        return
    fi
    # A damaged store has lost the entries of all modules.
    [ -z "$record" ] || record_others
    if [ -f "$recorded" ] && ! cmp -s "$recorded" "$manifest"; then
        strike "$recorded" || return 0
        manifesttool -i "$manifest" || return 0
    fi
    mv -f "$pending" "$recorded"
}

# Strikes the module from the store.
strike_module() {
    for list in "$recorded" "$pending"; do
        if [ -f "$list" ] && strike "$list"; then
            rm -f "$list"
        fi
    done
}
