#include "vpn/Common/Xml/XmlElement.h"

#include <string>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

static_assert(std::has_virtual_destructor_v<XmlElement>);

TEST(XmlElement, startsWithItsNameAlone)
{
    XmlElement element("vpn:file");
    EXPECT_EQ(element.getElementName(), "vpn:file");
    EXPECT_EQ(element.name(), "vpn:file");
    EXPECT_EQ(element.getElementValue(), "");
    EXPECT_EQ(element.getElementAttributes()->numAttributes(), 0U);
}

TEST(XmlElement, textIsAppendedPieceByPiece)
{
    XmlElement element("a");
    element.appendElementValue("one");
    element.appendElementValue("");
    element.appendElementValue("two");
    EXPECT_EQ(element.getElementValue(), "onetwo");
    EXPECT_EQ(element.value(), "onetwo");
}

TEST(XmlElement, setReplacesTheText)
{
    XmlElement element("a");
    element.appendElementValue("a text that is longer than the next");
    element.setElementValue("short");
    EXPECT_EQ(element.getElementValue(), "short");
    element.appendElementValue("er");
    EXPECT_EQ(element.getElementValue(), "shorter");
    element.setElementValue("");
    EXPECT_EQ(element.getElementValue(), "");
}

TEST(XmlElement, textMayBeReplacedByACopyOfItself)
{
    XmlElement element("a");
    element.setElementValue("text");
    element.setElementValue(element.getElementValue());
    element.appendElementValue(element.getElementValue());
    EXPECT_EQ(element.getElementValue(), "texttext");
}

TEST(XmlElement, attributesAreTheUsersToOverride)
{
    XmlElement element("a");
    element.addNVPair("name", "first");
    element.addNVPair("name", "second");
    EXPECT_EQ(element.getElementAttributes()->getAttributeValue("name"), "second");
    EXPECT_TRUE(element.getElementAttributes()->userOverrideAllowed("name"));
}

TEST(XmlElement, attributesAreItsOwnAndNoCopy)
{
    XmlElement element("a");
    element.getElementAttributes()->addNVPair("name", "value", false);
    EXPECT_EQ(element.getElementAttributes()->getAttributeValue("name"), "value");
    EXPECT_EQ(element.getElementAttributes(), element.getElementAttributes());
}

} // namespace
