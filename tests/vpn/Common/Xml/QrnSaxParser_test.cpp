#include "vpn/Common/Xml/QrnSaxParser.h"

#include <algorithm>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/vpn/Common/Xml/RecordingSink.h"
#include "vpn/Common/Xml/XmlWatcher.h"

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::IsReturnCode;
using obg::test::RecordingSink;
using obg::test::returnCodeText;
using obg::test::ScratchFolder;
using obg::test::sourceTag;
using obg::test::writeFile;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace std::string_literals;

static_assert(std::has_virtual_destructor_v<QrnSaxParser>);
static_assert(XmlInputBuffer == 0 && XmlInputFile == 1);

constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kFailed = 0xFE000009;
constexpr std::uint32_t kNoParserContext = 0xFE000005;

using Events = std::vector<std::string>;

const std::string kTag = sourceTag("vpn/Common/Xml/QrnSaxParser");

auto noSink(const std::string& function, int line)
{
    return IsDebugMessage('E', debugText(function, kTag, line, "No XML Manager provided."));
}

auto failedCall(int line, const std::string& call, std::uint32_t code)
{
    return IsReturnCode('E', returnCodeText("startParser", kTag, line, call, code, "unknown", ""));
}

/** A complaint of libxml2: its own text stands behind the fixed beginning. */
MATCHER_P(IsXmlError, text, "")
{
    return arg.importance == Logging::DI_ERROR && arg.messageName == "MID_DEBUG_MESSAGE" &&
           arg.text == debugText("errorCB", kTag, 135, "xml errorCB: " + std::string(text));
}

/** What libxml2 gives for a document that is not well formed. */
auto documentFailed(std::uint32_t result)
{
    return failedCall(225, "xmlParseDocument", result);
}

constexpr auto kMinusOne = static_cast<std::uint32_t>(-1);

Events eventsOf(const std::string& document)
{
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser(document, XmlInputBuffer), kSuccess) << document;
    return sink.events();
}

const xmlChar* xml(const char* text)
{
    return reinterpret_cast<const xmlChar*>(text);
}

