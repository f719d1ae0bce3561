#pragma once

#include "vpn/Common/Utility/WipingAllocator.h"
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
    void addNVPair(const std::string& name, const std::string& value) { m_attributes.addNVPair(name, value); }

    /// A copy of the name, as the document has it.
    std::string getElementName() const { return m_name; }

    /// Replaces the text.
    void setElementValue(const std::string& value);

    /// Appends to the text.
    void appendElementValue(const std::string& value);

    /// A copy of the text.
    std::string getElementValue() const { return {m_value.begin(), m_value.end()}; }

    /// The element's own attributes, not a copy.
    NVAttributes* getElementAttributes() { return &m_attributes; }

    /// Name and text themselves, for the many who only compare them. They live until the element changes.
    std::string_view name() const { return m_name; }
    std::string_view value() const { return {m_value.data(), m_value.size()}; }

private:
    std::string m_name;
    WipedText m_value;
    NVAttributes m_attributes;
};
