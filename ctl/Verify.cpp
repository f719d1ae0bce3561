#include "ctl/Commands.h"

#include "ctl/CommandLine.h"
#include "ctl/Json.h"
#include "ctl/LoadedStore.h"
#include "ctl/Manifest.h"
#include "ctl/Paths.h"
#include "ctl/Progress.h"
#include "ctl/StoreBytes.h"
#include "ctl/Streams.h"
#include "ctl/Text.h"
#include "ctl/Verification.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace ctl {

namespace {

struct VerifyArguments
{
    std::vector<std::string> manifests;
    bool showsStrays = false;
};

using Summary = std::array<std::size_t, static_cast<std::size_t>(kLastVerdict) + 1>;

/// The manifests that are named, or else those that are installed. nullopt, complained, when their folder cannot be
/// read; one that is not there holds none.
std::optional<std::vector<Place>> manifestsToVerify(const VerifyArguments& arguments, const Paths& paths)
{
    if (arguments.manifests.empty()) {
        ManifestFolder folder = paths.installedManifests();
        if (folder.error != 0 && folder.error != ENOENT) {
            complain("cannot read", folder.folder.shown, folder.error);
            return std::nullopt;
        }
        return std::move(folder.manifests);
    }
    std::vector<Place> places;
    for (const std::string& path : arguments.manifests) {
        places.push_back({path, path, 0});
    }
    return places;
}

/// Adds what is to be verified of a manifest. False, complained, when it cannot be read.
bool addManifest(const Place& place, const Options& options, Verification& verification)
{
    const std::optional<std::string> text = readManifest(place);
    if (!text) {
        return false;
    }
    const auto asTool = parseManifest(*text, options, Profiles::AsTool);
    if (asTool == nullptr) {
        verification.addRejected(place.shown);
        return true;
    }
    // A "service-type" that is unknown rejects a manifest for those who mind it, but not for the tool.
    const auto asInstalled = parseManifest(*text, options, Profiles::AsInstalled);
    verification.addManifest(place.shown, asInstalled == nullptr ? *asTool : *asInstalled);
    return true;
}

/// The same of several.
bool addManifests(const std::vector<Place>& places, const Options& options, Verification& verification)
{
    Progress progress("reading manifests", places.size());
    for (const Place& place : places) {
        if (!addManifest(place, options, verification)) {
            return false;
        }
        progress.advance();
    }
    return true;
}

Summary summaryOf(const std::vector<Verified>& results)
{
    Summary summary{};
    for (const Verified& result : results) {
        ++summary[static_cast<std::size_t>(result.verdict)];
    }
    return summary;
}

Json objectOf(const Verified& result)
{
    Json object = Json::object();
    putOptionalText(object, "manifest", result.manifest);
    putOptionalText(object, "id", result.id);
    putOptionalText(object, "path", result.path);
    object["result"] = wordOf(result.verdict);
    putOptionalText(object, "expected", result.expected);
    putOptionalText(object, "found", result.found);
    return object;
}

std::string jsonOf(const std::vector<Verified>& results, const Summary& summary)
{
    JsonWriter document("verify");
    document.openArray("files");
    for (const Verified& result : results) {
        document.element(objectOf(result));
    }
    document.close();
    Json counts = Json::object();
    for (std::size_t verdict = 0; verdict < summary.size(); ++verdict) {
        counts[std::string(wordOf(static_cast<Verdict>(verdict)))] = summary[verdict];
    }
    document.member("summary", counts);
    return document.text();
}

/// What there is to say of a result behind its verdict and id.
std::string detailOf(const Verified& result)
{
    switch (result.verdict) {
    case Verdict::OtherVersion:
        return *result.found + " instead of " + *result.expected;
    case Verdict::NotRecorded:
        return *result.expected;
    case Verdict::Unlisted:
        return *result.found;
    case Verdict::Rejected:
        return *result.manifest;
    case Verdict::Unreadable:
        return *result.path + ": " + std::strerror(result.error);
    default:
        return *result.path;
    }
}

std::string textOf(const std::vector<Verified>& results, const Summary& summary)
{
    Table table;
    for (const Verified& result : results) {
        if (result.verdict != Verdict::Ok) {
            table.addRow({std::string(wordOf(result.verdict)), result.id.value_or("-"), detailOf(result)});
        }
    }
    std::string counts;
    for (std::size_t verdict = 0; verdict < summary.size(); ++verdict) {
        if (summary[verdict] != 0) {
            counts += (counts.empty() ? "" : ", ") + std::to_string(summary[verdict]) + " " +
                      std::string(wordOf(static_cast<Verdict>(verdict)));
        }
    }
    return table.text() + (counts.empty() ? "Nothing is listed." : counts) + "\n";
}

Outcome verify(const VerifyArguments& arguments, const Options& options)
{
    const Paths paths(options);
    const Place storePlace = paths.store();
    const LoadedStore store(storePlace, readFile(storePlace));
    if (!store.isUsable()) {
        complainOfState(store);
        return {ExitStatus::NotDone, {}};
    }
    const auto places = manifestsToVerify(arguments, paths);
    if (!places) {
        return {ExitStatus::NotDone, {}};
    }
    Verification verification;
    if (!addManifests(*places, options, verification)) {
        return {ExitStatus::NotDone, {}};
    }
    verification.verifyFiles(paths);
    const CInstalledManifestInfo recorded = loadStore(store.bytes());
    verification.verifyEntries(recorded);
    if (arguments.showsStrays) {
        verification.addUnlisted(recorded);
    }
    const std::vector<Verified> results = verification.takeResults();
    const Summary summary = summaryOf(results);
    const bool isAllOk = summary[static_cast<std::size_t>(Verdict::Ok)] == results.size();
    return {isAllOk ? ExitStatus::Done : ExitStatus::Something,
            options.format == Format::Json ? jsonOf(results, summary) : textOf(results, summary)};
}

} // namespace

void addVerify(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<VerifyArguments>();
    Command command = commandLine.addCommand("verify", "Hold the machine against its manifests");
    command.addFlag("--strays", arguments->showsStrays, "Show also what the store has and no manifest lists");
    command.addTexts("MANIFEST", arguments->manifests, "Manifests; without any, those that are installed");
    command.setAction({[arguments](const Options& options) { return verify(*arguments, options); }});
}

} // namespace ctl