/** A parser context of the test's own, with a sink or without. */
class Context
{
public:
    explicit Context(XmlMgr* sink) : m_context(xmlNewParserCtxt()) { m_context->_private = sink; }
    ~Context() { xmlFreeParserCtxt(m_context); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    xmlParserCtxtPtr get() const { return m_context; }

private:
    xmlParserCtxtPtr m_context;
};

// What arrives at the sink.

TEST(QrnSaxParser, anEmptyElementStartsAndEnds)
{
    EXPECT_THAT(eventsOf("<a/>"), ElementsAre("<a", ">a"));
    EXPECT_THAT(eventsOf("<a></a>"), ElementsAre("<a", ">a"));
}

TEST(QrnSaxParser, attributesFollowTheirElementInDocumentOrder)
{
    EXPECT_THAT(eventsOf("<a z='1' b='2' m='3'><c d='4'/></a>"),
                ElementsAre("<a", "z='1'", "b='2'", "m='3'", "<c", "d='4'", ">c", ">a"));
}

TEST(QrnSaxParser, attributeValuesAreTrimmed)
{
    EXPECT_THAT(eventsOf("<a b=' 1 ' c='\t\n2 2\r\n' d='   ' e=''/>"),
                ElementsAre("<a", "b='1'", "c='2 2'", "d=''", "e=''", ">a"));
}

TEST(QrnSaxParser, prefixesAndNamespaceDeclarationsAreOrdinaryNamesAndAttributes)
{
    EXPECT_THAT(eventsOf("<p:a xmlns:p='urn:x' p:b='1' xmlns='urn:y'/>"),
                ElementsAre("<p:a", "xmlns:p='urn:x'", "p:b='1'", "xmlns='urn:y'", ">p:a"));
}

TEST(QrnSaxParser, textIsTrimmed)
{
    EXPECT_THAT(eventsOf("<a>  word  </a>"), ElementsAre("<a", "'word'", ">a"));
    EXPECT_THAT(eventsOf("<a>\n\ttwo words \n</a>"), ElementsAre("<a", "'two words'", ">a"));
}

TEST(QrnSaxParser, blankTextArrivesAsTheEmptyText)
{
    EXPECT_THAT(eventsOf("<a>  </a>"), ElementsAre("<a", "''", ">a"));
}

TEST(QrnSaxParser, aBlankBeforeAChildMakesOneEmptyTextAndNoBlankNone)
{
    EXPECT_THAT(eventsOf("<a> <b/></a>"), ElementsAre("<a", "''", "<b", ">b", ">a"));
    EXPECT_THAT(eventsOf("<a><b/></a>"), ElementsAre("<a", "<b", ">b", ">a"));
}

TEST(QrnSaxParser, textOnBothSidesOfAChildArrivesInItsPlace)
{
    EXPECT_THAT(eventsOf("<a>x<b>y</b>z</a>"), ElementsAre("<a", "'x'", "<b", "'y'", ">b", "'z'", ">a"));
}

TEST(QrnSaxParser, textComesInPiecesAtReferencesEachTrimmedByItself)
{
    EXPECT_THAT(eventsOf("<a>p &amp; q</a>"), ElementsAre("<a", "'p'", "'&'", "'q'", ">a"));
    EXPECT_THAT(eventsOf("<a>p&#65;q</a>"), ElementsAre("<a", "'p'", "'A'", "'q'", ">a"));
    EXPECT_THAT(eventsOf("<a>p&#32;q</a>"), ElementsAre("<a", "'p'", "''", "'q'", ">a"));
}

TEST(QrnSaxParser, textComesInPiecesAtCarriageReturns)
{
    EXPECT_THAT(eventsOf("<a>one\r\ntwo</a>"), ElementsAre("<a", "'one'", "'two'", ">a"));
    EXPECT_THAT(eventsOf("<a>one\ntwo</a>"), ElementsAre("<a", "'one\ntwo'", ">a"));
}

TEST(QrnSaxParser, aLongTextLosesNothing)
{
    std::string text;
    for (int i = 0; text.size() < 100000; ++i) {
        text += std::to_string(i) + ",";
    }
    std::string joined;
    for (const std::string& event : eventsOf("<a>" + text + "</a>")) {
        joined += event.starts_with('\'') ? event.substr(1, event.size() - 2) : "";
    }
    EXPECT_EQ(joined, text);
}

TEST(QrnSaxParser, characterDataSectionsAreTextAndTrimmedToo)
{
    EXPECT_THAT(eventsOf("<a>x<![CDATA[ <b>&amp; ]]>y</a>"), ElementsAre("<a", "'x'", "'<b>&amp;'", "'y'", ">a"));
}

TEST(QrnSaxParser, commentsAndInstructionsAreSkippedAndSplitTheText)
{
    EXPECT_THAT(eventsOf("<?xml version='1.0'?><!-- c --><?p i?><a>x<!-- c -->y<?p i?>z</a><!-- c -->"),
                ElementsAre("<a", "'x'", "'y'", "'z'", ">a"));
}

TEST(QrnSaxParser, referencesInAttributesAreDecodedButForTheAmpersand)
{
    // libxml2 leaves the ampersand to a tree that this parse does not build.
    EXPECT_THAT(eventsOf("<a b='&lt;&gt;&quot;&apos;&#65;' c='1&amp;2' d='1&#38;2'/>"),
                ElementsAre("<a", "b='<>\"'A'", "c='1&#38;2'", "d='1&#38;2'", ">a"));
}

TEST(QrnSaxParser, aDeclaredEntityExpandsInTextWithItsElements)
{
    EXPECT_THAT(
        eventsOf("<!DOCTYPE a [<!ENTITY e 'x<b c=\"1\">y</b>'>]><a>p&e;q&e;</a>"),
        ElementsAre("<a", "'p'", "'x'", "<b", "c='1'", "'y'", ">b", "'q'", "'x'", "<b", "c='1'", "'y'", ">b", ">a"));
}

TEST(QrnSaxParser, aDeclaredEntityStaysAReferenceInAnAttribute)
{
    EXPECT_THAT(eventsOf("<!DOCTYPE a [<!ENTITY e 'x'>]><a b='1&e;2'/>"), ElementsAre("<a", "b='1&e;2'", ">a"));
}

TEST(QrnSaxParser, defaultsOfADocumentTypeAreNotAdded)
{
    EXPECT_THAT(eventsOf("<!DOCTYPE a [<!ATTLIST a b CDATA 'default'>]><a/>"), ElementsAre("<a", ">a"));
}

TEST(QrnSaxParser, nothingIsValidated)
{
    const CapturedLog log;
    EXPECT_THAT(eventsOf("<!DOCTYPE b [<!ELEMENT b EMPTY>]><a>x</a>"), ElementsAre("<a", "'x'", ">a"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(QrnSaxParser, textsReachTheSinkAsUtf8WhateverTheDocumentsEncoding)
{
    EXPECT_THAT(eventsOf("<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xe9'>\xfc</a>"),
                ElementsAre("<a", "b='\xc3\xa9'", "'\xc3\xbc'", ">a"));
}

// The input.

TEST(QrnSaxParser, emptyInputFailsInSilence)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser("", XmlInputBuffer), kFailed);
    EXPECT_EQ(QrnSaxParser(&sink).startParser("", XmlInputFile), kFailed);
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(sink.events(), IsEmpty());
}

TEST(QrnSaxParser, blankTextFailsInSilence)
{
    const CapturedLog log;
    RecordingSink sink;
    for (const char* blank : {" ", "\n", "\r", "\t", " \n\r\t \n"}) {
        EXPECT_EQ(QrnSaxParser(&sink).startParser(blank, XmlInputBuffer), kFailed);
    }
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(sink.events(), IsEmpty());
}

TEST(QrnSaxParser, otherWhiteSpaceIsNotBlank)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser("\v", XmlInputBuffer), kFailed);
    EXPECT_THAT(log.records(),
                ElementsAre(IsXmlError("Start tag expected, '<' not found\n"), documentFailed(kMinusOne)));
}

