#include <sys/stat.h>
#include <unistd.h>

#include "tests/tool/ToolTest.h"

namespace obg::test {

namespace {

const std::string kStoreBefore = storeHeader() + storeRecord(kExe, "1.0", "first") + storeRecord(kDeb, "2.0", "second");

class ToolManifest : public ToolTest
{
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        writeFile(currentStore(), kStoreBefore);
    }

    /** Neither mode accepts the manifest: these lines and the driver's own, status 4, and a store as it was. */
    void expectRefusal(const std::string& manifest, std::vector<std::string> lines) const
    {
        lines.push_back(manifestNotParsed());
        for (const char* mode : {"-i", "-x"}) {
            SCOPED_TRACE(mode);
            struct stat before
            {};
            stat(currentStore().c_str(), &before);
            const ToolResult result = ToolRun({mode, kCurrentRoot, manifest}).run();
            struct stat after
            {};
            stat(currentStore().c_str(), &after);
            EXPECT_EQ(result.exitStatus, 4);
            EXPECT_EQ(result.err, "");
            EXPECT_THAT(result.messages(), linesAre(lines));
            EXPECT_EQ(readFile(currentStore()), kStoreBefore);
            EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
            EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
        }
    }

    /** The manifest is accepted in silence. */
    void expectAcceptance(const std::string& manifest) const
    {
        const ToolResult result = install(manifest);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.out, "");
    }

    /** A file of SIZE bytes that starts with TEXT and goes on as a hole. */
    std::string sparseManifest(const std::string& text, off_t size) const
    {
        const std::string path = manifestFile(text);
        EXPECT_EQ(truncate(path.c_str(), size), 0);
        return path;
    }
};

constexpr off_t kGiB = off_t{1} << 30;

TEST_F(ToolManifest, thatIsMissingIsRefused)
{
    expectRefusal(scratchPath("missing.xml"), {manifestWithoutSize()});
}

TEST_F(ToolManifest, belowSomethingThatIsNoFolderIsRefused)
{
    expectRefusal(manifestFile("text") + "/manifest.xml", {manifestWithoutSize()});
}

TEST_F(ToolManifest, thatIsEmptyIsRefused)
{
    expectRefusal(manifestFile(""), {manifestWithoutSize()});
}

TEST_F(ToolManifest, thatIsADeviceOfNoSizeIsRefused)
{
    expectRefusal("/dev/null", {manifestWithoutSize()});
}

TEST_F(ToolManifest, thatIsAFolderIsRefusedWhenItIsRead)
{
    ASSERT_EQ(mkdir(scratchPath("folder").c_str(), 0755), 0);
    expectRefusal(scratchPath("folder"),
                  {manifestCallFailed("readManifestFile", "fstream::read", 21, "Is a directory")});
}

TEST_F(ToolManifest, thatMayNotBeReadIsRefusedWhenItIsOpened)
{
    const std::string manifest = manifestFile(vpn(file("third", "exe", "3.0")));
    ASSERT_EQ(chmod(manifest.c_str(), 0), 0);
    const ToolResult result = ToolRun({"-i", kCurrentRoot, manifest}).withoutPrivileges().run();
    EXPECT_EQ(result.exitStatus, 4);
    EXPECT_THAT(result.messages(),
                linesAre({manifestCallFailed("readManifestFile", "fstream::open", 13, "Permission denied"),
                          manifestNotParsed()}));
    EXPECT_EQ(readFile(currentStore()), kStoreBefore);
}

TEST_F(ToolManifest, inAFolderThatMayNotBeSearchedIsRefused)
{
    const std::string folder = scratchPath("closed");
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    writeFile(folder + "/manifest.xml", vpn(file("third", "exe", "3.0")));
    ASSERT_EQ(chmod(folder.c_str(), 0), 0);
    const ToolResult result = ToolRun({"-i", kCurrentRoot, folder + "/manifest.xml"}).withoutPrivileges().run();
    EXPECT_EQ(result.exitStatus, 4);
    EXPECT_THAT(result.messages(), linesAre({manifestWithoutSize(), manifestNotParsed()}));
    EXPECT_EQ(readFile(currentStore()), kStoreBefore);
}

TEST_F(ToolManifest, of2GiBIsRefused)
{
    expectRefusal(sparseManifest(vpn(file("third", "exe", "3.0")), 2 * kGiB), {manifestWithoutSize()});
}

