#include "ctl/Commands.h"

#include "ctl/ChangeReport.h"
#include "ctl/CommandLine.h"
#include "ctl/Json.h"
#include "ctl/LoadedStore.h"
#include "ctl/Manifest.h"
#include "ctl/Progress.h"
#include "ctl/StorePlan.h"
#include "ctl/Text.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ctl {

namespace {

struct PlanArguments
{
    bool records = false;
    bool strikes = false;
    std::vector<std::string> manifests;
};

std::string jsonOf(const StorePlan& plan)
{
    JsonWriter document("plan");
    document.openArray("changes");
    for (const PlannedChange& planned : plan.changes()) {
        document.element(objectOf(planned.change, planned.id, planned.before, planned.listed));
    }
    document.close();
    document.member("result", resultOf(plan.bytes(), plan.afterwards().entries.size()));
    return document.text();
}

std::string endOf(const StorePlan& plan)
{
    const StoreWalk store = plan.afterwards();
    const std::size_t count = store.entries.size();
    if (plan.changesNothing() || !plan.bytes() || store.isGood()) {
        return storeAfterwards(plan.bytes(), count, plan.changesNothing(), Tense::Planned);
    }
    return "The store would be damaged: a reader would get " + std::to_string(count) +
           (count == 1 ? " entry of its " : " entries of its ") + std::to_string(plan.bytes()->size()) + " bytes.\n";
}

std::string textOf(const StorePlan& plan)
{
    Table table;
    for (const PlannedChange& planned : plan.changes()) {
        table.addRow(
            {std::string(wordOf(planned.change)), planned.id, textOf(planned.change, planned.before, planned.listed)});
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

std::string faultOf(const PlanArguments& arguments)
{
    return arguments.records || arguments.strikes ? "" : "-i or -x is required";
}

} // namespace

void addPlan(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<PlanArguments>();
    Command command = commandLine.addCommand("plan", "Show what the tool would do to the store");
    Argument record = command.addFlag("-i", arguments->records, "As if the manifests were recorded");
    record.exclude(command.addFlag("-x", arguments->strikes, "As if they were struck"));
    command.addTexts("MANIFEST", arguments->manifests, "Manifests, taken one after the other").require();
    command.setAction({.run = [arguments](const Options& options) { return plan(*arguments, options); },
                       .fault = [arguments] { return faultOf(*arguments); }});
}

} // namespace ctl
