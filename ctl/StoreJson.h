#pragma once

#include "ctl/Json.h"
#include "ctl/StoreFindings.h"
#include "ctl/StoreWalk.h"

#include <vector>

namespace ctl {

/// {"id", "kind", "version"}
Json entryJson(const StoreEntry& entry);

/// Puts an array "findings" of {"offset", "rule", "message"} into the object that is open.
void putFindings(JsonWriter& document, const std::vector<Finding>& findings);

} // namespace ctl
