#include "vpn/Downloader/ManifestInfo.h"

#include "vpn/Api/xml/XmlIfcMgr.h"
#include "vpn/Common/AppLog.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/SecureString.h"
#include "vpn/Common/Xml/NVAttributes.h"
#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Common/Xml/XmlParser.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Downloader/ManifestInfo";
constexpr const char* kUnknownType = "Unknown \"type\" attribute";

/// Where a text of the manifest goes.
struct TextField
{
    std::string_view name;
    std::string ManifestFileInfo::*field;
};

constexpr std::array kTextAttributes{
    TextField{"id", &ManifestFileInfo::id},
    TextField{"version", &ManifestFileInfo::version},
    TextField{"module", &ManifestFileInfo::module},
    TextField{"lang", &ManifestFileInfo::lang},
    TextField{"platform", &ManifestFileInfo::platform},
    TextField{"os", &ManifestFileInfo::os},
    TextField{"os_pkg_id", &ManifestFileInfo::osPkgId},
    TextField{"arch", &ManifestFileInfo::arch},
};

constexpr std::array kTextChildren{
    TextField{"uri", &ManifestFileInfo::uri},         TextField{"filename", &ManifestFileInfo::fileName},
    TextField{"name", &ManifestFileInfo::fileName},   TextField{"hash", &ManifestFileInfo::hash},
    TextField{"depends", &ManifestFileInfo::depends}, TextField{"display-name", &ManifestFileInfo::displayName},
};

/// Logs why a manifest is rejected and gives the result of its parse.
bool reject(unsigned line, Logging::DebugImportance importance, const char* text)
{
    CAppLog::LogDebugMessage("parseManifestFile", kLogFile, line, importance, "%s", text);
    return false;
}

bool rejectCount(unsigned line, int count)
{
    CAppLog::LogDebugMessage("parseManifestFile", kLogFile, line, Logging::DI_WARNING,
                             "Too few elements in manifest: %d", count);
    return false;
}

std::string logUnreadable(unsigned line, const char* call, unsigned code, const char* description)
{
    CAppLog::LogReturnCode("readManifestFile", kLogFile, line, Logging::DI_ERROR, call, code, description, nullptr);
    return {};
}

bool checkRevision(const NVAttributes& attributes)
{
    const NVAttributes::Attribute* revision = attributes.find("rev");
    int major = -1;
    int minor = -1;
    // sscanf and nothing stricter: manifests are accepted as it reads them, overflow and trailing text included.
    if (revision == nullptr ||
        std::sscanf(revision->value.c_str(), "%d.%d", &major, &minor) < 2) { // NOLINT(cert-err34-c)
        return reject(__LINE__, Logging::DI_ERROR, "Invalid manifest revision format");
    }
    // A negative major counts as a very large one.
    if (static_cast<unsigned>(major) > 1 || (major == 1 && minor != 0)) {
        return reject(__LINE__, Logging::DI_ERROR, "Unsupported manifest \"rev\"");
    }
    return true;
}

bool readType(std::string_view word, ManifestFileInfo& entry)
{
    // Not by find(), which would have to be given a copy.
    const auto& kinds = CManifestInfo::ms_mapStringToType;
    const auto known = std::find_if(kinds.begin(), kinds.end(), [&](const auto& kind) { return kind.first == word; });
    if (known == kinds.end()) {
        return reject(__LINE__, Logging::DI_ERROR, kUnknownType);
    }
    entry.type = known->second;
    return true;
}

FileAction toAction(std::string_view word)
{
    if (word == "copy") {
        return eFileActionCopy;
    }
    return word == "install" ? eFileActionInstall : eFileActionNone;
}

bool readServiceType(const NVAttributes& attributes, ManifestFileInfo& entry)
{
    if (attributes.hasAttribute("service-type")) {
        entry.serviceType = attributes.getAttributeValue("service-type");
    }
    const auto profile = CManifestInfo::ms_mapClientProfileInfo.find(entry.serviceType);
    if (profile == CManifestInfo::ms_mapClientProfileInfo.end()) {
        CAppLog::LogDebugMessage("parseManifestFile", kLogFile, __LINE__, Logging::DI_WARNING,
                                 "Unknown client profile type %s", entry.serviceType.c_str());
        return false;
    }
    entry.fileName = profile->second.fileName;
    entry.displayName = profile->second.displayName;
    return true;
}

