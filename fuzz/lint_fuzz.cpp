// What lint says of a manifest, held against the tool's parser: the same verdict, an error that rejects exactly where
// the tool rejects, the entries that the tool lists, and places that lie in the document.
// Input: the bytes of the manifest's file. The seeds are the manifests that the tests have for each rule.

#include "ctl/ManifestLint.h"
#include "fuzz/support/Input.h"
#include "fuzz/support/PrivateMachine.h"
#include "fuzz/support/QuietXml.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/SmallFile.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

using ctl::Consequence;
using ctl::LintFinding;
using ctl::Rule;
using obg::test::require;

constexpr const char* kFile = "/opt/manifest.xml";

bool hasConsequence(const std::vector<LintFinding>& findings, Consequence consequence)
{
    return std::any_of(findings.begin(), findings.end(), [consequence](const LintFinding& finding) {
        return ctl::ruleOf(finding.rule).consequence == consequence;
    });
}

std::size_t countOf(const std::vector<LintFinding>& findings, Rule rule)
{
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(),
                                                  [rule](const LintFinding& finding) { return finding.rule == rule; }));
}

std::vector<std::size_t> lengthsOfLines(const std::string& text)
{
    std::vector<std::size_t> lengths{0};
    for (const char byte : text) {
        if (byte == '\n') {
            lengths.push_back(0);
        } else {
            ++lengths.back();
        }
    }
    return lengths;
}

void requireInside(const std::vector<LintFinding>& findings, const std::string& text)
{
    const std::vector<std::size_t> lengths = lengthsOfLines(text);
    for (const LintFinding& finding : findings) {
        require(finding.place.line >= 1 && finding.place.line <= lengths.size(), "the line is one of the document");
        require(finding.place.column >= 1 && finding.place.column <= lengths[finding.place.line - 1] + 1,
                "the column lies in its line or behind it");
        require(finding.character >= 1 && finding.character <= finding.place.column, "no more characters than bytes");
    }
    require(std::is_sorted(findings.begin(), findings.end(),
                           [](const LintFinding& left, const LintFinding& right) { return left.place < right.place; }),
            "the findings come in the order of their places");
}

/// Of an accepted manifest, what is said of entries as records follows from the entries that the tool lists.
void requireRecords(const std::vector<LintFinding>& findings, const CManifestInfo& manifest)
{
    bool isDamaging = false;
    std::size_t unrecorded = 0;
    std::size_t repeated = 0;
    std::set<std::string> ids;
    for (const ManifestFileInfo* entry : manifest.getFileList()) {
        isDamaging = isDamaging || (isStored(entry->type) && (entry->id.empty() || entry->version.empty()));
        unrecorded += !isStored(entry->type) && !entry->id.empty() ? 1U : 0U;
        repeated += !entry->id.empty() && !ids.insert(entry->id).second ? 1U : 0U;
    }
    require(hasConsequence(findings, Consequence::Damages) == isDamaging, "what damages the store is an error");
    require(countOf(findings, Rule::UnrecordedId) == unrecorded, "ids that are not recorded");
    require(countOf(findings, Rule::RepeatedId) == repeated, "ids that are listed again");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    obg::test::enterPrivateMachine();
    obg::test::silenceXml();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes = obg::test::Input(data, size).rest();
    const ctl::LintResult result = ctl::lintManifest(bytes);

    obg::test::writeFile(kFile, bytes);
    bool isAccepted = false;
    const CManifestInfo manifest(isAccepted, std::string(kFile));
    require(result.isAccepted == isAccepted, "the verdict is the tool's");
    require(hasConsequence(result.findings, Consequence::Rejects) == !isAccepted,
            "an error that rejects is found exactly where the tool rejects");
    requireInside(result.findings, bytes.substr(0, bytes.find('\0')));
    if (isAccepted) {
        requireRecords(result.findings, manifest);
    }
    return 0;
}