TEST(QrnSaxParser, blanksBeforeADocumentInMemoryAreSkipped)
{
    EXPECT_THAT(eventsOf("\n\n<a/>"), ElementsAre("<a", ">a"));
    // An XML declaration must stand at the very beginning.
    EXPECT_THAT(eventsOf(" \r\n\t<?xml version='1.0'?><a/>"), ElementsAre("<a", ">a"));
    EXPECT_THAT(eventsOf("<a/> \n"), ElementsAre("<a", ">a"));
}

TEST(QrnSaxParser, blanksBeforeADocumentInAFileAreNot)
{
    const CapturedLog log;
    const ScratchFolder folder;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser(folder.write("a.xml", "\n<?xml version='1.0'?><a/>"), XmlInputFile),
              kFailed);
    EXPECT_THAT(log.records(), ElementsAre(IsXmlError("XML declaration allowed only at the start of the document\n"),
                                           documentFailed(kMinusOne)));
}

TEST(QrnSaxParser, anUnknownTypeOfInputFailsInSilence)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser("<a/>", static_cast<XmlParserInputType>(2)), kFailed);
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(sink.events(), IsEmpty());
}

TEST(QrnSaxParser, aFileIsRead)
{
    const ScratchFolder folder;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser(folder.write("a.xml", "<a b='1'>x</a>"), XmlInputFile), kSuccess);
    EXPECT_THAT(sink.events(), ElementsAre("<a", "b='1'", "'x'", ">a"));
}

TEST(QrnSaxParser, aMissingFileGivesNoContext)
{
    const CapturedLog log;
    const ScratchFolder folder;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser(folder.path("missing.xml"), XmlInputFile), kFailed);
    EXPECT_THAT(log.records(), ElementsAre(failedCall(188, "xmlCreateFileParserCtxt", kNoParserContext)));
    EXPECT_THAT(sink.events(), IsEmpty());
}

TEST(QrnSaxParser, anEmptyFileIsNoDocument)
{
    const CapturedLog log;
    const ScratchFolder folder;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser(folder.write("a.xml", ""), XmlInputFile), kFailed);
    EXPECT_THAT(log.records(), ElementsAre(IsXmlError("Document is empty\n"), documentFailed(kMinusOne)));
}

TEST(QrnSaxParser, aDocumentInMemoryWithoutMemoryForItsContextGivesNone)
{
    const CapturedLog log;
    RecordingSink sink;
    xmlInitParser();
    xmlFreeFunc release = nullptr;
    xmlMallocFunc allocate = nullptr;
    xmlReallocFunc reallocate = nullptr;
    xmlStrdupFunc duplicate = nullptr;
    xmlMemGet(&release, &allocate, &reallocate, &duplicate);
    xmlMemSetup(
        release, [](std::size_t) -> void* { return nullptr; }, reallocate, duplicate);
    const std::uint32_t status = QrnSaxParser(&sink).startParser("<a/>", XmlInputBuffer);
    xmlMemSetup(release, allocate, reallocate, duplicate);
    EXPECT_EQ(status, kFailed);
    EXPECT_THAT(log.records(), ElementsAre(failedCall(176, "xmlCreateMemoryParserCtxt", kNoParserContext)));
    EXPECT_THAT(sink.events(), IsEmpty());
}

