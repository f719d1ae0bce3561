#pragma once

#include "vpn/Common/Xml/XmlMgr.h"

#include <deque>
#include <memory>
#include <string>

class XmlHierarchicalElement;

/// The sink that builds an element tree of a document and answers questions about it. An element's text is made of all
/// its pieces, before, between and behind its children.
///
/// One object is meant for one parse; another start tag when the root is closed begins a new tree and destroys the old
/// one. It is filled and read on one thread. Pointers into the tree stay good until the tree changes or this object
/// ends.
class XmlHierarchicalMgr : public XmlMgr
{
public:
    /// An empty tree.
    XmlHierarchicalMgr();

    /// Parses `input`, the document itself when `inputIsText` and else the path of its file. `status` receives 0 or
    /// 0xFE000009; the tree holds whatever was read even then. `flag` has no effect. The parser logs its failures.
    XmlHierarchicalMgr(long& status, const std::string& input, bool flag, bool inputIsText);

    ~XmlHierarchicalMgr() override;

    XmlHierarchicalMgr(const XmlHierarchicalMgr&) = delete;

    /// Makes this tree a deep copy of the other, as XmlHierarchicalElement::operator= does. Which elements are open is
    /// not carried over and does not change: an open root stays open, and what was open below it is gone but still
    /// awaits its end tag, until which text and attributes have no element.
    XmlHierarchicalMgr& operator=(const XmlHierarchicalMgr& other);

    void addElement(const std::string& name) override;
    void endElement(const std::string& name) override;

    /// Without an open element both log "Called when no element is set", unless all is blank.
    void setElementValue(const std::string& value) override;
    void addAttribute(const std::string& name, const std::string& value) override;

    /// The root's findChildElement, getDescendant and getDescendantValue; null or empty without a root. The root itself
    /// is never found.
    XmlHierarchicalElement* getChild(const std::string& name, const std::string& attrName,
                                     const std::string& attrValue) const;
    XmlHierarchicalElement* getDescendant(const std::string& name, const std::string& attrName,
                                          const std::string& attrValue) const;
    std::string getDescendantValue(const std::string& name) const;

    /// Replaces `out` by the root's dump, or by nothing without a root, and returns `out`.
    std::string& dump(std::string& out) const;

    /// True when both have no root or both roots are equal.
    bool operator==(const XmlHierarchicalMgr& other) const;
    bool operator!=(const XmlHierarchicalMgr& other) const { return !(*this == other); }

private:
    void forgetOpenElements(const XmlHierarchicalElement* survivor);

    /// Null, like the current element, where an assignment destroyed what stood here.
    std::deque<XmlHierarchicalElement*> m_openAncestors;
    std::unique_ptr<XmlHierarchicalElement> m_root;
    XmlHierarchicalElement* m_current = nullptr;
};
