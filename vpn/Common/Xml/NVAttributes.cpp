#include "vpn/Common/Xml/NVAttributes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace {

/// The bits of a size that memory can give it.
constexpr std::size_t kSizeMask = std::numeric_limits<std::size_t>::max() >> 1;

} // namespace

NVAttributes::Attribute NVAttributes::Iterator::operator*() const
{
    Head head;
    std::memcpy(&head, m_record, sizeof head);
    const char* name = m_record + sizeof head;
    return {{name, head.nameSize}, {name + head.nameSize, head.valueSize}, head.userOverride != 0};
}

NVAttributes::Iterator& NVAttributes::Iterator::operator++()
{
    const std::string_view value = (**this).value;
    m_record = value.data() + value.size();
    return *this;
}

void NVAttributes::addNVPair(const std::string& name, const std::string& value, bool userOverride)
{
    Attribute attribute{name, value.c_str(), userOverride};
    Iterator place = lowerBound(name);
    if (place != end() && (*place).name == name) {
        // The first addition decides on the flag; later ones only bring a new value.
        attribute.userOverride = (*place).userOverride;
        remove(place);
        place = lowerBound(name);
    }
    insert(place, attribute);
}

void NVAttributes::addNVPair(const std::string& name, const std::string& value)
{
    addNVPair(name, value, true);
}

std::list<std::string>& NVAttributes::getAttributeList(std::list<std::string>& names) const
{
    for (const Attribute attribute : *this) {
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
        Head head;
        char* record = m_records.data() + (attribute.m_record - m_records.data());
        std::memcpy(&head, record, sizeof head);
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
    WipedBytes().swap(m_records);
}

bool NVAttributes::operator==(const NVAttributes& other) const
{
    // The same attributes in the same order lie in the same bytes.
    return m_records == other.m_records;
}

NVAttributes::Iterator NVAttributes::find(std::string_view name) const
{
    const Iterator found = lowerBound(name);
    return found != end() && (*found).name == name ? found : end();
}

NVAttributes::Iterator NVAttributes::lowerBound(std::string_view name) const
{
    Iterator attribute = begin();
    while (attribute != end() && (*attribute).name < name) {
        ++attribute;
    }
    return attribute;
}

void NVAttributes::insert(Iterator place, const Attribute& attribute)
{
    const Head head{attribute.name.size() & kSizeMask, attribute.userOverride, attribute.value.size()};
    const auto offset = place.m_record - m_records.data();
    m_records.insert(m_records.begin() + offset, sizeof head + attribute.name.size() + attribute.value.size(), '\0');
    char* record = m_records.data() + offset;
    std::memcpy(record, &head, sizeof head);
    record = std::copy(attribute.name.begin(), attribute.name.end(), record + sizeof head);
    std::copy(attribute.value.begin(), attribute.value.end(), record);
}

void NVAttributes::remove(Iterator place)
{
    // Copied without it, so that the block that holds its value is given back, and wiped, as a whole.
    WipedBytes kept(begin().m_record, place.m_record);
    kept.insert(kept.end(), (++place).m_record, end().m_record);
    m_records.swap(kept);
}