// Documents that are not well formed.

TEST(QrnSaxParser, aMalformedDocumentFailsAfterTheEventsBeforeTheError)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser("<a><b c='1'>x</b>", XmlInputBuffer), kFailed);
    EXPECT_THAT(sink.events(), ElementsAre("<a", "<b", "c='1'", "'x'", ">b"));
    EXPECT_THAT(log.records(),
                ElementsAre(IsXmlError("Premature end of data in tag a line 1\n"), documentFailed(kMinusOne)));
}

TEST(QrnSaxParser, everyComplaintOfLibxmlIsLogged)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser("<a b=1>x</a>", XmlInputBuffer), kFailed);
    EXPECT_THAT(log.texts(), SizeIs(::testing::Ge(3U)));
    EXPECT_THAT(log.texts().front(),
                AllOf(HasSubstr("Function: errorCB"), HasSubstr("xml errorCB: AttValue: \" or ' expected\n")));
    EXPECT_THAT(log.records().back(), documentFailed(kMinusOne));
}

TEST(QrnSaxParser, someComplaintsDoNotFailTheParse)
{
    const CapturedLog log;
    RecordingSink sink;
    // What may be declared in the external subset, which is not read, is only complained about, and that not by every
    // libxml2.
    EXPECT_EQ(QrnSaxParser(&sink).startParser("<!DOCTYPE a SYSTEM 'missing.dtd'><a>x&e;y</a>", XmlInputBuffer),
              kSuccess);
    EXPECT_THAT(sink.events(), ElementsAre("<a", "'x'", "'y'", ">a"));
    const std::size_t complaints = LIBXML_VERSION < 21400 ? 1 : 0;
    EXPECT_THAT(log.records(), AllOf(SizeIs(complaints), Each(IsXmlError("Entity 'e' not defined\n"))));
}

TEST(QrnSaxParser, anAttributeGivenTwiceFails)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser("<a b='1' b='2'/>", XmlInputBuffer), kFailed);
    EXPECT_THAT(log.records(), ElementsAre(IsXmlError("Attribute b redefined\n"), documentFailed(kMinusOne)));
}

TEST(QrnSaxParser, anUndeclaredEntityFails)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(QrnSaxParser(&sink).startParser("<a>&e;</a>", XmlInputBuffer), kFailed);
    EXPECT_THAT(log.records(), ElementsAre(IsXmlError("Entity 'e' not defined\n"), documentFailed(kMinusOne)));
}

TEST(QrnSaxParser, withoutASinkEveryEventIsLoggedAndDropped)
{
    const CapturedLog log;
    EXPECT_EQ(QrnSaxParser(nullptr).startParser("<a b='1'>x</a>", XmlInputBuffer), kSuccess);
    EXPECT_THAT(log.records(),
                ElementsAre(noSink("startElementCB", 50), noSink("elementValueCB", 98), noSink("endElementCB", 83)));
}

TEST(QrnSaxParser, aSinkMayParseWhileItIsParsedInto)
{
    /** Reads another document at each start tag. */
    class Nesting final : public XmlMgr, public XmlWatcher
    {
    public:
        void addElement(const std::string&) override
        {
            EXPECT_EQ(QrnSaxParser(&inner).startParser("<i>x</i>", XmlInputBuffer), kSuccess);
            EXPECT_EQ(QrnSaxParser::position().offset, 2U);
        }
        void endElement(const std::string&) override {}
        void setElementValue(const std::string& value) override { texts.push_back(value); }
        void addAttribute(const std::string&, const std::string&) override {}
        void seeText(std::string_view, bool) override {}
        void seeAttribute(std::string_view, std::string_view) override {}

        RecordingSink inner;
        Events texts;
    };
    Nesting sink;
    EXPECT_EQ(QrnSaxParser(&sink).startWatchedParser("<a>y</a>", sink), kSuccess);
    EXPECT_THAT(sink.inner.events(), ElementsAre("<i", "'x'", ">i"));
    EXPECT_THAT(sink.texts, ElementsAre("y"));
}

