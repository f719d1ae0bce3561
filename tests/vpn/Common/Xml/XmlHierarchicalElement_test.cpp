#include "vpn/Common/Xml/XmlHierarchicalElement.h"

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <gmock/gmock.h>

#include "tests/vpn/Common/Xml/SmallStack.h"

namespace {

using obg::test::runOnASmallStack;
using ::testing::ElementsAre;
using ::testing::Pair;
using namespace std::string_literals;

using Element = XmlHierarchicalElement;

static_assert(std::has_virtual_destructor_v<Element>);

/** Appends a new child of that name, and gives it. */
Element* addChild(Element& parent, const std::string& name, const std::string& value = "")
{
    auto* child = new Element(name);
    child->setElementValue(value);
    parent.addChildElement(child);
    return child;
}

std::string dumpOf(const Element& element)
{
    std::string out;
    return element.dump(out);
}

/** The element's own text, which only its dump and its parent's queries show. */
std::string valueOf(const Element& element)
{
    const std::string dump = dumpOf(element);
    const std::size_t begin = dump.find(" : ") + 3;
    return dump.substr(begin, dump.find('\n', begin) - begin);
}

std::string nameOf(const Element& element)
{
    const std::string dump = dumpOf(element);
    return dump.substr(1, dump.find(" : ") - 1);
}

TEST(XmlHierarchicalElement, startsWithItsNameAlone)
{
    EXPECT_EQ(dumpOf(Element("p:a")), "\np:a : \n");
}

TEST(XmlHierarchicalElement, setElementValueAppends)
{
    Element element("a");
    element.setElementValue("x");
    element.setElementValue("");
    element.setElementValue("y");
    EXPECT_EQ(valueOf(element), "xy");
}

TEST(XmlHierarchicalElement, resetElementValueReplaces)
{
    Element element("a");
    element.setElementValue("a text that is longer than the next one");
    element.resetElementValue("short");
    EXPECT_EQ(valueOf(element), "short");
    element.resetElementValue("");
    EXPECT_EQ(valueOf(element), "");
}

TEST(XmlHierarchicalElement, valuesEndAtTheirFirstNulByte)
{
    Element element("a");
    element.setElementValue("x\0lost"s);
    element.setElementValue("y\0lost"s);
    EXPECT_EQ(valueOf(element), "xy");
    element.resetElementValue("z\0lost"s);
    EXPECT_EQ(valueOf(element), "z");
}

TEST(XmlHierarchicalElement, attributesAreReadByName)
{
    Element element("a");
    element.addNVPair("id", "7");
    element.addNVPair("id", "8");
    EXPECT_EQ(element.getAttribute("id"), "8");
    EXPECT_EQ(element.getAttribute("ID"), "");
}

TEST(XmlHierarchicalElement, attributesAreListedInOrderBehindWhatIsThere)
{
    Element element("a");
    element.addNVPair("b", "1");
    element.addNVPair("B", "2");
    element.addNVPair("a", "3");
    std::list<std::pair<std::string, std::string>> attributes{{"z", "0"}};
    element.getAttributesList(attributes);
    EXPECT_THAT(attributes, ElementsAre(Pair("z", "0"), Pair("B", "2"), Pair("a", "3"), Pair("b", "1")));
}

TEST(XmlHierarchicalElement, aNullChildIsIgnored)
{
    Element element("a");
    element.addChildElement(nullptr);
    EXPECT_TRUE(element == Element("a"));
}

// Queries.

TEST(XmlHierarchicalElement, findsTheFirstChildOfANameWhenNoAttributeIsAsked)
{
    Element root("a");
    addChild(root, "x");
    Element* first = addChild(root, "b", "1");
    addChild(root, "b", "2");
    EXPECT_EQ(root.findChildElement("b", "", ""), first);
    // Without a name the value of an attribute does not count.
    EXPECT_EQ(root.findChildElement("b", "", "value"), first);
}

TEST(XmlHierarchicalElement, namesAreComparedWholeAndWithTheirCase)
{
    Element root("a");
    addChild(root, "name");
    for (const char* other : {"Name", "nam", "names", ""}) {
        EXPECT_EQ(root.findChildElement(other, "", ""), nullptr) << other;
    }
}

TEST(XmlHierarchicalElement, findsTheChildWithTheAttributeValue)
{
    Element root("a");
    addChild(root, "b");
    addChild(root, "b")->addNVPair("id", "1");
    Element* second = addChild(root, "b");
    second->addNVPair("id", "2");
    addChild(root, "c")->addNVPair("id", "3");
    EXPECT_EQ(root.findChildElement("b", "id", "2"), second);
    EXPECT_EQ(root.findChildElement("b", "id", "3"), nullptr);
    EXPECT_EQ(root.findChildElement("b", "ID", "2"), nullptr);
    EXPECT_EQ(root.findChildElement("b", "id", "22"), nullptr);
}

TEST(XmlHierarchicalElement, anEmptyAttributeValueAsksForOneThatIsThereAndEmpty)
{
    Element root("a");
    addChild(root, "b");
    addChild(root, "b")->addNVPair("id", "1");
    EXPECT_EQ(root.findChildElement("b", "id", ""), nullptr);
    Element* empty = addChild(root, "b");
    empty->addNVPair("id", "");
    EXPECT_EQ(root.findChildElement("b", "id", ""), empty);
}

TEST(XmlHierarchicalElement, onlyDirectChildrenAreFoundAsChildren)
{
    Element root("a");
    addChild(*addChild(root, "b"), "c");
    EXPECT_EQ(root.findChildElement("c", "", ""), nullptr);
    EXPECT_EQ(root.findChildElement("a", "", ""), nullptr);
}

TEST(XmlHierarchicalElement, aDescendantMayBeDeepButIsNeverTheElementItself)
{
    Element root("a");
    Element* deep = addChild(*addChild(*addChild(root, "b"), "c"), "d");
    deep->addNVPair("id", "1");
    EXPECT_EQ(root.getDescendant("d", "", ""), deep);
    EXPECT_EQ(root.getDescendant("d", "id", "1"), deep);
    EXPECT_EQ(root.getDescendant("d", "id", "2"), nullptr);
    EXPECT_EQ(root.getDescendant("a", "", ""), nullptr);
    EXPECT_EQ(root.getDescendant("e", "", ""), nullptr);
}

TEST(XmlHierarchicalElement, allDirectChildrenAreTriedBeforeAnythingDeeper)
{
    Element root("a");
    addChild(*addChild(root, "b"), "x", "deep");
    Element* direct = addChild(root, "x", "direct");
    EXPECT_EQ(root.getDescendant("x", "", ""), direct);
    EXPECT_EQ(root.getDescendantValue("x"), "direct");
}

TEST(XmlHierarchicalElement, belowTheDirectChildrenTheSearchGoesChildByChild)
{
    // x stands three levels down in the first child and two levels down in the second: the first child comes first.
    Element root("a");
    addChild(*addChild(*addChild(root, "b"), "c"), "x", "first");
    addChild(*addChild(root, "d"), "x", "second");
    EXPECT_EQ(root.getDescendantValue("x"), "first");
}

TEST(XmlHierarchicalElement, insideAChildItsOwnChildrenComeFirstAgain)
{
    Element root("a");
    Element* b = addChild(root, "b");
    addChild(*addChild(*b, "c"), "x", "deep");
    addChild(*b, "x", "shallow");
    EXPECT_EQ(root.getDescendantValue("x"), "shallow");
}

TEST(XmlHierarchicalElement, theValueOfAnUnknownDescendantIsEmpty)
{
    Element root("a");
    root.setElementValue("own");
    EXPECT_EQ(root.getDescendantValue("a"), "");
    EXPECT_EQ(root.getDescendantValue("b"), "");
}

// Deletion.

TEST(XmlHierarchicalElement, allChildrenMayBeDeleted)
{
    Element root("a");
    root.setElementValue("x");
    addChild(*addChild(root, "b"), "c");
    root.deleteChildElements();
    EXPECT_EQ(dumpOf(root), "\na : x\n");
    root.deleteChildElements();
    const Element* next = addChild(root, "d");
    EXPECT_EQ(root.findChildElement("d", "", ""), next);
}

TEST(XmlHierarchicalElement, childrenAreDeletedByTheirNames)
{
    Element root("a");
    for (const char* name : {"b", "c", "b", "d", "B"}) {
        addChild(root, name);
    }
    addChild(*root.findChildElement("d", "", ""), "b");
    root.deleteChildElements(std::list<std::string>{"b", "c", "unknown"});
    // Grandchildren are not searched.
    EXPECT_EQ(dumpOf(root), "\na : \n\nd : \n\nb : \n\nB : \n");
    root.deleteChildElements(std::list<std::string>{});
    EXPECT_EQ(dumpOf(root), "\na : \n\nd : \n\nb : \n\nB : \n");
}

TEST(XmlHierarchicalElement, clearKeepsNameAndAttributes)
{
    Element root("a");
    root.setElementValue("text");
    root.addNVPair("id", "7");
    addChild(root, "b");
    root.Clear();
    EXPECT_EQ(dumpOf(root), "\na : \n\t- id : 7\n");
}

// The dump.

TEST(XmlHierarchicalElement, dumpShowsTextAttributesAndChildren)
{
    Element root("config");
    root.setElementValue("v");
    root.addNVPair("id", "7");
    addChild(root, "item");
    EXPECT_EQ(dumpOf(root), "\nconfig : v\n\t- id : 7\n\nitem : \n");
}

TEST(XmlHierarchicalElement, dumpGoesDepthFirstAndListsAttributesInOrder)
{
    Element root("a");
    root.addNVPair("z", "1");
    root.addNVPair("B", "2");
    root.addNVPair("b", "");
    Element* b = addChild(root, "b", "x");
    addChild(*b, "c")->addNVPair("n", "v");
    addChild(root, "d", "y");
    EXPECT_EQ(dumpOf(root), "\na : \n\t- B : 2\n\t- b : \n\t- z : 1\n\nb : x\n\nc : \n\t- n : v\n\nd : y\n");
}

TEST(XmlHierarchicalElement, dumpEscapesNothingAppendsAndReturnsItsArgument)
{
    Element root("a");
    root.setElementValue("<&>\n\"");
    std::string out = "before";
    EXPECT_EQ(&root.dump(out), &out);
    EXPECT_EQ(out, "before\na : <&>\n\"\n");
}

// Comparison.

TEST(XmlHierarchicalElement, equalTreesAreEqual)
{
    const auto fill = [](Element& root) {
        root.setElementValue("x");
        root.addNVPair("id", "1");
        addChild(*addChild(root, "b", "y"), "c")->addNVPair("n", "v");
        addChild(root, "b");
    };
    Element one("a");
    Element other("a");
    fill(one);
    fill(other);
    EXPECT_TRUE(one == other);
    EXPECT_FALSE(one != other);
    EXPECT_TRUE(one.areChildElementsEqual(other));
}

/** Changes one thing of a tree. */
struct Change
{
    const char* what;
    std::function<void(Element&)> apply;
    bool changesChildren;
};

TEST(XmlHierarchicalElement, anyDifferenceMakesTreesUnequal)
{
    const auto fill = [](Element& root) {
        addChild(*addChild(root, "b", "y"), "c")->addNVPair("n", "v");
        addChild(root, "d");
    };
    const Change changes[] = {
        {"text", [](Element& e) { e.setElementValue("x"); }, false},
        {"attribute", [](Element& e) { e.addNVPair("n", "v"); }, false},
        {"more children", [](Element& e) { addChild(e, "b"); }, true},
        {"fewer children", [](Element& e) { e.deleteChildElements({"d"}); }, true},
        {"child's text", [](Element& e) { e.getDescendant("b", "", "")->setElementValue("x"); }, true},
        {"grandchild's attribute", [](Element& e) { e.getDescendant("c", "", "")->addNVPair("n", "w"); }, true},
        {"grandchild's child", [](Element& e) { addChild(*e.getDescendant("c", "", ""), "x"); }, true},
        {"order of the children",
         [](Element& e) {
             e.deleteChildElements();
             addChild(e, "d");
             addChild(*addChild(e, "b", "y"), "c")->addNVPair("n", "v");
         },
         true},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.what);
        Element one("a");
        Element other("a");
        fill(one);
        fill(other);
        change.apply(other);
        EXPECT_FALSE(one == other);
        EXPECT_TRUE(one != other);
        EXPECT_FALSE(other == one);
        EXPECT_EQ(one.areChildElementsEqual(other), !change.changesChildren);
    }
    EXPECT_FALSE(Element("a") == Element("A"));
    EXPECT_TRUE(Element("a").areChildElementsEqual(Element("A")));
}