TEST_F(ToolManifest, of4GiBIsRefused)
{
    expectRefusal(sparseManifest(vpn(file("third", "exe", "3.0")), 4 * kGiB), {manifestWithoutSize()});
}

TEST_F(ToolManifest, of4GiBAndAFewBytesIsReadAsThoseFew)
{
    const std::string text = vpn(file("third", "exe", "3.0"));
    expectAcceptance(sparseManifest(text, 4 * kGiB + static_cast<off_t>(text.size())));
    EXPECT_EQ(readFile(currentStore()), kStoreBefore + storeRecord(kExe, "3.0", "third"));
}

TEST_F(ToolManifest, of4GiBAndTooFewBytesIsCutThere)
{
    const std::string text = "<vpn/>";
    expectRefusal(sparseManifest(text, 4 * kGiB + 4),
                  {xmlComplaint("Couldn't find end of Start Tag vpn line 1"), xmlDocumentFailed(), xmlNotParsed()});
}

TEST_F(ToolManifest, isCutAtItsFirstNulByte)
{
    const std::string text = vpn(file("third", "exe", "3.0")) + std::string("\0<not xml", 9);
    expectAcceptance(manifestFile(text));
    EXPECT_EQ(readFile(currentStore()), kStoreBefore + storeRecord(kExe, "3.0", "third"));
}

TEST_F(ToolManifest, thatBeginsWithANulByteIsRefusedWithoutAReason)
{
    expectRefusal(manifestFile(std::string("\0<vpn/>", 7)), {});
}

TEST_F(ToolManifest, ofBlanksAloneIsRefused)
{
    expectRefusal(manifestFile(" \n\t\r\n"), {xmlNotParsed()});
}

TEST_F(ToolManifest, mayBeginWithBlanks)
{
    expectAcceptance(manifestFile("\n \t\r\n<?xml version=\"1.0\"?>" + vpn(file("third", "exe", "3.0"))));
}

TEST_F(ToolManifest, thatIsNotWellFormedIsRefusedWithTheReadersComplaint)
{
    expectRefusal(
        manifestFile("<vpn rev=\"1.0\"></vpm>"),
        {xmlComplaint("Opening and ending tag mismatch: vpn line 0 and vpm"), xmlDocumentFailed(), xmlNotParsed()});
    expectRefusal(manifestFile("no manifest"),
                  {xmlComplaint("Start tag expected, '<' not found"), xmlDocumentFailed(), xmlNotParsed()});
}

TEST_F(ToolManifest, thatIsCutShortIsRefusedThoughItsFirstEntriesAreWhole)
{
    const std::string whole = vpn(file("third", "exe", "3.0"));
    const std::string manifest = manifestFile(whole.substr(0, whole.size() - std::string("</vpn>").size()));
    expectRefusal(manifest,
                  {xmlComplaint("Premature end of data in tag vpn line 1"), xmlDocumentFailed(), xmlNotParsed()});
}

TEST_F(ToolManifest, complaintsEndInABlank)
{
    const ToolResult result = installText("<vpn></vpm>");
    ASSERT_EQ(result.log().size(), 4U);
    EXPECT_THAT(result.log()[0].message, ::testing::EndsWith("mismatch: vpn line 0 and vpm "));
}

struct GrammarCase
{
    std::string name;
    std::string manifest;
    std::vector<std::string> lines;
};

void PrintTo(const GrammarCase& grammarCase, std::ostream* stream)
{
    *stream << grammarCase.name;
}

class ToolGrammar : public ToolManifest, public ::testing::WithParamInterface<GrammarCase>
{};

TEST_P(ToolGrammar, brokenRulesAreRefusedWithTheirExactLines)
{
    expectRefusal(manifestFile(GetParam().manifest), GetParam().lines);
}

std::string entry(const std::string& attributes, const std::string& children)
{
    return "<file " + attributes + ">" + children + "</file>";
}

std::string withRevision(const std::string& revision)
{
    return "<vpn rev=\"" + revision + "\">" + file("third", "exe", "3.0") + "</vpn>";
}

const std::string kUri = "<uri>files/a.bin</uri>";
const std::string kSum = "<hash type=\"sha1\">00</hash>";

