#include "ctl/CommandLine.h"
#include "ctl/Commands.h"
#include "ctl/LoadedStore.h"
#include "ctl/StoreFindings.h"
#include "ctl/StoreJson.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace ctl {

namespace {

/// The entries as an object by id. Two ids that are told apart by bytes which are not UTF-8 alone would have one name:
/// the later one's holds its bytes as well.
void putEntries(JsonWriter& document, std::vector<StoreEntry> entries)
{
    std::ranges::sort(entries, {}, &StoreEntry::id);
    std::set<std::string> names;
    document.openObject("entries");
    for (const StoreEntry& entry : entries) {
        Json described = entryJson(entry);
        auto name = described["id"].get<std::string>();
        if (!names.insert(name).second) {
            name.append(" ").append(described["id_hex"].get<std::string>());
        }
        described.erase("id");
        document.member(name, described);
    }
    document.close();
}

void putStore(JsonWriter& document, const char* name, const Place& place)
{
    const LoadedStore store(place, readRegularFile(place));
    document.openObject(name);
    document.member("state", stateWord(store.state()));
    document.memberText("path", place.shown);
    putFindings(document, findingsOf(store));
    putEntries(document, store.walk().entries);
    document.close();
}

Outcome facts(const Options& options)
{
    const Paths paths(options);
    JsonWriter document("facts");
    document.member("program_version", OBG_VERSION);
    putStore(document, "current", paths.storeBelowRoot(false));
    putStore(document, "legacy", paths.storeBelowRoot(true));
    return {ExitStatus::Done, document.text()};
}

} // namespace

void addFacts(CommandLine& commandLine)
{
    Command command =
        commandLine.addCommand("facts", "Both stores as one JSON object, for programs that collect facts");
    command.setAction({facts});
}

} // namespace ctl
