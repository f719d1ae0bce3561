#include "ctl/Color.h"
#include "ctl/CommandLine.h"
#include "ctl/Commands.h"
#include "ctl/Json.h"
#include "ctl/LoadedStore.h"
#include "ctl/Progress.h"
#include "ctl/Streams.h"
#include "ctl/Text.h"
#include "vpn/Common/ManifestFileType.h"

#include <cerrno>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

namespace {

struct Arguments
{
    std::string old;
    std::string now;
};

/// An id that is in one of the stores, and its entry in each.
struct Pair
{
    std::optional<StoreEntry> old;
    std::optional<StoreEntry> now;

    bool isChange() const { return !old || !now || old->type != now->type || old->version != now->version; }
    const char* change() const { return !old ? "added" : !now ? "removed" : "changed"; }
};

/// By id, in byte order.
using Pairs = std::map<std::string_view, Pair>;

Pairs pairsOf(const LoadedStore& old, const LoadedStore& now)
{
    Pairs pairs;
    for (const StoreEntry& entry : old.walk().entries) {
        pairs[entry.id].old = entry;
    }
    for (const StoreEntry& entry : now.walk().entries) {
        pairs[entry.id].now = entry;
    }
    std::erase_if(pairs, [](const auto& pair) { return !pair.second.isChange(); });
    return pairs;
}

std::string shown(const std::optional<StoreEntry>& entry)
{
    return entry ? std::string(typeWord(entry->type)) + " " + std::string(entry->version) : "-";
}

std::string_view colorOf(const Pair& pair, const Colors& colors)
{
    return !pair.old ? colors.good : !pair.now ? colors.error : colors.warning;
}

std::string asText(const Pairs& changes, const Colors& colors)
{
    Table table;
    for (const auto& [id, pair] : changes) {
        table.addRow({pair.change(), id, shown(pair.old), "->", shown(pair.now)}, colorOf(pair, colors));
    }
    return table.text();
}

Json asJson(const std::optional<StoreEntry>& entry)
{
    return entry ? kindAndVersion(entry->type, entry->version) : Json();
}

std::string asJson(const Pairs& changes)
{
    JsonWriter document("diff");
    document.openArray("changes");
    for (const auto& [id, pair] : changes) {
        Json change{{"change", pair.change()}};
        putText(change, "id", id);
        change["old"] = asJson(pair.old);
        change["new"] = asJson(pair.now);
        document.element(change);
    }
    document.close();
    return document.text();
}

/// Unlike elsewhere, a store that is absent is most likely a name that was mistyped.
bool isGood(const LoadedStore& store)
{
    if (store.state() == InstalledManifestState::Good) {
        return true;
    }
    complainOfState(store);
    return false;
}

Outcome diff(const Options& options, const Arguments& arguments)
{
    const Progress progress("comparing");
    const Place oldPlace{arguments.old, arguments.old, 0};
    const Place newPlace{arguments.now, arguments.now, 0};
    const LoadedStore old(oldPlace, readFile(oldPlace), Detail::Entries);
    const LoadedStore now(newPlace, readFile(newPlace), Detail::Entries);
    const bool isOldGood = isGood(old);
    if (!isGood(now) || !isOldGood) {
        return {ExitStatus::NotDone, {}};
    }
    const Pairs changes = pairsOf(old, now);
    return {changes.empty() ? ExitStatus::Done : ExitStatus::Something,
            options.format == Format::Json ? asJson(changes) : asText(changes, colorsFor(options))};
}

} // namespace

void addDiff(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<Arguments>();
    Command command = commandLine.addCommand("diff", "What came, went and changed between two store files");
    command.addText("OLD", " ", arguments->old, "A store file").require();
    command.addText("NEW", " ", arguments->now, "Another one").require();
    command.setAction({[arguments](const Options& options) { return diff(options, *arguments); }});
}

} // namespace ctl
