#pragma once

#include "ctl/LineIndex.h"
#include "ctl/LintReport.h"
#include "vpn/Api/xml/XmlIfcMgr.h"
#include "vpn/Common/Xml/XmlWatcher.h"

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

/// One element of a document as the tool's own collector makes it, and where it stands.
struct OutlineElement
{
    /// Name, attributes and text.
    XmlElement* content = nullptr;
    /// Of the "<" of its start tag; for an element that comes out of an entity, of the reference to that.
    TextPlace place;
    /// The element that it stands in; null for the root.
    const OutlineElement* parent = nullptr;
};

/// The elements of a document in the order of their start tags, with their places. While it is read, those faults are
/// reported that nobody can see afterwards, such as blanks that are cut off.
class ManifestOutline : private XmlIfcMgr, private XmlWatcher
{
public:
    /// All of them stay the caller's; the index is that of the text.
    ManifestOutline(std::string_view text, const LineIndex& lines, LintReport& report)
        : m_text(text), m_lines(lines), m_report(report)
    {}

    /// Reads the text. False, reported, when it is not well-formed.
    bool read();

    const std::deque<OutlineElement>& elements() const { return m_elements; }

private:
    class Listener;

    /// A complaint of the XML parser.
    struct Complaint
    {
        TextPlace place;
        std::string text;
    };

    /// What stands between two tags.
    struct Stretch
    {
        /// As it is written, and as its pieces are delivered.
        std::string written;
        std::string delivered;
        /// Where it begins, but for blanks.
        TextPlace place;
        bool isFromEntity = false;
    };

    void addElement(const std::string& name) override;
    void endElement(const std::string& name) override;
    void seeText(std::string_view run, bool isFromEntity) override;
    void seeAttribute(std::string_view name, std::string_view value) override;

    std::size_t offset() const;
    std::size_t beginOf(std::string_view run) const;
    std::size_t beginOfReference() const;
    TextPlace placeOfTag() const;
    bool dropsText() const;
    void finishStretch();
    void hear(std::string_view complaint);
    void reportComplaints(bool isWellFormed);

    std::string_view m_text;
    const LineIndex& m_lines;
    LintReport& m_report;
    std::deque<OutlineElement> m_elements;
    /// Those whose end tag is still to come, the innermost last.
    std::vector<const OutlineElement*> m_open;
    /// The element whose text comes next; null behind an end tag.
    const OutlineElement* m_current = nullptr;
    Stretch m_stretch;
    std::vector<Complaint> m_complaints;
};

} // namespace ctl
