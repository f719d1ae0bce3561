#include "ctl/Commands.h"

#include "ctl/ChangeReport.h"
#include "ctl/CommandLine.h"
#include "ctl/Delivery.h"
#include "ctl/Streams.h"
#include "ctl/SyncRun.h"
#include "ctl/Text.h"
#include "ctl/Waiting.h"

#include <memory>

namespace ctl {

namespace {

bool isChange(const SyncChange& planned)
{
    return planned.change != Change::Keep && planned.change != Change::Unrecorded;
}

Json changesOf(const Synced& synced, bool isDryRun)
{
    Json changes = Json::array();
    for (const SyncChange& planned : synced.plan.changes) {
        if (isDryRun || isChange(planned)) {
            Json object = objectOf(planned.change, planned.id, planned.before, planned.listed);
            putOptionalText(object, "manifest", planned.manifest);
            changes.push_back(std::move(object));
        }
    }
    return changes;
}

Json findingsOf(const Synced& synced)
{
    Json findings = Json::array();
    for (const SyncFinding& finding : synced.findings) {
        Json object = {{"rule", finding.rule}};
        putOptionalText(object, "manifest", finding.manifest);
        putOptionalText(object, "id", finding.id);
        putText(object, "message", finding.message);
        findings.push_back(std::move(object));
    }
    return findings;
}

std::string jsonOf(const Synced& synced, bool isDryRun)
{
    Json document = documentOf("sync");
    document["dry_run"] = isDryRun;
    document["changes"] = changesOf(synced, isDryRun);
    document["findings"] = findingsOf(synced);
    document["changed"] = synced.isStoreChanged;
    document["result"] = resultOf(synced.plan.bytes, synced.plan.entries);
    return rendered(document);
}

std::string textOf(const Synced& synced, bool isDryRun)
{
    Table table;
    for (const SyncChange& planned : synced.plan.changes) {
        if (isChange(planned)) {
            table.addRow({std::string(wordOf(planned.change)), planned.id,
                          textOf(planned.change, planned.before, planned.listed),
                          planned.manifest.value_or("(in no manifest)")});
        }
    }
    return table.text() + storeAfterwards(synced.plan.bytes, synced.plan.entries, !synced.isStoreChanged,
                                          isDryRun ? Tense::Planned : Tense::Done);
}

Outcome sync(const SyncArguments& arguments, const Options& options)
{
    Delivery delivery;
    const Synced synced = runSync(arguments, options, [&](const Synced& planned) {
        return delivery.take(options.format == Format::Json ? jsonOf(planned, arguments.isDryRun)
                                                            : textOf(planned, arguments.isDryRun));
    });
    for (const std::string& complaint : synced.complaints) {
        complain(complaint);
    }
    if (options.format != Format::Json && synced.status != ExitStatus::NotDone) {
        for (const SyncFinding& finding : synced.findings) {
            complain(finding.message);
        }
    }
    return delivery.outcome(synced.status);
}

} // namespace

void addSync(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<SyncArguments>();
    Command command =
        commandLine.addCommand("sync", "Make the store hold what the installed manifests list, and no more of its own");
    command.addFlag("--rebuild", arguments->isRebuild,
                    "Make the store from the manifests alone, for one that is damaged or lost");
    command.addFlag("--dry-run", arguments->isDryRun, "Show what would be done, and do nothing");
    addWait(command, arguments->patience);
    command.setAction({[arguments](const Options& options) { return sync(*arguments, options); }});
}

} // namespace ctl