// Copies.

TEST(XmlHierarchicalElement, aCopyIsDeepAndReplacesWhatWasThere)
{
    Element source("a");
    source.setElementValue("x");
    source.addNVPair("id", "1");
    addChild(*addChild(source, "b", "y"), "c")->addNVPair("n", "v");
    Element copy("old");
    copy.setElementValue("old");
    copy.addNVPair("old", "1");
    addChild(copy, "old");

    EXPECT_EQ(&(copy = source), &copy);
    EXPECT_TRUE(copy == source);
    EXPECT_EQ(dumpOf(copy), "\na : x\n\t- id : 1\n\nb : y\n\nc : \n\t- n : v\n");
    source.getDescendant("c", "", "")->addNVPair("n", "changed");
    source.deleteChildElements();
    EXPECT_EQ(copy.getDescendant("c", "", "")->getAttribute("n"), "v");
}

TEST(XmlHierarchicalElement, aNameIsCopiedUpToItsFirstNulByte)
{
    const Element source("a\0b"s);
    Element copy("");
    copy = source;
    EXPECT_EQ(nameOf(copy), "a");
}

TEST(XmlHierarchicalElement, assignmentToItselfChangesNothing)
{
    Element element("a");
    element.setElementValue("x");
    Element* child = addChild(element, "b");
    Element& same = element;
    element = same;
    EXPECT_EQ(dumpOf(element), "\na : x\n\nb : \n");
    EXPECT_EQ(element.findChildElement("b", "", ""), child);
}

