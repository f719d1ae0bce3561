#include "vpn/Common/Xml/XmlHierarchicalMgr.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/vpn/Common/Xml/SmallStack.h"
#include "vpn/Common/Xml/XmlHierarchicalElement.h"
#include "vpn/Common/Xml/XmlParser.h"

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::runOnASmallStack;
using obg::test::ScratchFolder;
using obg::test::sourceTag;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr long kSuccess = 0;
constexpr long kFailed = 0xFE000009L;

auto noElement(const std::string& function, int line)
{
    return IsDebugMessage('E', debugText(function, sourceTag("vpn/Common/Xml/XmlHierarchicalMgr"), line,
                                         "Called when no element is set"));
}

std::string dumpOf(const XmlHierarchicalMgr& tree)
{
    std::string out;
    return tree.dump(out);
}

/** The dump of the tree of a document that must parse. */
std::string dumpOf(const std::string& document)
{
    long status = -1;
    const XmlHierarchicalMgr tree(status, document, false, true);
    EXPECT_EQ(status, kSuccess) << document;
    return dumpOf(tree);
}

// Trees of documents.

TEST(XmlHierarchicalMgr, aDocumentBecomesATree)
{
    EXPECT_EQ(dumpOf("<config id='7'>v<item/></config>"), "\nconfig : v\n\t- id : 7\n\nitem : \n");
    EXPECT_EQ(dumpOf("<a><b><c/></b><d/></a>"), "\na : \n\nb : \n\nc : \n\nd : \n");
}

TEST(XmlHierarchicalMgr, childrenHangBelowTheirOwnParents)
{
    long status = -1;
    const XmlHierarchicalMgr tree(status, "<a><b><c/></b><d/></a>", false, true);
    EXPECT_NE(tree.getChild("b", "", "")->findChildElement("c", "", ""), nullptr);
    EXPECT_EQ(tree.getChild("c", "", ""), nullptr);
    EXPECT_NE(tree.getChild("d", "", ""), nullptr);
    EXPECT_EQ(tree.getChild("d", "", "")->findChildElement("c", "", ""), nullptr);
}

TEST(XmlHierarchicalMgr, textBehindAChildBelongsToTheParentAgain)
{
    const CapturedLog log;
    EXPECT_EQ(dumpOf("<a> x <b>1</b> y <c/>z</a>"), "\na : xyz\n\nb : 1\n\nc : \n");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(XmlHierarchicalMgr, mixedContentKeepsItsTextInOrder)
{
    EXPECT_EQ(dumpOf("<p>The <em>quick</em> brown <em>fox <b>jumps</b> over</em> the &lt;lazy&gt; dog.</p>"),
              "\np : Thebrownthe<lazy>dog.\n\nem : quick\n\nem : foxover\n\nb : jumps\n");
}

TEST(XmlHierarchicalMgr, aDocumentOf200LevelsIsReadToItsEnd)
{
    std::string document;
    for (int level = 0; level < 200; ++level) {
        document += "<l" + std::to_string(level) + ">";
    }
    document += "deep";
    for (int level = 199; level >= 0; --level) {
        document += "</l" + std::to_string(level) + ">";
    }
    long status = -1;
    const XmlHierarchicalMgr tree(status, document, false, true);
    EXPECT_EQ(status, kSuccess);
    EXPECT_EQ(tree.getDescendantValue("l199"), "deep");
    EXPECT_EQ(tree.getChild("l199", "", ""), nullptr);
}

std::string inventory(int items)
{
    std::string document = "<inventory>";
    for (int i = 0; i < items; ++i) {
        const std::string number = std::to_string(i);
        document += "\n  <item id='" + number + "' unit='piece'><name>Item " + number + "</name><note>in &lt;box " +
                    number + "&gt;</note></item>";
    }
    return document + "\n</inventory>\n";
}

TEST(XmlHierarchicalMgr, aDocumentOfSeveralMegabytesIsReadWhole)
{
    constexpr int kItems = 60000;
    const std::string document = inventory(kItems);
    ASSERT_GT(document.size(), 5'000'000U);
    long status = -1;
    const XmlHierarchicalMgr tree(status, document, false, true);
    ASSERT_EQ(status, kSuccess);
    const XmlHierarchicalElement* last = tree.getChild("item", "id", std::to_string(kItems - 1));
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->getDescendantValue("name"), "Item 59999");
    EXPECT_EQ(last->getDescendantValue("note"), "in<box 59999>");
    const std::string dump = dumpOf(tree);
    // The root has two lines; an item has two, each of its children two, and each of its attributes one.
    EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), 2 + kItems * 8L);
}

double cpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/** The least of three measurements: other work on the machine only ever adds. */
double cpuSecondsToBuild(int items)
{
    const std::string document = inventory(items);
    double least = 1e9;
    for (int round = 0; round < 3; ++round) {
        const double begin = cpuSeconds();
        long status = -1;
        const XmlHierarchicalMgr tree(status, document, false, true);
        EXPECT_EQ(status, kSuccess);
        least = std::min(least, cpuSeconds() - begin);
    }
    return least;
}

TEST(XmlHierarchicalMgr, aTreeIsBuiltInLinearTime)
{
    // 16 times the document takes about 16 times the work; a quadratic step would make it 256 times.
    EXPECT_LT(cpuSecondsToBuild(16000), 64 * cpuSecondsToBuild(1000));
}

// The parsing constructor.

TEST(XmlHierarchicalMgr, readsAFileWhenTheInputIsNotText)
{
    const ScratchFolder folder;
    long status = -1;
    const XmlHierarchicalMgr tree(status, folder.write("a.xml", "<a>x</a>"), false, false);
    EXPECT_EQ(status, kSuccess);
    EXPECT_EQ(dumpOf(tree), "\na : x\n");
}

TEST(XmlHierarchicalMgr, theFlagChangesNothing)
{
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", "<a>x</a>");
    for (const bool flag : {false, true}) {
        long status = -1;
        EXPECT_EQ(dumpOf(XmlHierarchicalMgr(status, path, flag, false)), "\na : x\n");
        EXPECT_EQ(dumpOf(XmlHierarchicalMgr(status, "<a>x</a>", flag, true)), "\na : x\n");
    }
}

TEST(XmlHierarchicalMgr, aFailedParseLeavesWhatWasReadBefore)
{
    const CapturedLog log;
    long status = 0;
    const XmlHierarchicalMgr tree(status, "<a>x<b id='1'/>", false, true);
    EXPECT_EQ(status, kFailed);
    EXPECT_EQ(dumpOf(tree), "\na : x\n\nb : \n\t- id : 1\n");
}

TEST(XmlHierarchicalMgr, withoutADocumentThereIsNoTree)
{
    const CapturedLog log;
    const ScratchFolder folder;
    for (const auto& [input, isText] :
         {std::pair<std::string, bool>{"", true}, {"", false}, {" \n", true}, {folder.path("missing"), false}}) {
        long status = 0;
        const XmlHierarchicalMgr tree(status, input, false, isText);
        EXPECT_EQ(status, kFailed) << input;
        EXPECT_EQ(dumpOf(tree), "");
    }
}

// The sink.

TEST(XmlHierarchicalMgr, theFirstElementIsTheRootAndTheNextOnesItsChildren)
{
    XmlHierarchicalMgr tree;
    tree.addElement("a");
    tree.addElement("b");
    tree.setElementValue("x");
    tree.addAttribute("n", "v");
    tree.endElement("not looked at");
    tree.setElementValue("y");
    tree.endElement("a");
    EXPECT_EQ(dumpOf(tree), "\na : y\n\nb : x\n\t- n : v\n");
}

TEST(XmlHierarchicalMgr, textWithoutAnElementIsLoggedUnlessItIsBlank)
{
    const CapturedLog log;
    XmlHierarchicalMgr tree;
    tree.setElementValue("");
    tree.setElementValue(" \n\r\t");
    EXPECT_THAT(log.records(), IsEmpty());
    tree.setElementValue(" x ");
    tree.setElementValue("\v");
    tree.addElement("a");
    tree.endElement("a");
    tree.setElementValue("y");
    const auto record = noElement("setElementValue", 91);
    EXPECT_THAT(log.records(), ElementsAre(record, record, record));
    EXPECT_EQ(dumpOf(tree), "\na : \n");
}

TEST(XmlHierarchicalMgr, anAttributeWithoutAnElementIsLoggedUnlessBothPartsAreBlank)
{
    const CapturedLog log;
    XmlHierarchicalMgr tree;
    tree.addAttribute("", "");
    tree.addAttribute(" \n", "\r\t");
    EXPECT_THAT(log.records(), IsEmpty());
    tree.addAttribute("n", " ");
    tree.addAttribute(" ", "v");
    const auto record = noElement("addAttribute", 104);
    EXPECT_THAT(log.records(), ElementsAre(record, record));
}

TEST(XmlHierarchicalMgr, anEndTagTooManyIsHarmless)
{
    XmlHierarchicalMgr tree;
    tree.endElement("a");
    tree.addElement("a");
    tree.endElement("a");
    tree.endElement("a");
    EXPECT_EQ(dumpOf(tree), "\na : \n");
}

