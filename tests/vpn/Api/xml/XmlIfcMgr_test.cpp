#include "vpn/Api/xml/XmlIfcMgr.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Common/Xml/XmlParser.h"

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::sourceTag;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kFailed = 0xFE000009;

auto noElement(const std::string& function, int line)
{
    return IsDebugMessage(
        'E', debugText(function, sourceTag("vpn/Api/xml/XmlIfcMgr"), line, "Called when no element is set"));
}

/** Every element as "name=text". */
std::vector<std::string> namesAndTexts(XmlIfcMgr& document)
{
    std::vector<std::string> all;
    for (const XmlElement* element : document.getElementList()) {
        all.push_back(element->getElementName() + "=" + element->getElementValue());
    }
    return all;
}

std::uint32_t parse(XmlIfcMgr& document, const std::string& text)
{
    return XmlParser(&document).parseXml(text, false);
}

TEST(XmlIfcMgr, startsEmpty)
{
    XmlIfcMgr document;
    EXPECT_THAT(document.getElementList(), IsEmpty());
}

TEST(XmlIfcMgr, anEmptyRootIsOneElementWithoutTextAndAttributes)
{
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a/>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a="));
    EXPECT_EQ(document.getElementList().front()->getElementAttributes()->numAttributes(), 0U);
}

TEST(XmlIfcMgr, elementsStandInTheOrderOfTheirStartTagsWhateverTheirDepth)
{
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a><b><c><d/></c></b><e/></a>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=", "b=", "c=", "d=", "e="));
}

TEST(XmlIfcMgr, aPrefixStaysPartOfTheName)
{
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<p:a xmlns:p='urn:x'><p:b/></p:a>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("p:a=", "p:b="));
}

TEST(XmlIfcMgr, textBehindAChildIsDroppedAndLogged)
{
    const CapturedLog log;
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a>x<b>y</b>z</a>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=x", "b=y"));
    EXPECT_THAT(log.records(), ElementsAre(noElement("setElementValue", 34)));
}

