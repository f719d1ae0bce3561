#include "vpn/Downloader/ManifestInfo.h"

#include <cerrno>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/support/Privileges.h"

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::IsReturnCode;
using obg::test::kAnyLine;
using obg::test::returnCodeText;
using obg::test::ScratchFolder;
using obg::test::sourceTag;
using obg::test::WithoutPrivileges;
using obg::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace std::string_literals;

const std::string kTag = sourceTag("vpn/Downloader/ManifestInfo");

auto message(char importance, const std::string& text, const std::string& function = "parseManifestFile")
{
    return IsDebugMessage(importance, debugText(function, kTag, kAnyLine, text));
}

auto error(const std::string& text)
{
    return message('E', text);
}

auto warning(const std::string& text)
{
    return message('W', text);
}

auto failedCall(const std::string& function, const std::string& call, std::uint32_t code,
                const std::string& description = "unknown")
{
    return IsReturnCode('E', returnCodeText(function, kTag, kAnyLine, call, code, description, ""));
}

std::vector<std::string> idsOf(const CManifestInfo& info)
{
    std::vector<std::string> ids;
    for (const ManifestFileInfo* entry : info.getFileList()) {
        ids.push_back(entry->id);
    }
    return ids;
}

/** A manifest parsed from memory, and what was logged meanwhile. */
class Parsed
{
public:
    explicit Parsed(const std::string& text, bool skipFirstElement = false, bool legacyRoot = false)
    {
        const CapturedLog log;
        m_info = std::make_unique<CManifestInfo>(ok, text, skipFirstElement, legacyRoot);
        records = log.records();
    }

    const std::list<ManifestFileInfo*>& files() const { return m_info->getFileList(); }
    const ManifestFileInfo& entry() const { return *files().front(); }
    std::vector<std::string> ids() const { return idsOf(*m_info); }

    bool ok = true;
    std::vector<obg::test::LogRecord> records;

private:
    std::unique_ptr<CManifestInfo> m_info;
};

std::string manifest(const std::string& entries)
{
    return "<vpn rev='1.0'>" + entries + "</vpn>";
}

/** A manifest of one entry: an executable installer unless the attributes or children say otherwise. */
std::string oneFile(const std::string& attributes, const std::string& children = "<uri>setup</uri>")
{
    return manifest("<file " + attributes + ">" + children + "</file>");
}

// How many elements there are.

TEST(ManifestInfo, oneElementIsAnEmptyManifestWhateverItIs)
{
    for (const char* text : {"<vpn/>", "<vpn rev='1.0'/>", "<vpn rev='7'>text</vpn>", "<other/>", "<file/>"}) {
        for (const bool skip : {false, true}) {
            const Parsed parsed(text, skip);
            EXPECT_TRUE(parsed.ok) << text;
            EXPECT_THAT(parsed.files(), IsEmpty());
            EXPECT_THAT(parsed.records, IsEmpty());
        }
    }
}

TEST(ManifestInfo, twoElementsAreTooFew)
{
    for (const char* text : {"<vpn rev='1.0'><file/></vpn>", "<other><other/></other>"}) {
        for (const bool skip : {false, true}) {
            const Parsed parsed(text, skip);
            EXPECT_FALSE(parsed.ok) << text;
            EXPECT_THAT(parsed.records, ElementsAre(warning("Too few elements in manifest: 2")));
        }
    }
}

TEST(ManifestInfo, theSmallestEntryTakesThreeElements)
{
    const Parsed parsed(oneFile("id='a' type='exe'"));
    EXPECT_TRUE(parsed.ok);
    EXPECT_THAT(parsed.ids(), ElementsAre("a"));
    EXPECT_THAT(parsed.records, IsEmpty());
}

// The root and its revision.

TEST(ManifestInfo, theRootMustBeVpn)
{
    for (const char* root : {"VPN", "vpns", "p:vpn", "file"}) {
        const Parsed parsed("<"s + root + " rev='1.0' xmlns:p='urn:p'><file id='a' type='exe'><uri>u</uri></file></" +
                            root + ">");
        EXPECT_FALSE(parsed.ok) << root;
        EXPECT_THAT(parsed.records, ElementsAre(error("Invalid root element")));
    }
}

TEST(ManifestInfo, theRootIsTheSecondElementWhenTheFirstIsSkipped)
{
    const std::string wrapped = "<reply>" + oneFile("id='a' type='exe'") + "</reply>";
    const Parsed skipping(wrapped, true);
    EXPECT_TRUE(skipping.ok);
    EXPECT_THAT(skipping.ids(), ElementsAre("a"));

    const Parsed plain(wrapped);
    EXPECT_FALSE(plain.ok);
    EXPECT_THAT(plain.records, ElementsAre(error("Invalid root element")));

    const Parsed unwrapped(oneFile("id='a' type='exe'"), true);
    EXPECT_FALSE(unwrapped.ok);
    EXPECT_THAT(unwrapped.records, ElementsAre(error("Invalid root element")));
}

TEST(ManifestInfo, aSkippedElementAndTheRootWithOneFileAloneListNothing)
{
    const Parsed parsed("<reply><vpn rev='1.0'><file id='a' type='exe'/></vpn></reply>", true);
    EXPECT_TRUE(parsed.ok);
    EXPECT_THAT(parsed.files(), IsEmpty());
}

class ManifestRevision : public ::testing::TestWithParam<std::string>
{
protected:
    static std::string manifestOf(const std::string& revision)
    {
        return "<vpn " + revision + "><file id='a' type='exe'><uri>setup</uri></file></vpn>";
    }
};