/// The field that `fields` name so; null when they do not.
template <std::size_t N>
std::string ManifestFileInfo::*fieldOf(const std::array<TextField, N>& fields, std::string_view name)
{
    for (const TextField& candidate : fields) {
        if (candidate.name == name) {
            return candidate.field;
        }
    }
    return nullptr;
}

void readHashType(const NVAttributes& attributes, ManifestFileInfo& entry)
{
    const NVAttributes::Attribute* type = attributes.find("type");
    if (type == nullptr) {
        return;
    }
    if (type->value == "sha1") {
        entry.hashType = eHashTypeSha1;
    } else if (type->value == "sha256") {
        entry.hashType = eHashTypeSha256;
    }
}

enum class ChildResult
{
    Read,
    Rejected,
    NoChild
};

/// Takes `element` as a child of the entry, if it is one.
ChildResult readChild(XmlElement& element, ManifestFileInfo& entry)
{
    const std::string_view name = element.name();
    if (name == "type") {
        return readType(element.value(), entry) ? ChildResult::Read : ChildResult::Rejected;
    }
    const auto field = fieldOf(kTextChildren, name);
    if (field == nullptr) {
        return ChildResult::NoChild;
    }
    entry.*field = element.getElementValue();
    if (name == "hash") {
        readHashType(*element.getElementAttributes(), entry);
    }
    return ChildResult::Read;
}

} // namespace

CManifestInfo::CManifestInfo(bool& ok, const std::string& path)
{
    ok = false;
    if (path.empty()) {
        CAppLog::LogDebugMessage("CManifestInfo", kLogFile, __LINE__, Logging::DI_ERROR, "Empty XML Manifest filename");
        return;
    }
    std::string text = readManifestFile(path);
    if (!text.empty()) {
        ok = parseManifestFile(text);
        wipeString(text);
    }
}

CManifestInfo::CManifestInfo(bool& ok, const std::string& text, bool skipFirstElement, bool legacyRoot)
    : CManifestInfo(ok, text, Reading{skipFirstElement, skipFirstElement, legacyRoot})
{}

CManifestInfo::CManifestInfo(bool& ok, const std::string& text, const Reading& reading)
    : m_skipFirstElement(reading.skipFirstElement), m_honourServiceType(reading.honourServiceType),
      m_legacyRoot(reading.legacyRoot)
{
    ok = false;
    if (text.empty()) {
        CAppLog::LogDebugMessage("CManifestInfo", kLogFile, __LINE__, Logging::DI_ERROR, "Empty XML Manifest");
        return;
    }
    ok = parseManifestFile(text);
}

CManifestInfo::CManifestInfo(bool& ok, ManifestFileInfo* entry)
{
    ok = false;
    if (entry != nullptr && completeEntry(*entry)) {
        m_fileList.push_back(entry);
        ok = true;
    }
}

CManifestInfo::~CManifestInfo()
{
    for (const ManifestFileInfo* entry : m_fileList) {
        delete entry;
    }
}

