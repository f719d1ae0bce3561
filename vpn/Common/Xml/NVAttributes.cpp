#include "vpn/Common/Xml/NVAttributes.h"

#include "vpn/Common/Utility/SecureString.h"

#include <algorithm>

namespace {

/// Room for the attributes of a manifest's "file", which then need not be moved as they come.
constexpr std::size_t kUsualCount = 8;

} // namespace

void NVAttributes::addNVPair(const std::string& name, const std::string& value, bool userOverride)
{
    const auto known = std::find_if(m_attributes.begin(), m_attributes.end(),
                                    [&](const Attribute& attribute) { return attribute.name == name; });
    if (known != m_attributes.end()) {
        // The first addition decides on the flag; later ones only bring a new value.
        wipeString(known->value);
        known->value = value.c_str();
        return;
    }
    if (m_attributes.empty()) {
        m_attributes.reserve(kUsualCount);
    }
    m_attributes.emplace_back(name, value.c_str(), userOverride);
}

std::list<std::string>& NVAttributes::getAttributeList(std::list<std::string>& names) const
{
    for (const Attribute* attribute : sorted()) {
        names.push_back(attribute->name);
    }
    return names;
}

std::string NVAttributes::getAttributeValue(const std::string& name) const
{
    const Attribute* found = find(name);
    return found == nullptr ? std::string() : std::string(found->value);
}

bool NVAttributes::userOverrideAllowed(const std::string& name) const
{
    const Attribute* found = find(name);
    return found != nullptr && found->userOverride;
}

void NVAttributes::clear()
{
    // Not left to the vector, which would keep its block, and short values in it, until later.
    decltype(m_attributes)().swap(m_attributes);
}

bool NVAttributes::operator==(const NVAttributes& other) const
{
    const auto mine = sorted();
    const auto theirs = other.sorted();
    return std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(),
                      [](const Attribute* a, const Attribute* b) { return *a == *b; });
}

const NVAttributes::Attribute* NVAttributes::find(std::string_view name) const
{
    for (const Attribute& attribute : m_attributes) {
        if (attribute.name == name) {
            return &attribute;
        }
    }
    return nullptr;
}

std::vector<const NVAttributes::Attribute*> NVAttributes::sorted() const
{
    std::vector<const Attribute*> attributes;
    for (const Attribute& attribute : m_attributes) {
        attributes.push_back(&attribute);
    }
    std::sort(attributes.begin(), attributes.end(), [](const auto* a, const auto* b) { return a->name < b->name; });
    return attributes;
}
