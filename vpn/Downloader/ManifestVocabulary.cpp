#include "vpn/Downloader/ManifestVocabulary.h"

#include "vpn/Downloader/ManifestInfo.h"

#include <utility>

ClientProfileInfo::ClientProfileInfo(std::string name, std::string extension, std::string firstDirectory,
                                     std::string secondDirectory, std::string display, bool profileFlag)
    : fileName(std::move(name)), profileExtension(std::move(extension)), directory(std::move(firstDirectory)),
      secondaryDirectory(std::move(secondDirectory)), displayName(std::move(display)), flag(profileFlag)
{}

// In this order: they are filled one after the other before main runs.
const std::map<std::string, ManifestFileType> CManifestInfo::ms_mapStringToType = createStringTypeMap();
const std::map<std::string, ClientProfileInfo> CManifestInfo::ms_mapClientProfileInfo = createClientProfileInfoMap();
const std::vector<std::string> CManifestInfo::ms_vecModuleID = createModuleIDList();

std::map<std::string, ManifestFileType> CManifestInfo::createStringTypeMap()
{
    return {
        {"msi", eFileTypeMsi},       {"mst", eFileTypeMst},           {"exe", eFileTypeExe},
        {"l10n", eFileTypeL10n},     {"script", eFileTypeScript},     {"rpm", eFileTypeRpm},
        {"deb", eFileTypeDeb},       {"dmg", eFileTypeDmg},           {"transform", eFileTypeTransform},
        {"binary", eFileTypeBinary}, {"resource", eFileTypeResource}, {"profile", eFileTypeProfile},
    };
}

std::map<std::string, ClientProfileInfo> CManifestInfo::createClientProfileInfoMap()
{
    // The backslashes of "corvel" are characters of one directory's name, not separators.
    return {
        {"user", {"", "xml", "vpn/profile", "vpn/profile", "Orvanta Brightgate Client VPN Profile", false}},
        {"vpn-mgmt",
         {"VpnMgmtTunProfile.xml", "vpnm", "vpn/profile/mgmttun", "vpn/profile/mgmttun",
          "Orvanta Brightgate Client Management VPN Profile", false}},
        {"corvel",
         {"configuration.xml", "csp", "Corvel Manager\\system", "Corvel Manager\\newConfigFiles",
          "Corvel Service Profile", false}},
        {"ravelle", {"Ravelle_ServiceProfile.wso", "rvp", "ravelle", "ravelle", "Ravelle Service Profile", false}},
        {"feedback",
         {"CustomerExperience_Feedback.xml", "fsp", "CustomerExperienceFeedback", "CustomerExperienceFeedback",
          "Feedback Service Profile", false}},
        {"vantorposture",
         {"VantorPostureCFG.xml", "vsp", "vantorposture", "vantorposture", "Vantor Posture Profile", false}},
        {"vantorposturejson",
         {"VantorPosture.json", "json", "vantorposture", "vantorposture", "Vantor Posture JSON Profile", false}},
        {"quorraenabler",
         {"QuorraEnabler_ServiceProfile.xml", "qsp", "QuorraEnabler", "QuorraEnabler", "Quorra Enabler Service Profile",
          false}},
        {"tindra", {"TINDRA_ServiceProfile.xml", "tdrsp", "TINDRA", "TINDRA", "Tindra Service Profile", false}},
        {"solvane", {"OrgInfo.json", "json", "solvane", "solvane", "Solvane Profile", false}},
        {"kellex",
         {"", "json", "kellex/enrollment_choices", "kellex/enrollment_choices", "Kellex Access Profile", false}},
        {"marrowind",
         {"marrowind_endpoint_agent_configuration.json", "json", "marrowind", "marrowind", "Marrowind Profile", false}},
    };
}

std::vector<std::string> CManifestInfo::createModuleIDList()
{
    return {"corvel",           "vpn",           "ostrin", "fennick", "posture", "vantorposture", "ravelle",
            "vantorcompliance", "quorraenabler", "tindra", "solvane"};
}