/** Notes at each event how far the parse has come: the line, and what stands last before the offset. */
class Places final : public XmlMgr, public XmlWatcher
{
public:
    explicit Places(std::string document) : m_document(std::move(document)) {}

    void addElement(const std::string&) override { note(); }
    void endElement(const std::string&) override { note(); }
    void setElementValue(const std::string&) override {}
    void addAttribute(const std::string&, const std::string&) override { note(); }
    void seeText(std::string_view, bool) override {}
    void seeAttribute(std::string_view, std::string_view) override {}

    Events events;

private:
    void note()
    {
        const XmlPosition position = QrnSaxParser::position();
        ASSERT_LE(position.offset, m_document.size());
        const std::size_t begin = position.offset == 0 ? 0 : m_document.rfind('<', position.offset - 1);
        events.push_back(std::to_string(position.line) + ":" + m_document.substr(begin, position.offset - begin));
    }

    std::string m_document;
};

Events placesIn(const std::string& document)
{
    Places sink(document);
    EXPECT_EQ(QrnSaxParser(&sink).startWatchedParser(document, sink), kSuccess) << document;
    return sink.events;
}

TEST(QrnSaxParser, theInputMayBeReleasedOnceTheFirstEventHasCome)
{
    class Releasing final : public XmlMgr
    {
    public:
        explicit Releasing(std::string& document) : m_document(document) {}
        void addElement(const std::string& name) override
        {
            std::fill(m_document.begin(), m_document.end(), '!');
            std::string().swap(m_document);
            inner.addElement(name);
        }
        void endElement(const std::string& name) override { inner.endElement(name); }
        void setElementValue(const std::string& value) override { inner.setElementValue(value); }
        void addAttribute(const std::string& name, const std::string& value) override
        {
            inner.addAttribute(name, value);
        }

        RecordingSink inner;

    private:
        std::string& m_document;
    };
    std::string document = " <a>" + std::string(100000, 'x') + "<b c='1'/></a>";
    Releasing sink(document);
    EXPECT_EQ(QrnSaxParser(&sink).startParser(document, XmlInputBuffer), kSuccess);
    EXPECT_THAT(sink.inner.events(), Contains("c='1'"));
    EXPECT_EQ(sink.inner.events().back(), ">a");
}

TEST(QrnSaxParser, tellsASinkHowFarItHasRead)
{
    EXPECT_THAT(placesIn("<a>\n<b c='1'\n d='2'/>x\n</a>"),
                ElementsAre("1:<a", "3:<b c='1'\n d='2'", "3:<b c='1'\n d='2'", "3:<b c='1'\n d='2'",
                            "3:<b c='1'\n d='2'/>", "4:</a>"));
}

TEST(QrnSaxParser, countsWhatItSkippedAtTheBeginning)
{
    EXPECT_THAT(placesIn(" \n\r\n\t<a/>"), ElementsAre("3:<a", "3:<a/>"));
    EXPECT_THAT(placesIn("\xef\xbb\xbf<a/>"), ElementsAre("1:<a", "1:<a/>"));
}

TEST(QrnSaxParser, countsTheBytesOfTheInputInWhateverEncodingItIs)
{
    EXPECT_THAT(placesIn("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe4\xf6<b/></a>"),
                ElementsAre("1:<a", "1:<b", "1:<b/>", "1:</a>"));
    EXPECT_THAT(placesIn("<a>\xc3\xa4<b/></a>"), ElementsAre("1:<a", "1:<b", "1:<b/>", "1:</a>"));
}

TEST(QrnSaxParser, countsTheBytesOfALongTextInAnotherEncoding)
{
    EXPECT_THAT(placesIn("<?xml version='1.0' encoding='ISO-8859-1'?><a>" + std::string(10000, '\xe4') + "<b/></a>"),
                ElementsAre("1:<a", "1:<b", "1:<b/>", "1:</a>"));
}

TEST(QrnSaxParser, countsTheBytesBehindAByteOrderMarkWhateverEncodingIsDeclared)
{
    EXPECT_THAT(placesIn("\xef\xbb\xbf<?xml version='1.0' encoding='ISO-8859-1'?><a>\xc3\xa4<b/></a>"),
                ElementsAre("1:<a", "1:<b", "1:<b/>", "1:</a>"));
}

