#include <filesystem>
#include <map>
#include <set>

#include "tests/support/Paths.h"
#include "tests/tool/ToolTest.h"
#include "vpn/Downloader/ManifestInfo.h"

namespace obg::test {

namespace {

namespace fs = std::filesystem;

std::string example(const std::string& name)
{
    return examplesFolder() + "/" + name;
}

bool isBroken(const std::string& name)
{
    return name.starts_with("broken-");
}

std::set<std::string> manifestNames()
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(examplesFolder())) {
        if (entry.path().extension() == ".xml") {
            names.insert(entry.path().filename());
        }
    }
    return names;
}

/** What each manifest's first installation writes into an empty store, field by field. */
const std::map<std::string, std::string> kStores = {
    {"core-5.1.2.42.xml",
     storeHeader() + storeRecord(kExe, "5.1.2.42", "VPNCore") + storeRecord(kRpm, "5.1.2.42-1", "VPNCore-rpm") +
         storeRecord(kDeb, "5.1.2.42", "VPNCore-deb") + storeRecord(kScript, "5.1.2.42", "VPNAgent-init")},
    {"core-5.1.4.74.xml",
     storeHeader() + storeRecord(kDeb, "5.1.4.74", "VPNCore-deb") + storeRecord(kRpm, "5.1.4.74-1", "VPNCore-rpm") +
         storeRecord(kScript, "5.1.4.74", "VPNAgent-init") + storeRecord(kScript, "5.1.4.74", "VPNRoutes-script") +
         storeRecord(kExe, "5.1.4.74", "VPNCore")},
    {"posture-5.1.4.74.xml", storeHeader() + storeRecord(kExe, "5.1.4.74", "VPNPosture") +
                                 storeRecord(kRpm, "5.1.4.74-1", "VPNPosture-rpm") +
                                 storeRecord(kDeb, "5.1.4.74", "VPNPosture-deb")},
    {"l10n-5.1.4.74.xml", storeHeader()},
    {"profiles-2026.11.xml", storeHeader()},
    {"customisation-northwind-2.3.xml", storeHeader() + storeRecord(kScript, "2.3", "Northwind-setup")},
    {"legacy-core-4.10.0.xml",
     storeHeader() + storeRecord(kExe, "4.10.0", "VPNCore") + storeRecord(kScript, "4.10.0", "VPNAgent-init")},
};

/** What the tool says of each broken one, before it says that it failed. */
const std::map<std::string, std::vector<std::string>> kComplaints = {
    {"broken-cut-short.xml",
     {xmlComplaint("Premature end of data in tag uri line 9"), xmlDocumentFailed(), xmlNotParsed()}},
    {"broken-no-sum.xml",
     {manifestError("manifestInfoIsSane", "Manifest must specify hash and hash type for OEM customization files and "
                                          "profiles (VpnMgmtTunProfile.xml)")}},
};

class Examples : public ToolTest
{};

TEST_F(Examples, allHaveAnExpectation)
{
    std::set<std::string> expected;
    for (const auto& [name, store] : kStores) {
        expected.insert(name);
    }
    for (const auto& [name, lines] : kComplaints) {
        expected.insert(name);
    }
    EXPECT_EQ(manifestNames(), expected);
}

TEST_F(Examples, areAllNamedInTheReadme)
{
    const std::string readme = readFile(example("README.md"));
    for (const std::string& name : manifestNames()) {
        EXPECT_NE(readme.find("`" + name + "`"), std::string::npos) << name;
    }
}

TEST_F(Examples, fillAnEmptyStoreByteForByte)
{
    for (const auto& [name, store] : kStores) {
        SCOPED_TRACE(name);
        resetInstallRoots();
        const ToolResult result = install(example(name));
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(toHex(readFile(currentStore())), toHex(store));
    }
}

TEST_F(Examples, ofThePostureModuleGiveTheseBytes)
{
    install(example("posture-5.1.4.74.xml"));
    EXPECT_EQ(toHex(readFile(currentStore())),
              toHex(fromHex("01 00 00 00  00 00 00 00 "
                            "02 00 00 00  09 00 00 00  35 2e 31 2e 34 2e 37 34 00 "
                            "0b 00 00 00  56 50 4e 50 6f 73 74 75 72 65 00 "
                            "11 00 00 00  0b 00 00 00  35 2e 31 2e 34 2e 37 34 2d 31 00 "
                            "0f 00 00 00  56 50 4e 50 6f 73 74 75 72 65 2d 72 70 6d 00 "
                            "12 00 00 00  09 00 00 00  35 2e 31 2e 34 2e 37 34 00 "
                            "0f 00 00 00  56 50 4e 50 6f 73 74 75 72 65 2d 64 65 62 00")));
}

