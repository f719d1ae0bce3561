#pragma once

#include "vpn/Common/Utility/WipingAllocator.h"

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <vector>

/// A set of attributes: names, each once, with a value and a flag that says whether the user may override it. Names are
/// compared byte for byte, letter case included. What held a value is zeroed before it is released or reused. Nothing
/// here logs; a set may be read by several threads while none changes it.
class NVAttributes
{
public:
    /// Sets the value of `name` to `value` up to its first NUL byte. The flag is that of the name's first addition and
    /// stays when the value is replaced.
    void addNVPair(const std::string& name, const std::string& value, bool userOverride);

    /// The same with the flag true, as attributes of a document have it.
    void addNVPair(const std::string& name, const std::string& value) { addNVPair(name, value, true); }

    /// Appends every name, in ascending byte-wise order, to `names` and returns `names`.
    std::list<std::string>& getAttributeList(std::list<std::string>& names) const;

    /// A copy of the value; empty also when there is no such attribute.
    std::string getAttributeValue(const std::string& name) const;

    bool hasAttribute(const std::string& name) const { return find(name) != nullptr; }

    /// The flag of `name`; false when there is no such attribute.
    bool userOverrideAllowed(const std::string& name) const;

    std::size_t numAttributes() const { return m_attributes.size(); }

    /// Wipes and removes everything.
    void clear();

    /// True when names, values and flags are all the same.
    bool operator==(const NVAttributes& other) const;
    bool operator!=(const NVAttributes& other) const = default;

    /// One attribute as it lies in the set.
    struct Attribute
    {
        Attribute(std::string_view itsName, std::string_view itsValue, bool isUsers)
            : name(itsName), value(itsValue), userOverride(isUsers)
        {}

        std::string name;
        WipedString value;
        bool userOverride;

        bool operator==(const Attribute&) const = default;
    };

    /// For those who would rather look than copy; the pointers live until the set changes. The attribute of a name,
    /// null when there is none; all attributes in whatever order they lie in the set; and all in ascending order of
    /// their names.
    const Attribute* find(std::string_view name) const;
    auto begin() const { return m_attributes.begin(); }
    auto end() const { return m_attributes.end(); }
    std::vector<const Attribute*> sorted() const;

private:
    /// In the order in which they came. A set has a handful of them, among which a walk is the quickest search.
    std::vector<Attribute, WipingAllocator<Attribute>> m_attributes;
};
