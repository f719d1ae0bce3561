#include "vpn/Common/Xml/XmlParser.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/vpn/Common/Xml/RecordingSink.h"

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::RecordingSink;
using obg::test::ScratchFolder;
using obg::test::sourceTag;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

static_assert(std::has_virtual_destructor_v<XmlParser>);

constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kFailed = 0xFE000009;

const std::vector<std::string> kEventsOfA{"<a", ">a"};

TEST(XmlParser, withoutASinkEveryParseIsRefusedAndLogged)
{
    const CapturedLog log;
    XmlParser parser(nullptr);
    EXPECT_EQ(parser.parseXml("<a/>", false), kFailed);
    EXPECT_EQ(parser.parseFile("/etc/passwd", false), kFailed);
    EXPECT_EQ(parser.invokeParser("<a/>", false, XmlInputBuffer), kFailed);
    const auto record = IsDebugMessage(
        'E', debugText("invokeParser", sourceTag("vpn/Common/Xml/XmlParser"), 70, "XML Manager not provided"));
    EXPECT_THAT(log.records(), ElementsAre(record, record, record));
}

TEST(XmlParser, parseXmlTakesTheDocumentItself)
{
    RecordingSink sink;
    EXPECT_EQ(XmlParser(&sink).parseXml("<a/>", false), kSuccess);
    EXPECT_EQ(sink.events(), kEventsOfA);
}

TEST(XmlParser, parseFileTakesThePathOfTheDocument)
{
    const ScratchFolder folder;
    RecordingSink sink;
    EXPECT_EQ(XmlParser(&sink).parseFile(folder.write("a.xml", "<a/>"), false), kSuccess);
    EXPECT_EQ(sink.events(), kEventsOfA);
}

TEST(XmlParser, invokeParserTakesWhatItsTypeSays)
{
    const ScratchFolder folder;
    RecordingSink text;
    EXPECT_EQ(XmlParser(&text).invokeParser("<a/>", false, XmlInputBuffer), kSuccess);
    EXPECT_EQ(text.events(), kEventsOfA);
    RecordingSink file;
    EXPECT_EQ(XmlParser(&file).invokeParser(folder.write("a.xml", "<a/>"), false, XmlInputFile), kSuccess);
    EXPECT_EQ(file.events(), kEventsOfA);
}

TEST(XmlParser, theFlagChangesNothing)
{
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", "<a/>");
    for (const bool flag : {false, true}) {
        RecordingSink text;
        RecordingSink file;
        RecordingSink broken;
        EXPECT_EQ(XmlParser(&text).parseXml("<a/>", flag), kSuccess);
        EXPECT_EQ(XmlParser(&file).parseFile(path, flag), kSuccess);
        EXPECT_EQ(XmlParser(&broken).invokeParser("<a>", flag, XmlInputBuffer), kFailed);
        EXPECT_EQ(text.events(), kEventsOfA);
        EXPECT_EQ(file.events(), kEventsOfA);
        EXPECT_THAT(broken.events(), ElementsAre("<a"));
    }
}

TEST(XmlParser, theInputEndsAtItsFirstNulByte)
{
    const ScratchFolder folder;
    RecordingSink text;
    EXPECT_EQ(XmlParser(&text).parseXml("<a/>\0<b/>"s, false), kSuccess);
    EXPECT_EQ(text.events(), kEventsOfA);
    RecordingSink file;
    EXPECT_EQ(XmlParser(&file).parseFile(folder.write("a.xml", "<a/>") + "\0.bak"s, false), kSuccess);
    EXPECT_EQ(file.events(), kEventsOfA);
}

TEST(XmlParser, anInputThatStartsWithANulByteIsEmpty)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(XmlParser(&sink).parseXml("\0<a/>"s, false), kFailed);
    EXPECT_EQ(XmlParser(&sink).parseFile("\0/etc/passwd"s, false), kFailed);
    EXPECT_THAT(sink.events(), IsEmpty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(XmlParser, emptyInputFailsInSilence)
{
    const CapturedLog log;
    RecordingSink sink;
    EXPECT_EQ(XmlParser(&sink).parseXml("", false), kFailed);
    EXPECT_EQ(XmlParser(&sink).parseFile("", false), kFailed);
    EXPECT_THAT(sink.events(), IsEmpty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(XmlParser, oneParserServesManyParses)
{
    const CapturedLog log;
    RecordingSink sink;
    XmlParser parser(&sink);
    EXPECT_EQ(parser.parseXml("<a>", false), kFailed);
    EXPECT_EQ(parser.parseXml("<b/>", false), kSuccess);
    EXPECT_THAT(sink.events(), ElementsAre("<a", "<b", ">b"));
}

} // namespace