using AcceptedRevision = ManifestRevision;
using UnreadableRevision = ManifestRevision;
using UnsupportedRevision = ManifestRevision;

TEST_P(AcceptedRevision, passes)
{
    const Parsed parsed(manifestOf("rev='" + GetParam() + "'"));
    EXPECT_TRUE(parsed.ok);
    EXPECT_THAT(parsed.ids(), ElementsAre("a"));
    EXPECT_THAT(parsed.records, IsEmpty());
}

// Numbers are read as sscanf reads them: blanks and a sign before them, anything behind them, and what exceeds 32 bits
// loses its upper ones.
INSTANTIATE_TEST_SUITE_P(ManifestInfo, AcceptedRevision,
                         ::testing::Values("1.0", "0.9", "0.0", "0.3", "0.99", "0.-7", "01.00", "1.0.5", "1.0x",
                                           " 1.0x", "1.0 beta", "1. 0", "+1.+0", "-0.5", "0.99999999999",
                                           "4294967297.0", "1.4294967296", "4294967296.77", "1.-0", "1.0e5"));

TEST_P(UnreadableRevision, isAFormatError)
{
    const Parsed parsed(manifestOf("rev='" + GetParam() + "'"));
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.files(), IsEmpty());
    EXPECT_THAT(parsed.records, ElementsAre(error("Invalid manifest revision format")));
}

INSTANTIATE_TEST_SUITE_P(ManifestInfo, UnreadableRevision,
                         ::testing::Values("", " ", "1", "2", "1.", "1.x", ".0", "x1.0", "1,0", "1 .0", "v1.0", "0x1.0",
                                           "--1.0", "one.zero"));

TEST_P(UnsupportedRevision, isRefused)
{
    const Parsed parsed(manifestOf("rev='" + GetParam() + "'"));
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.files(), IsEmpty());
    EXPECT_THAT(parsed.records, ElementsAre(error("Unsupported manifest \"rev\"")));
}

// A negative major number counts as a very large one.
INSTANTIATE_TEST_SUITE_P(ManifestInfo, UnsupportedRevision,
                         ::testing::Values("1.1", "1.01", "1.-1", "2.0", "10.0", "-1.0", "-2.5", "-1.5", "2147483647.0",
                                           "4294967298.0", "4294967295.0", "1.4294967297"));

TEST(ManifestInfo, aMissingRevisionIsAFormatError)
{
    const Parsed parsed("<vpn REV='1.0'><file id='a' type='exe'><uri>setup</uri></file></vpn>");
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.records, ElementsAre(error("Invalid manifest revision format")));
}

// The attributes of "file".

TEST(ManifestInfo, eachTextAttributeFillsItsField)
{
    const Parsed parsed(oneFile("version='v 1' module='m' id='i' lang='l' platform='p' type='exe' os='o' os_pkg_id='k' "
                                "arch='r'"));
    ASSERT_TRUE(parsed.ok);
    const ManifestFileInfo& entry = parsed.entry();
    EXPECT_EQ(entry.version, "v 1");
    EXPECT_EQ(entry.module, "m");
    EXPECT_EQ(entry.id, "i");
    EXPECT_EQ(entry.lang, "l");
    EXPECT_EQ(entry.platform, "p");
    EXPECT_EQ(entry.type, eFileTypeExe);
    EXPECT_EQ(entry.os, "o");
    EXPECT_EQ(entry.osPkgId, "k");
    EXPECT_EQ(entry.arch, "r");
    EXPECT_EQ(entry.serviceType, "user");
}

TEST(ManifestInfo, absentAttributesLeaveTheDefaults)
{
    const Parsed parsed(oneFile("type='exe'"));
    ASSERT_TRUE(parsed.ok);
    const ManifestFileInfo& entry = parsed.entry();
    EXPECT_FALSE(entry.isCore);
    EXPECT_FALSE(entry.standalone);
    for (const auto text :
         {&ManifestFileInfo::version, &ManifestFileInfo::module, &ManifestFileInfo::id, &ManifestFileInfo::lang,
          &ManifestFileInfo::platform, &ManifestFileInfo::os, &ManifestFileInfo::osPkgId, &ManifestFileInfo::arch,
          &ManifestFileInfo::depends, &ManifestFileInfo::hash, &ManifestFileInfo::destinationDirectory,
          &ManifestFileInfo::secondaryDirectory}) {
        EXPECT_EQ(entry.*text, "");
    }
}

TEST(ManifestInfo, unknownAttributesAreIgnored)
{
    const Parsed parsed(oneFile("type='exe' ID='x' size='7' uri='elsewhere'"));
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.entry().id, "");
    EXPECT_EQ(parsed.entry().uri, "setup");
}

TEST(ManifestInfo, isCoreTakesYesAlone)
{
    EXPECT_TRUE(Parsed(oneFile("type='exe' is_core='yes'")).entry().isCore);
    EXPECT_TRUE(Parsed(oneFile("type='exe' is_core=' yes '")).entry().isCore);
    for (const char* word : {"", "no", "Yes", "true", "1", "yes!"}) {
        EXPECT_FALSE(Parsed(oneFile("type='exe' is_core='"s + word + "'")).entry().isCore) << word;
    }
}

TEST(ManifestInfo, standaloneTakesTrueAlone)
{
    EXPECT_TRUE(Parsed(oneFile("type='exe' standalone='true'")).entry().standalone);
    for (const char* word : {"", "yes", "True", "1", "false"}) {
        EXPECT_FALSE(Parsed(oneFile("type='exe' standalone='"s + word + "'")).entry().standalone) << word;
    }
}

