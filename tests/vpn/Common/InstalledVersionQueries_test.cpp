#include <filesystem>
#include <string>

#include <sys/stat.h>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/PrivateMachine.h"
#include "tests/support/Privileges.h"
#include "tests/support/StoreRecords.h"
#include "vpn/Common/InstalledManifestInfo.h"

namespace obg::test {

namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class InstalledVersionQueries : public InstallRootsTest
{
protected:
    bool isMarigoldOrEarlier(const std::string& legacyBytes)
    {
        writeFile(legacyStore(), legacyBytes);
        return CInstalledManifestInfo::IsInstalledVersionMarigoldOrEarlier();
    }

    std::string updateVersion(const std::string& bytes)
    {
        writeFile("/opt/orvanta/brightgate/update.txt", bytes);
        return CInstalledManifestInfo::GetLocalUpdateTxtVersion();
    }

    CapturedLog m_log;
};

TEST_F(InstalledVersionQueries, marigoldOrEarlierIsACoreWithAnyVersionInTheLegacyStore)
{
    for (const char* version : {"1", "4.10.0", "99.0", "no version at all", " "}) {
        EXPECT_TRUE(
            isMarigoldOrEarlier(storeHeader() + storeRecord(1, "1", "other") + storeRecord(2, version, "VPNCore")))
            << version;
    }
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(InstalledVersionQueries, marigoldOrEarlierIsNotAMachineWithoutLegacyStore)
{
    EXPECT_FALSE(CInstalledManifestInfo::IsInstalledVersionMarigoldOrEarlier());
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(InstalledVersionQueries, marigoldOrEarlierIsNotACoreInTheCurrentStore)
{
    writeFile(currentStore(), storeHeader() + storeRecord(2, "5", "VPNCore"));
    EXPECT_FALSE(CInstalledManifestInfo::IsInstalledVersionMarigoldOrEarlier());
}

TEST_F(InstalledVersionQueries, marigoldOrEarlierIsNotACoreWithoutVersion)
{
    EXPECT_FALSE(isMarigoldOrEarlier(storeHeader() + u32le(2) + u32le(1) + std::string(1, '\0') + field("VPNCore")));
}

TEST_F(InstalledVersionQueries, marigoldOrEarlierIsNotAnotherId)
{
    for (const char* id : {"vpncore", "VPNCORE", "VPNCore ", "VPNCor", "VPNCore2"}) {
        EXPECT_FALSE(isMarigoldOrEarlier(storeHeader() + storeRecord(2, "4", id))) << id;
    }
}

TEST_F(InstalledVersionQueries, marigoldOrEarlierIsNotACoreOfADroppedType)
{
    EXPECT_FALSE(isMarigoldOrEarlier(storeHeader() + storeRecord(9, "4", "VPNCore")));
}

TEST_F(InstalledVersionQueries, marigoldOrEarlierLogsADamagedLegacyStore)
{
    EXPECT_FALSE(isMarigoldOrEarlier(storeHeader() + storeRecord(2, "4", "VPNCore") + u32le(2)));
    EXPECT_THAT(m_log.records(), ElementsAre(fieldNotRead("loadInstalledFileData", 375)));
}

TEST_F(InstalledVersionQueries, marigoldOrEarlierLeavesTheLegacyStoreAsItIs)
{
    const std::string store = storeHeader(0, 77) + storeRecord(9, "4", "dropped");
    EXPECT_FALSE(isMarigoldOrEarlier(store));
    EXPECT_EQ(toHex(readFile(legacyStore())), toHex(store));
}

TEST_F(InstalledVersionQueries, updateVersionIsEmptyWithoutTheFile)
{
    EXPECT_EQ(CInstalledManifestInfo::GetLocalUpdateTxtVersion(), "");
}

TEST_F(InstalledVersionQueries, updateVersionIsThatOfTheCurrentRootOnly)
{
    writeFile("/opt/orvanta/tessellink/update.txt", "4,1\n");
    EXPECT_EQ(CInstalledManifestInfo::GetLocalUpdateTxtVersion(), "");
}

TEST_F(InstalledVersionQueries, updateVersionIsTheFirstLineNormalised)
{
    struct
    {
        std::string file;
        std::string version;
    } const cases[] = {
        {"", ""},
        {"\n", ""},
        {"\n5,1,2,42\n", ""},
        {" \t\r\n", ""},
        {"5,1,2,42", "5.1.2.42"},
        {"5,1,2,42\n", "5.1.2.42"},
        {"  5,1,2,42\r", "5.1.2.42"},
        {"  5,1,2,42\r\n6,0\n", "5.1.2.42"},
        {"5.1.2.42\n", "5.1.2.42"},
        {" \t\f\v\r5,1 \t\f\v\r\n", "5.1"},
        {"5 , 1\n", "5 . 1"},
        {",5,,\n", ".5.."},
        {"not a version\n", "not a version"},
        {std::string("5,1\0,2\n", 7), "5.1"},
        {std::string("5,1 \0 2\n", 8), "5.1"},
        {std::string("\0005,1\n", 5), ""},
        {"\xEF\xBB\xBF"
         "5,1\n",
         "\xEF\xBB\xBF"
         "5.1"},
        {"\xC2\xA0"
         "5,1\xC2\xA0\n",
         "\xC2\xA0"
         "5.1\xC2\xA0"},
        {std::string(100000, ','), std::string(100000, '.')},
    };
    for (const auto& [file, version] : cases) {
        EXPECT_EQ(updateVersion(file), version) << ::testing::PrintToString(file.substr(0, 40));
    }
    EXPECT_THAT(m_log.records(), IsEmpty());
}

TEST_F(InstalledVersionQueries, updateVersionIsEmptyAndSilentWhenTheFileCannotBeRead)
{
    writeFile("/opt/orvanta/brightgate/update.txt", "5,1\n");
    ASSERT_EQ(chmod("/opt/orvanta/brightgate/update.txt", 0), 0);
    {
        const WithoutPrivileges ordinaryUser;
        EXPECT_EQ(CInstalledManifestInfo::GetLocalUpdateTxtVersion(), "");
    }
    fs::remove("/opt/orvanta/brightgate/update.txt");
    fs::create_directory("/opt/orvanta/brightgate/update.txt");
    EXPECT_EQ(CInstalledManifestInfo::GetLocalUpdateTxtVersion(), "");
    EXPECT_THAT(m_log.records(), IsEmpty());
}

} // namespace

} // namespace obg::test
