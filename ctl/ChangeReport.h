#pragma once

#include "ctl/Json.h"
#include "ctl/StorePlan.h"

#include <cstddef>
#include <optional>
#include <string>

namespace ctl {

/// {`kind`, `version`}, or null for none.
Json objectOf(const std::optional<KindAndVersion>& entry);

/// {`change`, `id`, `old`, `new`}.
Json objectOf(Change change, const std::string& id, const std::optional<KindAndVersion>& before,
              const std::optional<KindAndVersion>& listed);

/// {`entries`, `size`, `sha256`} of a store file; all of it null where there is none.
Json resultOf(const std::optional<std::string>& bytes, std::size_t entries);

/// What is done to an entry, as "exe 1 -> exe 2"; what is not there before or afterwards is left out.
std::string textOf(Change change, const std::optional<KindAndVersion>& before,
                   const std::optional<KindAndVersion>& listed);

/// Whether something was done or would be.
enum class Tense
{
    Done,
    Planned,
};

/// One line on what becomes of the store.
std::string storeAfterwards(const std::optional<std::string>& bytes, std::size_t entries, bool isUnchanged,
                            Tense tense);

/// Why a store cannot be written that would have this entry.
std::string unholdableComplaint(const std::string& store, const std::string& id);

} // namespace ctl