TEST(XmlHierarchicalMgr, aSecondParseReplacesTheFirstTree)
{
    XmlHierarchicalMgr tree;
    XmlParser parser(&tree);
    ASSERT_EQ(parser.parseXml("<a><b/></a>", false), 0U);
    ASSERT_EQ(parser.parseXml("<c>x</c>", false), 0U);
    EXPECT_EQ(dumpOf(tree), "\nc : x\n");
}

TEST(XmlHierarchicalMgr, aParseBehindAFailedOneGoesOnWhereThatStopped)
{
    const CapturedLog log;
    XmlHierarchicalMgr tree;
    XmlParser parser(&tree);
    ASSERT_EQ(parser.parseXml("<a>", false), 0xFE000009U);
    ASSERT_EQ(parser.parseXml("<c>x</c>", false), 0U);
    EXPECT_EQ(dumpOf(tree), "\na : \n\nc : x\n");
}

// Queries.

TEST(XmlHierarchicalMgr, queriesNeverGiveTheRoot)
{
    long status = -1;
    const XmlHierarchicalMgr tree(status, "<a id='1'><b/></a>", false, true);
    EXPECT_EQ(tree.getChild("a", "", ""), nullptr);
    EXPECT_EQ(tree.getDescendant("a", "id", "1"), nullptr);
    EXPECT_EQ(tree.getDescendantValue("a"), "");
    const XmlHierarchicalMgr nested(status, "<a><a>inner</a></a>", false, true);
    ASSERT_NE(nested.getChild("a", "", ""), nullptr);
    EXPECT_EQ(nested.getDescendantValue("a"), "inner");
}

TEST(XmlHierarchicalMgr, childrenAreToldApartByAnAttribute)
{
    long status = -1;
    const XmlHierarchicalMgr tree(status, "<a><b id='1'>one</b><b id='2'>two</b></a>", false, true);
    const XmlHierarchicalElement* first = tree.getChild("b", "", "");
    const XmlHierarchicalElement* second = tree.getChild("b", "id", "2");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->getAttribute("id"), "1");
    EXPECT_EQ(second->getAttribute("id"), "2");
    EXPECT_EQ(tree.getDescendant("b", "id", "2"), second);
}

TEST(XmlHierarchicalMgr, aDirectChildOfTheRootIsFoundBeforeADeeperNode)
{
    long status = -1;
    const XmlHierarchicalMgr tree(status, "<a><b><x>deep</x></b><x>direct</x></a>", false, true);
    EXPECT_EQ(tree.getDescendantValue("x"), "direct");
    EXPECT_EQ(tree.getDescendantValue("unknown"), "");
}

TEST(XmlHierarchicalMgr, withoutARootQueriesFindNothing)
{
    const XmlHierarchicalMgr tree;
    EXPECT_EQ(tree.getChild("a", "", ""), nullptr);
    EXPECT_EQ(tree.getDescendant("a", "", ""), nullptr);
    EXPECT_EQ(tree.getDescendantValue("a"), "");
}

TEST(XmlHierarchicalMgr, dumpReplacesWhatTheStringHeldAndReturnsIt)
{
    std::string out = "old";
    const XmlHierarchicalMgr empty;
    EXPECT_EQ(&empty.dump(out), &out);
    EXPECT_EQ(out, "");
    out = "old";
    long status = -1;
    EXPECT_EQ(XmlHierarchicalMgr(status, "<a/>", false, true).dump(out), "\na : \n");
}

// Comparison and assignment.

TEST(XmlHierarchicalMgr, treesAreEqualWhenTheirRootsAreOrBothHaveNone)
{
    long status = -1;
    const XmlHierarchicalMgr none;
    const XmlHierarchicalMgr one(status, "<a><b>x</b></a>", false, true);
    const XmlHierarchicalMgr same(status, "<a>\n<b>x</b>\n</a>", false, true);
    const XmlHierarchicalMgr other(status, "<a><b>y</b></a>", false, true);
    EXPECT_TRUE(none == XmlHierarchicalMgr());
    EXPECT_FALSE(none != XmlHierarchicalMgr());
    EXPECT_TRUE(one == same);
    EXPECT_FALSE(one != same);
    EXPECT_TRUE(one != other);
    EXPECT_TRUE(one != none);
    EXPECT_TRUE(none != one);
}

