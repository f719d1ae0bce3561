#include <algorithm>
#include <array>
#include <cerrno>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <pthread.h>

#include <gmock/gmock.h>

#include "tests/support/FailingReads.h"
#include "tests/support/Files.h"
#include "tests/support/WatchedHeap.h"
#include "vpn/Api/xml/XmlIfcMgr.h"
#include "vpn/Common/Utility/SecureString.h"
#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Common/Xml/XmlHierarchicalElement.h"
#include "vpn/Common/Xml/XmlHierarchicalMgr.h"
#include "vpn/Common/Xml/XmlParser.h"
#include "vpn/Downloader/ManifestInfo.h"

// After a parse no block that went back to the heap holds an attribute value or an element's text. Every case runs with
// a marker that fits into a short string and lies inside its object, and with longer ones that do not.

namespace {

using obg::test::FailingReads;
using obg::test::ScratchFolder;
using obg::test::WatchedHeap;

class FreedMemory : public ::testing::TestWithParam<std::string>
{
protected:
    /** What every text and value contains. */
    const std::string& marker() const { return GetParam(); }

    /** A text of at least that length, made of the marker. */
    std::string longText(std::size_t size) const
    {
        std::string text;
        while (text.size() < size) {
            text += marker();
            text += ' ';
        }
        return text + marker();
    }