TEST(QrnSaxParser, whereNobodyWatchesThereIsNoPosition)
{
    const std::string document = "<a b='c'>x</a>";
    Places sink(document);
    EXPECT_EQ(QrnSaxParser(&sink).startParser(document, XmlInputBuffer), kSuccess);
    EXPECT_THAT(sink.events, ElementsAre("0:", "0:", "0:"));
}

TEST(QrnSaxParser, withoutAParseThereIsNoPosition)
{
    eventsOf("<a/>");
    EXPECT_EQ(QrnSaxParser::position().line, 0);
    EXPECT_EQ(QrnSaxParser::position().offset, 0U);
}

/** Takes down what it sees, and notes where the sink comes in. */
class Witness final : public XmlWatcher, public XmlMgr
{
public:
    void addElement(const std::string& name) override { events.push_back("element " + name); }
    void endElement(const std::string&) override {}
    void setElementValue(const std::string& value) override { events.push_back("text [" + value + "]"); }
    void addAttribute(const std::string& name, const std::string&) override { events.push_back("attribute " + name); }
    void seeText(std::string_view run, bool isFromEntity) override
    {
        events.push_back((isFromEntity ? "entity [" : "run [") + std::string(run) + "]");
    }
    void seeAttribute(std::string_view name, std::string_view value) override
    {
        events.push_back("saw " + std::string(name) + " [" + std::string(value) + "]");
    }

    Events events;
};

Events witnessed(const std::string& document)
{
    Witness witness;
    EXPECT_EQ(QrnSaxParser(&witness).startWatchedParser(document, witness), kSuccess) << document;
    return witness.events;
}

TEST(QrnSaxParser, aWatcherSeesTextsBeforeTheyAreTrimmed)
{
    EXPECT_THAT(witnessed("<a> x &amp; y</a>"),
                ElementsAre("element a", "run [ x ]", "text [x]", "run [&]", "text [&]", "run [ y]", "text [y]"));
}

TEST(QrnSaxParser, aWatcherSeesAttributesBeforeTheyAreTrimmed)
{
    EXPECT_THAT(witnessed("<a b=' c ' d='e'/>"),
                ElementsAre("element a", "attribute b", "attribute d", "saw b [ c ]", "saw d [e]"));
}

TEST(QrnSaxParser, aWatcherIsToldWhatComesOutOfAnEntity)
{
    EXPECT_THAT(witnessed("<!DOCTYPE a [<!ENTITY e 'x'>]><a>y&e;&e;</a>"),
                ElementsAre("element a", "run [y]", "text [y]", "entity [x]", "text [x]", "entity [x]", "text [x]"));
}

TEST(QrnSaxParser, aWatchedParseFailsAsAnyOther)
{
    Witness witness;
    EXPECT_EQ(QrnSaxParser(&witness).startWatchedParser(" \n", witness), kFailed);
    EXPECT_EQ(QrnSaxParser(&witness).startWatchedParser("<a>", witness), kFailed);
}

TEST(QrnSaxParser, exhaustedMemoryInTheSinkReachesTheCaller)
{
    class Exhausted final : public XmlMgr
    {
    public:
        void addElement(const std::string&) override { throw std::bad_alloc(); }
        void endElement(const std::string&) override {}
        void setElementValue(const std::string&) override {}
        void addAttribute(const std::string&, const std::string&) override {}
    };
    Exhausted sink;
    EXPECT_THROW(QrnSaxParser(&sink).startParser("<a/>", XmlInputBuffer), std::bad_alloc);
    EXPECT_THAT(eventsOf("<a/>"), ElementsAre("<a", ">a"));
}

// The callbacks, called as libxml2 calls them.

TEST(QrnSaxParserCallbacks, startElementPassesTheNameAndEachPair)
{
    RecordingSink sink;
    const Context context(&sink);
    const xmlChar* attributes[] = {xml(" n1 "), xml("\t1\n"), xml("n2"), xml(""), nullptr};
    QrnSaxParser::startElementCB(context.get(), xml("a"), attributes);
    EXPECT_THAT(sink.events(), ElementsAre("<a", "n1='1'", "n2=''"));
}