std::string CManifestInfo::readManifestFile(const std::string& path)
{
    if (path.empty()) {
        return {};
    }
    const auto size = static_cast<std::int32_t>(fileCbSize(path));
    if (size < 1) {
        return logUnreadable(__LINE__, "CManifestInfo::fileCbSize", StatusCode::MissingArgument, nullptr);
    }
    std::ifstream file;
    // Unbuffered, because the stream's own buffer would go back to the heap with the document in it.
    file.rdbuf()->pubsetbuf(nullptr, 0);
    errno = 0;
    file.open(path, std::ios::binary);
    if (!file.is_open()) {
        return logUnreadable(__LINE__, "fstream::open", static_cast<unsigned>(errno), std::strerror(errno));
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    errno = 0;
    if (!file.read(text.data(), size)) {
        std::string nothing =
            logUnreadable(__LINE__, "fstream::read", static_cast<unsigned>(errno), std::strerror(errno));
        wipeString(text);
        return nothing;
    }
    text.resize(std::strlen(text.c_str()));
    if (text.empty()) {
        // Nobody parses, and so wipes, a text that begins with a NUL byte.
        wipeString(text);
    }
    return text;
}

bool CManifestInfo::parseManifestFile(const std::string& text)
{
    if (text.empty()) {
        return reject(__LINE__, Logging::DI_WARNING, "Manifest buffer empty");
    }
    XmlIfcMgr document;
    const std::uint32_t status = XmlParser(&document).parseXml(text, false);
    if (status != StatusCode::Success) {
        CAppLog::LogReturnCode("parseManifestFile", kLogFile, __LINE__, Logging::DI_ERROR, "XmlParser::parseXml",
                               status, nullptr, nullptr);
        return false;
    }
    return readEntries(document.getElementList());
}

bool CManifestInfo::readEntries(const Elements& elements)
{
    // One element is an empty manifest, whatever it is; two cannot be a root with a complete entry.
    if (elements.size() == 1) {
        return true;
    }
    if (elements.empty() || elements.size() == 2) {
        return rejectCount(__LINE__, static_cast<int>(elements.size()));
    }
    auto element = std::next(elements.begin(), m_skipFirstElement ? 1 : 0);
    if ((*element)->name() != "vpn") {
        return reject(__LINE__, Logging::DI_ERROR, "Invalid root element");
    }
    if (!checkRevision(*(*element)->getElementAttributes())) {
        return false;
    }
    ++element;
    // An element at the end that nothing follows is never looked at: existing manifests rely on that.
    while (element != elements.end() && std::next(element) != elements.end()) {
        auto entry = std::make_unique<ManifestFileInfo>();
        if (!readEntry(element, elements.end(), *entry) || !completeEntry(*entry)) {
            return false;
        }
        m_fileList.push_back(entry.get());
        static_cast<void>(entry.release());
    }
    return true;
}

/// Reads the entry that starts at `element` and leaves that at the first element behind it.
bool CManifestInfo::readEntry(Elements::const_iterator& element, Elements::const_iterator end,
                              ManifestFileInfo& entry) const
{
    if ((*element)->name() != "file") {
        return reject(__LINE__, Logging::DI_ERROR, "Invalid manifest file format");
    }
    if (!readFileAttributes(*(*element)->getElementAttributes(), entry)) {
        return false;
    }
    for (++element; element != end; ++element) {
        const ChildResult result = readChild(**element, entry);
        if (result != ChildResult::Read) {
            return result == ChildResult::NoChild;
        }
    }
    return true;
}

bool CManifestInfo::readFileAttributes(const NVAttributes& attributes, ManifestFileInfo& entry) const
{
    for (const NVAttributes::Attribute& attribute : attributes) {
        if (const auto field = fieldOf(kTextAttributes, attribute.name)) {
            entry.*field = attribute.value;
        } else if (attribute.name == "type") {
            if (!readType(attribute.value, entry)) {
                return false;
            }
        } else if (attribute.name == "is_core") {
            entry.isCore = attribute.value == "yes";
        } else if (attribute.name == "standalone") {
            entry.standalone = attribute.value == "true";
        } else if (attribute.name == "action") {
            entry.action = toAction(attribute.value);
        }
    }
    if (m_honourServiceType && entry.type == eFileTypeProfile && !readServiceType(attributes, entry)) {
        return false;
    }
    // Presence counts, not the text: an empty id beside a version passes.
    if (entry.id.empty() && attributes.hasAttribute("version") && !attributes.hasAttribute("id")) {
        return reject(__LINE__, Logging::DI_ERROR, "File \"id\" is required when \"version\" is specified");
    }
    return true;
}

/// Settles what the manifest left open and judges the result.
bool CManifestInfo::completeEntry(ManifestFileInfo& entry) const
{
    resolveFileNames(entry);
    resolveSpecialDirectory(entry);
    setFileAction(entry);
    if (entry.displayName.empty()) {
        entry.displayName = entry.resolvedFileName;
    }
    return manifestInfoIsSane(entry);
}
