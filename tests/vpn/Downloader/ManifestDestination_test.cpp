#include "vpn/Downloader/ManifestInfo.h"

#include <bitset>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/support/Kinds.h"

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::kAnyLine;
using obg::test::ScratchFolder;
using obg::test::sourceTag;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

/** Every kind, and none. */
std::vector<ManifestFileType> allTypes()
{
    std::vector<ManifestFileType> types{eFileTypeNone};
    for (const FileKind& kind : kFileKinds) {
        types.push_back(kind.type);
    }
    return types;
}

/** Numbers that are no kind of file. */
constexpr ManifestFileType kUnknownTypes[] = {
    static_cast<ManifestFileType>(6),
    static_cast<ManifestFileType>(7),
    static_cast<ManifestFileType>(12),
    static_cast<ManifestFileType>(16),
    static_cast<ManifestFileType>(obg::test::numberBehindAllKinds()),
    static_cast<ManifestFileType>(0xFFFFFFFF),
};

/** An object for its operations, of the current root or of the legacy one. */
class Rules
{
public:
    explicit Rules(bool legacyRoot = false) : m_info(m_ok, "<vpn/>", false, legacyRoot) {}

    ManifestFileInfo named(ManifestFileType type, const std::string& fileName, const std::string& uri = "") const
    {
        ManifestFileInfo entry;
        entry.type = type;
        entry.fileName = fileName;
        entry.uri = uri;
        m_info.resolveFileNames(entry);
        return entry;
    }

    ManifestFileInfo placed(ManifestFileInfo entry) const
    {
        m_info.resolveSpecialDirectory(entry);
        return entry;
    }

    ManifestFileInfo placed(ManifestFileType type, const std::string& fileName = "f") const
    {
        ManifestFileInfo entry;
        entry.type = type;
        entry.fileName = fileName;
        return placed(entry);
    }

    FileAction actionOf(ManifestFileType type, FileAction given) const
    {
        ManifestFileInfo entry;
        entry.type = type;
        entry.action = given;
        m_info.setFileAction(entry);
        return entry.action;
    }

    bool isSane(const ManifestFileInfo& entry) const
    {
        ManifestFileInfo judged = entry;
        return m_info.manifestInfoIsSane(judged);
    }

private:
    bool m_ok = false;
    CManifestInfo m_info;
};

auto record(char importance, const std::string& function, const std::string& text)
{
    return IsDebugMessage(importance, debugText(function, sourceTag("vpn/Downloader/ManifestInfo"), kAnyLine, text));
}

// File names.

TEST(ManifestFileNames, theUriStandsInForAMissingFileName)
{
    const ManifestFileInfo entry = Rules().named(eFileTypeMsi, "", "packages/win/setup.msi");
    EXPECT_EQ(entry.fileName, "setup.msi");
    EXPECT_EQ(entry.resolvedFileName, "setup.msi");
    EXPECT_EQ(entry.uri, "packages/win/setup.msi");
}

TEST(ManifestFileNames, aGivenFileNameWinsOverTheUri)
{
    EXPECT_EQ(Rules().named(eFileTypeExe, "own", "packages/other").fileName, "own");
}

TEST(ManifestFileNames, onlyTheLastPathComponentIsKept)
{
    const Rules rules;
    EXPECT_EQ(rules.named(eFileTypeExe, "/a/b/c").fileName, "c");
    EXPECT_EQ(rules.named(eFileTypeExe, "../../c").fileName, "c");
    EXPECT_EQ(rules.named(eFileTypeExe, "/c").fileName, "c");
    EXPECT_EQ(rules.named(eFileTypeExe, R"(a\b)").fileName, R"(a\b)");
    EXPECT_EQ(rules.named(eFileTypeExe, "").fileName, "");
}