const std::vector<std::string> kBadRevision = {manifestError("parseManifestFile", "Invalid manifest revision format")};
const std::vector<std::string> kOldRevision = {manifestError("parseManifestFile", "Unsupported manifest \"rev\"")};
const std::vector<std::string> kBadFormat = {manifestError("parseManifestFile", "Invalid manifest file format")};
const std::vector<std::string> kBadType = {manifestError("parseManifestFile", "Unknown \"type\" attribute")};

const std::string kNoName = "Manifest must specify a URI or filename";
const std::string kBadL10n = "Manifest must specify hash, hash type and lang for localization files (%)";
const std::string kBadL10nName = "Manifest has invalid filename for localization file (%)";
const std::string kNoSum = "Manifest must specify hash and hash type for OEM customization files and profiles (%)";
const std::string kNoAction = "Manifest must specify file action (%)";

/** A broken rule of an entry; "%" stands for its file name. */
std::string broken(std::string rule, const std::string& fileName)
{
    if (const auto at = rule.find('%'); at != std::string::npos) {
        rule.replace(at, 1, fileName);
    }
    return rule.starts_with("Manifest must specify file action") ? manifestWarning("manifestInfoIsSane", rule)
                                                                 : manifestError("manifestInfoIsSane", rule);
}

const GrammarCase kGrammarCases[] = {
    {"twoElements",
     "<vpn rev=\"1.0\"><file/></vpn>",
     {manifestWarning("parseManifestFile", "Too few elements in manifest: 2")}},
    {"twoElementsOfAnyName", "<a><b/></a>", {manifestWarning("parseManifestFile", "Too few elements in manifest: 2")}},
    {"otherRoot",
     "<VPN rev=\"1.0\">" + file("third", "exe", "3.0") + "</VPN>",
     {manifestError("parseManifestFile", "Invalid root element")}},
    {"otherRootBeforeItsRevision",
     "<manifest rev=\"9\">" + file("third", "exe", "3.0") + "</manifest>",
     {manifestError("parseManifestFile", "Invalid root element")}},
    {"noRevision", "<vpn>" + file("third", "exe", "3.0") + "</vpn>", kBadRevision},
    {"emptyRevision", withRevision(""), kBadRevision},
    {"bareRevision", withRevision("1"), kBadRevision},
    {"revisionWithoutMinor", withRevision("1."), kBadRevision},
    {"revisionWithComma", withRevision("1,0"), kBadRevision},
    {"revisionOfWords", withRevision("one.zero"), kBadRevision},
    {"revision1dot1", withRevision("1.1"), kOldRevision},
    {"revision1dot01", withRevision("1.01"), kOldRevision},
    {"revision2dot0", withRevision("2.0"), kOldRevision},
    {"revisionWithNegativeMajor", withRevision("-1.0"), kOldRevision},
    {"revisionWithNegativeMajorAndMinor", withRevision("-2.5"), kOldRevision},
    {"revision1WithNegativeMinor", withRevision("1.-1"), kOldRevision},
    {"entryOfAnotherName", vpn("<package id=\"third\"><uri>a</uri></package>"), kBadFormat},
    {"entryOfAnotherCase", vpn("<File id=\"third\" type=\"exe\"><uri>a</uri></File>"), kBadFormat},
    {"unknownChildFollowedByMore", vpn(entry("id=\"third\" type=\"exe\"", kUri + "<size>5</size><name>a</name>")),
     kBadFormat},
    {"childOfAnotherCase",
     vpn(entry("id=\"third\" type=\"exe\"", "<URI>a</URI><name>a</name>")),
     {broken(kNoName, "")}},
    {"unknownTypeAttribute", vpn(file("third", "zip", "3.0")), kBadType},
    {"typeAttributeOfAnotherCase", vpn(file("third", "EXE", "3.0")), kBadType},
    {"emptyTypeAttribute", vpn(file("third", "", "3.0")), kBadType},
    {"unknownTypeElement", vpn(entry("id=\"third\"", kUri + "<type>zip</type>")), kBadType},
    {"emptyTypeElement", vpn(entry("id=\"third\" type=\"exe\"", kUri + "<type/>")), kBadType},
    {"versionWithoutId",
     vpn(entry("version=\"3.0\" type=\"exe\"", kUri)),
     {manifestError("parseManifestFile", "File \"id\" is required when \"version\" is specified")}},
    {"emptyVersionWithoutId",
     vpn(entry("version=\"\" type=\"exe\"", kUri)),
     {manifestError("parseManifestFile", "File \"id\" is required when \"version\" is specified")}},
    {"typeIsLookedAtBeforeTheMissingId", vpn(entry("version=\"3.0\" type=\"zip\"", kUri)), kBadType},
    {"errorInTheSecondEntry", vpn(file("third", "exe", "3.0") + file("fourth", "zip", "4.0")), kBadType},

    {"neitherUriNorName", vpn(entry("id=\"third\" type=\"exe\"", "<hash>00</hash>")), {broken(kNoName, "")}},
    {"neitherActionNorType", vpn(entry("id=\"third\"", kUri)), {broken(kNoAction, "a.bin")}},
    {"actionOfAnotherCaseWithoutType", vpn(entry("id=\"third\" action=\"Copy\"", kUri)), {broken(kNoAction, "a.bin")}},
    {"profileWithoutSum", vpn(entry("id=\"third\" type=\"profile\"", kUri)), {broken(kNoSum, "a.bin")}},
    {"profileWithSumOfUnknownType",
     vpn(entry("id=\"third\" type=\"profile\"", kUri + "<hash type=\"md5\">00</hash>")),
     {broken(kNoSum, "a.bin")}},
    {"profileWithSumOfTypeInCapitals",
     vpn(entry("id=\"third\" type=\"profile\"", kUri + "<hash type=\"SHA1\">00</hash>")),
     {broken(kNoSum, "a.bin")}},
    {"profileWithEmptySum",
     vpn(entry("id=\"third\" type=\"profile\"", kUri + "<hash type=\"sha1\"/>")),
     {broken(kNoSum, "a.bin")}},
    {"transformWithoutSum",
     vpn(entry("id=\"third\" type=\"transform\"", "<uri>x/TLTransforms</uri>")),
     {broken(kNoSum, "TLTransforms")}},
    {"binaryWithoutSumIsNamedWithItsPrefix",
     vpn(entry("id=\"third\" type=\"binary\"", "<uri>x/scripts_OnConnect.sh</uri>")),
     {broken(kNoSum, "scripts_OnConnect.sh")}},
    {"resourceWithoutSum",
     vpn(entry("id=\"third\" type=\"resource\"", "<name>logo.png</name>")),
     {broken(kNoSum, "logo.png")}},
    {"localisationWithoutSum",
     vpn(entry("id=\"third\" type=\"l10n\" lang=\"de\"", "<uri>de/Tessellink.mo</uri>")),
     {broken(kBadL10n, "Tessellink.mo")}},
    {"localisationWithoutLanguage",
     vpn(entry("id=\"third\" type=\"l10n\"", "<uri>de/Tessellink.mo</uri>" + kSum)),
     {broken(kBadL10n, "Tessellink.mo")}},
    {"localisationOfAnotherName",
     vpn(entry("id=\"third\" type=\"l10n\" lang=\"de\"", "<uri>de/other.mo</uri>" + kSum)),
     {broken(kBadL10nName, "other.mo")}},
    {"localisationBrokenTwice",
     vpn(entry("id=\"third\" type=\"l10n\"", "<uri>de/other.mo</uri>")),
     {broken(kBadL10n, "other.mo"), broken(kBadL10nName, "other.mo")}},
    {"localisationBrokenThreeTimes",
     vpn(entry("id=\"third\" type=\"l10n\"", "<hash>00</hash>")),
     {broken(kNoName, ""), broken(kBadL10n, ""), broken(kBadL10nName, "")}},
    {"installerTransformWithoutLanguage",
     vpn(entry("id=\"third\" type=\"mst\"", "<uri>a.mst</uri>" + kSum)),
     {broken(kBadL10n, "a.mst")}},
    {"profileBrokenTwice",
     vpn(entry("id=\"third\" type=\"profile\"", "<depends>x</depends>")),
     {broken(kNoName, ""), broken(kNoSum, "")}},
    {"noTypeNoNameNoAction",
     vpn(entry("id=\"third\"", "<depends>x</depends>")),
     {broken(kNoName, ""), broken(kNoAction, "")}},
    {"uriThatEndsInASlashGivesNoName",
     vpn(entry("id=\"third\" type=\"resource\"", "<uri>files/</uri>")),
     {broken(kNoSum, "")}},
};

