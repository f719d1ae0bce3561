#pragma once

#include "ctl/LoadedStore.h"
#include "ctl/StoreWalk.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// Something that is wrong with the bytes of a store.
struct Finding
{
    /// In the file; 0 when the file is empty.
    std::size_t offset = 0;
    /// A name of StoreRules.h.
    std::string_view rule;
    /// What stands there, and what a reader and the next run of the tool make of it. May hold bytes of the store.
    std::string message;
};

/// All that is wrong with a store, in the order of offsets; where the tool logs something, also what has most likely
/// happened and how to mend it.
std::vector<Finding> findingsOf(const StoreWalk& walk);

/// The same of a store that may also be absent, which is nothing wrong, or unreadable.
std::vector<Finding> findingsOf(const LoadedStore& store);

} // namespace ctl