TEST(ManifestFileNames, aNameThatEndsInASlashLeavesAnEmptyOne)
{
    const Rules rules;
    EXPECT_EQ(rules.named(eFileTypeExe, "a/b/").fileName, "");
    EXPECT_EQ(rules.named(eFileTypeExe, "/").resolvedFileName, "");
    // The uri has no second turn, whichever of the two ends so.
    EXPECT_EQ(rules.named(eFileTypeExe, "a/", "b/c").fileName, "");
    EXPECT_EQ(rules.named(eFileTypeExe, "", "b/c/").fileName, "");
}

TEST(ManifestFileNames, aTransformEndsInXmlUnlessItHasThatAnywhere)
{
    const Rules rules;
    EXPECT_EQ(rules.named(eFileTypeTransform, "own").resolvedFileName, "own.xml");
    EXPECT_EQ(rules.named(eFileTypeTransform, "own").fileName, "own");
    EXPECT_EQ(rules.named(eFileTypeTransform, "x.xml").resolvedFileName, "x.xml");
    EXPECT_EQ(rules.named(eFileTypeTransform, "x.xml.bak").resolvedFileName, "x.xml.bak");
    EXPECT_EQ(rules.named(eFileTypeTransform, "x.XML").resolvedFileName, "x.XML.xml");
    EXPECT_EQ(rules.named(eFileTypeTransform, "xml").resolvedFileName, "xml.xml");
    EXPECT_EQ(rules.named(eFileTypeTransform, "a.xml/b").resolvedFileName, "b.xml");
    EXPECT_EQ(rules.named(eFileTypeTransform, "").resolvedFileName, ".xml");
}

TEST(ManifestFileNames, theTwoSpecialTransformsConcernAllModules)
{
    const Rules rules;
    for (const char* name : {"TLTransforms", "TLTransforms.xml", "UninstallOldGRD", "dir/UninstallOldGRD.xml"}) {
        EXPECT_EQ(rules.named(eFileTypeTransform, name).module, "all") << name;
    }
    EXPECT_EQ(rules.named(eFileTypeTransform, "TLTransforms").resolvedFileName, "TLTransforms.xml");
    for (const char* name : {"tltransforms", "TLTransforms.xml.xml", "xTLTransforms", "other"}) {
        EXPECT_EQ(rules.named(eFileTypeTransform, name).module, "") << name;
    }
}

TEST(ManifestFileNames, onlyTransformsConcernAllModules)
{
    for (const ManifestFileType type : allTypes()) {
        const ManifestFileInfo entry = Rules().named(type, "TLTransforms.xml");
        EXPECT_EQ(entry.module, type == eFileTypeTransform ? "all" : "") << type;
        EXPECT_EQ(entry.resolvedFileName, "TLTransforms.xml") << type;
    }
}

TEST(ManifestFileNames, aBinaryLosesItsPrefixesOnDiskOnly)
{
    const Rules rules;
    const std::pair<const char*, const char*> names[] = {
        {"scripts_OnConnect.sh", "OnConnect.sh"},
        {"help_en.html", "en.html"},
        {"scripts_help_x", "x"},
        {"help_scripts_x", "scripts_x"},
        {"scripts_scripts_x", "scripts_x"},
        {"help_help_x", "help_x"},
        {"scripts_", ""},
        {"scripts_help_", ""},
        {"Scripts_x", "Scripts_x"},
        {"my_scripts_x", "my_scripts_x"},
        {"logo.png", "logo.png"},
    };
    for (const auto& [name, resolved] : names) {
        const ManifestFileInfo entry = rules.named(eFileTypeBinary, name);
        EXPECT_EQ(entry.resolvedFileName, resolved);
        EXPECT_EQ(entry.fileName, name);
    }
}

TEST(ManifestFileNames, otherKindsKeepTheirNames)
{
    for (const ManifestFileType type : allTypes()) {
        if (type != eFileTypeBinary && type != eFileTypeTransform) {
            EXPECT_EQ(Rules().named(type, "dir/scripts_help_x").resolvedFileName, "scripts_help_x") << type;
        }
    }
}

// Directories.

struct Place
{
    ManifestFileType type;
    const char* fileName;
    const char* current;
    const char* legacy;
};

