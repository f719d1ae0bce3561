#include "ctl/CommandLine.h"
#include "ctl/Commands.h"
#include "ctl/Json.h"
#include "ctl/LoadedStore.h"
#include "ctl/Progress.h"
#include "ctl/StoreJson.h"
#include "ctl/Streams.h"
#include "ctl/Text.h"
#include "vpn/Common/ManifestFileType.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <fnmatch.h>

namespace ctl {

namespace {

struct Arguments
{
    std::vector<std::string> patterns;
    std::vector<std::string> kinds;

    bool areSelective() const { return !patterns.empty() || !kinds.empty(); }
};

bool matchesPattern(const Arguments& arguments, const StoreEntry& entry)
{
    if (arguments.patterns.empty()) {
        return true;
    }
    const std::string id(entry.id);
    return std::ranges::any_of(
        arguments.patterns, [&id](const std::string& pattern) { return fnmatch(pattern.c_str(), id.c_str(), 0) == 0; });
}

bool matchesKind(const Arguments& arguments, const StoreEntry& entry)
{
    return arguments.kinds.empty() || std::ranges::find(arguments.kinds, typeWord(entry.type)) != arguments.kinds.end();
}

std::vector<StoreEntry> selected(const std::vector<StoreEntry>& entries, const Arguments& arguments)
{
    std::vector<StoreEntry> matching;
    std::ranges::copy_if(entries, std::back_inserter(matching), [&arguments](const StoreEntry& entry) {
        return matchesKind(arguments, entry) && matchesPattern(arguments, entry);
    });
    return matching;
}

/// Without a table of cells: it would take more memory and time than all else.
std::string asText(std::span<const StoreEntry> entries)
{
    std::size_t idWidth = 0;
    std::size_t kindWidth = 0;
    for (const StoreEntry& entry : entries) {
        idWidth = std::max(idWidth, cellWidth(entry.id));
        kindWidth = std::max(kindWidth, cellWidth(typeWord(entry.type)));
    }
    std::string text;
    text.reserve(entries.size() * (idWidth + kindWidth + 20));
    for (const StoreEntry& entry : entries) {
        appendCell(text, entry.id, idWidth);
        if (entry.version.empty()) {
            text += typeWord(entry.type);
        } else {
            appendCell(text, typeWord(entry.type), kindWidth);
            appendPrintable(text, entry.version);
        }
        text += '\n';
    }
    return text;
}

std::string asJson(const LoadedStore& store, std::span<const StoreEntry> entries)
{
    JsonWriter document("list");
    Json described;
    putText(described, "path", store.place().shown);
    described["state"] = stateWord(store.state());
    document.member("store", described);
    document.openArray("entries");
    for (const StoreEntry& entry : entries) {
        document.element(entryJson(entry));
    }
    document.close();
    return document.text();
}

Outcome list(const Options& options, const Arguments& arguments)
{
    const Progress progress("listing");
    const Place place = Paths(options).store();
    const LoadedStore store(place, readFile(place), Detail::Entries);
    if (!store.isUsable()) {
        complainOfState(store);
        return {ExitStatus::NotDone, {}};
    }
    const std::vector<StoreEntry> matching =
        arguments.areSelective() ? selected(store.walk().entries, arguments) : std::vector<StoreEntry>();
    const std::span<const StoreEntry> entries = arguments.areSelective() ? matching : store.walk().entries;
    const bool hasNoMatch = arguments.areSelective() && entries.empty();
    return {hasNoMatch ? ExitStatus::Something : ExitStatus::Done,
            options.format == Format::Json ? asJson(store, entries) : asText(entries)};
}

/// A word that is no kind would never match anything.
std::string faultOf(const std::vector<std::string>& kinds)
{
    const auto unknown =
        std::ranges::find_if(kinds, [](const std::string& word) { return typeOfWord(word) == eFileTypeNone; });
    return unknown == kinds.end() ? "" : "--kind: there is no kind " + *unknown;
}

} // namespace

void addList(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<Arguments>();
    Command command = commandLine.addCommand("list", "The entries that a reader of the store gets");
    command.addTexts("PATTERN", arguments->patterns, "Only ids that match one of these shell patterns");
    command.addRepeatedText("--kind", "WORD", arguments->kinds, "Only entries of this kind: exe, rpm, ...");
    command.setAction({.run = [arguments](const Options& options) { return list(options, *arguments); },
                       .fault = [arguments] { return faultOf(arguments->kinds); }});
}

} // namespace ctl
