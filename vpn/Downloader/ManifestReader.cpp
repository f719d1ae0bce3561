#include "vpn/Downloader/ManifestReader.h"

#include "vpn/Common/Xml/NVAttributes.h"
#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <array>
#include <cstdio>
#include <list>
#include <utility>

namespace {

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

FileAction toAction(std::string_view word)
{
    if (word == "copy") {
        return eFileActionCopy;
    }
    return word == "install" ? eFileActionInstall : eFileActionNone;
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

} // namespace

ManifestReader::ManifestReader(bool skipFirstElement, bool honourServiceType)
    : m_skipFirstElement(skipFirstElement), m_honourServiceType(honourServiceType)
{}

ManifestReader::~ManifestReader() = default;

void ManifestReader::addElement(const std::string& name)
{
    std::list<XmlElement*>& elements = getElementList();
    if (!elements.empty()) {
        read(*elements.front());
        deleteXmlElements();
        elements.clear();
    }
    ++m_count;
    XmlIfcMgr::addElement(name);
}

ManifestReader::Entries& ManifestReader::finish()
{
    if (!m_fault) {
        readChild(*getElementList().front());
    }
    return m_entries;
}

bool ManifestReader::logFault() const
{
    if (m_fault) {
        // Under the name of the file that log readers know this function's records by.
        CAppLog::LogDebugMessage("parseManifestFile", "../../../../vpn/Downloader/ManifestInfo", m_fault->line,
                                 m_fault->importance, "%s", m_fault->text.c_str());
    }
    return m_fault.has_value();
}

/// Reads an element that another one follows.
void ManifestReader::read(XmlElement& element)
{
    const std::size_t root = m_skipFirstElement ? 2 : 1;
    if (m_fault || m_count < root) {
        return;
    }
    const NVAttributes& attributes = *element.getElementAttributes();
    if (m_count == root) {
        readRoot(attributes, element.name());
    } else if (!readChild(element)) {
        readFile(attributes, element.name());
    }
}

void ManifestReader::readRoot(const NVAttributes& attributes, std::string_view name)
{
    if (name != "vpn") {
        fail(__LINE__, Logging::DI_ERROR, "Invalid root element");
        return;
    }
    const NVAttributes::Attribute* revision = attributes.find("rev");
    int major = -1;
    int minor = -1;
    // sscanf and nothing stricter: manifests are accepted as it reads them, overflow and trailing text included.
    // NOLINTNEXTLINE(cert-err34-c)
    if (revision == nullptr || std::sscanf(revision->value.c_str(), "%d.%d", &major, &minor) < 2) {
        fail(__LINE__, Logging::DI_ERROR, "Invalid manifest revision format");
    } else if (static_cast<unsigned>(major) > 1 || (major == 1 && minor != 0)) {
        // A negative major counts as a very large one.
        fail(__LINE__, Logging::DI_ERROR, "Unsupported manifest \"rev\"");
    }
}

void ManifestReader::readFile(const NVAttributes& attributes, std::string_view name)
{
    if (name != "file") {
        fail(__LINE__, Logging::DI_ERROR, "Invalid manifest file format");
        return;
    }
    auto entry = std::make_unique<ManifestFileInfo>();
    if (readAttributes(attributes, *entry)) {
        m_entries.push_back(std::move(entry));
    }
}

/// Takes `element` as a child of the open entry. False when it is none.
bool ManifestReader::readChild(XmlElement& element)
{
    if (m_entries.empty()) {
        return false;
    }
    ManifestFileInfo& entry = *m_entries.back();
    if (element.name() == "type") {
        if (!readType(element.value(), entry)) {
            m_entries.pop_back();
        }
        return true;
    }
    const auto field = fieldOf(kTextChildren, element.name());
    if (field == nullptr) {
        return false;
    }
    entry.*field = element.value();
    if (element.name() == "hash") {
        readHashType(*element.getElementAttributes(), entry);
    }
    return true;
}

bool ManifestReader::readAttributes(const NVAttributes& attributes, ManifestFileInfo& entry)
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
    if (entry.id.empty() && attributes.find("version") != nullptr && attributes.find("id") == nullptr) {
        return fail(__LINE__, Logging::DI_ERROR, "File \"id\" is required when \"version\" is specified");
    }
    return true;
}

bool ManifestReader::readServiceType(const NVAttributes& attributes, ManifestFileInfo& entry)
{
    if (const NVAttributes::Attribute* given = attributes.find("service-type")) {
        entry.serviceType = given->value;
    }
    const auto profile = CManifestInfo::ms_mapClientProfileInfo.find(entry.serviceType);
    if (profile == CManifestInfo::ms_mapClientProfileInfo.end()) {
        return fail(__LINE__, Logging::DI_WARNING, "Unknown client profile type " + entry.serviceType);
    }
    entry.fileName = profile->second.fileName;
    entry.displayName = profile->second.displayName;
    return true;
}

bool ManifestReader::readType(std::string_view word, ManifestFileInfo& entry)
{
    // Not by the map of them, which would have to be given a copy that nobody wipes.
    const ManifestFileType type = typeOfWord(word);
    if (type == eFileTypeNone) {
        return fail(__LINE__, Logging::DI_ERROR, "Unknown \"type\" attribute");
    }
    entry.type = type;
    return true;
}

/// Keeps what is wrong and gives false.
bool ManifestReader::fail(unsigned line, Logging::DebugImportance importance, std::string text)
{
    m_fault = Fault{line, importance, std::move(text)};
    return false;
}