TEST(QrnSaxParserCallbacks, startElementTakesNoAttributesAsNullOrAsAnEmptyArray)
{
    RecordingSink sink;
    const Context context(&sink);
    const xmlChar* none[] = {nullptr};
    QrnSaxParser::startElementCB(context.get(), xml("a"), nullptr);
    QrnSaxParser::startElementCB(context.get(), xml("b"), none);
    EXPECT_THAT(sink.events(), ElementsAre("<a", "<b"));
}

TEST(QrnSaxParserCallbacks, startElementStopsAtAMissingValue)
{
    RecordingSink sink;
    const Context context(&sink);
    const xmlChar* attributes[] = {xml("n1"), xml("1"), xml("n2"), nullptr};
    QrnSaxParser::startElementCB(context.get(), xml("a"), attributes);
    EXPECT_THAT(sink.events(), ElementsAre("<a", "n1='1'"));
}

TEST(QrnSaxParserCallbacks, endElementPassesTheName)
{
    RecordingSink sink;
    const Context context(&sink);
    QrnSaxParser::endElementCB(context.get(), xml("p:a"));
    EXPECT_THAT(sink.events(), ElementsAre(">p:a"));
}

TEST(QrnSaxParserCallbacks, elementValueTakesExactlyItsLength)
{
    RecordingSink sink;
    const Context context(&sink);
    QrnSaxParser::elementValueCB(context.get(), xml("text and more"), 4);
    QrnSaxParser::elementValueCB(context.get(), xml(" text and more"), 6);
    EXPECT_THAT(sink.events(), ElementsAre("'text'", "'text'"));
}

TEST(QrnSaxParserCallbacks, elementValueOfNoLengthOrLessIsTheEmptyText)
{
    RecordingSink sink;
    const Context context(&sink);
    for (const int length : {0, -1, std::numeric_limits<int>::min()}) {
        QrnSaxParser::elementValueCB(context.get(), xml("text"), length);
    }
    QrnSaxParser::elementValueCB(context.get(), nullptr, 0);
    EXPECT_THAT(sink.events(), ElementsAre("''", "''", "''", "''"));
}

TEST(QrnSaxParserCallbacks, elementValueEndsAtANulByteAndIsTrimmedThen)
{
    RecordingSink sink;
    const Context context(&sink);
    QrnSaxParser::elementValueCB(context.get(), xml(" text \0 behind"), 14);
    QrnSaxParser::elementValueCB(context.get(), xml("\0behind"), 7);
    EXPECT_THAT(sink.events(), ElementsAre("'text'", "''"));
}

TEST(QrnSaxParserCallbacks, elementValueIsTrimmedOfAllSixWhiteSpaceBytes)
{
    RecordingSink sink;
    const Context context(&sink);
    QrnSaxParser::elementValueCB(context.get(), xml(" \t\n\v\f\rx y\r\f\v\n\t "), 15);
    QrnSaxParser::elementValueCB(context.get(), xml(" \t\n\v\f\r"), 6);
    EXPECT_THAT(sink.events(), ElementsAre("'x y'", "''"));
}

TEST(QrnSaxParserCallbacks, withoutASinkEachLogsAndDropsItsEvent)
{
    const CapturedLog log;
    const Context context(nullptr);
    const xmlChar* attributes[] = {xml("n"), xml("1"), nullptr};
    QrnSaxParser::startElementCB(context.get(), xml("a"), attributes);
    QrnSaxParser::elementValueCB(context.get(), xml("x"), 1);
    QrnSaxParser::endElementCB(context.get(), xml("a"));
    EXPECT_THAT(log.records(),
                ElementsAre(noSink("startElementCB", 50), noSink("elementValueCB", 98), noSink("endElementCB", 83)));
}

TEST(QrnSaxParserCallbacks, errorLogsItsFirstArgumentWhateverTheFormat)
{
    const CapturedLog log;
    const Context context(nullptr);
    QrnSaxParser::errorCB(context.get(), "%s", "what %s went wrong\n");
    EXPECT_THAT(log.records(), ElementsAre(IsXmlError("what %s went wrong\n")));
}

TEST(QrnSaxParserCallbacks, parseAttributeReplacesAndTrims)
{
    std::string out = "old";
    parseAttribute(out, xml(" \t\n\v\f\rvalue of two words\r\f\v\n\t "));
    EXPECT_EQ(out, "value of two words");
    parseAttribute(out, xml(" \n "));
    EXPECT_EQ(out, "");
    out = "old";
    parseAttribute(out, xml(""));
    EXPECT_EQ(out, "");
}

} // namespace
