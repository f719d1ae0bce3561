#include "vpn/Common/Xml/XmlElement.h"

#include "vpn/Common/Utility/SecureString.h"

#include <algorithm>

XmlElement::~XmlElement()
{
    if (!m_value.empty()) {
        wipeString(m_value);
    }
}

std::string XmlElement::takeElementValue()
{
    std::string taken;
    taken.swap(m_value);
    // What the swap of a short text leaves behind inside this object.
    wipeString(m_value);
    return taken;
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
