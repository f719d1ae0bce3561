#include "ctl/ChangeReport.h"

#include "ctl/Digest.h"

#include <string_view>

namespace ctl {

namespace {

std::string textOf(const KindAndVersion& entry)
{
    const std::string_view kind = typeWord(entry.kind);
    return std::string(kind.empty() ? "-" : kind) + " " + (entry.version.empty() ? "-" : entry.version);
}

} // namespace

Json objectOf(const std::optional<KindAndVersion>& entry)
{
    return entry ? kindAndVersion(entry->kind, entry->version) : Json(nullptr);
}

Json objectOf(Change change, const std::string& id, const std::optional<KindAndVersion>& before,
              const std::optional<KindAndVersion>& listed)
{
    Json object = Json::object();
    object["change"] = wordOf(change);
    putText(object, "id", id);
    object["old"] = objectOf(before);
    object["new"] = objectOf(listed);
    return object;
}

Json resultOf(const std::optional<std::string>& bytes, std::size_t entries)
{
    Json result = Json::object();
    result["entries"] = bytes ? Json(entries) : Json(nullptr);
    result["size"] = bytes ? Json(bytes->size()) : Json(nullptr);
    result["sha256"] = bytes ? Json(sha256Of(*bytes)) : Json(nullptr);
    return result;
}

std::string textOf(Change change, const std::optional<KindAndVersion>& before,
                   const std::optional<KindAndVersion>& listed)
{
    const bool isListedShown = listed && !(before && (change == Change::Keep || change == Change::Strike));
    std::string text = before ? textOf(*before) : std::string();
    if (before && isListedShown) {
        text += " -> ";
    }
    return isListedShown ? text + textOf(*listed) : text;
}

std::string storeAfterwards(const std::optional<std::string>& bytes, std::size_t entries, bool isUnchanged, Tense tense)
{
    const bool isPlanned = tense == Tense::Planned;
    if (isUnchanged) {
        return isPlanned ? "The store would stay as it is.\n" : "The store stays as it is.\n";
    }
    if (!bytes) {
        return isPlanned ? "The store would be deleted.\n" : "The store is deleted.\n";
    }
    return (isPlanned ? "The store would hold " : "The store holds ") + std::to_string(entries) +
           (entries == 1 ? " entry in " : " entries in ") + std::to_string(bytes->size()) + " bytes.\n";
}

std::string unholdableComplaint(const std::string& store, const std::string& id)
{
    return store + " cannot hold the entry \"" + id + "\": it has no id or no version";
}

} // namespace ctl
