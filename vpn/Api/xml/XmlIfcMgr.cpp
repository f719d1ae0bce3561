#include "vpn/Api/xml/XmlIfcMgr.h"

#include "vpn/Common/AppLog.h"

#include <algorithm>

namespace {

bool isBlank(std::string_view text)
{
    return text.find_first_not_of(" \n\r\t") == std::string::npos;
}

void logNoElement(const char* function, unsigned line)
{
    CAppLog::LogDebugMessage(function, "../../../../vpn/Api/xml/XmlIfcMgr", line, Logging::DI_ERROR,
                             "Called when no element is set");
}

} // namespace

XmlIfcMgr::~XmlIfcMgr() = default;

void XmlIfcMgr::addElement(const std::string& name)
{
    setNewElement(name);
}

void XmlIfcMgr::endElement(const std::string& /*name*/)
{
    m_current = nullptr;
}

void XmlIfcMgr::setElementValue(const std::string& value)
{
    deliverText(value);
}

void XmlIfcMgr::addAttribute(const std::string& name, const std::string& value)
{
    deliverAttribute(name, value);
}

void XmlIfcMgr::deliverText(std::string_view value)
{
    if (m_current != nullptr) {
        m_current->appendElementValue(value);
    } else if (!isBlank(value)) {
        logNoElement("setElementValue", 34);
    }
}

void XmlIfcMgr::deliverAttribute(std::string_view name, std::string_view value)
{
    if (m_current != nullptr) {
        m_current->addNVPair(name, value);
    } else if (!isBlank(name) || !isBlank(value)) {
        logNoElement("addAttribute", 49);
    }
}

void XmlIfcMgr::setNewElement(const std::string& name)
{
    m_current = &m_storage.emplace_back(name);
    m_elements.push_back(m_current);
}

void XmlIfcMgr::releaseElementsBefore(std::list<XmlElement*>::const_iterator end)
{
    while (m_elements.cbegin() != end) {
        if (m_current == m_elements.front()) {
            m_current = nullptr;
        }
        m_elements.pop_front();
        m_storage.pop_front();
    }
}

void XmlIfcMgr::deleteXmlElements()
{
    m_current = nullptr;
    m_storage.clear();
    std::fill(m_elements.begin(), m_elements.end(), nullptr);
}
