#include "ctl/ManifestLint.h"

#include "ctl/EntryLint.h"
#include "ctl/ManifestOutline.h"
#include "vpn/Common/Xml/NVAttributes.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace ctl {

namespace {

constexpr std::string_view kBlanks = " \n\r\t";

/// Only blanks before the XML declaration are not XML's own.
void checkBeginning(std::string_view text, LintReport& report)
{
    const std::string_view document = text.substr(text.find_first_not_of(kBlanks));
    if (document.size() < text.size() && document.starts_with("<?xml")) {
        report.add(Rule::LeadingBlanks, {}, "blanks before the XML declaration are skipped");
    }
}

/// True for a revision that is written as the manual has it, 1.0 or 0.N.
bool isPlainRevision(std::string_view revision)
{
    const bool isZero = revision.starts_with("0.") && revision.size() > 2 && revision.size() <= 11 &&
                        revision.find_first_not_of("0123456789", 2) == std::string_view::npos;
    return isZero || revision == "1.0";
}

void checkRevision(const OutlineElement& root, LintReport& report)
{
    const NVAttributes& attributes = *root.content->getElementAttributes();
    const std::string revision = attributes.getAttributeValue("rev");
    int major = -1;
    int minor = -1;
    // As the tool reads it, overflow and trailing text included.
    const int count = std::sscanf(revision.c_str(), "%d.%d", &major, &minor); // NOLINT(cert-err34-c)
    if (!attributes.hasAttribute("rev")) {
        report.add(Rule::RevFormat, root.place, "the root has no rev");
    } else if (count < 2) {
        report.add(Rule::RevFormat, root.place,
                   "the rev " + quoted(revision) + " is not two numbers with a point between them");
    } else if (static_cast<unsigned>(major) > 1 || (major == 1 && minor != 0)) {
        report.add(Rule::RevUnsupported, root.place, "the rev " + quoted(revision) + " is not supported");
    } else if (!isPlainRevision(revision)) {
        report.add(Rule::RevForm, root.place,
                   "the rev " + quoted(revision) + " is read as " + std::to_string(major) + "." +
                       std::to_string(minor));
    }
}

void checkRoot(const OutlineElement& root, LintReport& report)
{
    if (root.content->name() != "vpn") {
        report.add(Rule::RootName, root.place, "the root is called " + quoted(root.content->name()) + ", not \"vpn\"");
        return;
    }
    checkRevision(root, report);
    for (const NVAttributes::Attribute& attribute : *root.content->getElementAttributes()) {
        if (attribute.name != "rev") {
            report.add(Rule::UnknownAttribute, root.place,
                       "unknown attribute " + quoted(attribute.name) + " is ignored");
        }
    }
}

/// Takes the elements behind the root apart into entries. An element that is neither a file nor a child is passed over,
/// so that it does not make faults of the children behind it.
class EntryWalk
{
public:
    EntryWalk(const ManifestOutline& outline, const CManifestInfo& manifest, LintReport& report)
        : m_outline(outline), m_entries(manifest, report), m_report(report)
    {}

    void run()
    {
        const auto& elements = m_outline.elements();
        for (std::size_t index = 1; index < elements.size(); ++index) {
            visit(elements[index], index + 1 == elements.size());
        }
        finishEntry();
    }

private:
    void visit(const OutlineElement& element, bool isLast)
    {
        const std::string_view name = element.content->name();
        if (isEntryChild(name) && m_file != nullptr) {
            m_children.push_back(&element);
        } else if (isLast) {
            m_report.add(Rule::IgnoredAtEnd, element.place, "the last element, " + quoted(name) + ", is ignored");
        } else if (name == "file") {
            beginEntry(element);
        } else {
            m_report.add(Rule::NotFile, element.place, quoted(name) + " is neither a file nor a child of one");
        }
    }

    void beginEntry(const OutlineElement& file)
    {
        finishEntry();
        m_file = &file;
        if (file.parent != &m_outline.elements().front()) {
            m_report.add(Rule::Nesting, file.place, "\"file\" does not stand in the root");
        }
    }

    void finishEntry()
    {
        if (m_file != nullptr) {
            m_entries.check(*m_file, m_children);
        }
        m_file = nullptr;
        m_children.clear();
    }

    const ManifestOutline& m_outline;
    EntryLint m_entries;
    LintReport& m_report;
    /// Of the entry that is being gathered; null when there is none.
    const OutlineElement* m_file = nullptr;
    std::vector<const OutlineElement*> m_children;
};

void checkElements(const ManifestOutline& outline, const CManifestInfo& manifest, LintReport& report)
{
    const OutlineElement& root = outline.elements().front();
    if (outline.elements().size() == 1) {
        report.add(Rule::SingleElement, root.place,
                   "a single element, " + quoted(root.content->name()) + ", lists nothing");
        return;
    }
    checkRoot(root, report);
    if (outline.elements().size() == 2) {
        report.add(Rule::TooFewElements, root.place, "a root and one more element hold no entry");
        return;
    }
    EntryWalk(outline, manifest, report).run();
}

} // namespace

LintResult lintManifest(std::string_view bytes)
{
    const std::string text(bytes.substr(0, bytes.find('\0')));
    const LineIndex lines(text);
    LintReport report;
    if (text.size() < bytes.size()) {
        report.add(Rule::AfterNul, lines.placeOf(text.size()),
                   "a zero byte ends the manifest; " + std::to_string(bytes.size() - text.size() - 1) +
                       " bytes behind it are not read");
    }
    bool isAccepted = false;
    const CManifestInfo manifest(isAccepted, text, false, false);
    ManifestOutline outline(text, lines, report);
    if (text.find_first_not_of(kBlanks) == std::string::npos) {
        report.add(Rule::Empty, {}, "the manifest is empty");
    } else if (outline.read()) {
        checkBeginning(text, report);
        checkElements(outline, manifest, report);
    }
    return {isAccepted, report.takeSorted(text, lines)};
}

} // namespace ctl