TEST(XmlHierarchicalMgr, assignmentCopiesWithAndWithoutRoots)
{
    long status = -1;
    const XmlHierarchicalMgr none;
    const XmlHierarchicalMgr source(status, "<a id='1'>x<b/></a>", false, true);
    XmlHierarchicalMgr target;
    EXPECT_EQ(&(target = none), &target);
    EXPECT_TRUE(target == none);
    target = source;
    EXPECT_EQ(dumpOf(target), "\na : x\n\t- id : 1\n\nb : \n");
    EXPECT_TRUE(target == source);
    target = XmlHierarchicalMgr(status, "<c/>", false, true);
    EXPECT_EQ(dumpOf(target), "\nc : \n");
    target = none;
    EXPECT_EQ(dumpOf(target), "");
}

TEST(XmlHierarchicalMgr, assignmentToItselfChangesNothing)
{
    long status = -1;
    XmlHierarchicalMgr tree(status, "<a>x<b/></a>", false, true);
    const XmlHierarchicalElement* child = tree.getChild("b", "", "");
    XmlHierarchicalMgr& same = tree;
    tree = same;
    EXPECT_EQ(tree.getChild("b", "", ""), child);
}

TEST(XmlHierarchicalMgr, anOpenRootStaysOpenBehindAnAssignment)
{
    const CapturedLog log;
    long status = -1;
    const XmlHierarchicalMgr source(status, "<b>x</b>", false, true);
    XmlHierarchicalMgr tree;
    tree.addElement("a");
    tree = source;
    tree.setElementValue("y");
    tree.addElement("c");
    EXPECT_EQ(dumpOf(tree), "\nb : xy\n\nc : \n");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(XmlHierarchicalMgr, whatIsOpenBelowTheRootIsGoneBehindAnAssignmentButStillEnds)
{
    const CapturedLog log;
    long status = -1;
    const XmlHierarchicalMgr source(status, "<b>x</b>", false, true);
    XmlHierarchicalMgr tree;
    tree.addElement("a");
    tree.addElement("child");
    tree.addElement("grandchild");
    tree = source;
    tree.setElementValue("y");
    tree.endElement("grandchild");
    tree.addAttribute("n", "v");
    EXPECT_EQ(dumpOf(tree), "\nb : x\n");
    EXPECT_THAT(log.records(), ElementsAre(noElement("setElementValue", 91), noElement("addAttribute", 104)));
    tree.endElement("child");
    tree.setElementValue("z");
    tree.addElement("next");
    EXPECT_EQ(dumpOf(tree), "\nb : xz\n\nnext : \n");
}

TEST(XmlHierarchicalMgr, aNewRootBehindAnAssignmentTakesThePlaceOfTheOpenOnes)
{
    const CapturedLog log;
    long status = -1;
    const XmlHierarchicalMgr source(status, "<b>x</b>", false, true);
    XmlHierarchicalMgr tree;
    tree.addElement("a");
    tree.addElement("child");
    tree = source;
    tree.addElement("next");
    tree.endElement("next");
    tree.setElementValue("y");
    EXPECT_EQ(dumpOf(tree), "\nnext : \n");
    EXPECT_THAT(log.records(), ElementsAre(noElement("setElementValue", 91)));
}

TEST(XmlHierarchicalMgr, anOpenRootIsForgottenWithItsTree)
{
    const CapturedLog log;
    XmlHierarchicalMgr tree;
    tree.addElement("a");
    tree = XmlHierarchicalMgr();
    tree.setElementValue("y");
    EXPECT_EQ(dumpOf(tree), "");
    EXPECT_THAT(log.records(), ElementsAre(noElement("setElementValue", 91)));
}

TEST(XmlHierarchicalMgr, mayBeDestroyedThroughItsBaseWhileElementsAreOpen)
{
    auto tree = std::make_unique<XmlHierarchicalMgr>();
    tree->addElement("a");
    tree->addElement("b");
    const std::unique_ptr<XmlMgr> base = std::move(tree);
}

TEST(XmlHierarchicalMgr, takesAMillionLevelsFromItsSource)
{
    runOnASmallStack([] {
        constexpr int kLevels = 1'000'000;
        XmlHierarchicalMgr tree;
        for (int level = 0; level < kLevels; ++level) {
            tree.addElement("a");
        }
        tree.setElementValue("deep");
        for (int level = 0; level < kLevels; ++level) {
            tree.endElement("a");
        }
        EXPECT_EQ(tree.getDescendant("missing", "", ""), nullptr);
        const std::string dump = dumpOf(tree);
        EXPECT_EQ(std::count(dump.begin(), dump.end(), ':'), kLevels);
        EXPECT_TRUE(dump.ends_with("\na : deep\n"));
    });
}

} // namespace
