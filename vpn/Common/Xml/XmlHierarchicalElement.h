#pragma once

#include "vpn/Common/Utility/WipingAllocator.h"
#include "vpn/Common/Xml/NVAttributes.h"

#include <list>
#include <string>
#include <string_view>
#include <utility>

/// One node of an element tree: a name, a text, attributes and children, which it owns. Text and attribute values are
/// wiped before they are released.
///
/// No operation calls itself, so a tree may be as deep as memory allows. Nothing here logs; a tree may be read by
/// several threads while none changes it. Pointers into a tree stay good until the tree changes.
class XmlHierarchicalElement
{
public:
    explicit XmlHierarchicalElement(const std::string& name) : m_name(name) {}
    virtual ~XmlHierarchicalElement();

    /// Makes this node a deep copy of `other`, which may be a node of this one's own tree. Texts are copied up to their
    /// first NUL byte. The copy does not carry override flags: all of them are true.
    XmlHierarchicalElement& operator=(const XmlHierarchicalElement& other);
    XmlHierarchicalElement(const XmlHierarchicalElement&) = delete;

    /// Appends to the text, up to the first NUL byte of `value`. It never replaces, whatever its name says, because one
    /// text of a document arrives in several pieces.
    void setElementValue(const std::string& value);

    /// Replaces the text by `value` up to its first NUL byte.
    void resetElementValue(const std::string& value);

    /// Sets an attribute; the user may override it.
    void addNVPair(const std::string& name, const std::string& value);

    /// Appends a child and owns it from then on. Null is ignored.
    void addChildElement(XmlHierarchicalElement* child);

    /// A copy of the attribute's value; empty when there is none.
    std::string getAttribute(const std::string& name) const;

    /// Appends the name and value of every attribute, in ascending order of the names.
    void getAttributesList(std::list<std::pair<std::string, std::string>>& out) const;

    /// The first direct child with that name and, unless `attrName` is empty, with an attribute of exactly that value;
    /// null when there is none. An empty `attrValue` asks for an attribute that is there and empty.
    XmlHierarchicalElement* findChildElement(const std::string& name, const std::string& attrName,
                                             const std::string& attrValue) const;

    /// The same among all nodes below this one: all direct children are tried before anything deeper, which is then
    /// searched child by child.
    XmlHierarchicalElement* getDescendant(const std::string& name, const std::string& attrName,
                                          const std::string& attrValue) const;

    /// A copy of the text of the first descendant with that name, up to its first NUL byte; empty when there is none.
    std::string getDescendantValue(const std::string& name) const;

    /// Destroys all children.
    void deleteChildElements();

    /// Destroys the direct children whose name is among `names`.
    void deleteChildElements(const std::list<std::string>& names);

    /// Wipes the text and destroys all children. Name and attributes stay.
    void Clear();

    /// Appends a plain text picture of this node and all below it to `out` and returns `out`. Nothing is escaped or
    /// indented; it is for people, not XML. What `out` leaves behind as it grows is not wiped.
    std::string& dump(std::string& out) const;

    /// True when names, texts, attributes (flags included) and children are equal, all the way down.
    bool operator==(const XmlHierarchicalElement& other) const;
    bool operator!=(const XmlHierarchicalElement& other) const { return !(*this == other); }

    /// True when the children, in order, are equal all the way down.
    bool areChildElementsEqual(const XmlHierarchicalElement& other) const;

private:
    using Children = std::list<XmlHierarchicalElement*>;

    std::string_view value() const { return {m_value.data(), m_value.size()}; }
    bool matches(std::string_view name, std::string_view attrName, std::string_view attrValue) const;
    bool isEqualApartFromChildren(const XmlHierarchicalElement& other) const;
    void copyApartFromChildren(const XmlHierarchicalElement& other);
    void copyChildren(const XmlHierarchicalElement& other);
    void dumpApartFromChildren(std::string& out) const;
    static void destroy(Children& doomed);

    std::string m_name;
    WipedText m_value;
    NVAttributes m_attributes;
    Children m_children;
};