TEST(ManifestInfo, actionTakesCopyAndInstall)
{
    EXPECT_EQ(Parsed(oneFile("action='copy'")).entry().action, eFileActionCopy);
    EXPECT_EQ(Parsed(oneFile("action='install'")).entry().action, eFileActionInstall);
    EXPECT_EQ(Parsed(oneFile("type='exe' action='copy'")).entry().action, eFileActionCopy);
}

TEST(ManifestInfo, anyOtherActionLeavesTheDefaultOfTheType)
{
    for (const char* word : {"Copy", "INSTALL", "apply", "none", ""}) {
        EXPECT_EQ(Parsed(oneFile("type='exe' action='"s + word + "'")).entry().action, eFileActionInstall) << word;
        const Parsed untyped(oneFile("action='"s + word + "'"));
        EXPECT_FALSE(untyped.ok) << word;
        EXPECT_THAT(untyped.records,
                    ElementsAre(message('W', "Manifest must specify file action (setup)", "manifestInfoIsSane")));
    }
}

TEST(ManifestInfo, everyTypeWordIsTakenAsAttributeAndAsElement)
{
    const std::string hash = "<hash type='sha1'>aa</hash>";
    for (const FileKind& kind : kFileKinds) {
        const std::string word(kind.word);
        const std::string children = "<uri>Tessellink.mo</uri>" + hash;
        const Parsed attribute(oneFile("lang='de' type='" + word + "'", children));
        ASSERT_TRUE(attribute.ok) << word;
        EXPECT_EQ(attribute.entry().type, kind.type);
        const Parsed element(oneFile("lang='de'", "<type>" + word + "</type>" + children));
        ASSERT_TRUE(element.ok) << word;
        EXPECT_EQ(element.entry().type, kind.type);
    }
}

TEST(ManifestInfo, aTypeWithBlanksAroundItIsKnown)
{
    EXPECT_EQ(Parsed(oneFile("type=' exe '")).entry().type, eFileTypeExe);
    EXPECT_EQ(Parsed(oneFile("", "<type>\n exe </type><uri>u</uri>")).entry().type, eFileTypeExe);
}

TEST(ManifestInfo, anUnknownTypeIsRejectedAsAttributeAndAsElement)
{
    for (const char* word : {"", "Exe", "EXE", "none", "2", "executable"}) {
        const Parsed attribute(oneFile("type='"s + word + "'"));
        EXPECT_FALSE(attribute.ok) << word;
        EXPECT_THAT(attribute.records, ElementsAre(error("Unknown \"type\" attribute")));
        const Parsed element(oneFile("type='exe'", "<uri>u</uri><type>"s + word + "</type>"));
        EXPECT_FALSE(element.ok) << word;
        EXPECT_THAT(element.records, ElementsAre(error("Unknown \"type\" attribute")));
    }
}

TEST(ManifestInfo, theTypeElementReplacesTheAttribute)
{
    EXPECT_EQ(Parsed(oneFile("type='exe'", "<uri>u</uri><type>rpm</type>")).entry().type, eFileTypeRpm);
}

TEST(ManifestInfo, aVersionWithoutAnIdIsRejected)
{
    for (const char* attributes : {"type='exe' version='1'", "type='exe' version=''"}) {
        const Parsed parsed(oneFile(attributes));
        EXPECT_FALSE(parsed.ok) << attributes;
        EXPECT_THAT(parsed.records, ElementsAre(error("File \"id\" is required when \"version\" is specified")));
    }
}

TEST(ManifestInfo, anEmptyIdBesideAVersionAndAnIdAlonePass)
{
    for (const char* attributes :
         {"type='exe' version='1' id=''", "type='exe' version='' id=''", "type='exe' id='a'", "type='exe'"}) {
        EXPECT_TRUE(Parsed(oneFile(attributes)).ok) << attributes;
    }
}

TEST(ManifestInfo, anUnknownTypeIsFoundBeforeTheMissingId)
{
    const Parsed parsed(oneFile("type='what' version='1'"));
    EXPECT_THAT(parsed.records, ElementsAre(error("Unknown \"type\" attribute")));
}

TEST(ManifestInfo, theMissingIdIsFoundBeforeAnUnknownTypeElement)
{
    const Parsed parsed(oneFile("version='1'", "<type>what</type>"));
    EXPECT_THAT(parsed.records, ElementsAre(error("File \"id\" is required when \"version\" is specified")));
}

// Profiles.

constexpr const char* kProfileChildren = "<uri>p/Own.xml</uri><hash type='sha1'>aa</hash>";

std::string profile(const std::string& serviceType, const std::string& children = kProfileChildren)
{
    return "<reply>" + oneFile("type='profile' " + serviceType, children) + "</reply>";
}

TEST(ManifestInfo, withTheFirstElementSkippedAProfileIsNamedByItsServiceType)
{
    const Parsed parsed(profile("service-type='vpn-mgmt'"), true);
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.entry().serviceType, "vpn-mgmt");
    EXPECT_EQ(parsed.entry().fileName, "VpnMgmtTunProfile.xml");
    EXPECT_EQ(parsed.entry().displayName, "Orvanta Brightgate Client Management VPN Profile");
    EXPECT_EQ(parsed.entry().destinationDirectory, "/opt/orvanta/brightgate/vpn/profile/mgmttun/");
}