TEST(ManifestDirectories, dependOnTypeNameAndRoot)
{
    const Place places[] = {
        {eFileTypeBinary, "scripts_OnConnect.sh", "/opt/orvanta/brightgate/vpn/script/",
         "/opt/orvanta/tessellink/script/"},
        {eFileTypeBinary, "scripts_help_x", "/opt/orvanta/brightgate/vpn/script/", "/opt/orvanta/tessellink/script/"},
        {eFileTypeBinary, "help_en.html", "/opt/orvanta/brightgate/help/", "/opt/orvanta/tessellink/help/"},
        {eFileTypeBinary, "logo.png", "", ""},
        {eFileTypeBinary, "my_scripts_x", "", ""},
        {eFileTypeL10n, "Tessellink.mo", "/opt/orvanta/brightgate/l10n/de/LC_MESSAGES/",
         "/opt/orvanta/tessellink/l10n/de/LC_MESSAGES/"},
        {eFileTypeProfile, "Own.xml", "/opt/orvanta/brightgate/vpn/profile/", "/opt/orvanta/brightgate/vpn/profile/"},
        {eFileTypeResource, "logo.png", "/opt/orvanta/brightgate/resources/", "/opt/orvanta/tessellink/resources/"},
        {eFileTypeMsi, "scripts_x", "", ""},
        {eFileTypeExe, "help_x", "", ""},
        {eFileTypeScript, "scripts_x", "", ""},
        {eFileTypeMst, "x", "", ""},
        {eFileTypeTransform, "x", "", ""},
        {eFileTypeDmg, "x", "", ""},
        {eFileTypeRpm, "x", "", ""},
        {eFileTypeDeb, "x", "", ""},
        {eFileTypeNone, "scripts_x", "", ""},
        {kUnknownTypes[0], "scripts_x", "", ""},
    };
    for (const Place& place : places) {
        SCOPED_TRACE(std::to_string(place.type) + " " + place.fileName);
        ManifestFileInfo entry;
        entry.type = place.type;
        entry.fileName = place.fileName;
        entry.lang = "de";
        const ManifestFileInfo current = Rules(false).placed(entry);
        EXPECT_EQ(current.destinationDirectory, place.current);
        EXPECT_EQ(current.secondaryDirectory, place.current);
        const ManifestFileInfo legacy = Rules(true).placed(entry);
        EXPECT_EQ(legacy.destinationDirectory, place.legacy);
        EXPECT_EQ(legacy.secondaryDirectory, place.legacy);
    }
}

TEST(ManifestDirectories, ofProfilesComeFromTheirRowAndTheCurrentRoot)
{
    const std::string root = "/opt/orvanta/brightgate/";
    const std::pair<const char*, const char*> first[] = {
        {"user", "vpn/profile/"},
        {"vpn-mgmt", "vpn/profile/mgmttun/"},
        {"corvel", R"(Corvel Manager\system/)"},
        {"ravelle", "ravelle/"},
        {"feedback", "CustomerExperienceFeedback/"},
        {"vantorposture", "vantorposture/"},
        {"vantorposturejson", "vantorposture/"},
        {"quorraenabler", "QuorraEnabler/"},
        {"tindra", "TINDRA/"},
        {"solvane", "solvane/"},
        {"kellex", "kellex/enrollment_choices/"},
        {"marrowind", "marrowind/"},
    };
    for (const bool legacy : {false, true}) {
        for (const auto& [key, directory] : first) {
            ManifestFileInfo entry;
            entry.type = eFileTypeProfile;
            entry.serviceType = key;
            const ManifestFileInfo placed = Rules(legacy).placed(entry);
            const std::string second = std::string(key) == "corvel" ? R"(Corvel Manager\newConfigFiles/)" : directory;
            EXPECT_EQ(placed.destinationDirectory, root + directory) << key;
            EXPECT_EQ(placed.secondaryDirectory, root + second) << key;
        }
    }
}

