#include "vpn/Api/xml/XmlIfcMgr.h"

#include "vpn/Common/Xml/XmlContent.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Api/xml/XmlIfcMgr";

} // namespace

XmlIfcMgr::~XmlIfcMgr()
{
    deleteXmlElements();
}

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
    if (XmlElement* element = currentElement()) {
        element->appendElementValue(value);
    } else if (!isXmlBlank(value)) {
        logNoElement("setElementValue", kLogFile, 34);
    }
}

void XmlIfcMgr::addAttribute(const std::string& name, const std::string& value)
{
    if (XmlElement* element = currentElement()) {
        element->addNVPair(name, value);
    } else if (!isXmlBlank(name) || !isXmlBlank(value)) {
        logNoElement("addAttribute", kLogFile, 49);
    }
}

void XmlIfcMgr::setNewElement(const std::string& name)
{
    // In the list before it is made, so that no failure to allocate leaves it without an owner.
    XmlElement*& place = m_elements.emplace_back(nullptr);
    place = new XmlElement(name);
    m_current = place;
}

void XmlIfcMgr::deleteXmlElements()
{
    m_current = nullptr;
    for (XmlElement*& element : m_elements) {
        delete std::exchange(element, nullptr);
    }
}

/// The element that was started last, while it is open and still in the list: the caller may have destroyed it. It is
/// found at once, since it stands last unless the caller changed that.
XmlElement* XmlIfcMgr::currentElement() const
{
    const auto found =
        m_current == nullptr ? m_elements.rend() : std::find(m_elements.rbegin(), m_elements.rend(), m_current);
    return found == m_elements.rend() ? nullptr : *found;
}