TEST(ManifestInfo, everyServiceTypeGivesItsNames)
{
    for (const auto& [key, row] : CManifestInfo::ms_mapClientProfileInfo) {
        const Parsed parsed(profile("service-type='" + key + "'"), true);
        ASSERT_TRUE(parsed.ok) << key;
        EXPECT_EQ(parsed.entry().serviceType, key);
        // Profiles without a fixed name keep the one of the manifest.
        EXPECT_EQ(parsed.entry().fileName, row.fileName.empty() ? "Own.xml" : row.fileName);
        EXPECT_EQ(parsed.entry().displayName, row.displayName);
        EXPECT_EQ(parsed.entry().destinationDirectory, "/opt/orvanta/brightgate/" + row.directory + "/");
        EXPECT_EQ(parsed.entry().secondaryDirectory, "/opt/orvanta/brightgate/" + row.secondaryDirectory + "/");
    }
}

TEST(ManifestInfo, aProfileWithoutServiceTypeIsTheUsers)
{
    const Parsed parsed(profile(""), true);
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.entry().serviceType, "user");
    EXPECT_EQ(parsed.entry().fileName, "Own.xml");
    EXPECT_EQ(parsed.entry().displayName, "Orvanta Brightgate Client VPN Profile");
}

TEST(ManifestInfo, childElementsOverrideTheNamesOfTheProfile)
{
    const Parsed parsed(profile("service-type='solvane'", "<filename>x/Mine.json</filename><display-name>Mine"
                                                          "</display-name><hash type='sha256'>bb</hash>"),
                        true);
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.entry().fileName, "Mine.json");
    EXPECT_EQ(parsed.entry().displayName, "Mine");
}

TEST(ManifestInfo, anUnknownServiceTypeIsRejectedWithAWarning)
{
    const Parsed unknown(profile("service-type='vpn'"), true);
    EXPECT_FALSE(unknown.ok);
    EXPECT_THAT(unknown.records, ElementsAre(warning("Unknown client profile type vpn")));
    const Parsed empty(profile("service-type=''"), true);
    EXPECT_FALSE(empty.ok);
    EXPECT_THAT(empty.records, ElementsAre(warning("Unknown client profile type ")));
}

TEST(ManifestInfo, anUnknownServiceTypeIsFoundBeforeTheMissingId)
{
    const Parsed parsed(profile("service-type='vpn' version='1'"), true);
    EXPECT_THAT(parsed.records, ElementsAre(warning("Unknown client profile type vpn")));
}

TEST(ManifestInfo, serviceTypeIsNotReadUnlessTheFirstElementIsSkipped)
{
    const Parsed parsed(oneFile("type='profile' service-type='no such thing'", kProfileChildren));
    ASSERT_TRUE(parsed.ok);
    EXPECT_THAT(parsed.records, IsEmpty());
    EXPECT_EQ(parsed.entry().serviceType, "user");
    EXPECT_EQ(parsed.entry().fileName, "Own.xml");
    EXPECT_EQ(parsed.entry().displayName, "Own.xml");
    EXPECT_EQ(parsed.entry().destinationDirectory, "/opt/orvanta/brightgate/vpn/profile/");
}

TEST(ManifestInfo, serviceTypeIsReadForProfilesOnly)
{
    const Parsed other("<reply>" + oneFile("type='exe' service-type='no such thing'") + "</reply>", true);
    ASSERT_TRUE(other.ok);
    EXPECT_EQ(other.entry().serviceType, "user");
    // The element comes too late for it.
    const Parsed element(
        "<reply>" + oneFile("service-type='solvane'", "<type>profile</type>"s + kProfileChildren) + "</reply>", true);
    ASSERT_TRUE(element.ok);
    EXPECT_EQ(element.entry().serviceType, "user");
    EXPECT_EQ(element.entry().displayName, "Own.xml");
}

// Texts and files by name.

CManifestInfo::Reading honouringServiceTypes()
{
    CManifestInfo::Reading reading;
    reading.honourServiceType = true;
    return reading;
}

TEST(ManifestInfo, serviceTypeOfAPlainManifestIsHonouredWhenAskedFor)
{
    bool ok = false;
    const CManifestInfo info = CManifestInfo::FromText(
        ok, oneFile("type='profile' service-type='vpn-mgmt'", kProfileChildren), honouringServiceTypes());
    ASSERT_TRUE(ok);
    const ManifestFileInfo& entry = *info.getFileList().front();
    EXPECT_EQ(entry.serviceType, "vpn-mgmt");
    EXPECT_EQ(entry.fileName, "VpnMgmtTunProfile.xml");
    EXPECT_EQ(entry.destinationDirectory, "/opt/orvanta/brightgate/vpn/profile/mgmttun/");
}

TEST(ManifestInfo, anUnknownServiceTypeOfAPlainManifestRejectsItWhenAskedFor)
{
    const CapturedLog log;
    bool ok = true;
    const CManifestInfo info = CManifestInfo::FromText(
        ok, oneFile("type='profile' service-type='vpn'", kProfileChildren), honouringServiceTypes());
    EXPECT_FALSE(ok);
    EXPECT_THAT(log.records(), ElementsAre(warning("Unknown client profile type vpn")));
}

TEST(ManifestInfo, aSkippedElementAloneMakesNoServiceTypeCount)
{
    bool ok = false;
    CManifestInfo::Reading reading;
    reading.skipFirstElement = true;
    const CManifestInfo info = CManifestInfo::FromText(ok, profile("service-type='vpn'"), reading);
    ASSERT_TRUE(ok);
    EXPECT_EQ(info.getFileList().front()->serviceType, "user");
}