TEST(ManifestDirectories, anUnknownProfileHasNoneAndIsLogged)
{
    const Rules rules;
    const CapturedLog log;
    ManifestFileInfo entry;
    entry.type = eFileTypeProfile;
    entry.serviceType = "vpn";
    const ManifestFileInfo placed = rules.placed(entry);
    EXPECT_EQ(placed.destinationDirectory, "");
    EXPECT_EQ(placed.secondaryDirectory, "");
    EXPECT_THAT(log.records(), ElementsAre(record('W', "resolveSpecialDirectory", "Unknown client profile type vpn")));
}

TEST(ManifestDirectories, aLocalisationFileWithoutALanguageHasAnEmptyComponent)
{
    EXPECT_EQ(Rules().placed(eFileTypeL10n).destinationDirectory, "/opt/orvanta/brightgate/l10n//LC_MESSAGES/");
}

TEST(ManifestDirectories, whereThereIsNoneTheFieldsStayAsTheyWere)
{
    ManifestFileInfo entry;
    entry.type = eFileTypeExe;
    entry.destinationDirectory = "first";
    entry.secondaryDirectory = "second";
    const ManifestFileInfo placed = Rules().placed(entry);
    EXPECT_EQ(placed.destinationDirectory, "first");
    EXPECT_EQ(placed.secondaryDirectory, "second");
}

TEST(ManifestDirectories, whereThereIsOneTheFieldsAreReplaced)
{
    ManifestFileInfo entry;
    entry.type = eFileTypeResource;
    entry.destinationDirectory = "first";
    entry.secondaryDirectory = "second";
    const ManifestFileInfo placed = Rules().placed(entry);
    EXPECT_EQ(placed.destinationDirectory, "/opt/orvanta/brightgate/resources/");
    EXPECT_EQ(placed.secondaryDirectory, "/opt/orvanta/brightgate/resources/");
}

// Actions.

constexpr FileAction kGivenActions[] = {eFileActionInstall, eFileActionCopy, eFileActionApply};

TEST(ManifestActions, aDefaultHoldsUnlessTheManifestSaysOtherwise)
{
    const Rules rules;
    for (const FileKind& kind : kFileKinds) {
        if (kind.actionRule == ActionRule::Default) {
            EXPECT_EQ(rules.actionOf(kind.type, eFileActionNone), kind.action) << kind.word;
            for (const FileAction given : kGivenActions) {
                EXPECT_EQ(rules.actionOf(kind.type, given), given) << kind.word;
            }
        }
    }
}

TEST(ManifestActions, aFixedOneHoldsWhateverTheManifestSays)
{
    const Rules rules;
    for (const FileKind& kind : kFileKinds) {
        if (kind.actionRule == ActionRule::Fixed) {
            EXPECT_EQ(rules.actionOf(kind.type, eFileActionNone), kind.action) << kind.word;
            for (const FileAction given : kGivenActions) {
                EXPECT_EQ(rules.actionOf(kind.type, given), kind.action) << kind.word;
            }
        }
    }
}

TEST(ManifestActions, ofNoOrAnUnknownTypeStayAsGiven)
{
    const Rules rules;
    std::vector<ManifestFileType> types(std::begin(kUnknownTypes), std::end(kUnknownTypes));
    types.push_back(eFileTypeNone);
    for (const ManifestFileType type : types) {
        for (const FileAction given : {eFileActionNone, eFileActionInstall, eFileActionCopy, eFileActionApply}) {
            EXPECT_EQ(rules.actionOf(type, given), given) << type;
        }
    }
}

// Sanity.

auto broken(char importance, const std::string& text)
{
    return record(importance, "manifestInfoIsSane", text);
}

/** An entry that breaks no rule, whatever its type. */
ManifestFileInfo saneEntry(ManifestFileType type)
{
    ManifestFileInfo entry;
    entry.type = type;
    entry.uri = "packages/Tessellink.mo";
    entry.fileName = "Tessellink.mo";
    entry.hash = "aa";
    entry.hashType = eHashTypeSha1;
    entry.lang = "de";
    entry.action = eFileActionCopy;
    return entry;
}

