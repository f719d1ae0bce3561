#pragma once

#include "ctl/StorePlan.h"

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// An entry that sync has recorded, or is about to record, and the manifest that lists it.
struct Claim
{
    /// The file's name, without folder.
    std::string manifest;
    std::string id;
    KindAndVersion recorded;

    bool operator==(const Claim&) const = default;
};

/// What sync remembers of a store from one run to the next: which entries are its own, so that it may strike them once
/// no manifest lists them any more.
///
/// It stands in a file of its own, and two files cannot be changed at once. A run that was killed between them must
/// neither forget what is its own, for then it would stay in the store for ever, nor take for its own what others have
/// recorded, for then it would strike that. So:
///
/// 1. An entry is claimed before it is recorded: first the state takes in what is to be recorded, beside all that it
///    had claimed before; then the store is replaced; then the state lets go of what is no longer so.
/// 2. A claim is of an id with its kind and version. What the store has under that id is sync's own only while it is
///    exactly that. Claimed but never recorded, or since recorded by others as something else, it is not.
///
/// A kill between 1 and the store leaves claims of entries that are not there, and the next run does again what this
/// one would have done. A kill behind the store leaves claims of entries that are no longer there. Neither does harm,
/// whatever manifests and store have become by then. The other order, store first, would forget what was recorded, if
/// its manifest has gone before the next run.
///
/// The file is JSON: `format` and `version` as in every document, `store` the path, `settled` (below) and `recorded`, a
/// list of {`manifest`, `id`, `kind`, `version`}. A text that is not UTF-8 has its bytes in a neighbour with `_hex`
/// behind its name, as everywhere.
class SyncState
{
public:
    /// What became of reading it.
    enum class Reading
    {
        Good,
        /// There is none: nothing is sync's own.
        Absent,
        /// It says nothing that can be relied on: nothing is known to be sync's own.
        Damaged,
        /// Written by a later version of this program.
        Newer,
    };

    std::vector<Claim> claims;

    /// A sum over the store and the manifests as the last run left them with nothing to report, or "". The same sum
    /// again means that there is nothing to do.
    std::string settled;

    /// Takes the state from the bytes of its file, which was written for the store at this path. The state is empty
    /// unless it is Good.
    Reading read(std::string_view bytes, std::string_view storePath);

    /// What stands in front of the claims says `settled`; "" for a file that read() does not find Good by that part.
    /// Costs the same however many claims there are.
    static std::string settledIn(std::string_view bytes, std::string_view storePath);

    /// The bytes of its file.
    std::string written(std::string_view storePath) const;

    bool operator==(const SyncState&) const = default;
};

} // namespace ctl
