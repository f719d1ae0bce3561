#include "vpn/Common/Xml/NVAttributes.h"

#include <list>
#include <string>

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pointee;
using ::testing::UnorderedElementsAre;
using namespace std::string_literals;

std::list<std::string> namesOf(const NVAttributes& attributes)
{
    std::list<std::string> names;
    return attributes.getAttributeList(names);
}

NVAttributes oneAttribute(const std::string& name, const std::string& value, bool userOverride)
{
    NVAttributes attributes;
    attributes.addNVPair(name, value, userOverride);
    return attributes;
}

TEST(NVAttributes, startsEmpty)
{
    const NVAttributes attributes;
    EXPECT_EQ(attributes.numAttributes(), 0U);
    EXPECT_THAT(namesOf(attributes), IsEmpty());
    EXPECT_FALSE(attributes.hasAttribute(""));
}

TEST(NVAttributes, keepsValueAndFlag)
{
    NVAttributes attributes;
    attributes.addNVPair("locked", "1", false);
    attributes.addNVPair("free", "2", true);
    EXPECT_EQ(attributes.numAttributes(), 2U);
    EXPECT_EQ(attributes.getAttributeValue("locked"), "1");
    EXPECT_EQ(attributes.getAttributeValue("free"), "2");
    EXPECT_FALSE(attributes.userOverrideAllowed("locked"));
    EXPECT_TRUE(attributes.userOverrideAllowed("free"));
}

TEST(NVAttributes, anAttributeGivenWithoutAFlagMayBeOverridden)
{
    NVAttributes attributes;
    attributes.addNVPair("name", "value");
    EXPECT_TRUE(attributes.userOverrideAllowed("name"));
}

TEST(NVAttributes, anUnknownNameHasNeitherValueNorFlag)
{
    const NVAttributes attributes = oneAttribute("known", "value", true);
    EXPECT_FALSE(attributes.hasAttribute("unknown"));
    EXPECT_EQ(attributes.getAttributeValue("unknown"), "");
    EXPECT_FALSE(attributes.userOverrideAllowed("unknown"));
}

TEST(NVAttributes, anEmptyValueIsToldFromNoneByItsPresence)
{
    const NVAttributes attributes = oneAttribute("empty", "", true);
    EXPECT_TRUE(attributes.hasAttribute("empty"));
    EXPECT_EQ(attributes.getAttributeValue("empty"), "");
    EXPECT_EQ(attributes.numAttributes(), 1U);
}

TEST(NVAttributes, anEmptyNameIsANameToo)
{
    const NVAttributes attributes = oneAttribute("", "value", true);
    EXPECT_TRUE(attributes.hasAttribute(""));
    EXPECT_EQ(attributes.getAttributeValue(""), "value");
}

TEST(NVAttributes, namesAreComparedWholeAndWithTheirCase)
{
    const NVAttributes attributes = oneAttribute("name", "value", true);
    for (const std::string& other : {"Name"s, "nam"s, "names"s, " name"s, "name\0"s}) {
        EXPECT_FALSE(attributes.hasAttribute(other)) << other;
    }
}

TEST(NVAttributes, aSecondAdditionReplacesTheValueAndKeepsTheFirstFlag)
{
    for (const bool first : {false, true}) {
        NVAttributes attributes;
        attributes.addNVPair("name", "first", first);
        attributes.addNVPair("name", "second", !first);
        EXPECT_EQ(attributes.numAttributes(), 1U);
        EXPECT_EQ(attributes.getAttributeValue("name"), "second");
        EXPECT_EQ(attributes.userOverrideAllowed("name"), first);
    }
}

TEST(NVAttributes, replacingAValueByALongerOrShorterOneLeavesItsNeighboursAlone)
{
    NVAttributes attributes;
    attributes.addNVPair("a", "left", false);
    attributes.addNVPair("b", "middle", true);
    attributes.addNVPair("c", "right", false);
    for (const std::string& value : {std::string(1000, 'x'), "y"s, ""s, "back again"s}) {
        attributes.addNVPair("b", value);
        EXPECT_EQ(attributes.getAttributeValue("a"), "left");
        EXPECT_EQ(attributes.getAttributeValue("b"), value);
        EXPECT_EQ(attributes.getAttributeValue("c"), "right");
        EXPECT_THAT(namesOf(attributes), ElementsAre("a", "b", "c"));
        EXPECT_FALSE(attributes.userOverrideAllowed("a"));
        EXPECT_FALSE(attributes.userOverrideAllowed("c"));
    }
}

TEST(NVAttributes, aShorterValueLeavesNothingOfTheOneItReplaces)
{
    NVAttributes attributes;
    attributes.addNVPair("a", "a value that is longer than a short string");
    // Where it lies, and where the shorter one will: its tail stays there unless it is wiped.
    const volatile char* place = attributes.find("a")->value.data();
    attributes.addNVPair("a", "short");
    ASSERT_EQ(attributes.find("a")->value.data(), place);
    std::string left;
    for (std::size_t i = 0; i < attributes.find("a")->value.capacity(); ++i) {
        left += place[i];
    }
    EXPECT_EQ(left, "short" + std::string(left.size() - 5, '\0'));
}