TEST(ManifestInfo, aTextIsReadAsAPlainManifestOfTheChosenRoot)
{
    const std::string text = oneFile("type='resource'", kProfileChildren);
    for (const bool isLegacy : {false, true}) {
        bool ok = false;
        CManifestInfo::Reading reading;
        reading.legacyRoot = isLegacy;
        const CManifestInfo info = CManifestInfo::FromText(ok, text, reading);
        ASSERT_TRUE(ok);
        EXPECT_EQ(info.getFileList().front()->destinationDirectory,
                  isLegacy ? "/opt/orvanta/tessellink/resources/" : "/opt/orvanta/brightgate/resources/");
    }
}

TEST(ManifestInfo, aFileIsReadByNameAsByTheConstructor)
{
    const ScratchFolder scratch;
    bool ok = false;
    const std::string path = scratch.write("m.xml", oneFile("type='profile' service-type='none'", kProfileChildren));
    const CManifestInfo info = CManifestInfo::FromFile(ok, path);
    ASSERT_TRUE(ok);
    EXPECT_EQ(info.getFileList().size(), 1u);
    const CapturedLog log;
    const CManifestInfo missing = CManifestInfo::FromFile(ok, scratch.path("missing"));
    EXPECT_FALSE(ok);
}

// The four combinations of the flags.

TEST(ManifestInfo, theFlagsActIndependently)
{
    for (const bool skip : {false, true}) {
        for (const bool legacy : {false, true}) {
            const std::string text = manifest("<file type='resource'><uri>a.png</uri><hash type='sha1'>aa</hash></file>"
                                              "<file type='profile' service-type='solvane'><uri>Own.xml</uri>"
                                              "<hash type='sha1'>aa</hash></file>");
            const Parsed parsed(skip ? "<reply>" + text + "</reply>" : text, skip, legacy);
            ASSERT_TRUE(parsed.ok);
            ASSERT_THAT(parsed.files(), SizeIs(2));
            EXPECT_EQ(parsed.files().front()->destinationDirectory,
                      legacy ? "/opt/orvanta/tessellink/resources/" : "/opt/orvanta/brightgate/resources/");
            // Profiles belong to the current root whatever the flag says.
            EXPECT_EQ(parsed.files().back()->destinationDirectory,
                      skip ? "/opt/orvanta/brightgate/solvane/" : "/opt/orvanta/brightgate/vpn/profile/");
        }
    }
}

// The children of "file".

TEST(ManifestInfo, eachChildFillsItsField)
{
    const Parsed parsed(oneFile("type='exe'", "<uri>a/b.exe</uri><filename>c.exe</filename><hash type='sha256'>0a"
                                              "</hash><display-name>The Name</display-name><depends>core</depends>"));
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.entry().uri, "a/b.exe");
    EXPECT_EQ(parsed.entry().fileName, "c.exe");
    EXPECT_EQ(parsed.entry().hash, "0a");
    EXPECT_EQ(parsed.entry().hashType, eHashTypeSha256);
    EXPECT_EQ(parsed.entry().displayName, "The Name");
    EXPECT_EQ(parsed.entry().depends, "core");
}

TEST(ManifestInfo, nameIsAnotherWordForFilename)
{
    EXPECT_EQ(Parsed(oneFile("type='exe'", "<name>a.exe</name>")).entry().fileName, "a.exe");
    EXPECT_EQ(Parsed(oneFile("type='exe'", "<name>a</name><filename>b</filename>")).entry().fileName, "b");
    EXPECT_EQ(Parsed(oneFile("type='exe'", "<filename>a</filename><name>b</name>")).entry().fileName, "b");
}

TEST(ManifestInfo, aChildGivenTwiceOverwrites)
{
    const Parsed parsed(oneFile("", "<type>exe</type><type>deb</type><uri>a</uri><uri>b</uri><depends>c</depends>"
                                    "<depends></depends><hash type='sha1'>1</hash><hash type='sha256'>2</hash>"
                                    "<display-name>d</display-name><display-name>e</display-name>"));
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.entry().type, eFileTypeDeb);
    EXPECT_EQ(parsed.entry().uri, "b");
    EXPECT_EQ(parsed.entry().depends, "");
    EXPECT_EQ(parsed.entry().hash, "2");
    EXPECT_EQ(parsed.entry().hashType, eHashTypeSha256);
    EXPECT_EQ(parsed.entry().displayName, "e");
}

TEST(ManifestInfo, aHashOfAnotherTypeLeavesTheTypeAsItIs)
{
    EXPECT_EQ(Parsed(oneFile("type='exe'", "<uri>u</uri><hash type='sha1'>1</hash>")).entry().hashType, eHashTypeSha1);
    for (const char* word : {"type='md5'", "type='SHA1'", "type=''", ""}) {
        const Parsed none(oneFile("type='exe'", "<uri>u</uri><hash "s + word + ">1</hash>"));
        ASSERT_TRUE(none.ok);
        EXPECT_EQ(none.entry().hashType, eHashTypeNone) << word;
        EXPECT_EQ(none.entry().hash, "1");
        const Parsed kept(
            oneFile("type='exe'", "<uri>u</uri><hash type='sha256'>1</hash><hash "s + word + ">2</hash>"));
        EXPECT_EQ(kept.entry().hashType, eHashTypeSha256) << word;
        EXPECT_EQ(kept.entry().hash, "2");
    }
}

TEST(ManifestInfo, aHashOfAnotherTypeRejectsAnEntryThatNeedsOne)
{
    const Parsed parsed(oneFile("type='resource'", "<uri>logo.png</uri><hash type='md5'>aa</hash>"));
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.records,
                ElementsAre(message('E',
                                    "Manifest must specify hash and hash type for OEM customization files and "
                                    "profiles (logo.png)",
                                    "manifestInfoIsSane")));
}

