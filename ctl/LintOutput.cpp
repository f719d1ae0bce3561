#include "ctl/LintOutput.h"

#include "ctl/Json.h"
#include "ctl/Text.h"

namespace ctl {

namespace {

std::string_view severityOf(const LintRule& rule)
{
    return rule.isError() ? "error" : "warning";
}

std::string_view consequenceOf(const LintRule& rule)
{
    switch (rule.consequence) {
    case Consequence::Rejects:
        return "the tool rejects the manifest";
    case Consequence::Damages:
        return "the tool damages the store";
    case Consequence::LetThrough:
        break;
    }
    return "the tool accepts it in silence";
}

std::string lineOf(const std::string& path, const LintFinding& finding, const Colors& colors)
{
    const LintRule& rule = ruleOf(finding.rule);
    std::string line(colors.strong);
    line +=
        printable(path) + ":" + std::to_string(finding.place.line) + ":" + std::to_string(finding.place.column) + ": ";
    line.append(colors.plain).append(rule.isError() ? colors.error : colors.warning);
    line.append(severityOf(rule)).append(": ").append(colors.plain);
    line += printable(finding.message) + " [" + std::string(rule.name) + "]\n";
    return line;
}

Json documentOf(const LintFinding& finding)
{
    const LintRule& rule = ruleOf(finding.rule);
    Json object{{"line", finding.place.line},
                {"column", finding.place.column},
                {"severity", severityOf(rule)},
                {"rule", rule.name}};
    putText(object, "message", finding.message);
    return object;
}

/// A path as the reference of a URI: of a file of the machine when it is absolute, else relative.
std::string uriOf(std::string_view path)
{
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string uri = path.starts_with('/') ? "file://" : "";
    for (const char byte : path) {
        const auto value = static_cast<unsigned char>(byte);
        if (plain.find(byte) != std::string_view::npos) {
            uri += byte;
        } else {
            uri += {'%', digits[value >> 4], digits[value & 15]};
        }
    }
    return uri;
}

Json sarifRule(const LintRule& rule)
{
    const std::string consequence(consequenceOf(rule));
    return {{"id", rule.name},
            {"shortDescription", {{"text", rule.why}}},
            {"fullDescription", {{"text", std::string(rule.why) + " Consequence: " + consequence + "."}}},
            {"help", {{"text", rule.mend}}},
            {"defaultConfiguration", {{"level", severityOf(rule)}}}};
}

Json sarifResult(const std::string& path, const LintFinding& finding)
{
    const LintRule& rule = ruleOf(finding.rule);
    // The format counts characters.
    const Json region{{"startLine", finding.place.line}, {"startColumn", finding.character}};
    const Json place{{"artifactLocation", {{"uri", uriOf(path)}}}, {"region", region}};
    return {{"ruleId", rule.name},
            {"ruleIndex", static_cast<std::size_t>(rule.rule)},
            {"level", severityOf(rule)},
            {"message", {{"text", printable(finding.message)}}},
            {"locations", Json::array({{{"physicalLocation", place}}})}};
}

Json sarifDriver()
{
    Json rules = Json::array();
    for (const LintRule& rule : lintRules()) {
        rules.push_back(sarifRule(rule));
    }
    return {{"name", "obg_manifestctl"}, {"version", OBG_VERSION}, {"rules", rules}};
}

} // namespace

std::string lintText(const std::vector<LintedManifest>& manifests, const Colors& colors)
{
    std::string text;
    for (const LintedManifest& manifest : manifests) {
        for (const LintFinding& finding : manifest.result.findings) {
            text += lineOf(manifest.path, finding, colors);
        }
    }
    return text;
}

std::string lintJson(const std::vector<LintedManifest>& manifests)
{
    Json document = documentOf("lint");
    Json& rows = document["manifests"] = Json::array();
    for (const LintedManifest& manifest : manifests) {
        Json& row = rows.emplace_back(Json::object());
        putText(row, "path", manifest.path);
        row["accepted"] = manifest.result.isAccepted;
        Json& findings = row["findings"] = Json::array();
        for (const LintFinding& finding : manifest.result.findings) {
            findings.push_back(documentOf(finding));
        }
    }
    return rendered(document);
}

std::string lintSarif(const std::vector<LintedManifest>& manifests, bool isComplete)
{
    Json results = Json::array();
    for (const LintedManifest& manifest : manifests) {
        for (const LintFinding& finding : manifest.result.findings) {
            results.push_back(sarifResult(manifest.path, finding));
        }
    }
    const Json run{{"tool", {{"driver", sarifDriver()}}},
                   {"columnKind", "unicodeCodePoints"},
                   {"invocations", Json::array({{{"executionSuccessful", isComplete}}})},
                   {"results", results}};
    return rendered(
        {{"$schema", "https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/sarif-schema-2.1.0.json"},
         {"version", "2.1.0"},
         {"runs", Json::array({run})}});
}

std::string explainedText(const LintRule& rule)
{
    std::string text;
    text.append(rule.name).append(": ").append(severityOf(rule)).append(", ").append(consequenceOf(rule));
    text.append("\n\n").append(rule.why).append("\n\nTo mend it: ").append(rule.mend).append("\n");
    return text;
}

std::string explainedJson(const LintRule& rule)
{
    Json document = documentOf("lint");
    document["rules"] = Json::array({{{"rule", rule.name},
                                      {"severity", severityOf(rule)},
                                      {"consequence", consequenceOf(rule)},
                                      {"why", rule.why},
                                      {"mend", rule.mend}}});
    return rendered(document);
}

} // namespace ctl
