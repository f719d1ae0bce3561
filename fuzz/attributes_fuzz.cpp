// NVAttributes, which keeps all its attributes in one block of memory, against two ordered maps.
// Input: lines that each change one of two sets, the upper-case ones the second.
//     tNAME=VALUE, fNAME=VALUE   sets an attribute, with the flag true or false
//     c   clears     =   makes the first set a copy of the second, +   the second of the first

#include "fuzz/support/Input.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/Xml/NVAttributes.h"

#include <array>
#include <cctype>
#include <map>

namespace {

using obg::test::Input;
using obg::test::require;

struct Sets
{
    NVAttributes attributes;
    std::map<std::string, std::string> values;
    std::map<std::string, bool> flags;
};

void change(Sets& set, const Sets& other, char operation, Input& line)
{
    if (operation == 't' || operation == 'f') {
        const std::string name = line.text('=');
        const std::string value = line.rest();
        set.attributes.addNVPair(name, value, operation == 't');
        set.values[name] = obg::test::cutAtNul(value);
        // The first addition decides on the flag.
        set.flags.emplace(name, operation == 't');
    } else if (operation == 'c') {
        set.attributes.clear();
        set.values.clear();
        set.flags.clear();
    } else if (operation == '=') {
        set = other;
    }
}

void requireSame(const Sets& set)
{
    require(set.attributes.numAttributes() == set.values.size(), "as many attributes as the model has");
    std::list<std::string> names{"before"};
    require(&set.attributes.getAttributeList(names) == &names, "the list is given back");
    auto name = names.begin();
    require(*name++ == "before", "names are appended");
    for (const auto& [expected, value] : set.values) {
        require(name != names.end() && *name++ == expected, "the names in ascending order");
        require(set.attributes.hasAttribute(expected), "the attribute is there");
        require(set.attributes.getAttributeValue(expected) == value, "the value");
        require(set.attributes.userOverrideAllowed(expected) == set.flags.at(expected), "the flag");
    }
    require(name == names.end(), "no more names");
    require(set.attributes.hasAttribute("no such name") == (set.values.count("no such name") == 1), "nothing made up");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    std::array<Sets, 2> sets;
    while (!input.empty()) {
        const std::string text = input.text('\n');
        Input line(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
        const unsigned char operation = line.byte();
        const bool isSecond = std::isupper(operation) != 0 || operation == '+';
        const char word = operation == '+' ? '=' : static_cast<char>(std::tolower(operation));
        change(sets[isSecond ? 1 : 0], sets[isSecond ? 0 : 1], word, line);
    }
    requireSame(sets[0]);
    requireSame(sets[1]);
    const bool isEqual = sets[0].values == sets[1].values && sets[0].flags == sets[1].flags;
    require((sets[0].attributes == sets[1].attributes) == isEqual, "equal when names, values and flags are");
    require((sets[1].attributes != sets[0].attributes) == !isEqual, "unequal otherwise");
    return 0;
}
