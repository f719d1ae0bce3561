#include "vpn/Common/Xml/XmlHierarchicalMgr.h"

#include "vpn/Common/Xml/XmlContent.h"
#include "vpn/Common/Xml/XmlHierarchicalElement.h"
#include "vpn/Common/Xml/XmlParser.h"

#include <algorithm>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/Xml/XmlHierarchicalMgr";

} // namespace

XmlHierarchicalMgr::XmlHierarchicalMgr() = default;

XmlHierarchicalMgr::XmlHierarchicalMgr(long& status, const std::string& input, bool flag, bool inputIsText)
{
    XmlParser parser(this);
    status = inputIsText ? parser.parseXml(input, flag) : parser.parseFile(input, flag);
}

XmlHierarchicalMgr::~XmlHierarchicalMgr() = default;

XmlHierarchicalMgr& XmlHierarchicalMgr::operator=(const XmlHierarchicalMgr& other)
{
    if (this == &other) {
        return *this;
    }
    forgetOpenElements(other.m_root == nullptr ? nullptr : m_root.get());
    if (other.m_root == nullptr) {
        m_root.reset();
        return *this;
    }
    if (m_root == nullptr) {
        m_root = std::make_unique<XmlHierarchicalElement>("");
    }
    *m_root = *other.m_root;
    return *this;
}

void XmlHierarchicalMgr::addElement(const std::string& name)
{
    auto element = std::make_unique<XmlHierarchicalElement>(name);
    if (m_current == nullptr) {
        forgetOpenElements(nullptr);
        m_root = std::move(element);
        m_current = m_root.get();
        return;
    }
    m_openAncestors.push_back(m_current);
    m_current->addChildElement(element.get());
    m_current = element.release();
}

void XmlHierarchicalMgr::endElement(const std::string& /*name*/)
{
    m_current = nullptr;
    if (!m_openAncestors.empty()) {
        m_current = m_openAncestors.back();
        m_openAncestors.pop_back();
    }
}

void XmlHierarchicalMgr::setElementValue(const std::string& value)
{
    if (m_current != nullptr) {
        m_current->setElementValue(value);
    } else if (!isXmlBlank(value)) {
        logNoElement("setElementValue", kLogFile, 91);
    }
}

void XmlHierarchicalMgr::addAttribute(const std::string& name, const std::string& value)
{
    if (m_current != nullptr) {
        m_current->addNVPair(name, value);
    } else if (!isXmlBlank(name) || !isXmlBlank(value)) {
        logNoElement("addAttribute", kLogFile, 104);
    }
}

XmlHierarchicalElement* XmlHierarchicalMgr::getChild(const std::string& name, const std::string& attrName,
                                                     const std::string& attrValue) const
{
    return m_root == nullptr ? nullptr : m_root->findChildElement(name, attrName, attrValue);
}

XmlHierarchicalElement* XmlHierarchicalMgr::getDescendant(const std::string& name, const std::string& attrName,
                                                          const std::string& attrValue) const
{
    return m_root == nullptr ? nullptr : m_root->getDescendant(name, attrName, attrValue);
}

std::string XmlHierarchicalMgr::getDescendantValue(const std::string& name) const
{
    return m_root == nullptr ? std::string() : m_root->getDescendantValue(name);
}

std::string& XmlHierarchicalMgr::dump(std::string& out) const
{
    out.clear();
    return m_root == nullptr ? out : m_root->dump(out);
}

bool XmlHierarchicalMgr::operator==(const XmlHierarchicalMgr& other) const
{
    if (m_root == nullptr || other.m_root == nullptr) {
        return m_root == other.m_root;
    }
    return *m_root == *other.m_root;
}

/// Makes null what points to open elements, which are about to go, all but `survivor`.
void XmlHierarchicalMgr::forgetOpenElements(const XmlHierarchicalElement* survivor)
{
    const auto isGone = [&](const XmlHierarchicalElement* element) { return element != survivor; };
    std::replace_if(m_openAncestors.begin(), m_openAncestors.end(), isGone, nullptr);
    if (isGone(m_current)) {
        m_current = nullptr;
    }
}
