#include "ctl/Color.h"
#include "ctl/CommandLine.h"
#include "ctl/Commands.h"
#include "ctl/LoadedStore.h"
#include "ctl/Progress.h"
#include "ctl/StoreFindings.h"
#include "ctl/StoreJson.h"
#include "ctl/StoreRules.h"
#include "ctl/Streams.h"
#include "ctl/Text.h"
#include "vpn/Common/ManifestFileType.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

namespace {

struct Arguments
{
    std::vector<std::string> files;
    std::optional<std::string> rule;
};

std::string_view fateWord(Fate fate)
{
    constexpr std::array<std::string_view, 6> words{"kept", "replaced", "dropped", "lost", "unknown", "cut"};
    return words[static_cast<std::size_t>(fate)];
}

void putTextOrNull(Json& object, const char* name, const StoreText& text)
{
    if (text.isRead()) {
        putText(object, name, text.text());
    } else {
        object[name] = nullptr;
    }
}

Json recordJson(const StoreRecord& record)
{
    const std::string_view word = typeWord(record.type);
    Json described{{"offset", record.offset},
                   {"size", record.size},
                   {"type", record.type},
                   {"kind", word.empty() ? Json() : Json(word)}};
    putTextOrNull(described, "version", record.version);
    putTextOrNull(described, "id", record.id);
    described["fate"] = fateWord(record.fate);
    return described;
}

/// The result of `check`, written file by file so that no more than one of them is in memory.
class Report
{
public:
    explicit Report(const Options& options) : m_isJson(options.format == Format::Json), m_colors(colorsFor(options))
    {
        m_document.openArray("stores");
    }

    void add(const LoadedStore& store, const std::vector<Finding>& findings)
    {
        m_isJson ? addJson(store, findings) : addText(store, findings);
    }

    std::string text()
    {
        if (!m_isJson) {
            return std::move(m_text);
        }
        m_document.close();
        return m_document.text();
    }

private:
    void addJson(const LoadedStore& store, const std::vector<Finding>& findings)
    {
        m_document.openElement();
        m_document.memberText("path", store.place().shown);
        m_document.member("state", stateWord(store.state()));
        m_document.member("size", store.bytes().size());
        m_document.openArray("records");
        for (const StoreRecord& record : store.walk().records) {
            m_document.element(recordJson(record));
        }
        m_document.close();
        putFindings(m_document, findings);
        m_document.openArray("reader_entries");
        for (const StoreEntry& entry : store.walk().entries) {
            m_document.element(entryJson(entry));
        }
        m_document.close();
        m_document.close();
    }

    void addText(const LoadedStore& store, const std::vector<Finding>& findings)
    {
        const std::string path = printable(store.place().shown);
        const bool isSound = store.isUsable();
        m_text += path + ": " + colored(stateWord(store.state()), isSound ? m_colors.good : m_colors.error);
        m_text += ", " + counted(store.walk().entries.size(), "entry", "entries") + "\n";
        for (const Finding& finding : findings) {
            m_text += colored(path + ":" + hexNumber(finding.offset) + ":", m_colors.strong) + " " +
                      printable(finding.message) + " [" + std::string(finding.rule) + "]\n";
        }
    }

    const bool m_isJson;
    const Colors m_colors;
    JsonWriter m_document{"check"};
    std::string m_text;
};

std::vector<Place> placesOf(const Options& options, const Arguments& arguments)
{
    if (arguments.files.empty()) {
        return {Paths(options).store()};
    }
    std::vector<Place> places;
    for (const std::string& file : arguments.files) {
        places.push_back({file, file, 0});
    }
    return places;
}

/// A file that was named must be there; the chosen store need not.
ExitStatus statusOf(const LoadedStore& store, const std::vector<Finding>& findings, bool isNamed)
{
    if (store.state() == InstalledManifestState::Unreadable ||
        (store.state() == InstalledManifestState::Absent && isNamed)) {
        complain("cannot read", store.place().shown, store.error());
        return ExitStatus::NotDone;
    }
    return findings.empty() ? ExitStatus::Done : ExitStatus::Something;
}

Outcome check(const Options& options, const Arguments& arguments)
{
    const std::vector<Place> places = placesOf(options, arguments);
    Progress progress("checking stores", places.size());
    Report report(options);
    ExitStatus status = ExitStatus::Done;
    for (const Place& place : places) {
        const LoadedStore store(place, readFile(place));
        const std::vector<Finding> findings = findingsOf(store);
        report.add(store, findings);
        status = std::max(status, statusOf(store, findings, !arguments.files.empty()));
        progress.advance();
    }
    return {status, report.text()};
}

std::string explained(const StoreRule& rule, const Options& options)
{
    if (options.format != Format::Json) {
        return std::string(rule.explanation) + "\n";
    }
    JsonWriter document("check");
    document.openArray("rules");
    document.element({{"rule", rule.name}, {"explanation", rule.explanation}});
    document.close();
    return document.text();
}

Outcome explain(const Options& options, const std::string& name)
{
    std::string names;
    for (const StoreRule& rule : kStoreRules) {
        if (rule.name == name) {
            return {ExitStatus::Done, explained(rule, options)};
        }
        names += (names.empty() ? "" : ", ") + std::string(rule.name);
    }
    complain("there is no rule " + name + "; the rules are " + names);
    return {ExitStatus::NotDone, {}};
}

} // namespace

void addCheck(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<Arguments>();
    Command command = commandLine.addCommand("check", "All that is wrong with the bytes of a store");
    const Argument files = command.addTexts("FILE", arguments->files, "Store files; without any, the chosen store");
    command.addText("--explain", "RULE", arguments->rule, "Tell what a rule means, and check nothing").exclude(files);
    command.setAction({[arguments](const Options& options) {
        return arguments->rule ? explain(options, *arguments->rule) : check(options, *arguments);
    }});
}

} // namespace ctl
