#include "vpn/Common/Xml/XmlMgr.h"

#include "vpn/Common/Utility/SecureString.h"

XmlMgr::~XmlMgr() = default;

void XmlMgr::deliverText(std::string_view value)
{
    setElementValue(SecureString<std::string>(value.data(), value.size()));
}

void XmlMgr::deliverAttribute(std::string_view name, std::string_view value)
{
    addAttribute(std::string(name), SecureString<std::string>(value.data(), value.size()));
}