TEST(XmlIfcMgr, blanksBehindAChildAreDroppedInSilence)
{
    const CapturedLog log;
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a>\n\t<b>y</b>\n \t\r\n</a>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=", "b=y"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(XmlIfcMgr, piecesOfATextAreTrimmedAndAppended)
{
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a> p &amp; q <![CDATA[ <r> ]]> s </a>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=p&q<r>s"));
}

TEST(XmlIfcMgr, blankTextGivesAnEmptyValue)
{
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a> \n\t </a>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a="));
}

TEST(XmlIfcMgr, attributesArriveTrimmedAndMayBeOverridden)
{
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a one=' 1 ' two=''/>"), kSuccess);
    const NVAttributes& attributes = *document.getElementList().front()->getElementAttributes();
    EXPECT_EQ(attributes.numAttributes(), 2U);
    EXPECT_EQ(attributes.getAttributeValue("one"), "1");
    EXPECT_TRUE(attributes.hasAttribute("two"));
    EXPECT_TRUE(attributes.userOverrideAllowed("one"));
}

TEST(XmlIfcMgr, anAttributeDeliveredTwiceKeepsTheLaterValue)
{
    XmlIfcMgr document;
    document.addElement("a");
    document.addAttribute("name", "first");
    document.addAttribute("name", "second");
    EXPECT_EQ(document.getElementList().front()->getElementAttributes()->getAttributeValue("name"), "second");
}

TEST(XmlIfcMgr, setNewElementMakesTheElementCurrent)
{
    XmlIfcMgr document;
    document.setNewElement("a");
    document.setElementValue("x");
    document.addElement("b");
    document.setElementValue("y");
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=x", "b=y"));
}

TEST(XmlIfcMgr, anyEndTagEndsTheCurrentElement)
{
    const CapturedLog log;
    XmlIfcMgr document;
    document.addElement("a");
    document.endElement("quite another");
    document.setElementValue("x");
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a="));
    EXPECT_THAT(log.records(), ElementsAre(noElement("setElementValue", 34)));
}

TEST(XmlIfcMgr, textWithoutAnElementIsLoggedUnlessItIsBlank)
{
    const CapturedLog log;
    XmlIfcMgr document;
    for (const char* blank : {"", " ", "\n\r\t "}) {
        document.setElementValue(blank);
    }
    EXPECT_THAT(log.records(), IsEmpty());
    // Only blank, line feed, carriage return and tab are blank here.
    for (const char* text : {"x", " x ", "\v", "\f"}) {
        document.setElementValue(text);
    }
    const auto record = noElement("setElementValue", 34);
    EXPECT_THAT(log.records(), ElementsAre(record, record, record, record));
    EXPECT_THAT(document.getElementList(), IsEmpty());
}

TEST(XmlIfcMgr, anAttributeWithoutAnElementIsLoggedUnlessBothPartsAreBlank)
{
    const CapturedLog log;
    XmlIfcMgr document;
    document.addAttribute("", "");
    document.addAttribute(" \n", "\r\t");
    EXPECT_THAT(log.records(), IsEmpty());
    document.addAttribute("name", "");
    document.addAttribute("", "value");
    document.addAttribute("name", "value");
    const auto record = noElement("addAttribute", 49);
    EXPECT_THAT(log.records(), ElementsAre(record, record, record));
    EXPECT_THAT(document.getElementList(), IsEmpty());
}

TEST(XmlIfcMgr, aFailedParseLeavesWhatWasReadBefore)
{
    const CapturedLog log;
    XmlIfcMgr document;
    EXPECT_EQ(parse(document, "<a>x<b>y</b>"), kFailed);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=x", "b=y"));
}

TEST(XmlIfcMgr, aSecondParseAppendsToTheFirst)
{
    XmlIfcMgr document;
    ASSERT_EQ(parse(document, "<a>x</a>"), kSuccess);
    ASSERT_EQ(parse(document, "<b>y</b>"), kSuccess);
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=x", "b=y"));
}

TEST(XmlIfcMgr, theListIsTheCollectorsOwn)
{
    XmlIfcMgr document;
    const auto& list = document.getElementList();
    document.addElement("a");
    EXPECT_EQ(&list, &document.getElementList());
    EXPECT_EQ(list.size(), 1U);
}

TEST(XmlIfcMgr, elementsMayBeDeletedEarlyAndTwice)
{
    const CapturedLog log;
    XmlIfcMgr document;
    document.addElement("a");
    document.addElement("b");
    document.deleteXmlElements();
    document.deleteXmlElements();
    EXPECT_THAT(document.getElementList(), ElementsAre(nullptr, nullptr));
    // There is no current element any more.
    document.setElementValue("x");
    EXPECT_THAT(log.records(), ElementsAre(noElement("setElementValue", 34)));
    document.addElement("c");
    EXPECT_EQ(document.getElementList().back()->getElementName(), "c");
}

/** Counts how many of it there are. */
class CountedElement : public XmlElement
{
public:
    CountedElement() : XmlElement("counted") { ++s_count; }
    ~CountedElement() override { --s_count; }

    static inline int s_count = 0;
};

TEST(XmlIfcMgr, whatTheCallerPutsIntoTheListIsDestroyedWithIt)
{
    {
        XmlIfcMgr document;
        document.addElement("a");
        document.getElementList().push_front(new CountedElement);
        document.getElementList().push_back(nullptr);
        document.getElementList().push_back(new CountedElement);
        EXPECT_EQ(CountedElement::s_count, 2);
        document.deleteXmlElements();
        EXPECT_EQ(CountedElement::s_count, 0);
        document.getElementList().push_back(new CountedElement);
    }
    EXPECT_EQ(CountedElement::s_count, 0);
}

TEST(XmlIfcMgr, whatTheCallerTakesOffTheListIsTheCallers)
{
    std::unique_ptr<XmlElement> taken;
    {
        XmlIfcMgr document;
        ASSERT_EQ(parse(document, "<a>1<b>2</b></a>"), kSuccess);
        taken.reset(document.getElementList().front());
        document.getElementList().pop_front();
        EXPECT_THAT(namesAndTexts(document), ElementsAre("b=2"));
    }
    EXPECT_EQ(taken->getElementValue(), "1");
}

TEST(XmlIfcMgr, anOpenElementThatTheCallerDestroysGetsNothingMore)
{
    const CapturedLog log;
    XmlIfcMgr document;
    document.addElement("a");
    document.addElement("b");
    delete document.getElementList().back();
    document.getElementList().pop_back();
    document.setElementValue("x");
    document.addAttribute("name", "value");
    EXPECT_THAT(log.records(), ElementsAre(noElement("setElementValue", 34), noElement("addAttribute", 49)));
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a="));
}

TEST(XmlIfcMgr, anOpenElementGetsItsTextWhereverTheCallerPutsIt)
{
    XmlIfcMgr document;
    document.addElement("a");
    document.addElement("b");
    document.getElementList().reverse();
    document.setElementValue("x");
    EXPECT_THAT(namesAndTexts(document), ElementsAre("b=x", "a="));
}

TEST(XmlIfcMgr, aDerivedCollectorSeesEveryEventOfAParse)
{
    class Spy final : public XmlIfcMgr
    {
    public:
        void addElement(const std::string& name) override
        {
            events.push_back("<" + name);
            XmlIfcMgr::addElement(name);
        }
        void endElement(const std::string& name) override
        {
            events.push_back(">" + name);
            XmlIfcMgr::endElement(name);
        }
        void setElementValue(const std::string& value) override
        {
            events.push_back(value);
            XmlIfcMgr::setElementValue(value);
        }
        void addAttribute(const std::string& name, const std::string& value) override
        {
            events.push_back(name + "=" + value);
            XmlIfcMgr::addAttribute(name, value);
        }

        std::vector<std::string> events;
    };
    Spy document;
    ASSERT_EQ(parse(document, "<a b='1'>x<c/></a>"), kSuccess);
    EXPECT_THAT(document.events, ElementsAre("<a", "b=1", "x", "<c", ">c", ">a"));
    EXPECT_THAT(namesAndTexts(document), ElementsAre("a=x", "c="));
}

TEST(XmlIfcMgr, mayBeDestroyedThroughItsBase)
{
    auto* document = new XmlIfcMgr;
    document->addElement("a");
    const std::unique_ptr<XmlMgr> base(document);
}

} // namespace