TEST(ManifestInfo, childrenAreTakenInAnyOrderAndNumberAndAtAnyDepth)
{
    const Parsed parsed(manifest("<file id='a'><depends>x</depends><type>exe<uri>u</uri></type></file>"
                                 "<file id='b' type='exe'/><uri>v</uri>"));
    ASSERT_TRUE(parsed.ok);
    EXPECT_THAT(parsed.ids(), ElementsAre("a", "b"));
    EXPECT_EQ(parsed.files().back()->uri, "v");
}

TEST(ManifestInfo, namesOfChildrenAreExact)
{
    for (const char* child : {"URI", "Uri", "file-name", "display_name", "p:uri"}) {
        const Parsed parsed(oneFile("type='exe' xmlns:p='urn:p'", "<uri>u</uri><"s + child + "/><uri>v</uri>"));
        EXPECT_FALSE(parsed.ok) << child;
        EXPECT_THAT(parsed.records, ElementsAre(error("Invalid manifest file format")));
    }
}

TEST(ManifestInfo, theDisplayNameDefaultsToTheResolvedName)
{
    const Parsed parsed(oneFile("type='binary'", "<uri>scripts_OnConnect.sh</uri><hash type='sha1'>aa</hash>"));
    ASSERT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.entry().resolvedFileName, "OnConnect.sh");
    EXPECT_EQ(parsed.entry().displayName, "OnConnect.sh");
}

TEST(ManifestInfo, aLineEndInATextVanishes)
{
    EXPECT_EQ(Parsed(oneFile("type='exe'", "<uri>one\r\ntwo</uri>")).entry().uri, "onetwo");
}

// The walk.

TEST(ManifestInfo, entriesAreListedInDocumentOrder)
{
    const Parsed parsed(manifest("<file id='b' type='exe'><uri>u</uri></file>\n<file id='a' type='exe'><uri>u</uri>"
                                 "</file>\n<file id='b' type='exe'><uri>u</uri></file>"));
    EXPECT_TRUE(parsed.ok);
    EXPECT_THAT(parsed.ids(), ElementsAre("b", "a", "b"));
}

TEST(ManifestInfo, ofTwoFilesWithoutChildrenOnlyTheFirstIsRead)
{
    const Parsed parsed(manifest("<file type='exe'/><file type='nonsense'/>"));
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.records,
                ElementsAre(message('E', "Manifest must specify a URI or filename", "manifestInfoIsSane")));
}

TEST(ManifestInfo, whatEndsTheLastEntryAndTheDocumentIsNotLookedAt)
{
    for (const char* last : {"<file id='b' type='nonsense' version='1'/>", "<stray/>", "<stray>text</stray>"}) {
        const Parsed parsed(manifest("<file id='a' type='exe'><uri>u</uri></file>"s + last));
        EXPECT_TRUE(parsed.ok) << last;
        EXPECT_THAT(parsed.ids(), ElementsAre("a"));
        EXPECT_THAT(parsed.records, IsEmpty());
    }
}

TEST(ManifestInfo, aStrayElementBeforeTheEndIsRejected)
{
    const Parsed first(manifest("<stray/><file id='a' type='exe'><uri>u</uri></file>"));
    EXPECT_FALSE(first.ok);
    EXPECT_THAT(first.records, ElementsAre(error("Invalid manifest file format")));

    const Parsed between(manifest("<file id='a' type='exe'><uri>u</uri></file><stray/><stray/>"));
    EXPECT_FALSE(between.ok);
    EXPECT_THAT(between.records, ElementsAre(error("Invalid manifest file format")));
}

TEST(ManifestInfo, nothingBehindTheFirstBadEntryIsRead)
{
    const Parsed parsed(manifest("<file id='a' type='exe'><uri>u</uri></file><file id='b' type='what'/>"
                                 "<file id='c' type='also'/><file id='d'/>"));
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.records, ElementsAre(error("Unknown \"type\" attribute")));
    // What was listed before stays listed, and is freed with the object.
    EXPECT_THAT(parsed.ids(), ElementsAre("a"));
}

TEST(ManifestInfo, anInsaneEntryRejectsTheManifest)
{
    const Parsed parsed(manifest("<file id='a' type='exe'><uri>u</uri></file><file id='b'><uri>v</uri></file>"
                                 "<file id='c' type='exe'><uri>w</uri></file>"));
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.ids(), ElementsAre("a"));
    EXPECT_THAT(parsed.records,
                ElementsAre(message('W', "Manifest must specify file action (v)", "manifestInfoIsSane")));
}

// The parse of the text.

TEST(ManifestInfo, emptyTextIsRefusedByTheConstructor)
{
    const Parsed parsed("");
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.records, ElementsAre(message('E', "Empty XML Manifest", "CManifestInfo")));
}

TEST(ManifestInfo, parsingEmptyTextIsAWarning)
{
    CapturedLog log;
    bool ok = false;
    CManifestInfo info(ok, "<vpn/>", false, false);
    EXPECT_FALSE(info.parseManifestFile(""));
    EXPECT_THAT(log.records(), ElementsAre(warning("Manifest buffer empty")));
}

TEST(ManifestInfo, blankTextFailsInTheParser)
{
    const Parsed parsed(" \n\t");
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.records, ElementsAre(failedCall("parseManifestFile", "XmlParser::parseXml", 0xFE000009)));
}