TEST(NVAttributes, aValueEndsAtItsFirstNulByte)
{
    const NVAttributes attributes = oneAttribute("name", "before\0behind"s, true);
    EXPECT_EQ(attributes.getAttributeValue("name"), "before");
}

TEST(NVAttributes, aNameIsKeptWithItsNulByte)
{
    NVAttributes attributes;
    attributes.addNVPair("a\0b"s, "1");
    attributes.addNVPair("a", "2");
    EXPECT_THAT(namesOf(attributes), ElementsAre("a", "a\0b"s));
    EXPECT_EQ(attributes.getAttributeValue("a\0b"s), "1");
}

TEST(NVAttributes, namesAreListedInAscendingOrderOfTheirBytes)
{
    NVAttributes attributes;
    for (const char* name : {"b", "\xc3\xa9", "a", "B", "ab", "", "Z", "1"}) {
        attributes.addNVPair(name, "");
    }
    EXPECT_THAT(namesOf(attributes), ElementsAre("", "1", "B", "Z", "a", "ab", "b", "\xc3\xa9"));
}

TEST(NVAttributes, namesAreAppendedToTheListAndTheListItselfIsReturned)
{
    NVAttributes attributes;
    attributes.addNVPair("a", "");
    attributes.addNVPair("B", "");
    std::list<std::string> names{"z"};
    EXPECT_EQ(&attributes.getAttributeList(names), &names);
    EXPECT_THAT(names, ElementsAre("z", "B", "a"));
}

TEST(NVAttributes, walksOverNamesValuesAndFlags)
{
    NVAttributes attributes;
    attributes.addNVPair("b", "2", false);
    attributes.addNVPair("a", "1", true);
    std::list<std::string> seen;
    for (const NVAttributes::Attribute& attribute : attributes) {
        seen.push_back(std::string(attribute.name) + "=" + std::string(attribute.value) +
                       (attribute.userOverride ? "+" : "-"));
    }
    EXPECT_THAT(seen, UnorderedElementsAre("a=1+", "b=2-"));
}

TEST(NVAttributes, sortedGivesAllInAscendingOrderOfTheirNames)
{
    NVAttributes attributes;
    EXPECT_THAT(attributes.sorted(), IsEmpty());
    attributes.addNVPair("b", "2", false);
    attributes.addNVPair("B", "3", true);
    attributes.addNVPair("a", "1", true);
    EXPECT_THAT(attributes.sorted(), ElementsAre(Pointee(NVAttributes::Attribute("B", "3", true)),
                                                 Pointee(NVAttributes::Attribute("a", "1", true)),
                                                 Pointee(NVAttributes::Attribute("b", "2", false))));
}

TEST(NVAttributes, clearRemovesValuesAndFlags)
{
    NVAttributes attributes;
    attributes.addNVPair("name", "value", false);
    attributes.clear();
    EXPECT_EQ(attributes.numAttributes(), 0U);
    EXPECT_FALSE(attributes.hasAttribute("name"));
    attributes.addNVPair("name", "again", true);
    EXPECT_TRUE(attributes.userOverrideAllowed("name"));
}

TEST(NVAttributes, copiesAreIndependent)
{
    NVAttributes source = oneAttribute("name", "value", false);
    const NVAttributes copy(source);
    NVAttributes assigned = oneAttribute("other", std::string(100, 'x'), true);
    assigned = source;
    EXPECT_EQ(copy, source);
    EXPECT_EQ(assigned, source);
    source.addNVPair("name", "changed");
    EXPECT_EQ(copy.getAttributeValue("name"), "value");
    EXPECT_EQ(assigned.getAttributeValue("name"), "value");
    EXPECT_FALSE(assigned.userOverrideAllowed("name"));
    EXPECT_FALSE(assigned.hasAttribute("other"));
}

TEST(NVAttributes, equalSetsNeedNotBeFilledInTheSameOrder)
{
    NVAttributes one;
    one.addNVPair("a", "1", true);
    one.addNVPair("b", "2", false);
    NVAttributes other;
    other.addNVPair("b", "to be replaced", false);
    other.addNVPair("a", "1", true);
    other.addNVPair("b", "2", true);
    EXPECT_TRUE(one == other);
    EXPECT_FALSE(one != other);
    EXPECT_EQ(NVAttributes(), NVAttributes());
}

TEST(NVAttributes, aDifferenceInNameValueFlagOrCountMakesSetsUnequal)
{
    const NVAttributes base = oneAttribute("name", "value", true);
    NVAttributes more = base;
    more.addNVPair("z", "");
    for (const NVAttributes& other :
         {oneAttribute("Name", "value", true), oneAttribute("name", "valu", true), oneAttribute("name", "Value", true),
          oneAttribute("name", "value", false), oneAttribute("namev", "alue", true), more, NVAttributes()}) {
        EXPECT_FALSE(base == other);
        EXPECT_TRUE(base != other);
        EXPECT_FALSE(other == base);
    }
}

} // namespace
