#include "vpn/Common/Xml/XmlElement.h"

XmlElement::~XmlElement() = default;

void XmlElement::addNVPair(const std::string& name, const std::string& value)
{
    m_attributes.addNVPair(name, value);
}

void XmlElement::setElementValue(const std::string& value)
{
    // A new block, so that the old text goes back to the heap wiped.
    WipedBytes(value.begin(), value.end()).swap(m_value);
}

void XmlElement::appendElementValue(const std::string& value)
{
    m_value.insert(m_value.end(), value.begin(), value.end());
}
