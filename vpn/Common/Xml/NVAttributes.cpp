#include "vpn/Common/Xml/NVAttributes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace {

/// The bits of a size that memory can give it.
constexpr std::size_t kSizeMask = std::numeric_limits<std::size_t>::max() >> 1;

/// Room for a short attribute that stays alone, as most do, and for those of a manifest's "file": with a step from the
/// one to the other no block is copied twice on the way.
constexpr std::size_t kSingleSize = 32;
constexpr std::size_t kUsualSize = 384;

} // namespace

void NVAttributes::addNVPair(std::string_view name, std::string_view value, bool userOverride)
{
    Attribute attribute{name, value.substr(0, value.find('\0')), userOverride};
    const Iterator known = find(name);
    if (known != end()) {
        // The first addition decides on the flag; later ones only bring a new value.
        attribute.userOverride = (*known).userOverride;
        remove(known);
    }
    append(attribute);
}

std::list<std::string>& NVAttributes::getAttributeList(std::list<std::string>& names) const
{
    for (const Attribute& attribute : sorted()) {
        names.emplace_back(attribute.name);
    }
    return names;
}

std::string NVAttributes::getAttributeValue(const std::string& name) const
{
    const Iterator found = find(name);
    return found == end() ? std::string() : std::string((*found).value);
}

bool NVAttributes::hasAttribute(const std::string& name) const
{
    return find(name) != end();
}

bool NVAttributes::userOverrideAllowed(const std::string& name) const
{
    const Iterator found = find(name);
    return found != end() && (*found).userOverride;
}

void NVAttributes::allowAllUserOverrides()
{
    for (Iterator attribute = begin(); attribute != end(); ++attribute) {
        char* record = m_records.data() + (attribute.m_record - m_records.data());
        Iterator::Head head = attribute.head();
        head.userOverride = true;
        std::memcpy(record, &head, sizeof head);
    }
}

std::size_t NVAttributes::numAttributes() const
{
    std::size_t count = 0;
    for (Iterator attribute = begin(); attribute != end(); ++attribute) {
        ++count;
    }
    return count;
}

void NVAttributes::clear()
{
    m_records.clear();
}

bool NVAttributes::operator==(const NVAttributes& other) const
{
    return m_records.size() == other.m_records.size() && sorted() == other.sorted();
}

std::vector<NVAttributes::Attribute> NVAttributes::sorted() const
{
    std::vector<Attribute> attributes;
    for (const Attribute attribute : *this) {
        attributes.push_back(attribute);
    }
    std::sort(attributes.begin(), attributes.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return attributes;
}

NVAttributes::Iterator NVAttributes::find(std::string_view name) const
{
    Iterator attribute = begin();
    while (attribute != end() && (*attribute).name != name) {
        ++attribute;
    }
    return attribute;
}

void NVAttributes::append(const Attribute& attribute)
{
    const Iterator::Head head{attribute.name.size() & kSizeMask, attribute.userOverride, attribute.value.size()};
    const std::size_t size = sizeof head + attribute.name.size() + attribute.value.size();
    if (m_records.size() + size > kSingleSize) {
        m_records.reserve(kUsualSize);
    }
    char* record = m_records.extend(size);
    std::memcpy(record, &head, sizeof head);
    record = std::copy(attribute.name.begin(), attribute.name.end(), record + sizeof head);
    std::copy(attribute.value.begin(), attribute.value.end(), record);
}

void NVAttributes::remove(Iterator place)
{
    // Copied without it, so that the block that holds its value is given back, and wiped, as a whole.
    WipedBytes kept({begin().m_record, place.m_record});
    kept.append({(++place).m_record, end().m_record});
    m_records.swap(kept);
}