TEST(ManifestInfo, aDocumentThatIsNotWellFormedGivesTheParsersRecordsAndThenItsCode)
{
    const Parsed parsed("<vpn rev='1.0'><file id='a' type='exe'><uri>u</uri></file>");
    EXPECT_FALSE(parsed.ok);
    EXPECT_THAT(parsed.files(), IsEmpty());
    ASSERT_THAT(parsed.records, SizeIs(3));
    EXPECT_THAT(parsed.records[2], failedCall("parseManifestFile", "XmlParser::parseXml", 0xFE000009));
}

TEST(ManifestInfo, parsingAgainAppends)
{
    bool ok = false;
    CManifestInfo info(ok, oneFile("id='a' type='exe'"), false, false);
    EXPECT_TRUE(info.parseManifestFile(oneFile("id='b' type='exe'")));
    EXPECT_THAT(idsOf(info), ElementsAre("a", "b"));
}

// The manifest file.

TEST(ManifestInfo, aManifestFileIsReadAndParsed)
{
    const CapturedLog log;
    const ScratchFolder folder;
    bool ok = false;
    const CManifestInfo info(ok, folder.write("a.xml", oneFile("id='a' type='exe'")));
    EXPECT_TRUE(ok);
    EXPECT_THAT(idsOf(info), ElementsAre("a"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ManifestInfo, aManifestFileHasItsRootFirstAndBelongsToTheCurrentRoot)
{
    const ScratchFolder folder;
    bool ok = false;
    const CManifestInfo info(
        ok, folder.write("a.xml", manifest("<file type='resource'><uri>a.png</uri><hash type='sha1'>aa</hash></file>"
                                           "<file type='profile' service-type='solvane'><uri>Own.xml</uri>"
                                           "<hash type='sha1'>aa</hash></file>")));
    ASSERT_TRUE(ok);
    EXPECT_EQ(info.getFileList().front()->destinationDirectory, "/opt/orvanta/brightgate/resources/");
    EXPECT_EQ(info.getFileList().back()->serviceType, "user");
}

TEST(ManifestInfo, aBadManifestFileIsRejected)
{
    const CapturedLog log;
    const ScratchFolder folder;
    bool ok = true;
    const CManifestInfo info(ok, folder.write("a.xml", manifest("<other/><other/>")));
    EXPECT_FALSE(ok);
    EXPECT_THAT(log.records(), ElementsAre(error("Invalid manifest file format")));
}

TEST(ManifestInfo, anEmptyPathIsRefused)
{
    const CapturedLog log;
    bool ok = true;
    const CManifestInfo info(ok, "");
    EXPECT_FALSE(ok);
    EXPECT_THAT(info.getFileList(), IsEmpty());
    EXPECT_THAT(log.records(), ElementsAre(message('E', "Empty XML Manifest filename", "CManifestInfo")));
}

TEST(ManifestInfo, aMissingOrEmptyFileHasNoSize)
{
    const ScratchFolder folder;
    for (const std::string& path : {folder.path("missing.xml"), folder.write("empty.xml", "")}) {
        const CapturedLog log;
        bool ok = true;
        const CManifestInfo info(ok, path);
        EXPECT_FALSE(ok);
        EXPECT_THAT(log.records(),
                    ElementsAre(failedCall("readManifestFile", "CManifestInfo::fileCbSize", 0xFE000002)));
    }
}

TEST(ManifestInfo, aFileThatMayNotBeReadFailsToOpen)
{
    const CapturedLog log;
    const ScratchFolder folder;
    const std::string path = folder.write("closed.xml", "<vpn/>");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    const WithoutPrivileges ordinary;
    bool ok = true;
    const CManifestInfo info(ok, path);
    EXPECT_FALSE(ok);
    EXPECT_THAT(log.records(),
                ElementsAre(failedCall("readManifestFile", "fstream::open", EACCES, "Permission denied")));
}

TEST(ManifestInfo, aFolderOpensAndFailsInTheRead)
{
    const CapturedLog log;
    const ScratchFolder folder;
    folder.write("so that the folder has a size everywhere", "");
    bool ok = true;
    const CManifestInfo info(ok, folder.path());
    EXPECT_FALSE(ok);
    EXPECT_THAT(log.records(), ElementsAre(failedCall("readManifestFile", "fstream::read", EISDIR, "Is a directory")));
}

TEST(ManifestInfo, aFileThatEndsBeforeItsSizeFailsInTheReadWithoutAnErrno)
{
    // A file of sysfs claims a page and holds a few bytes.
    const char* path = "/sys/kernel/mm/transparent_hugepage/enabled";
    struct stat info
    {};
    if (stat(path, &info) != 0 || info.st_size < 4096) {
        path = "/sys/class/net/lo/mtu";
    }
    ASSERT_EQ(stat(path, &info), 0);
    ASSERT_GE(info.st_size, 4096);
    const CapturedLog log;
    errno = ENOENT;
    EXPECT_EQ(CManifestInfo::readManifestFile(path), "");
    EXPECT_THAT(log.records(), ElementsAre(failedCall("readManifestFile", "fstream::read", 0, "Success")));
}

TEST(ManifestInfo, aFileOfTwoGibibytesHasNoUsableSize)
{
    const CapturedLog log;
    const ScratchFolder folder;
    const std::string path = folder.write("huge.xml", "<vpn/>");
    for (const off_t size : {off_t{1} << 31, (off_t{1} << 32) - 1, off_t{1} << 32}) {
        ASSERT_EQ(truncate(path.c_str(), size), 0);
        EXPECT_EQ(CManifestInfo::readManifestFile(path), "");
    }
    const auto record = failedCall("readManifestFile", "CManifestInfo::fileCbSize", 0xFE000002);
    EXPECT_THAT(log.records(), ElementsAre(record, record, record));
}

TEST(ManifestInfo, ofAFileOfMoreThanFourGibibytesTheRemainderIsRead)
{
    const CapturedLog log;
    const ScratchFolder folder;
    const std::string path = folder.write("huge.xml", "<vpn/>behind");
    ASSERT_EQ(truncate(path.c_str(), (off_t{1} << 32) + 6), 0);
    EXPECT_EQ(CManifestInfo::readManifestFile(path), "<vpn/>");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ManifestInfo, aManifestFileEndsAtItsFirstNulByte)
{
    const ScratchFolder folder;
    const std::string path = folder.write("a.xml", "<vpn/>\0<more/>"s);
    EXPECT_EQ(CManifestInfo::readManifestFile(path), "<vpn/>");
    bool ok = false;
    const CManifestInfo info(ok, path);
    EXPECT_TRUE(ok);
}

TEST(ManifestInfo, aManifestFileThatStartsWithANulByteIsEmptyWithoutARecord)
{
    const CapturedLog log;
    const ScratchFolder folder;
    bool ok = true;
    const CManifestInfo info(ok, folder.write("a.xml", "\0<vpn/>"s));
    EXPECT_FALSE(ok);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ManifestInfo, readingKeepsEveryOtherByte)
{
    const ScratchFolder folder;
    const std::string bytes = "\xef\xbb\xbf<vpn>\r\n\x01\xff</vpn>\n" + std::string(100000, 'x');
    EXPECT_EQ(CManifestInfo::readManifestFile(folder.write("a.xml", bytes)), bytes);
}

TEST(ManifestInfo, readingAnEmptyPathGivesNothingWithoutARecord)
{
    const CapturedLog log;
    EXPECT_EQ(CManifestInfo::readManifestFile(""), "");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ManifestInfo, blanksBeforeTheDocumentAreSkipped)
{
    const ScratchFolder folder;
    bool ok = false;
    const CManifestInfo info(ok, folder.write("a.xml", "\n \t<?xml version='1.0'?>" + oneFile("id='a' type='exe'")));
    EXPECT_TRUE(ok);
    EXPECT_THAT(idsOf(info), ElementsAre("a"));
}

// An entry that was built elsewhere.

TEST(ManifestInfo, aSaneEntryIsCompletedListedAndOwned)
{
    const CapturedLog log;
    auto entry = std::make_unique<ManifestFileInfo>();
    entry->type = eFileTypeResource;
    entry->uri = "x/logo.png";
    entry->hash = "aa";
    entry->hashType = eHashTypeSha1;
    bool ok = false;
    const CManifestInfo info(ok, entry.get());
    ASSERT_TRUE(ok);
    EXPECT_THAT(info.getFileList(), ElementsAre(entry.get()));
    EXPECT_EQ(entry->fileName, "logo.png");
    EXPECT_EQ(entry->resolvedFileName, "logo.png");
    EXPECT_EQ(entry->displayName, "logo.png");
    EXPECT_EQ(entry->action, eFileActionCopy);
    EXPECT_EQ(entry->destinationDirectory, "/opt/orvanta/brightgate/resources/");
    EXPECT_THAT(log.records(), IsEmpty());
    // The manifest deletes it; were that not so, the leak checker would see it.
    static_cast<void>(entry.release());
}

TEST(ManifestInfo, aGivenDisplayNameStays)
{
    auto* entry = new ManifestFileInfo;
    entry->type = eFileTypeExe;
    entry->uri = "setup";
    entry->displayName = "Setup";
    bool ok = false;
    const CManifestInfo info(ok, entry);
    ASSERT_TRUE(ok);
    EXPECT_EQ(entry->displayName, "Setup");
}

TEST(ManifestInfo, anInsaneEntryStaysTheCallersButIsCompleted)
{
    const CapturedLog log;
    ManifestFileInfo entry;
    entry.uri = "x/setup";
    bool ok = true;
    const CManifestInfo info(ok, &entry);
    EXPECT_FALSE(ok);
    EXPECT_THAT(info.getFileList(), IsEmpty());
    EXPECT_EQ(entry.displayName, "setup");
    EXPECT_THAT(log.records(),
                ElementsAre(message('W', "Manifest must specify file action (setup)", "manifestInfoIsSane")));
}

TEST(ManifestInfo, noEntryIsRefusedInSilence)
{
    const CapturedLog log;
    bool ok = true;
    const CManifestInfo info(ok, static_cast<ManifestFileInfo*>(nullptr));
    EXPECT_FALSE(ok);
    EXPECT_THAT(info.getFileList(), IsEmpty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ManifestInfo, anEntryWithAnUnknownServiceTypeIsListedWithoutDirectories)
{
    const CapturedLog log;
    auto* entry = new ManifestFileInfo;
    entry->type = eFileTypeProfile;
    entry->serviceType = "vpn";
    entry->uri = "Own.xml";
    entry->hash = "aa";
    entry->hashType = eHashTypeSha1;
    bool ok = false;
    const CManifestInfo info(ok, entry);
    EXPECT_TRUE(ok);
    EXPECT_EQ(entry->destinationDirectory, "");
    EXPECT_EQ(entry->secondaryDirectory, "");
    EXPECT_THAT(log.records(), ElementsAre(message('W', "Unknown client profile type vpn", "resolveSpecialDirectory")));
}

} // namespace
