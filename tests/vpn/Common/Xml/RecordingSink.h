#pragma once

#include <string>
#include <vector>

#include "vpn/Common/Xml/XmlMgr.h"

namespace obg::test {

/** Keeps the events of a parse as texts: "<a", "name=value", "text", ">a"; texts and values stand in quotes. */
class RecordingSink final : public XmlMgr
{
public:
    void addElement(const std::string& name) override { m_events.push_back("<" + name); }
    void endElement(const std::string& name) override { m_events.push_back(">" + name); }
    void setElementValue(const std::string& value) override { m_events.push_back("'" + value + "'"); }
    void addAttribute(const std::string& name, const std::string& value) override
    {
        m_events.push_back(name + "='" + value + "'");
    }

    const std::vector<std::string>& events() const { return m_events; }

private:
    std::vector<std::string> m_events;
};

} // namespace obg::test
