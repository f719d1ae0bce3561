#pragma once

#include "ctl/StoreFindings.h"

#include <string_view>
#include <vector>

namespace ctl {

/// What has most likely happened to the bytes of a damaged store of a supported version, in the order of offsets. Each
/// place at which no record stands is explained by the one change after which the records are in step again.
std::vector<Finding> causesOf(std::string_view file);

/// How a damaged store is mended, one sentence.
std::string_view cureOfDamage();

} // namespace ctl