INSTANTIATE_TEST_SUITE_P(Tool, ToolGrammar, ::testing::ValuesIn(kGrammarCases),
                         [](const auto& testCase) { return testCase.param.name; });

class ToolLeniency : public ToolManifest, public ::testing::WithParamInterface<GrammarCase>
{};

TEST_P(ToolLeniency, isKept)
{
    expectAcceptance(manifestFile(GetParam().manifest));
    EXPECT_EQ(readFile(currentStore()), kStoreBefore + storeRecord(kExe, "3.0", "third"));
}

const std::string kThird = file("third", "exe", "3.0");

const GrammarCase kLenientCases[] = {
    {"revision1dot0", withRevision("1.0"), {}},
    {"revision0dot0", withRevision("0.0"), {}},
    {"revision0dot9", withRevision("0.9"), {}},
    {"revision0WithNegativeMinor", withRevision("0.-7"), {}},
    {"revisionWithMoreBehindIt", withRevision("1.0.5-beta"), {}},
    {"revisionWithBlanksInside", withRevision("1. 0"), {}},
    {"revisionBeyond32Bits", withRevision("4294967297.0"), {}},
    {"lastEntryWithoutChildren", vpn(kThird + "<file id=\"fourth\" type=\"exe\" version=\"4\"/>"), {}},
    {"lastEntryWithoutChildrenOfUnknownType", vpn(kThird + "<file id=\"fourth\" type=\"zip\" version=\"4\"/>"), {}},
    {"lastElementOfAnotherName", vpn(kThird + "<stray/>"), {}},
    {"unknownLastChild", vpn("<file id=\"third\" type=\"exe\" version=\"3.0\"><uri>a</uri><size>5</size></file>"), {}},
    {"childrenBesideTheirEntry", vpn("<file id=\"third\" type=\"exe\" version=\"3.0\"/><uri>a</uri>"), {}},
    {"unknownServiceTypeOfAnInstalledFile",
     vpn("<file id=\"third\" type=\"exe\" version=\"3.0\" service-type=\"unknown\"><uri>a</uri></file>"),
     {}},
    {"nameWithoutUri", vpn("<file id=\"third\" type=\"exe\" version=\"3.0\"><name>a</name></file>"), {}},
    {"uriThatEndsInASlash", vpn("<file id=\"third\" type=\"exe\" version=\"3.0\"><uri>files/</uri></file>"), {}},
    {"unknownAttributes", vpn("<file id=\"third\" type=\"exe\" version=\"3.0\" size=\"5\"><uri>a</uri></file>"), {}},
    {"commentsAndInstructions", "<!-- a --><?b c?>" + vpn("<!-- d -->" + kThird + "<?e?>") + "<!-- f -->", {}},
};

