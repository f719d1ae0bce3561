#include "ctl/ManifestOutline.h"

#include "ctl/EntryLint.h"
#include "vpn/Common/AppLog.h"
#include "vpn/Common/ILogger.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Xml/QrnSaxParser.h"

#include <algorithm>
#include <memory>

namespace ctl {

/// Hears in the log what the XML parser complains about, and notes how far it has read by then.
class ManifestOutline::Listener : public ILogger
{
public:
    explicit Listener(ManifestOutline& outline) : m_outline(outline) {}

    long Log(Logging::Severity /*severity*/, const char* text, const char* /*messageName*/, Logging::MessageID /*id*/,
             Logging::DebugImportance /*importance*/) override
    {
        constexpr std::string_view mark = "xml errorCB: ";
        const std::string_view record(text);
        const std::size_t begin = record.find(mark);
        if (begin != std::string_view::npos) {
            m_outline.hear(CStringUtils::trimmed(record.substr(begin + mark.size())));
        }
        return 0;
    }

private:
    ManifestOutline& m_outline;
};

void ManifestOutline::hear(std::string_view complaint)
{
    // With callbacks like ours libxml2 does not know the line of a start tag, and says 0.
    constexpr std::string_view unknownLine = " line 0";
    std::string text(complaint);
    if (const std::size_t at = text.find(unknownLine); at != std::string::npos) {
        text.erase(at, unknownLine.size());
    }
    m_complaints.push_back({m_lines.placeOf(offset()), std::move(text)});
}

bool ManifestOutline::read()
{
    auto listener = std::make_unique<Listener>(*this);
    long installed = 0;
    const CAppLog log(installed, "obg_manifestctl", listener.get());
    static_cast<void>(listener.release());
    const bool isWellFormed = QrnSaxParser(this).startWatchedParser(std::string(m_text), *this) == 0;
    reportComplaints(isWellFormed);
    return isWellFormed;
}

void ManifestOutline::reportComplaints(bool isWellFormed)
{
    for (Complaint& complaint : m_complaints) {
        m_report.add(isWellFormed ? Rule::XmlComplaint : Rule::NotWellFormed, complaint.place,
                     std::move(complaint.text));
    }
    if (!isWellFormed && m_complaints.empty()) {
        m_report.add(Rule::NotWellFormed, {}, "the XML parser refuses the document");
    }
}

/// How far the XML parser has read.
std::size_t ManifestOutline::offset() const
{
    return std::min(QrnSaxParser::position().offset, m_text.size());
}

/// Where the reference begins that the XML parser has just read.
std::size_t ManifestOutline::beginOfReference() const
{
    const std::size_t begin = m_text.rfind('&', offset());
    return begin == std::string_view::npos ? offset() : begin;
}

TextPlace ManifestOutline::placeOfTag() const
{
    const std::size_t end = offset();
    // At a tag of the document itself the parser stands behind a name, a quotation mark or a blank.
    const bool isFromEntity = end > 0 && m_text[end - 1] == ';';
    const std::size_t begin = isFromEntity ? beginOfReference() : m_text.rfind('<', end);
    return m_lines.placeOf(begin == std::string_view::npos ? end : begin);
}

void ManifestOutline::addElement(const std::string& name)
{
    finishStretch();
    XmlIfcMgr::addElement(name);
    const OutlineElement* parent = m_open.empty() ? nullptr : m_open.back();
    m_elements.push_back({getElementList().back(), placeOfTag(), parent});
    m_current = &m_elements.back();
    m_open.push_back(m_current);
}

void ManifestOutline::endElement(const std::string& name)
{
    finishStretch();
    XmlIfcMgr::endElement(name);
    m_current = nullptr;
    if (!m_open.empty()) {
        m_open.pop_back();
    }
}

/// Where a run of text begins, of which the XML parser says no more than where it has read to: to its begin or its end.
std::size_t ManifestOutline::beginOf(std::string_view run) const
{
    const std::size_t place = offset();
    if (place >= run.size() && m_text.substr(place - run.size(), run.size()) == run) {
        return place - run.size();
    }
    return place;
}

/// True where text has no meaning. Of an element that is wrong itself nothing more is said.
bool ManifestOutline::dropsText() const
{
    return m_current == nullptr || m_current->content->name() == "file" || m_current->parent == nullptr;
}

void ManifestOutline::seeText(std::string_view run, bool isFromEntity)
{
    const std::string_view piece = CStringUtils::trimmed(run);
    if (dropsText() && m_stretch.delivered.empty() && !piece.empty()) {
        const auto blanks = static_cast<std::size_t>(piece.data() - run.data());
        m_stretch.place = m_lines.placeOf(isFromEntity ? beginOfReference() : beginOf(run) + blanks);
    }
    m_stretch.written.append(run);
    m_stretch.delivered.append(piece);
    if (isFromEntity && !m_stretch.isFromEntity) {
        m_stretch.isFromEntity = true;
        m_report.add(Rule::EntityInText, m_lines.placeOf(beginOfReference()), "an entity is expanded");
    }
}

/// Judges what stands between two tags.
void ManifestOutline::finishStretch()
{
    if (dropsText()) {
        if (!m_stretch.delivered.empty()) {
            m_report.add(Rule::DroppedText, m_stretch.place, "the text " + quoted(m_stretch.delivered) + " is dropped");
        }
    } else if (isEntryChild(m_current->content->name()) &&
               CStringUtils::trimmed(m_stretch.written) != m_stretch.delivered) {
        m_report.add(Rule::CutBlanks, m_current->place,
                     "blanks are cut off within the text, which becomes " + quoted(m_stretch.delivered));
    }
    m_stretch = {};
}

void ManifestOutline::seeAttribute(std::string_view name, std::string_view value)
{
    constexpr std::string_view ampersand = "&#38;";
    const TextPlace place = m_elements.back().place;
    if (CStringUtils::trimmed(value) != value) {
        m_report.add(Rule::CutBlanks, place, "blanks around the value of " + quoted(name) + " are cut off");
    }
    bool hasAmpersand = false;
    bool hasEntity = false;
    for (std::size_t at = value.find('&'); at != std::string_view::npos; at = value.find('&', at + 1)) {
        (value.substr(at).starts_with(ampersand) ? hasAmpersand : hasEntity) = true;
    }
    if (hasAmpersand) {
        m_report.add(Rule::AmpersandInAttribute, place, "the value of " + quoted(name) + " becomes " + quoted(value));
    }
    if (hasEntity) {
        m_report.add(Rule::EntityInAttribute, place, "the value of " + quoted(name) + " stays " + quoted(value));
    }
}

} // namespace ctl
