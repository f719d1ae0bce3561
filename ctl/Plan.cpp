#include "ctl/Commands.h"

#include "ctl/CommandLine.h"
#include "ctl/Digest.h"
#include "ctl/Invocation.h"
#include "ctl/Json.h"
#include "ctl/LoadedStore.h"
#include "ctl/Manifest.h"
#include "ctl/Progress.h"
#include "ctl/StorePlan.h"
#include "ctl/Text.h"
#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <utility>

namespace ctl {

namespace {

struct PlanArguments
{
    bool records = false;
    bool strikes = false;
    std::vector<std::string> manifests;
};

Json objectOf(const KindAndVersion& entry)
{
    return kindAndVersion(entry.kind, entry.version);
}

Json objectOf(const PlannedChange& planned)
{
    Json object = Json::object();
    object["change"] = wordOf(planned.change);
    putText(object, "id", planned.id);
    object["old"] = planned.before ? objectOf(*planned.before) : Json(nullptr);
    object["new"] = objectOf(planned.listed);
    return object;
}

Json resultOf(const StorePlan& plan)
{
    const auto& bytes = plan.bytes();
    Json result = Json::object();
    result["entries"] = bytes ? Json(plan.load().GetEntries().size()) : Json(nullptr);
    result["size"] = bytes ? Json(bytes->size()) : Json(nullptr);
    result["sha256"] = bytes ? Json(sha256Of(*bytes)) : Json(nullptr);
    return result;
}

std::string jsonOf(const StorePlan& plan)
{
    JsonWriter document("plan");
    document.openArray("changes");
    for (const PlannedChange& planned : plan.changes()) {
        document.element(objectOf(planned));
    }
    document.close();
    document.member("result", resultOf(plan));
    return document.text();
}

std::string textOf(const KindAndVersion& entry)
{
    const std::string_view kind = typeWord(entry.kind);
    return std::string(kind.empty() ? "-" : kind) + " " + (entry.version.empty() ? "-" : entry.version);
}

/// What an entry changes, as "exe 1 -> exe 2"; what is not there before or afterwards is left out.
std::string textOf(const PlannedChange& planned)
{
    if (!planned.before) {
        return textOf(planned.listed);
    }
    const bool isReplaced = planned.change != Change::Keep && planned.change != Change::Strike;
    return textOf(*planned.before) + (isReplaced ? " -> " + textOf(planned.listed) : "");
}

std::string endOf(const StorePlan& plan)
{
    if (plan.changesNothing()) {
        return "The store would stay as it is.\n";
    }
    if (!plan.bytes()) {
        return "The store would be deleted.\n";
    }
    const CInstalledManifestInfo store = plan.load();
    const std::size_t count = store.GetEntries().size();
    const std::string entries = std::to_string(count) + (count == 1 ? " entry" : " entries");
    const std::string size = std::to_string(plan.bytes()->size()) + " bytes.\n";
    if (store.GetState() != InstalledManifestState::Good) {
        return "The store would be damaged: a reader would get " + entries + " of its " + size;
    }
    return "The store would hold " + entries + " in " + size;
}

std::string textOf(const StorePlan& plan)
{
    Table table;
    for (const PlannedChange& planned : plan.changes()) {
        table.addRow({std::string(wordOf(planned.change)), planned.id, textOf(planned)});
    }
    return table.text() + endOf(plan);
}

Outcome plan(const PlanArguments& arguments, const Options& options)
{
    Progress progress("planning manifests", arguments.manifests.size());
    const Place place = Paths(options).store();
    const LoadedStore store(place, readFile(place));
    if (!store.isUsable()) {
        complainOfState(store);
        return {ExitStatus::NotDone, {}};
    }
    const bool isAbsent = store.state() == InstalledManifestState::Absent;
    StorePlan plan(isAbsent ? std::nullopt : std::optional<std::string>(store.bytes()));
    for (const std::string& path : arguments.manifests) {
        const auto manifest = acceptedManifest(path, options);
        if (manifest == nullptr) {
            return {ExitStatus::NotDone, {}};
        }
        plan.run(arguments.records ? RunMode::Record : RunMode::Strike, *manifest);
        progress.advance();
    }
    return {plan.changesNothing() ? ExitStatus::Done : ExitStatus::Something,
            options.format == Format::Json ? jsonOf(plan) : textOf(plan)};
}

} // namespace

void addPlan(CLI::App& program, Invocation& invocation)
{
    const auto arguments = std::make_shared<PlanArguments>();
    CLI::App& command = *program.add_subcommand("plan", "Show what the tool would do to the store");
    CLI::Option* const record = command.add_flag("-i", arguments->records, "As if the manifests were recorded");
    CLI::Option* const strike = command.add_flag("-x", arguments->strikes, "As if they were struck");
    record->excludes(strike);
    addTexts(command, "MANIFEST", arguments->manifests, "Manifests, taken one after the other")->required();
    command.callback([arguments, &invocation] {
        if (!arguments->records && !arguments->strikes) {
            throw CLI::RequiredError("-i or -x");
        }
        invocation.run = [arguments](const Options& options) { return plan(*arguments, options); };
    });
}

} // namespace ctl
