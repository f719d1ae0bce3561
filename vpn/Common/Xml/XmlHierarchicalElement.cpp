#include "vpn/Common/Xml/XmlHierarchicalElement.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

/// Pushes `children` so that the first of them is taken off the stack first.
template <class Node> void pushInOrder(std::vector<const Node*>& stack, const std::list<Node*>& children)
{
    stack.insert(stack.end(), children.rbegin(), children.rend());
}

} // namespace

XmlHierarchicalElement::~XmlHierarchicalElement()
{
    Clear();
}

XmlHierarchicalElement& XmlHierarchicalElement::operator=(const XmlHierarchicalElement& other)
{
    if (this == &other) {
        return *this;
    }
    // Finished before anything of this node changes: either node may stand below the other.
    XmlHierarchicalElement copy("");
    copy.copyApartFromChildren(other);
    copy.copyChildren(other);
    m_name.swap(copy.m_name);
    m_value.swap(copy.m_value);
    std::swap(m_attributes, copy.m_attributes);
    m_children.swap(copy.m_children);
    return *this;
}

void XmlHierarchicalElement::setElementValue(const std::string& value)
{
    const std::string_view text = value.c_str();
    m_value.insert(m_value.end(), text.begin(), text.end());
}

void XmlHierarchicalElement::resetElementValue(const std::string& value)
{
    const std::string_view text = value.c_str();
    m_value = WipedText(text.begin(), text.end());
}

void XmlHierarchicalElement::addNVPair(const std::string& name, const std::string& value)
{
    m_attributes.addNVPair(name, value);
}

void XmlHierarchicalElement::addChildElement(XmlHierarchicalElement* child)
{
    if (child != nullptr) {
        m_children.push_back(child);
    }
}

std::string XmlHierarchicalElement::getAttribute(const std::string& name) const
{
    return m_attributes.getAttributeValue(name);
}

void XmlHierarchicalElement::getAttributesList(std::list<std::pair<std::string, std::string>>& out) const
{
    for (const NVAttributes::Attribute* attribute : m_attributes.sorted()) {
        out.emplace_back(attribute->name, attribute->value);
    }
}

XmlHierarchicalElement* XmlHierarchicalElement::findChildElement(const std::string& name, const std::string& attrName,
                                                                 const std::string& attrValue) const
{
    for (XmlHierarchicalElement* child : m_children) {
        if (child->matches(name, attrName, attrValue)) {
            return child;
        }
    }
    return nullptr;
}

XmlHierarchicalElement* XmlHierarchicalElement::getDescendant(const std::string& name, const std::string& attrName,
                                                              const std::string& attrValue) const
{
    std::vector<const XmlHierarchicalElement*> pending{this};
    while (!pending.empty()) {
        const XmlHierarchicalElement* node = pending.back();
        pending.pop_back();
        if (XmlHierarchicalElement* found = node->findChildElement(name, attrName, attrValue)) {
            return found;
        }
        pushInOrder(pending, node->m_children);
    }
    return nullptr;
}

std::string XmlHierarchicalElement::getDescendantValue(const std::string& name) const
{
    const XmlHierarchicalElement* found = getDescendant(name, "", "");
    return found == nullptr ? std::string() : std::string(found->value());
}

void XmlHierarchicalElement::deleteChildElements()
{
    destroy(m_children);
}

void XmlHierarchicalElement::deleteChildElements(const std::list<std::string>& names)
{
    Children doomed;
    for (auto child = m_children.begin(); child != m_children.end();) {
        const auto next = std::next(child);
        if (std::find(names.begin(), names.end(), (*child)->m_name) != names.end()) {
            doomed.splice(doomed.end(), m_children, child);
        }
        child = next;
    }
    destroy(doomed);
}

void XmlHierarchicalElement::Clear()
{
    m_value = WipedText();
    deleteChildElements();
}

std::string& XmlHierarchicalElement::dump(std::string& out) const
{
    std::vector<const XmlHierarchicalElement*> pending{this};
    while (!pending.empty()) {
        const XmlHierarchicalElement* node = pending.back();
        pending.pop_back();
        node->dumpApartFromChildren(out);
        pushInOrder(pending, node->m_children);
    }
    return out;
}

bool XmlHierarchicalElement::operator==(const XmlHierarchicalElement& other) const
{
    return isEqualApartFromChildren(other) && areChildElementsEqual(other);
}

bool XmlHierarchicalElement::areChildElementsEqual(const XmlHierarchicalElement& other) const
{
    // Pairs of nodes that are equal themselves and whose children are still to be compared.
    std::vector<std::pair<const XmlHierarchicalElement*, const XmlHierarchicalElement*>> pending{{this, &other}};
    while (!pending.empty()) {
        const auto [mine, theirs] = pending.back();
        pending.pop_back();
        if (mine->m_children.size() != theirs->m_children.size()) {
            return false;
        }
        auto their = theirs->m_children.begin();
        for (const XmlHierarchicalElement* child : mine->m_children) {
            if (!child->isEqualApartFromChildren(**their)) {
                return false;
            }
            pending.emplace_back(child, *their++);
        }
    }
    return true;
}

bool XmlHierarchicalElement::matches(std::string_view name, std::string_view attrName, std::string_view attrValue) const
{
    if (attrName.empty() || m_name != name) {
        return m_name == name;
    }
    const NVAttributes::Attribute* attribute = m_attributes.find(attrName);
    return attribute != nullptr && attribute->value == attrValue;
}

bool XmlHierarchicalElement::isEqualApartFromChildren(const XmlHierarchicalElement& other) const
{
    return m_name == other.m_name && value() == other.value() && m_attributes == other.m_attributes;
}

void XmlHierarchicalElement::copyApartFromChildren(const XmlHierarchicalElement& other)
{
    m_name = other.m_name.c_str();
    m_value = other.m_value;
    // A copy is the user's to change: a node's attributes were all added with the flag true, which their copies have.
    m_attributes = other.m_attributes;
}

/// Gives this node, which has no children, copies of those of `other` and of all below them.
void XmlHierarchicalElement::copyChildren(const XmlHierarchicalElement& other)
{
    std::vector<std::pair<XmlHierarchicalElement*, const XmlHierarchicalElement*>> pending{{this, &other}};
    while (!pending.empty()) {
        const auto [copy, source] = pending.back();
        pending.pop_back();
        for (const XmlHierarchicalElement* child : source->m_children) {
            auto node = std::make_unique<XmlHierarchicalElement>("");
            node->copyApartFromChildren(*child);
            copy->m_children.push_back(node.get());
            pending.emplace_back(node.release(), child);
        }
    }
}

void XmlHierarchicalElement::dumpApartFromChildren(std::string& out) const
{
    out.append("\n").append(m_name).append(" : ").append(value()).append("\n");
    for (const NVAttributes::Attribute* attribute : m_attributes.sorted()) {
        out.append("\t- ").append(attribute->name).append(" : ").append(attribute->value).append("\n");
    }
}

/// Destroys nodes and all below them: each one's children join the list before it goes.
void XmlHierarchicalElement::destroy(Children& doomed)
{
    while (!doomed.empty()) {
        XmlHierarchicalElement* node = doomed.front();
        doomed.pop_front();
        doomed.splice(doomed.begin(), node->m_children);
        delete node;
    }
}
