#include "vpn/Common/Xml/XmlElement.h"

XmlElement::~XmlElement() = default;

void XmlElement::setElementValue(const std::string& value)
{
    m_value = WipedText(value.begin(), value.end());
}

void XmlElement::appendElementValue(const std::string& value)
{
    m_value.insert(m_value.end(), value.begin(), value.end());
}
