// The tables of the man pages, held against the program. A table in a page's source stands between the comments
//
//     .\" table: NAME
//     .\" end
//
// and each of its rows begins with an ".It" macro.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Bytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Files.h"
#include "tests/support/Paths.h"
#include "tests/support/PrivateMachine.h"
#include "tests/support/ToolRun.h"
#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Downloader/ManifestInfo.h"

namespace {

using namespace obg::test;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Le;

const std::string kTool = "obg_manifesttool.1";
const std::string kManifest = "obg-manifest.5";
const std::string kStore = "VPNManifest.dat.5";

std::string replaceAll(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

/// A page's source with its escapes resolved, so that texts can be looked for in it.
std::string page(const std::string& name)
{
    std::string text = readFile(sourceTree() + "/packaging/man/" + name);
    text = replaceAll(text, "\\(dq", "\"");
    return replaceAll(text, "\\e", "\\");
}

/// The lines between the comments of a table.
std::vector<std::string> tableLines(const std::string& pageName, const std::string& table)
{
    std::istringstream source(page(pageName));
    std::vector<std::string> lines;
    bool isInside = false;
    for (std::string line; std::getline(source, line);) {
        if (line == ".\\\" table: " + table) {
            isInside = true;
        } else if (line == ".\\\" end") {
            isInside = false;
        } else if (isInside) {
            lines.push_back(line);
        }
    }
    EXPECT_THAT(lines, ::testing::Not(IsEmpty())) << pageName << " has no table: " << table;
    return lines;
}

/// What a reader sees of a macro line: the macros are gone, and the quotes that keep words together.
std::string withoutMacros(std::string line)
{
    line = std::regex_replace(line, std::regex("^\\.(It|Li|Pa|Dq|Pq|Fl|Xr) ?"), "");
    return std::regex_replace(line, std::regex("\\b(Li|Pa|Fl|Ns|Pq|Ar|Sy) "), "");
}

/// The rows of a column table, each taken apart at its "Ta".
std::vector<std::vector<std::string>> columns(const std::string& pageName, const std::string& table)
{
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : tableLines(pageName, table)) {
        std::vector<std::string> cells;
        std::string rest = withoutMacros(line);
        for (std::size_t at = rest.find(" Ta "); at != std::string::npos; at = rest.find(" Ta ")) {
            cells.push_back(withoutMacros(rest.substr(0, at)));
            rest = rest.substr(at + 4);
        }
        cells.push_back(withoutMacros(rest));
        rows.push_back(cells);
    }
    return rows;
}

/// The heads of a list, without the macro.
std::vector<std::string> heads(const std::string& pageName, const std::string& table)
{
    std::vector<std::string> found;
    for (const std::string& line : tableLines(pageName, table)) {
        if (line.starts_with(".It ")) {
            found.push_back(withoutMacros(line));
        }
    }
    return found;
}

/// The string literals of a source, unescaped.
std::set<std::string> literals(const std::string& path)
{
    const std::string source = readFile(sourceTree() + "/" + path);
    const std::regex literal(R"re("((?:[^"\\\n]|\\.)*)")re");
    std::set<std::string> found;
    for (std::sregex_iterator match(source.begin(), source.end(), literal), end; match != end; ++match) {
        found.insert(replaceAll(replaceAll((*match)[1], "\\\"", "\""), "\\\\", "\\"));
    }
    return found;
}

std::vector<std::string> sourcesOfPages()
{
    return {"main.cpp",
            "vpn/Common/InstalledManifestInfo.cpp",
            "vpn/Downloader/ManifestInfo.cpp",
            "vpn/Downloader/ManifestReader.cpp",
            "vpn/Downloader/ManifestDestination.cpp",
            "vpn/Downloader/ManifestVocabulary.cpp"};
}

class ManPages : public InstallRootsTest
{};

TEST_F(ManPages, TypesAreThoseOfTheProgram)
{
    std::map<std::string, ManifestFileType> inPage;
    for (const auto& row : columns(kManifest, "types")) {
        inPage[row[0]] = static_cast<ManifestFileType>(std::stoul(row[1]));
    }
    EXPECT_EQ(inPage, CManifestInfo::ms_mapStringToType);
}

TEST_F(ManPages, StoredTypesAreThoseThatTheStoreKeeps)
{
    for (const auto& row : columns(kManifest, "types")) {
        const std::uint32_t type = static_cast<std::uint32_t>(std::stoul(row[1]));
        writeFile(currentStore(), storeHeader() + storeRecord(type, "1", "id"));
        const CInstalledManifestInfo store(eCurrentDataPath);
        EXPECT_EQ(row[2], store.GetInstalledEntries().empty() ? "no" : "yes") << row[0];
    }
}

TEST_F(ManPages, ActionsAreThoseThatTheProgramSets)
{
    for (const auto& row : columns(kManifest, "types")) {
        ManifestFileInfo chosen;
        chosen.type = static_cast<ManifestFileType>(std::stoul(row[1]));
        chosen.action = static_cast<FileAction>(77);
        ManifestFileInfo unset = chosen;
        unset.action = eFileActionNone;
        bool ok = false;
        const CManifestInfo manifest(ok, nullptr);
        manifest.setFileAction(chosen);
        manifest.setFileAction(unset);
        if (row[3] == "given") {
            EXPECT_EQ(chosen.action, 77u) << row[0];
            EXPECT_EQ(unset.action, eFileActionInstall) << row[0];
        } else {
            const FileAction fixed = row[3] == "copy" ? eFileActionCopy : eFileActionApply;
            EXPECT_TRUE(row[3] == "copy" || row[3] == "apply") << row[3];
            EXPECT_EQ(chosen.action, fixed) << row[0];
            EXPECT_EQ(unset.action, fixed) << row[0];
        }
    }
}

TEST_F(ManPages, DestinationsAreThoseThatTheProgramResolves)
{
    const auto rows = columns(kManifest, "destinations");
    EXPECT_EQ(rows.size(), 5u);
    for (const auto& row : rows) {
        if (row[0] == "profile") {
            continue; // The table of profiles has its own test.
        }
        ManifestFileInfo entry;
        entry.type = CManifestInfo::ms_mapStringToType.at(row[0]);
        entry.lang = "lang";
        entry.fileName = replaceAll(row[1], " NAME", "name");
        bool ok = false;
        const CManifestInfo manifest(ok, nullptr);
        manifest.resolveSpecialDirectory(entry);
        EXPECT_EQ(entry.destinationDirectory, replaceAll(row[2], " ", "")) << row[0] << " " << row[1];
    }
}

TEST_F(ManPages, ProfilesAreThoseOfTheProgram)
{
    std::map<std::string, std::string> inPage;
    std::string key;
    for (const std::string& line : tableLines(kManifest, "profiles")) {
        if (line.starts_with(".It Li ")) {
            key = line.substr(7);
        } else {
            inPage[key] += withoutMacros(line) + "\n";
        }
    }
    std::map<std::string, std::string> inProgram;
    for (const auto& [name, profile] : CManifestInfo::ms_mapClientProfileInfo) {
        std::string& text = inProgram[name];
        if (!profile.fileName.empty()) {
            text += "file name\n" + profile.fileName + " ,\n";
        }
        text += "extension\n" + profile.profileExtension + " ,\n";
        if (profile.directory == profile.secondaryDirectory) {
            text += "directory\n" + profile.directory + " ,\n";
        } else {
            text += "directories\n" + profile.directory + "\nand\n" + profile.secondaryDirectory + " ,\n";
        }
        text += "shown as\n" + profile.displayName + "\n";
    }
    EXPECT_EQ(inPage, inProgram);
}

std::string entryDocument(const std::string& attributes, const std::string& children = "<uri>u</uri>")
{
    return "<vpn rev='1.0'><file " + attributes + ">" + children + "</file></vpn>";
}

/// For each message of the page, a way to make the program log it.
std::map<std::string, std::function<void()>> waysToEveryMessage()
{
    const auto parse = [](const std::string& text) {
        return [text] {
            bool ok = true;
            const CManifestInfo manifest(ok, text, false, false);
            EXPECT_FALSE(ok) << text;
        };
    };
    return {
        {"ERROR Empty XML Manifest filename",
         [] {
             bool ok = true;
             const CManifestInfo manifest(ok, std::string());
             EXPECT_FALSE(ok);
         }},
        {"ERROR Empty XML Manifest", parse("")},
        {"WARNING Manifest buffer empty",
         [] {
             bool ok = true;
             CManifestInfo manifest(ok, nullptr);
             EXPECT_FALSE(manifest.parseManifestFile(""));
         }},
        {"WARNING Too few elements in manifest: %d", parse("<vpn rev='1.0'><file/></vpn>")},
        {"ERROR Invalid root element", parse("<npv rev='1.0'><file/><uri/></npv>")},
        {"ERROR Invalid manifest revision format", parse("<vpn rev='1'><file/><uri/></vpn>")},
        {"ERROR Unsupported manifest \"rev\"", parse("<vpn rev='1.1'><file/><uri/></vpn>")},
        {"ERROR Invalid manifest file format", parse("<vpn rev='1.0'><elif/><uri/></vpn>")},
        {"ERROR Unknown \"type\" attribute", parse(entryDocument("type='EXE'"))},
        {"WARNING Unknown client profile type %s",
         [] {
             bool ok = true;
             const std::string text = "<outer>" + entryDocument("type='profile' service-type='s'") + "</outer>";
             const CManifestInfo manifest(ok, text, true, false);
             EXPECT_FALSE(ok);
         }},
        {"ERROR File \"id\" is required when \"version\" is specified", parse(entryDocument("version='1'"))},
        {"ERROR Manifest must specify a URI or filename", parse(entryDocument("type='exe'", "<depends>d</depends>"))},
        {"ERROR Manifest must specify hash, hash type and lang for localization files (%s)",
         parse(entryDocument("type='mst'"))},
        {"ERROR Manifest has invalid filename for localization file (%s)",
         parse(entryDocument("type='l10n' lang='de'", "<uri>u</uri><hash type='sha1'>h</hash>"))},
        {"ERROR Manifest must specify hash and hash type for OEM customization files and profiles (%s)",
         parse(entryDocument("type='binary'"))},
        {"WARNING Manifest must specify file action (%s)", parse(entryDocument("id='i'"))},
    };
}

TEST_F(ManPages, EveryMessageAboutAManifestIsOneThatTheProgramLogs)
{
    const auto ways = waysToEveryMessage();
    const std::vector<std::string> rows = heads(kManifest, "messages");
    EXPECT_EQ(rows.size(), ways.size());
    for (const std::string& row : rows) {
        std::smatch part;
        ASSERT_TRUE(std::regex_match(row, part, std::regex("Bo (ERROR|WARNING) Bc \"(.*)\""))) << row;
        const auto way = ways.find(part[1].str() + " " + part[2].str());
        ASSERT_NE(way, ways.end()) << row;
        std::string pattern = replaceAll(replaceAll(part[2], "(", "[(]"), ")", "[)]");
        pattern = ".*\n" + replaceAll(replaceAll(pattern, "%d", "[0-9]+"), "%s", ".+");

        const CapturedLog log;
        way->second();
        ASSERT_FALSE(log.records().empty()) << row;
        const LogRecord record = log.records().back();
        EXPECT_EQ(record.importance, part[1] == "ERROR" ? Logging::DI_ERROR : Logging::DI_WARNING) << row;
        const std::string text = record.text.substr(record.text.find("Line: "));
        EXPECT_TRUE(std::regex_match(text, std::regex(pattern))) << row << "\n" << record.text;
    }
}

TEST_F(ManPages, EveryTextThatTheSourcesLogStandsInAPage)
{
    const std::string pages = page(kTool) + page(kManifest) + page(kStore);
    int looked = 0;
    for (const std::string& source : sourcesOfPages()) {
        for (const std::string& text : literals(source)) {
            const bool isText = std::isalpha(static_cast<unsigned char>(text.empty() ? ' ' : text[0])) != 0 &&
                                (text.find(' ') != std::string::npos || text.find("::") != std::string::npos);
            if (isText) {
                ++looked;
                EXPECT_THAT(pages, HasSubstr(text)) << source;
            }
        }
    }
    EXPECT_GE(looked, 40);
}

TEST_F(ManPages, RecordsAboutXmlAreThoseOfTheSources)
{
    std::string logged;
    for (const char* source :
         {"vpn/Common/Xml/QrnSaxParser.cpp", "vpn/Common/Xml/EntityBound.cpp", "vpn/Downloader/ManifestInfo.cpp"}) {
        for (const std::string& text : literals(source)) {
            logged += text + "\n";
        }
    }
    const std::vector<std::string> rows = heads(kManifest, "xml");
    EXPECT_EQ(rows.size(), 4u);
    for (const std::string& row : rows) {
        EXPECT_THAT(logged, HasSubstr(row));
    }
}

TEST_F(ManPages, LinesOfTheStoresRecordsAreThoseOfTheSource)
{
    const auto numbers = [](const std::string& text) {
        const std::regex number("\\b[2-6][0-9]{2}\\b");
        return std::set<std::string>(std::sregex_token_iterator(text.begin(), text.end(), number), {});
    };
    std::string inPage;
    for (const char* table : {"reading", "writing"}) {
        for (const std::string& head : heads(kStore, table)) {
            inPage += head + "\n";
        }
    }
    EXPECT_EQ(numbers(inPage), numbers(readFile(sourceTree() + "/vpn/Common/InstalledManifestInfo.cpp")));
}

TEST_F(ManPages, RecordsOfTheProgramItselfAreThoseOfTheSource)
{
    const std::string source = readFile(sourceTree() + "/main.cpp");
    const auto rows = columns(kTool, "messages");
    EXPECT_EQ(rows.size(), 3u);
    for (const auto& row : rows) {
        const std::string level = row[0] == "NOTICE" ? "DI_INFO" : "DI_ERROR";
        const std::string text = row[2].substr(0, row[2].find(" failed call"));
        EXPECT_THAT(source, HasSubstr(row[1] + ", Logging::" + level + ", \"" + text + "\""));
    }
}

TEST_F(ManPages, ExitStatusesAreThoseOfTheProgram)
{
    EXPECT_THAT(heads(kTool, "exit statuses"), ElementsAre("0", "1", "2", "3", "4", "5"));

    const ScratchFolder scratch;
    const std::string good = scratch.write("good.xml", entryDocument("id='i' version='1' type='exe'"));
    EXPECT_EQ(ToolRun({"-i", kCurrentRoot, good}).run().exitStatus, 0);
    EXPECT_EQ(ToolRun({"-i", kCurrentRoot}).run().exitStatus, 2);
    EXPECT_EQ(ToolRun({"-I", kCurrentRoot, good}).run().exitStatus, 3);
    EXPECT_EQ(ToolRun({"-i", kCurrentRoot, scratch.path("missing.xml")}).run().exitStatus, 4);
    std::filesystem::remove_all(kCurrentRoot);
    EXPECT_EQ(ToolRun({"-i", kCurrentRoot, good}).run().exitStatus, 5);
}

TEST_F(ManPages, StorePathsAreThoseOfTheProgram)
{
    for (const std::string& name : {kTool, kStore}) {
        EXPECT_THAT(heads(name, "files"), ElementsAre(currentStore(), legacyStore())) << name;
    }
}

TEST_F(ManPages, AttributesAndElementsAreThoseThatTheParserAsksFor)
{
    const std::set<std::string> words = literals("vpn/Downloader/ManifestReader.cpp");
    for (const char* table : {"attributes", "elements"}) {
        for (const std::string& head : heads(kManifest, table)) {
            std::istringstream names(replaceAll(head, " ,", ""));
            for (std::string name; names >> name;) {
                EXPECT_TRUE(words.contains(name)) << name;
            }
        }
    }
    // What the sources call a word of the manifest, and the pages do not list, would show here.
    const std::string pages = page(kManifest);
    for (const std::string& word : words) {
        if (std::regex_match(word, std::regex("[a-z][a-z0-9_-]*"))) {
            EXPECT_THAT(pages, HasSubstr(word));
        }
    }
}

TEST_F(ManPages, StoreTypesAreReadAndWrittenAsThePageSays)
{
    const auto rows = columns(kStore, "types");
    ASSERT_EQ(rows.size(), 3u);
    const auto rowOf = [&rows](std::uint32_t type) {
        for (const auto& row : rows) {
            std::istringstream numbers(replaceAll(row[0], ",", ""));
            for (std::uint32_t number = 0; numbers >> number;) {
                if (number == type) {
                    return row;
                }
            }
        }
        return rows.back();
    };
    for (std::uint32_t type = 0; type < 64; ++type) {
        const auto row = rowOf(type);
        // An unknown type takes 4 bytes only, so that the record behind it is one whole record.
        const bool isUnknown = row[1] == "takes 4 bytes only";
        writeFile(currentStore(), storeHeader() + (isUnknown ? u32le(type) : storeRecord(type, "1", "tested")) +
                                      storeRecord(eFileTypeExe, "2", "next"));
        const CapturedLog log;
        CInstalledManifestInfo store(eCurrentDataPath);
        EXPECT_EQ(log.records().size(), isUnknown ? 1u : 0u) << type;
        EXPECT_EQ(store.GetInstalledVersion("tested"), row[1] == "keeps the record" ? "1" : "") << type;
        EXPECT_EQ(store.GetInstalledVersion("next"), "2") << type;

        store.RemoveInstalledEntry("next");
        store.AddInstalledEntry("tested", static_cast<ManifestFileType>(type), "1");
        EXPECT_EQ(store.WriteFile(), 0);
        EXPECT_EQ(readFile(currentStore()),
                  storeHeader() + (row[2] == "writes it" ? storeRecord(type, "1", "tested") : ""))
            << type;
    }
}

TEST_F(ManPages, HexDumpIsWhatTheProgramWrites)
{
    std::string dumped;
    for (const std::string& line : tableLines(kStore, "dump")) {
        if (line.size() > 10) {
            dumped += fromHex(line.substr(10, 48));
        }
    }
    CInstalledManifestInfo store(eCurrentDataPath);
    store.AddInstalledEntry("VPNCore", eFileTypeExe, "5.1.2.42");
    store.AddInstalledEntry("VPNAgent", eFileTypeScript, "5.1.2.42");
    ASSERT_EQ(store.WriteFile(), 0);
    EXPECT_EQ(toHex(readFile(currentStore())), toHex(dumped));

    std::string fields;
    for (const auto& row : columns(kStore, "fields")) {
        EXPECT_EQ(std::stoul(row[0], nullptr, 16), fields.size()) << row[2];
        std::smatch text;
        const bool isText = !std::regex_match(row[1], std::regex("([0-9a-f]{2} ){3}[0-9a-f]{2}"));
        fields += isText ? row[1].substr(0, row[1].size() - 3) + '\0' : fromHex(row[1]);
    }
    EXPECT_EQ(toHex(fields), toHex(dumped));
}

TEST_F(ManPages, StatusCodesAreThoseOfTheSource)
{
    const std::string source = readFile(sourceTree() + "/vpn/Common/StatusCodes.h");
    for (const auto& row : columns(kTool, "codes")) {
        EXPECT_THAT(source, HasSubstr(row[0]));
    }
}

} // namespace
