#pragma once

#include "ctl/LintReport.h"
#include "ctl/ManifestOutline.h"

#include <cstddef>
#include <span>
#include <string>
#include <unordered_map>

class CManifestInfo;

namespace ctl {

/// Judges the entries of one manifest, one after the other in their order.
class EntryLint
{
public:
    /// `manifest` settles names and actions. Both stay the caller's.
    EntryLint(const CManifestInfo& manifest, LintReport& report) : m_manifest(manifest), m_report(report) {}

    /// The entry of a "file" element and of the children behind it, which are all of names that isEntryChild knows.
    void check(const OutlineElement& file, std::span<const OutlineElement* const> children);

private:
    void checkRepeatedId(const std::string& id, TextPlace place);

    const CManifestInfo& m_manifest;
    LintReport& m_report;
    /// The line of the last entry of each id.
    std::unordered_map<std::string, std::size_t> m_lineOfId;
};

/// True for the elements that describe the file before them.
bool isEntryChild(std::string_view name);

} // namespace ctl
