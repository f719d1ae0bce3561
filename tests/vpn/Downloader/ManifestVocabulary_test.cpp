#include "vpn/Downloader/ManifestVocabulary.h"

#include <array>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include "vpn/Downloader/ManifestInfo.h"

namespace {

using ::testing::ElementsAre;

struct Profile
{
    const char* key;
    const char* fileName;
    const char* extension;
    const char* directory;
    const char* secondaryDirectory;
    const char* displayName;
};

constexpr std::array kProfiles{
    Profile{"user", "", "xml", "vpn/profile", "vpn/profile", "Orvanta Brightgate Client VPN Profile"},
    Profile{"vpn-mgmt", "VpnMgmtTunProfile.xml", "vpnm", "vpn/profile/mgmttun", "vpn/profile/mgmttun",
            "Orvanta Brightgate Client Management VPN Profile"},
    Profile{"corvel", "configuration.xml", "csp", R"(Corvel Manager\system)", R"(Corvel Manager\newConfigFiles)",
            "Corvel Service Profile"},
    Profile{"ravelle", "Ravelle_ServiceProfile.wso", "rvp", "ravelle", "ravelle", "Ravelle Service Profile"},
    Profile{"feedback", "CustomerExperience_Feedback.xml", "fsp", "CustomerExperienceFeedback",
            "CustomerExperienceFeedback", "Feedback Service Profile"},
    Profile{"vantorposture", "VantorPostureCFG.xml", "vsp", "vantorposture", "vantorposture", "Vantor Posture Profile"},
    Profile{"vantorposturejson", "VantorPosture.json", "json", "vantorposture", "vantorposture",
            "Vantor Posture JSON Profile"},
    Profile{"quorraenabler", "QuorraEnabler_ServiceProfile.xml", "qsp", "QuorraEnabler", "QuorraEnabler",
            "Quorra Enabler Service Profile"},
    Profile{"tindra", "TINDRA_ServiceProfile.xml", "tdrsp", "TINDRA", "TINDRA", "Tindra Service Profile"},
    Profile{"solvane", "OrgInfo.json", "json", "solvane", "solvane", "Solvane Profile"},
    Profile{"kellex", "", "json", "kellex/enrollment_choices", "kellex/enrollment_choices", "Kellex Access Profile"},
    Profile{"marrowind", "marrowind_endpoint_agent_configuration.json", "json", "marrowind", "marrowind",
            "Marrowind Profile"},
};

TEST(ManifestVocabulary, theTypeWordsAreThoseOfTheKinds)
{
    std::map<std::string, ManifestFileType> types;
    for (const FileKind& kind : kFileKinds) {
        types.emplace(kind.word, kind.type);
    }
    EXPECT_EQ(CManifestInfo::ms_mapStringToType, types);
    static_assert(sizeof(ManifestFileType) == 4);
}

TEST(ManifestVocabulary, noTypeWordGivesAReservedNumber)
{
    const std::set<unsigned> reserved{6, 7, 12, 14, 15, 16};
    for (const auto& [word, type] : CManifestInfo::ms_mapStringToType) {
        EXPECT_FALSE(reserved.contains(type)) << word;
    }
}

TEST(ManifestVocabulary, typeWordsAreExact)
{
    for (const char* word : {"Msi", "MSI", " msi", "msi ", "", "none", "ms", "msix"}) {
        EXPECT_FALSE(CManifestInfo::ms_mapStringToType.contains(word)) << word;
    }
}

TEST(ManifestVocabulary, actionsAndHashTypesHaveFixedNumbers)
{
    EXPECT_EQ(eFileActionNone, 0U);
    EXPECT_EQ(eFileActionInstall, 1U);
    EXPECT_EQ(eFileActionCopy, 2U);
    EXPECT_EQ(eFileActionApply, 3U);
    EXPECT_EQ(eHashTypeNone, 0U);
    EXPECT_EQ(eHashTypeSha1, 1U);
    EXPECT_EQ(eHashTypeSha256, 2U);
    static_assert(sizeof(FileAction) == 4 && sizeof(HashType) == 4);
}

TEST(ManifestVocabulary, knowsTwelveClientProfiles)
{
    ASSERT_EQ(CManifestInfo::ms_mapClientProfileInfo.size(), kProfiles.size());
    for (const Profile& expected : kProfiles) {
        SCOPED_TRACE(expected.key);
        const auto found = CManifestInfo::ms_mapClientProfileInfo.find(expected.key);
        ASSERT_NE(found, CManifestInfo::ms_mapClientProfileInfo.end());
        const ClientProfileInfo& profile = found->second;
        EXPECT_EQ(profile.fileName, expected.fileName);
        EXPECT_EQ(profile.profileExtension, expected.extension);
        EXPECT_EQ(profile.directory, expected.directory);
        EXPECT_EQ(profile.secondaryDirectory, expected.secondaryDirectory);
        EXPECT_EQ(profile.displayName, expected.displayName);
        EXPECT_FALSE(profile.flag);
    }
}

TEST(ManifestVocabulary, thePlainClientProfileIsKeyedUserAndNotVpn)
{
    for (const char* key : {"vpn", "User", "USER", " user", ""}) {
        EXPECT_FALSE(CManifestInfo::ms_mapClientProfileInfo.contains(key)) << key;
    }
}

TEST(ManifestVocabulary, onlyTheCorvelProfileHasTwoDirectories)
{
    for (const auto& [key, profile] : CManifestInfo::ms_mapClientProfileInfo) {
        EXPECT_EQ(profile.directory != profile.secondaryDirectory, key == "corvel") << key;
    }
}

TEST(ManifestVocabulary, aProfileIsMadeOfFiveTextsAndItsFlag)
{
    const ClientProfileInfo profile("name", "extension", "first", "second", "display", true);
    EXPECT_EQ(profile.fileName, "name");
    EXPECT_EQ(profile.profileExtension, "extension");
    EXPECT_EQ(profile.directory, "first");
    EXPECT_EQ(profile.secondaryDirectory, "second");
    EXPECT_EQ(profile.displayName, "display");
    EXPECT_TRUE(profile.flag);
}

TEST(ManifestVocabulary, knowsElevenModulesInTheirOrder)
{
    EXPECT_THAT(CManifestInfo::ms_vecModuleID,
                ElementsAre("corvel", "vpn", "ostrin", "fennick", "posture", "vantorposture", "ravelle",
                            "vantorcompliance", "quorraenabler", "tindra", "solvane"));
}

TEST(ManifestVocabulary, theTablesAreWhatTheirMakersMake)
{
    EXPECT_EQ(CManifestInfo::createStringTypeMap(), CManifestInfo::ms_mapStringToType);
    EXPECT_EQ(CManifestInfo::createModuleIDList(), CManifestInfo::ms_vecModuleID);
    const auto profiles = CManifestInfo::createClientProfileInfoMap();
    ASSERT_EQ(profiles.size(), CManifestInfo::ms_mapClientProfileInfo.size());
    for (const auto& [key, profile] : CManifestInfo::ms_mapClientProfileInfo) {
        EXPECT_EQ(profiles.at(key).displayName, profile.displayName);
    }
}

TEST(ManifestVocabulary, anEntryStartsEmptyAndForTheUser)
{
    const ManifestFileInfo entry;
    EXPECT_FALSE(entry.isCore);
    EXPECT_FALSE(entry.standalone);
    EXPECT_EQ(entry.action, eFileActionNone);
    EXPECT_EQ(entry.type, eFileTypeNone);
    EXPECT_EQ(entry.hashType, eHashTypeNone);
    EXPECT_EQ(entry.serviceType, "user");
    for (const auto text :
         {&ManifestFileInfo::uri, &ManifestFileInfo::fileName, &ManifestFileInfo::version, &ManifestFileInfo::hash,
          &ManifestFileInfo::module, &ManifestFileInfo::id, &ManifestFileInfo::secondaryDirectory,
          &ManifestFileInfo::destinationDirectory, &ManifestFileInfo::resolvedFileName, &ManifestFileInfo::lang,
          &ManifestFileInfo::displayName, &ManifestFileInfo::depends, &ManifestFileInfo::platform,
          &ManifestFileInfo::os, &ManifestFileInfo::osPkgId, &ManifestFileInfo::arch}) {
        EXPECT_EQ(entry.*text, "");
    }
}

} // namespace
