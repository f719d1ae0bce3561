#include "vpn/Downloader/ManifestVocabulary.h"

#include "vpn/Downloader/ManifestInfo.h"

ClientProfileInfo::ClientProfileInfo(std::string_view name, std::string_view extension, std::string_view firstDirectory,
                                     std::string_view secondDirectory, std::string_view display, bool profileFlag)
    : fileName(name), profileExtension(extension), directory(firstDirectory), secondaryDirectory(secondDirectory),
      displayName(display), flag(profileFlag)
{}

// In this order: they are filled one after the other before main runs.
const std::map<std::string, ManifestFileType> CManifestInfo::ms_mapStringToType = createStringTypeMap();
const std::map<std::string, ClientProfileInfo> CManifestInfo::ms_mapClientProfileInfo = createClientProfileInfoMap();
const std::vector<std::string> CManifestInfo::ms_vecModuleID = createModuleIDList();

std::map<std::string, ManifestFileType> CManifestInfo::createStringTypeMap()
{
    std::map<std::string, ManifestFileType> types;
    for (const FileKind& kind : kFileKinds) {
        types.emplace(kind.word, kind.type);
    }
    return types;
}

std::map<std::string, ClientProfileInfo> CManifestInfo::createClientProfileInfoMap()
{
    // Built in place and not from a list, which would copy every text at every start of the program. The backslashes
    // of "corvel" are characters of one directory's name, not separators.
    std::map<std::string, ClientProfileInfo> profiles;
    profiles.try_emplace("user", "", "xml", "vpn/profile", "vpn/profile", "Orvanta Brightgate Client VPN Profile",
                         false);
    profiles.try_emplace("vpn-mgmt", "VpnMgmtTunProfile.xml", "vpnm", "vpn/profile/mgmttun", "vpn/profile/mgmttun",
                         "Orvanta Brightgate Client Management VPN Profile", false);
    profiles.try_emplace("corvel", "configuration.xml", "csp", "Corvel Manager\\system",
                         "Corvel Manager\\newConfigFiles", "Corvel Service Profile", false);
    profiles.try_emplace("ravelle", "Ravelle_ServiceProfile.wso", "rvp", "ravelle", "ravelle",
                         "Ravelle Service Profile", false);
    profiles.try_emplace("feedback", "CustomerExperience_Feedback.xml", "fsp", "CustomerExperienceFeedback",
                         "CustomerExperienceFeedback", "Feedback Service Profile", false);
    profiles.try_emplace("vantorposture", "VantorPostureCFG.xml", "vsp", "vantorposture", "vantorposture",
                         "Vantor Posture Profile", false);
    profiles.try_emplace("vantorposturejson", "VantorPosture.json", "json", "vantorposture", "vantorposture",
                         "Vantor Posture JSON Profile", false);
    profiles.try_emplace("quorraenabler", "QuorraEnabler_ServiceProfile.xml", "qsp", "QuorraEnabler", "QuorraEnabler",
                         "Quorra Enabler Service Profile", false);
    profiles.try_emplace("tindra", "TINDRA_ServiceProfile.xml", "tdrsp", "TINDRA", "TINDRA", "Tindra Service Profile",
                         false);
    profiles.try_emplace("solvane", "OrgInfo.json", "json", "solvane", "solvane", "Solvane Profile", false);
    profiles.try_emplace("kellex", "", "json", "kellex/enrollment_choices", "kellex/enrollment_choices",
                         "Kellex Access Profile", false);
    profiles.try_emplace("marrowind", "marrowind_endpoint_agent_configuration.json", "json", "marrowind", "marrowind",
                         "Marrowind Profile", false);
    return profiles;
}

std::vector<std::string> CManifestInfo::createModuleIDList()
{
    return {"corvel",           "vpn",           "ostrin", "fennick", "posture", "vantorposture", "ravelle",
            "vantorcompliance", "quorraenabler", "tindra", "solvane"};
}