TEST(ManifestSanity, acceptsACompleteEntryOfEachType)
{
    const Rules rules;
    const CapturedLog log;
    for (const ManifestFileType type : allTypes()) {
        EXPECT_TRUE(rules.isSane(saneEntry(type))) << type;
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ManifestSanity, messagesCarryTheFileNameAndNotTheResolvedOne)
{
    const Rules rules;
    const CapturedLog log;
    ManifestFileInfo entry = saneEntry(eFileTypeBinary);
    entry.fileName = "scripts_x %s";
    entry.resolvedFileName = "x";
    entry.hash.clear();
    EXPECT_FALSE(rules.isSane(entry));
    EXPECT_THAT(log.records(),
                ElementsAre(broken('E', "Manifest must specify hash and hash type for OEM customization files and "
                                        "profiles (scripts_x %s)")));
}

TEST(ManifestSanity, aUriOrAFileNameIsEnough)
{
    const Rules rules;
    ManifestFileInfo uriOnly = saneEntry(eFileTypeExe);
    uriOnly.fileName.clear();
    EXPECT_TRUE(rules.isSane(uriOnly));
    ManifestFileInfo nameOnly = saneEntry(eFileTypeExe);
    nameOnly.uri.clear();
    EXPECT_TRUE(rules.isSane(nameOnly));
}

/** What an entry can lack. */
enum Lack
{
    kUriAndName,
    kHash,
    kHashType,
    kLang,
    kCatalogueName,
    kAction,
    kLackCount
};

using Lacks = std::bitset<kLackCount>;

ManifestFileInfo entryWithout(ManifestFileType type, const Lacks& lacks)
{
    ManifestFileInfo entry = saneEntry(type);
    if (lacks[kCatalogueName]) {
        entry.fileName = "other.mo";
    }
    if (lacks[kUriAndName]) {
        entry.uri.clear();
        entry.fileName.clear();
    }
    if (lacks[kHash]) {
        entry.hash.clear();
    }
    if (lacks[kHashType]) {
        entry.hashType = eHashTypeNone;
    }
    if (lacks[kLang]) {
        entry.lang.clear();
    }
    if (lacks[kAction]) {
        entry.action = eFileActionNone;
    }
    return entry;
}

/** The records that an entry without these things gets, from the five rules in their order. */
std::vector<::testing::Matcher<const obg::test::LogRecord&>> expectedRecords(ManifestFileType type, const Lacks& lacks)
{
    const std::string name = " (" + entryWithout(type, lacks).fileName + ")";
    const bool noHash = lacks[kHash] || lacks[kHashType];
    std::vector<::testing::Matcher<const obg::test::LogRecord&>> records;
    if (lacks[kUriAndName]) {
        records.emplace_back(broken('E', "Manifest must specify a URI or filename"));
    }
    const FileKind* const kind = findFileKind(type);
    const Demand demand = kind == nullptr ? Demand::Nothing : kind->demand;
    if (demand == Demand::HashAndLanguage && (noHash || lacks[kLang])) {
        records.emplace_back(
            broken('E', "Manifest must specify hash, hash type and lang for localization files" + name));
    }
    if (kind != nullptr && !kind->fileName.empty() && (lacks[kCatalogueName] || lacks[kUriAndName])) {
        records.emplace_back(broken('E', "Manifest has invalid filename for localization file" + name));
    }
    if (demand == Demand::Hash && noHash) {
        records.emplace_back(
            broken('E', "Manifest must specify hash and hash type for OEM customization files and profiles" + name));
    }
    if (lacks[kAction]) {
        records.emplace_back(broken('W', "Manifest must specify file action" + name));
    }
    return records;
}

TEST(ManifestSanity, everyBrokenRuleIsLoggedInOrderForEveryTypeAndEveryCombination)
{
    const Rules rules;
    CapturedLog log;
    std::vector<ManifestFileType> types = allTypes();
    types.push_back(kUnknownTypes[0]);
    for (const ManifestFileType type : types) {
        for (unsigned bits = 0; bits < 1U << kLackCount; ++bits) {
            const Lacks lacks(bits);
            SCOPED_TRACE(std::to_string(type) + " without " + lacks.to_string());
            log.clear();
            const auto expected = expectedRecords(type, lacks);
            EXPECT_EQ(rules.isSane(entryWithout(type, lacks)), expected.empty());
            EXPECT_THAT(log.records(), ElementsAreArray(expected));
        }
    }
}

TEST(ManifestSanity, theNameOfALocalisationFileIsExactUnderBothRoots)
{
    for (const bool legacy : {false, true}) {
        const Rules rules(legacy);
        for (const char* name : {"tessellink.mo", "Tessellink.mo ", "Tessellink.mo.bak", "Brightgate.mo"}) {
            const CapturedLog log;
            ManifestFileInfo entry = saneEntry(eFileTypeL10n);
            entry.fileName = name;
            EXPECT_FALSE(rules.isSane(entry)) << name;
            EXPECT_THAT(log.records(), ElementsAre(broken('E', "Manifest has invalid filename for localization file (" +
                                                                   std::string(name) + ")")));
        }
    }
}

// The file queries.

TEST(ManifestFileQueries, sizeIsThatOfTheFile)
{
    const ScratchFolder folder;
    EXPECT_EQ(CManifestInfo::fileCbSize(folder.write("a", "12345")), 5U);
    EXPECT_EQ(CManifestInfo::fileCbSize(folder.write("empty", "")), 0U);
}

TEST(ManifestFileQueries, aMissingFileAndAnEmptyPathHaveNoSize)
{
    const ScratchFolder folder;
    const CapturedLog log;
    EXPECT_EQ(CManifestInfo::fileCbSize(folder.path("missing")), 0U);
    EXPECT_EQ(CManifestInfo::fileCbSize(folder.write("file", "x") + "/below"), 0U);
    EXPECT_EQ(CManifestInfo::fileCbSize(""), 0U);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ManifestFileQueries, aSizeIsCountedIn32Bits)
{
    const ScratchFolder folder;
    const std::string path = folder.write("sparse", "");
    const std::pair<off_t, std::uint32_t> sizes[] = {
        {0x7FFFFFFF, 0x7FFFFFFFU}, {0x80000000, 0x80000000U}, {0xFFFFFFFF, 0xFFFFFFFFU},
        {0x100000000, 0U},         {0x100000007, 7U},
    };
    for (const auto& [size, counted] : sizes) {
        ASSERT_EQ(truncate(path.c_str(), size), 0);
        EXPECT_EQ(CManifestInfo::fileCbSize(path), counted);
    }
}

TEST(ManifestFileQueries, anythingThatCanBeExaminedExists)
{
    const ScratchFolder folder;
    EXPECT_TRUE(CManifestInfo::fileExists(folder.write("file", "")));
    EXPECT_TRUE(CManifestInfo::fileExists(folder.path()));
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_TRUE(CManifestInfo::fileExists(folder.path("pipe")));
    ASSERT_EQ(symlink("file", folder.path("link").c_str()), 0);
    EXPECT_TRUE(CManifestInfo::fileExists(folder.path("link")));
    EXPECT_TRUE(CManifestInfo::fileExists("/dev/null"));
}

TEST(ManifestFileQueries, whatCannotBeExaminedDoesNotExist)
{
    const ScratchFolder folder;
    const CapturedLog log;
    EXPECT_FALSE(CManifestInfo::fileExists(""));
    EXPECT_FALSE(CManifestInfo::fileExists(folder.path("missing")));
    ASSERT_EQ(symlink("nowhere", folder.path("dangling").c_str()), 0);
    EXPECT_FALSE(CManifestInfo::fileExists(folder.path("dangling")));
    EXPECT_FALSE(CManifestInfo::fileExists(folder.write("file", "") + "/below"));
    EXPECT_THAT(log.records(), IsEmpty());
}

} // namespace
