#pragma once

#include "vpn/Common/Xml/NVAttributes.h"

#include <string>
#include <string_view>

/// One element of a document's flat list: its name, its text and its attributes. Text and attribute values are wiped
/// before they are released. Nothing here logs; an element may be read by several threads while none changes it.
class XmlElement
{
public:
    explicit XmlElement(const std::string& name) : m_name(name) {}
    virtual ~XmlElement();

    /// Sets an attribute; the user may override it.
    void addNVPair(std::string_view name, std::string_view value) { m_attributes.addNVPair(name, value); }

    /// A copy of the name, as the document has it.
    std::string getElementName() const { return m_name; }

    /// Replaces the text.
    void setElementValue(std::string_view value);

    /// Appends to the text.
    void appendElementValue(std::string_view value);

    /// A copy of the text.
    std::string getElementValue() const { return m_value; }

    /// The text itself, which the element then no longer has.
    std::string takeElementValue();

    /// The element's own attributes, not a copy.
    NVAttributes* getElementAttributes() { return &m_attributes; }

    /// The name itself, for the many who only compare it.
    std::string_view name() const { return m_name; }

private:
    std::string m_name;
    /// Wiped whenever it becomes empty.
    std::string m_value;
    NVAttributes m_attributes;
};