INSTANTIATE_TEST_SUITE_P(Tool, ToolLeniency, ::testing::ValuesIn(kLenientCases),
                         [](const auto& testCase) { return testCase.param.name; });

TEST_F(ToolManifest, ofOneElementListsNothingWhateverItsName)
{
    for (const std::string text : {"<vpn/>", "<vpn rev=\"9.9\"/>", "<anything>text</anything>"}) {
        SCOPED_TRACE(text);
        expectAcceptance(manifestFile(text));
        EXPECT_EQ(readFile(currentStore()), kStoreBefore);
    }
}

TEST_F(ToolManifest, serviceTypeOfAProfileIsNotLookedAt)
{
    expectAcceptance(manifestFile(
        vpn("<file id=\"p\" version=\"1\" type=\"profile\" service-type=\"unknown\">" + kUri + kSum + "</file>")));
    EXPECT_EQ(readFile(currentStore()), kStoreBefore);
}

TEST_F(ToolManifest, strayTextIsReportedAndTheManifestAccepted)
{
    const ToolResult result = installText(vpn(kThird + "stray"));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(),
                linesAre({"[ERROR] " + oneLine(debugText("setElementValue", sourceTag("vpn/Api/xml/XmlIfcMgr"), 34,
                                                         "Called when no element is set"))}));
    EXPECT_EQ(readFile(currentStore()), kStoreBefore + storeRecord(kExe, "3.0", "third"));
}

} // namespace

} // namespace obg::test