TEST(XmlHierarchicalElement, anElementMayBeAssignedFromItsOwnDescendant)
{
    Element root("a");
    addChild(root, "before");
    Element* deep = addChild(*addChild(root, "b"), "c", "text");
    deep->addNVPair("id", "1");
    addChild(*deep, "d");
    root = *deep;
    EXPECT_EQ(dumpOf(root), "\nc : text\n\t- id : 1\n\nd : \n");
}

TEST(XmlHierarchicalElement, anElementMayBeAssignedFromItsOwnAncestor)
{
    Element root("a");
    root.setElementValue("x");
    Element* b = addChild(root, "b", "old");
    addChild(*b, "lost");
    addChild(root, "c");
    *b = root;
    EXPECT_EQ(dumpOf(root), "\na : x\n\na : x\n\nb : old\n\nlost : \n\nc : \n\nc : \n");
}

// Trees of any depth, under a stack on which no operation could call itself for each level.

constexpr int kLevels = 200000;

/** A chain of LEVELS elements below a root, and the deepest of them. */
std::pair<std::unique_ptr<Element>, Element*> makeChain(int levels)
{
    auto root = std::make_unique<Element>("a");
    Element* deepest = root.get();
    for (int level = 0; level < levels; ++level) {
        deepest = addChild(*deepest, "a");
    }
    return {std::move(root), deepest};
}

