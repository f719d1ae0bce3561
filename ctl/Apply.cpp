#include "ctl/Commands.h"

#include "ctl/ChangeReport.h"
#include "ctl/CommandLine.h"
#include "ctl/Delivery.h"
#include "ctl/Manifest.h"
#include "ctl/Progress.h"
#include "ctl/StoreFile.h"
#include "ctl/StorePlan.h"
#include "ctl/Streams.h"
#include "ctl/Text.h"
#include "ctl/Waiting.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <memory>
#include <utility>
#include <vector>

namespace ctl {

namespace {

struct ApplyArguments
{
    bool records = false;
    bool strikes = false;
    std::vector<std::string> manifests;
    std::chrono::seconds patience = kPatience;
};

using Manifests = std::vector<std::unique_ptr<const CManifestInfo>>;

/// What became of the store, and what is complained of when the lock has been given back: a terminal may be slow.
struct Applied
{
    DiskChange change = DiskChange::Failed;
    std::string complaint;
};

Applied failed(std::string complaint)
{
    return {DiskChange::Failed, std::move(complaint)};
}

/// Nothing when all of them were accepted.
std::optional<Manifests> readManifests(const std::vector<std::string>& paths, const Options& options)
{
    Progress progress("reading manifests", paths.size());
    Manifests manifests;
    for (const std::string& path : paths) {
        manifests.push_back(acceptedManifest(path, options));
        if (manifests.back() == nullptr) {
            return std::nullopt;
        }
        progress.advance();
    }
    return manifests;
}

bool isSilent(Change change)
{
    return change == Change::Keep || change == Change::Absent || change == Change::Unrecorded;
}

std::string jsonOf(const StorePlan& plan)
{
    Json document = documentOf("apply");
    Json& changes = document["changes"] = Json::array();
    for (const PlannedChange& planned : plan.changes()) {
        changes.push_back(objectOf(planned.change, planned.id, planned.before, planned.listed));
    }
    document["changed"] = !plan.changesNothing();
    document["result"] = resultOf(plan.bytes(), plan.afterwards().entries.size());
    return rendered(document);
}

std::string textOf(const StorePlan& plan)
{
    Table table;
    for (const PlannedChange& planned : plan.changes()) {
        if (!isSilent(planned.change)) {
            table.addRow({std::string(wordOf(planned.change)), planned.id,
                          textOf(planned.change, planned.before, planned.listed)});
        }
    }
    return table.text() +
           storeAfterwards(plan.bytes(), plan.afterwards().entries.size(), plan.changesNothing(), Tense::Done);
}

Applied commit(StoreFile& store, const StorePlan& plan, const Options& options, Delivery& delivery)
{
    // A store without entries goes even if there was none to be read: a link that leads nowhere is left then.
    const bool isLeft = plan.changesNothing() && plan.bytes();
    if (!isLeft && !store.prepare(plan.bytes())) {
        return failed(store.error());
    }
    if (!delivery.take(options.format == Format::Json ? jsonOf(plan) : textOf(plan))) {
        return failed({});
    }
    return isLeft ? Applied{DiskChange::Done, {}} : Applied{store.commit(), store.error()};
}

Applied change(const ApplyArguments& arguments, const Manifests& manifests, const Options& options, Delivery& delivery)
{
    StoreFile store(options);
    if (!store.lock(arguments.patience, "obg_manifestctl apply")) {
        return failed(store.error());
    }
    const Progress progress(arguments.records ? "recording" : "striking");
    if (!store.read()) {
        return failed(store.error());
    }
    if (const auto refusal = store.refusal()) {
        return failed(*refusal);
    }
    StorePlan plan(store.bytes());
    for (const auto& manifest : manifests) {
        plan.run(arguments.records ? RunMode::Record : RunMode::Strike, *manifest);
    }
    if (plan.unholdable()) {
        return failed(unholdableComplaint(store.shown(), *plan.unholdable()));
    }
    return commit(store, plan, options, delivery);
}

ExitStatus statusOf(DiskChange change)
{
    switch (change) {
    case DiskChange::Done:
        return ExitStatus::Done;
    case DiskChange::NotSafe:
        return ExitStatus::Something;
    case DiskChange::Failed:
        break;
    }
    return ExitStatus::NotDone;
}

Outcome apply(const ApplyArguments& arguments, const Options& options)
{
    const auto manifests = readManifests(arguments.manifests, options);
    if (!manifests) {
        return {ExitStatus::NotDone, {}};
    }
    Delivery delivery;
    const Applied applied = change(arguments, *manifests, options, delivery);
    if (!applied.complaint.empty()) {
        complain(applied.complaint);
    }
    return delivery.outcome(statusOf(applied.change));
}

} // namespace

void addApply(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<ApplyArguments>();
    Command command = commandLine.addCommand("apply", "Do what the tool does, all or nothing");
    Command mode = command.addChoice("mode");
    mode.addFlag("-i", arguments->records, "Record what the manifests list");
    mode.addFlag("-x", arguments->strikes, "Strike what the manifests list");
    addWait(command, arguments->patience);
    command.addTexts("MANIFEST", arguments->manifests, "Manifests, taken one after the other").require();
    command.setAction({[arguments](const Options& options) { return apply(*arguments, options); }});
}

} // namespace ctl
