#pragma once

#include "vpn/Common/Utility/WipedBytes.h"

#include <cstddef>
#include <cstring>
#include <list>
#include <string>
#include <string_view>
#include <vector>

/// A set of attributes: names, each once, with a value and a flag that says whether
/// the user may override it. Names are compared byte for byte, letter case included. What held a value is zeroed
/// before it is released or reused. Nothing here logs; a set may be read by several threads while none changes it.
class NVAttributes
{
public:
    /// Sets the value of `name` to `value` up to its first NUL byte. The flag is that of the name's first addition and
    /// stays when the value is replaced. Neither text may lie in this set.
    void addNVPair(std::string_view name, std::string_view value, bool userOverride);

    /// The same with the flag true, as attributes of a document have it.
    void addNVPair(std::string_view name, std::string_view value) { addNVPair(name, value, true); }

    /// Appends every name, in ascending byte-wise order, to `names` and returns `names`.
    std::list<std::string>& getAttributeList(std::list<std::string>& names) const;

    /// A copy of the value; empty also when there is no such attribute.
    std::string getAttributeValue(const std::string& name) const;

    bool hasAttribute(const std::string& name) const;

    /// The flag of `name`; false when there is no such attribute.
    bool userOverrideAllowed(const std::string& name) const;

    /// Sets the flag of every attribute to true.
    void allowAllUserOverrides();

    std::size_t numAttributes() const;

    /// Wipes and removes everything.
    void clear();

    /// True when names, values and flags are all the same.
    bool operator==(const NVAttributes& other) const;
    bool operator!=(const NVAttributes& other) const = default;

    /// One attribute as it lies in the set. The views live until the set changes.
    struct Attribute
    {
        std::string_view name;
        std::string_view value;
        bool userOverride;

        bool operator==(const Attribute&) const = default;
    };

    /// All attributes in ascending order of their names.
    std::vector<Attribute> sorted() const;

    /// Walks the attributes in whatever order they lie in the set, which is quicker.
    class Iterator
    {
    public:
        explicit Iterator(const char* record) : m_record(record) {}

        Attribute operator*() const
        {
            const Head sizes = head();
            const char* name = m_record + sizeof sizes;
            return {{name, sizes.nameSize}, {name + sizes.nameSize, sizes.valueSize}, sizes.userOverride != 0};
        }

        Iterator& operator++()
        {
            const Head sizes = head();
            m_record += sizeof sizes + sizes.nameSize + sizes.valueSize;
            return *this;
        }

        bool operator==(const Iterator&) const = default;

    private:
        friend class NVAttributes;

        /// What stands before the bytes of a name and of a value.
        struct Head
        {
            std::size_t nameSize : 63;
            std::size_t userOverride : 1;
            std::size_t valueSize;
        };

        Head head() const
        {
            Head sizes;
            std::memcpy(&sizes, m_record, sizeof sizes);
            return sizes;
        }

        const char* m_record;
    };

    Iterator begin() const { return Iterator(m_records.data()); }
    Iterator end() const { return Iterator(m_records.data() + m_records.size()); }

private:
    /// The attribute of that name, or else end().
    Iterator find(std::string_view name) const;
    void append(const Attribute& attribute);
    void remove(Iterator place);

    /// The attributes one behind the other, the latest last, each as an Iterator::Head, the name and the value. A set
    /// has a handful of them: walking over one block is as quick as a map and takes a quarter of the memory of its
    /// nodes, which counts where a manifest has a hundred thousand sets; and there is one block to wipe.
    WipedBytes m_records;
};
