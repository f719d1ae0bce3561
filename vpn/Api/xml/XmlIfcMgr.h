#pragma once

#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Common/Xml/XmlMgr.h"

#include <list>
#include <string>

/// The sink that makes a flat list of a document: every element in the order of the start tags, parents and children
/// not linked. An element's text is what stands between its start tag and the next tag of any element; text behind a
/// child's end tag belongs to nobody and is dropped, logged unless it is blank.
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

    /// Without a current element both log "Called when no element is set", unless all is blank.
    void setElementValue(const std::string& value) override;
    void addAttribute(const std::string& name, const std::string& value) override;

    /// Appends a new element, which text and attributes go to from then on.
    void setNewElement(const std::string& name);

    /// The list itself, which the caller may change, also between the events of a parse. Whatever stands in it, null
    /// aside, was made with `new` and is owned by this object; what the caller takes off it is the caller's from then
    /// on, and gets neither text nor attributes any more.
    std::list<XmlElement*>& getElementList() { return m_elements; }

    /// Destroys every element in the list. The list keeps its length; its entries become null, so that calling this
    /// early, or twice, is harmless.
    void deleteXmlElements();

private:
    XmlElement* currentElement() const;

    std::list<XmlElement*> m_elements;
    XmlElement* m_current = nullptr;
};