TEST(DeepElements, areSearchedDumpedComparedCopiedAndDestroyed)
{
    runOnASmallStack([] {
        const auto [root, deepest] = makeChain(kLevels);
        addChild(*deepest, "end", "reached");
        EXPECT_EQ(root->getDescendantValue("end"), "reached");
        EXPECT_EQ(root->getDescendant("missing", "", ""), nullptr);

        const std::string dump = dumpOf(*root);
        EXPECT_EQ(std::count(dump.begin(), dump.end(), ':'), kLevels + 2);

        Element copy("");
        copy = *root;
        EXPECT_TRUE(copy == *root);
        deepest->setElementValue("changed");
        EXPECT_TRUE(copy != *root);
        EXPECT_FALSE(copy.areChildElementsEqual(*root));
        copy.Clear();
        EXPECT_EQ(dumpOf(copy), "\na : \n");
    });
}

TEST(DeepElements, mayBeCopiedIntoTheirOwnRootAndDeletedByName)
{
    runOnASmallStack([] {
        auto [root, deepest] = makeChain(kLevels);
        deepest->setElementValue("end");
        *root = *root->findChildElement("a", "", "");
        const std::string dump = dumpOf(*root);
        EXPECT_EQ(std::count(dump.begin(), dump.end(), ':'), kLevels);
        root->deleteChildElements(std::list<std::string>{"a"});
        EXPECT_EQ(dumpOf(*root), "\na : \n");
    });
}

} // namespace
