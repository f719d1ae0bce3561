#include "vpn/Common/Xml/XmlElement.h"

#include "vpn/Common/Utility/SecureString.h"

#include <algorithm>

XmlElement::~XmlElement()
{
    wipeString(m_value);
}

void XmlElement::setElementValue(std::string_view value)
{
    wipeString(m_value);
    appendElementValue(value);
}

void XmlElement::appendElementValue(std::string_view value)
{
    const std::size_t needed = m_value.size() + value.size();
    if (m_value.empty()) {
        // Most texts arrive in one piece, which is to fit exactly.
        m_value = value;
    } else if (needed <= m_value.capacity()) {
        m_value += value;
    } else {
        // Not left to the string, which would give its old buffer back as it is.
        std::string larger;
        larger.reserve(std::max(needed, 2 * m_value.capacity()));
        larger.append(m_value).append(value);
        wipeString(m_value);
        m_value.swap(larger);
    }
}
