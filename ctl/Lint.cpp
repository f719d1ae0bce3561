#include "ctl/CommandLine.h"
#include "ctl/Commands.h"
#include "ctl/FileBytes.h"
#include "ctl/LintOutput.h"
#include "ctl/Progress.h"
#include "ctl/Streams.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace ctl {

namespace {

struct LintArguments
{
    std::vector<std::string> manifests;
    std::optional<std::string> rule;
    bool isStrict = false;
};

LintResult rejectedFor(Rule rule, std::string message)
{
    return {false, {{rule, {}, std::move(message)}}};
}

/// What is to be said of a manifest whose size the tool gets wrong, since it takes it as 32 bits with a sign.
LintResult lintHuge(const std::string& path)
{
    const auto size = static_cast<std::int32_t>(CManifestInfo::fileCbSize(path));
    if (size < 1) {
        return rejectedFor(Rule::TooLarge, "the manifest is larger than the tool can count");
    }
    LintResult result = lintManifest(CManifestInfo::readManifestFile(path));
    result.findings.insert(result.findings.begin(),
                           {Rule::SizeWraps, {}, "only the first " + std::to_string(size) + " bytes are read"});
    return result;
}

/// Nothing, complained, when the manifest cannot be opened or read.
std::optional<LintResult> lintFile(const std::string& path)
{
    struct stat info
    {};
    if (stat(path.c_str(), &info) != 0) {
        complain("cannot read", path, errno);
        return std::nullopt;
    }
    if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
        return rejectedFor(Rule::Empty, "what is no regular file is empty to the tool");
    }
    if (info.st_size > std::numeric_limits<std::int32_t>::max()) {
        return lintHuge(path);
    }
    const FileBytes file = readFile({path, path, 0});
    if (file.error != 0) {
        complain("cannot read", path, file.error);
        return std::nullopt;
    }
    return lintManifest(file.bytes);
}

std::string textOf(const std::vector<LintedManifest>& manifests, bool isComplete, const Options& options)
{
    switch (options.format) {
    case Format::Json:
        return lintJson(manifests);
    case Format::Sarif:
        return lintSarif(manifests, isComplete);
    case Format::Text:
        break;
    }
    return lintText(manifests, colorsFor(options));
}

Outcome lint(const LintArguments& arguments, const Options& options)
{
    std::vector<LintedManifest> manifests;
    Progress progress("checking manifests", arguments.manifests.size());
    for (const std::string& path : arguments.manifests) {
        if (std::optional<LintResult> result = lintFile(path)) {
            manifests.push_back({path, std::move(*result)});
        }
        progress.advance();
    }
    const bool isComplete = manifests.size() == arguments.manifests.size();
    const auto counts = [&](const LintFinding& finding) {
        return arguments.isStrict || ruleOf(finding.rule).isError();
    };
    const bool hasError = std::any_of(manifests.begin(), manifests.end(), [&](const LintedManifest& manifest) {
        return std::any_of(manifest.result.findings.begin(), manifest.result.findings.end(), counts);
    });
    const ExitStatus status = hasError ? ExitStatus::Something : ExitStatus::Done;
    return {isComplete ? status : ExitStatus::NotDone, textOf(manifests, isComplete, options)};
}

Outcome explain(const std::string& name, const Options& options)
{
    const LintRule* rule = findRule(name);
    if (rule == nullptr) {
        complain("there is no rule " + name + "; obg_manifestctl(1) lists them");
        return {ExitStatus::NotDone, {}};
    }
    if (options.format == Format::Sarif) {
        complain("--explain knows the formats text and json");
        return {ExitStatus::NotDone, {}};
    }
    return {ExitStatus::Done, options.format == Format::Json ? explainedJson(*rule) : explainedText(*rule)};
}

std::string faultOf(const LintArguments& arguments)
{
    return arguments.manifests.empty() && !arguments.rule ? "MANIFEST is required" : "";
}

} // namespace

void addLint(CommandLine& commandLine)
{
    const auto arguments = std::make_shared<LintArguments>();
    Command command = commandLine.addCommand("lint", "Every fault of manifests at once");
    const Argument manifests = command.addTexts("MANIFEST", arguments->manifests, "The manifests");
    command.addText("--explain", "RULE", arguments->rule, "Tell why a rule is there and how to mend it")
        .exclude(manifests);
    command.addFlag("--strict", arguments->isStrict, "Count warnings as errors");
    command.setAction({.run =
                           [arguments](const Options& options) {
                               return arguments->rule ? explain(*arguments->rule, options) : lint(*arguments, options);
                           },
                       .fault = [arguments] { return faultOf(*arguments); },
                       .takesSarif = true});
}

} // namespace ctl