    /** A document with the marker in every place that the XML layer copies. */
    std::string document() const
    {
        const std::string& m = marker();
        std::string text = "<root one='" + m + "' two=' " + m + " ' three='" + longText(500) + "' four='" + m + "'>";
        text += m + "&lt;" + m + "\r\n" + m + "<![CDATA[ " + m + "]]>";
        for (int i = 0; i < 20; ++i) {
            text +=
                "<child key='" + m + "' other='" + longText(50) + "'> " + longText(1000) + " &amp; " + m + "</child>";
            text += m;
        }
        return text + "</root>";
    }
};

INSTANTIATE_TEST_SUITE_P(Secrets, FreedMemory,
                         ::testing::Values("s3cr3t!", "fifteen-bytes-#", "sixteen-bytes-##",
                                           "a marker that is longer than any short string could hold it"));

/** Shows a block to code that no compiler sees, so that none leaves the block, or what was written to it, out. */
void (*volatile showBlock)(const void*) = [](const void*) {};

TEST_P(FreedMemory, isSearched)
{
    // Were this not found, the other tests would say nothing.
    WatchedHeap memory;
    {
        const auto inBlock = std::make_unique<std::array<char, 64>>();
        std::copy(marker().begin(), marker().end(), inBlock->begin());
        const auto inString = std::make_unique<std::string>(marker());
        showBlock(inBlock.get());
        showBlock(inString.get());
    }
    EXPECT_EQ(memory.blocksWith(marker()), 2U);
}

TEST_P(FreedMemory, holdsNothingAfterAFlatParse)
{
    const std::string text = document();
    WatchedHeap memory;
    {
        XmlIfcMgr sink;
        ASSERT_EQ(XmlParser(&sink).parseXml(text, false), 0U);
    }
    EXPECT_GT(memory.blocks(), 40U);
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingAfterATreeWasBuiltSearchedComparedAndCopied)
{
    const std::string text = document();
    WatchedHeap memory;
    {
        long status = -1;
        XmlHierarchicalMgr tree(status, text, false, true);
        ASSERT_EQ(status, 0);
        EXPECT_NE(tree.getChild("child", "key", marker()), nullptr);
        EXPECT_EQ(tree.getDescendant("child", "other", marker()), nullptr);
        XmlHierarchicalMgr copy;
        copy = tree;
        EXPECT_TRUE(copy == tree);
        copy = tree;
        tree.getChild("child", "", "")->Clear();
        EXPECT_TRUE(copy != tree);
        copy = XmlHierarchicalMgr();
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingAfterAParseThatFailed)
{
    std::string text = document();
    text.resize(text.size() - 20);
    WatchedHeap memory;
    {
        XmlIfcMgr flat;
        EXPECT_NE(XmlParser(&flat).parseXml(text, false), 0U);
        long status = 0;
        const XmlHierarchicalMgr tree(status, text, false, true);
        EXPECT_NE(status, 0);
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingAfterAParseOfAFile)
{
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", document());
    WatchedHeap memory;
    {
        XmlIfcMgr sink;
        ASSERT_EQ(XmlParser(&sink).parseFile(path, false), 0U);
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfAnInputThatWasCutAtANulByte)
{
    const std::string text = document() + '\0' + marker();
    WatchedHeap memory;
    {
        XmlIfcMgr sink;
        ASSERT_EQ(XmlParser(&sink).parseXml(text, false), 0U);
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfEntities)
{
    const std::string text =
        "<!DOCTYPE a [<!ENTITY e '" + longText(100) + "<b c=\"" + marker() + "\"/>'>]><a>&e;&e;</a>";
    WatchedHeap memory;
    {
        XmlIfcMgr sink;
        ASSERT_EQ(XmlParser(&sink).parseXml(text, false), 0U);
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfAttributesReplacedClearedCopiedAndAssigned)
{
    const std::string longer = longText(1000);
    WatchedHeap memory;
    {
        NVAttributes attributes;
        for (const char* name : {"c", "a", "b"}) {
            attributes.addNVPair(name, marker());
            attributes.addNVPair(name, longer, false);
            attributes.addNVPair(name, marker());
        }
        NVAttributes copy(attributes);
        EXPECT_EQ(copy, attributes);
        copy.addNVPair("a", longer);
        attributes = copy;
        copy.clear();
        NVAttributes moved(std::move(attributes));
        moved.addNVPair("a", "harmless");
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfAnElementsTextReplacedAndAppended)
{
    const std::string longer = longText(1000);
    WatchedHeap memory;
    {
        // On the heap, so that the memory of the object itself is searched as well.
        const auto element = std::make_unique<XmlElement>("a");
        for (int i = 0; i < 100; ++i) {
            element->appendElementValue(marker());
        }
        element->setElementValue(longer);
        element->setElementValue(marker());
        element->appendElementValue(longer);
        element->setElementValue("harmless");
        const auto left = std::make_unique<XmlElement>("b");
        left->setElementValue(marker());
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfANodesTextResetClearedAndAssigned)
{
    const std::string longer = longText(1000);
    WatchedHeap memory;
    {
        XmlHierarchicalElement node("a");
        for (int i = 0; i < 100; ++i) {
            node.setElementValue(marker());
        }
        node.resetElementValue(longer);
        node.resetElementValue(marker());
        XmlHierarchicalElement other("b");
        other.setElementValue(longer);
        other.addNVPair("n", longer);
        node = other;
        node.Clear();
        other.deleteChildElements();
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfAManifestFileThatBeginsWithANulByte)
{
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", std::string(1, '\0') + longText(100));
    WatchedHeap memory;
    {
        bool ok = true;
        const CManifestInfo info(ok, path);
        ASSERT_FALSE(ok);
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfAManifestFileThatCannotBeReadToItsEnd)
{
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", longText(1000));
    WatchedHeap memory;
    {
        const FailingReads reads(500, EIO);
        bool ok = true;
        const CManifestInfo info(ok, path);
        ASSERT_FALSE(ok);
    }
    EXPECT_GT(memory.blocks(), 0U);
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfAManifestWithoutAnElement)
{
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", longText(1000));
    WatchedHeap memory;
    {
        bool ok = true;
        const CManifestInfo info(ok, path);
        ASSERT_FALSE(ok);
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, holdsNothingOfTheManifestFile)
{
    // In a comment, because the entries that a manifest gives are the caller's to keep.
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", "<vpn rev='1.0'><!--" + longText(100) +
                                                       "--><file type='exe'>"
                                                       "<uri>setup</uri></file></vpn>");
    WatchedHeap memory;
    {
        bool ok = false;
        const CManifestInfo info(ok, path);
        ASSERT_TRUE(ok);
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

/** Runs `call` with `argument` on a stack of its own and gives what is left there. */
std::string stackLeftBy(void* (*call)(void*), void* argument)
{
    alignas(4096) static std::array<char, 512 * 1024> s_stack;
    s_stack.fill('\0');
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, s_stack.data(), s_stack.size()), 0);
    pthread_t thread{};
    EXPECT_EQ(pthread_create(&thread, &attributes, call, argument), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return {s_stack.begin(), s_stack.end()};
}

TEST_P(FreedMemory, readingAManifestFileLeavesNothingOnTheStackEither)
{
    const ScratchFolder folder;
    std::string path = folder.write("a.xml", longText(1000));
    const auto read = [](void* argument) -> void* {
        std::string text = CManifestInfo::readManifestFile(*static_cast<std::string*>(argument));
        EXPECT_GT(text.size(), 1000U);
        wipeString(text);
        return nullptr;
    };
    const std::string stack = stackLeftBy(read, &path);
    EXPECT_EQ(stack.find(marker()), std::string::npos);
}

TEST_P(FreedMemory, holdsNothingOfAWipingString)
{
    WatchedHeap memory;
    {
        SecureString<std::string> text(marker());
        for (int i = 0; i < 100; ++i) {
            text += marker();
        }
        SecureString<std::string> copy(text);
        copy = text;
    }
    EXPECT_EQ(memory.blocksWith(marker()), 0U);
}

TEST_P(FreedMemory, objectsThatHoldATextInsideThemselvesWipeItThere)
{
    // What nobody reads any more an optimiser may leave out; these bytes are looked at behind its back.
    alignas(SecureString<std::string>) std::array<char, sizeof(SecureString<std::string>)> place{};
    auto* text = new (place.data()) SecureString<std::string>(marker());
    text->~SecureString();
    const volatile char* bytes = place.data();
    std::string left;
    for (std::size_t i = 0; i < place.size(); ++i) {
        left += bytes[i];
    }
    EXPECT_EQ(left.find(marker().substr(0, 7)), std::string::npos);
}

} // namespace
