#pragma once

#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Common/Xml/XmlMgr.h"

#include <deque>
#include <list>
#include <string>
#include <string_view>

/// The sink that makes a flat list of a document: every element in the order of the start tags, parents and children
/// not linked. An element's text is what stands between its start tag and the next tag of any element; text behind a
/// child's end tag belongs to nobody and is dropped, logged unless it is blank.
///
/// A parse comes in through deliverText and deliverAttribute, which is where a class derived from this one hooks in.
///
/// One object serves one parse; a second one appends to the list. It is filled and read on one thread.
class XmlIfcMgr : public XmlMgr
{
public:
    XmlIfcMgr() = default;
    ~XmlIfcMgr() override;

    XmlIfcMgr(const XmlIfcMgr&) = delete;
    XmlIfcMgr& operator=(const XmlIfcMgr&) = delete;

    void addElement(const std::string& name) override;
    void endElement(const std::string& name) override;
    void setElementValue(const std::string& value) override;
    void addAttribute(const std::string& name, const std::string& value) override;
    void deliverText(std::string_view value) override;
    void deliverAttribute(std::string_view name, std::string_view value) override;

    /// Appends a new element, which text and attributes go to from then on.
    void setNewElement(const std::string& name);

    /// The list itself. Its elements are owned by this object and live until it ends.
    std::list<XmlElement*>& getElementList() { return m_elements; }

    /// Destroys the elements before `end` and takes them off the list, for who has read them already: a large document
    /// and what is made of it need not stand in memory side by side.
    void releaseElementsBefore(std::list<XmlElement*>::const_iterator end);

    /// Destroys every element. The list keeps its length; its entries become null, so that calling this early, or
    /// twice, is harmless.
    void deleteXmlElements();

private:
    /// The elements themselves, which a deque never moves and allocates several at a time.
    std::deque<XmlElement> m_storage;
    std::list<XmlElement*> m_elements;
    XmlElement* m_current = nullptr;
};