TEST_F(Examples, thatAreBrokenAreRefusedWithTheirReason)
{
    const std::string before = storeHeader() + storeRecord(kExe, "1.0", "kept");
    for (auto [name, lines] : kComplaints) {
        SCOPED_TRACE(name);
        writeFile(currentStore(), before);
        const ToolResult result = install(example(name));
        lines.push_back(manifestNotParsed());
        EXPECT_EQ(result.exitStatus, 4);
        EXPECT_THAT(result.messages(), linesAre(lines));
        EXPECT_EQ(readFile(currentStore()), before);
    }
}

TEST_F(Examples, ofTheCoreUpdateInPlace)
{
    install(example("core-5.1.2.42.xml"));
    EXPECT_EQ(install(example("core-5.1.4.74.xml")).exitStatus, 0);
    EXPECT_EQ(toHex(readFile(currentStore())),
              toHex(storeHeader() + storeRecord(kExe, "5.1.4.74", "VPNCore") +
                    storeRecord(kRpm, "5.1.4.74-1", "VPNCore-rpm") + storeRecord(kDeb, "5.1.4.74", "VPNCore-deb") +
                    storeRecord(kScript, "5.1.4.74", "VPNAgent-init") +
                    storeRecord(kScript, "5.1.4.74", "VPNRoutes-script")));
}

TEST_F(Examples, areStruckWithoutATrace)
{
    install(example("core-5.1.2.42.xml"));
    const std::string before = readFile(currentStore());
    for (const auto& [name, store] : kStores) {
        if (name.starts_with("core-") || name.starts_with("legacy-")) {
            continue;
        }
        SCOPED_TRACE(name);
        EXPECT_EQ(install(example(name)).exitStatus, 0);
        EXPECT_EQ(strike(example(name)).exitStatus, 0);
        EXPECT_EQ(readFile(currentStore()), before);
    }
    EXPECT_EQ(strike(example("core-5.1.2.42.xml")).exitStatus, 0);
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(Examples, ofTheLegacyClientGoToItsOwnStore)
{
    const ToolResult result = ToolRun({"-i", kLegacyRoot, example("legacy-core-4.10.0.xml")}).run();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.messages(), linesAre({legacyStoreUsed()}));
    EXPECT_EQ(readFile(legacyStore()), kStores.at("legacy-core-4.10.0.xml"));
    EXPECT_FALSE(pathExists(currentStore()));
}

/** The sum of a file as sha1sum or sha256sum gives it. */
std::string sumOf(const std::string& program, const std::string& path)
{
    const std::string out = ToolRun({path}).program(program).run().out;
    return out.substr(0, out.find(' '));
}

TEST_F(Examples, giveTheTrueSumsOfTheFilesBesideThem)
{
    for (const std::string& name : manifestNames()) {
        if (isBroken(name)) {
            continue;
        }
        SCOPED_TRACE(name);
        bool ok = false;
        const CManifestInfo manifest(ok, example(name));
        ASSERT_TRUE(ok);
        EXPECT_FALSE(manifest.getFileList().empty());
        for (const ManifestFileInfo* file : manifest.getFileList()) {
            SCOPED_TRACE(file->uri);
            const std::string path = example(file->uri);
            ASSERT_TRUE(fs::is_regular_file(path));
            EXPECT_LT(fs::file_size(path), 2048U);
            EXPECT_EQ(file->hash, sumOf(file->hashType == 1 ? "sha1sum" : "sha256sum", path));
        }
    }
}

TEST_F(Examples, listEveryFileBesideThem)
{
    std::set<std::string> listed;
    for (const std::string& name : manifestNames()) {
        bool ok = false;
        const CManifestInfo manifest(ok, example(name));
        for (const ManifestFileInfo* file : manifest.getFileList()) {
            listed.insert(file->uri);
        }
    }
    std::set<std::string> found;
    for (const std::string folder : {"packages", "l10n", "profiles", "customisation"}) {
        for (const auto& entry : fs::recursive_directory_iterator(example(folder))) {
            if (entry.is_regular_file()) {
                found.insert(entry.path().lexically_relative(examplesFolder()));
            }
        }
    }
    EXPECT_EQ(found, listed);
}

} // namespace

} // namespace obg::test
