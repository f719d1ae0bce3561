// The manifest parser, for both kinds of root element and both install roots, against a plain model that reads the
// document's elements: the same verdict and the same entries, field by field.
// Input: FLAGS and the manifest's text, where the byte FLAGS is "0" to "3": 1 when the root is the document's second
// element, plus 2 when the files are for the legacy install root; or "4" when the manifest is read from a file.

#include "fuzz/support/Input.h"
#include "fuzz/support/PrivateMachine.h"
#include "fuzz/support/QuietXml.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/SmallFile.h"
#include "vpn/Api/xml/XmlIfcMgr.h"
#include "vpn/Common/Xml/NVAttributes.h"
#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Common/Xml/XmlParser.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

namespace {

using obg::test::require;

constexpr const char* kFile = "/opt/manifest.xml";

struct Settings
{
    bool skipFirst = false;
    bool isLegacy = false;
};

/// A "file" element and the children that follow it.
using Part = std::vector<XmlElement*>;
using Entries = std::vector<ManifestFileInfo>;

bool isChild(XmlElement* element)
{
    static const std::vector<std::string> names{"type", "uri", "filename", "name", "hash", "display-name", "depends"};
    return std::find(names.begin(), names.end(), element->getElementName()) != names.end();
}

/// The entries of the document, taken apart without a look at what they say.
std::vector<Part> partsOf(const std::vector<XmlElement*>& elements, std::size_t first)
{
    std::vector<Part> parts;
    // An element with nothing behind it begins no entry.
    while (first + 1 < elements.size()) {
        Part part{elements[first++]};
        while (first < elements.size() && isChild(elements[first])) {
            part.push_back(elements[first++]);
        }
        parts.push_back(part);
    }
    return parts;
}

bool isKnownRevision(const std::string& revision)
{
    int major = -1;
    int minor = -1;
    return std::sscanf(revision.c_str(), "%d.%d", &major, &minor) == 2 && (major == 0 || (major == 1 && minor == 0));
}

bool setType(ManifestFileInfo& entry, const std::string& word)
{
    const ManifestFileType type = typeOfWord(word);
    if (type != eFileTypeNone) {
        entry.type = type;
    }
    return type != eFileTypeNone;
}

bool readAttributes(ManifestFileInfo& entry, const NVAttributes& attributes, const Settings& settings)
{
    const auto value = [&](const char* name) { return attributes.getAttributeValue(name); };
    entry.isCore = value("is_core") == "yes";
    entry.version = value("version");
    entry.module = value("module");
    entry.id = value("id");
    entry.lang = value("lang");
    entry.platform = value("platform");
    entry.os = value("os");
    entry.osPkgId = value("os_pkg_id");
    entry.arch = value("arch");
    entry.standalone = value("standalone") == "true";
    if (value("action") == "copy") {
        entry.action = eFileActionCopy;
    } else if (value("action") == "install") {
        entry.action = eFileActionInstall;
    }
    if (attributes.hasAttribute("type") && !setType(entry, value("type"))) {
        return false;
    }
    if (settings.skipFirst && entry.type == eFileTypeProfile) {
        entry.serviceType = attributes.hasAttribute("service-type") ? value("service-type") : "user";
        const auto profile = CManifestInfo::ms_mapClientProfileInfo.find(entry.serviceType);
        if (profile == CManifestInfo::ms_mapClientProfileInfo.end()) {
            return false;
        }
        entry.fileName = profile->second.fileName;
        entry.displayName = profile->second.displayName;
    }
    return attributes.hasAttribute("id") || !attributes.hasAttribute("version");
}

bool readChild(ManifestFileInfo& entry, XmlElement& child)
{
    const std::string name = child.getElementName();
    const std::string text = child.getElementValue();
    if (name == "type") {
        return setType(entry, text);
    }
    if (name == "uri") {
        entry.uri = text;
    } else if (name == "depends") {
        entry.depends = text;
    } else if (name == "display-name") {
        entry.displayName = text;
    } else if (name == "hash") {
        const std::string type = child.getElementAttributes()->getAttributeValue("type");
        entry.hash = text;
        entry.hashType = type == "sha1" ? eHashTypeSha1 : type == "sha256" ? eHashTypeSha256 : entry.hashType;
    } else {
        entry.fileName = text;
    }
    return true;
}

void setNames(ManifestFileInfo& entry)
{
    const std::string& path = entry.fileName.empty() ? entry.uri : entry.fileName;
    const std::string name = path.substr(path.rfind('/') + 1);
    entry.fileName = name;
    entry.resolvedFileName = name;
    if (entry.type == eFileTypeTransform) {
        entry.resolvedFileName += name.find(".xml") == std::string::npos ? ".xml" : "";
        if (entry.resolvedFileName == "TLTransforms.xml" || entry.resolvedFileName == "UninstallOldGRD.xml") {
            entry.module = "all";
        }
    } else if (entry.type == eFileTypeBinary) {
        const std::size_t scripts = name.find("scripts_") == 0 ? 8 : 0;
        const std::size_t help = name.compare(scripts, 5, "help_") == 0 ? 5 : 0;
        entry.resolvedFileName = name.substr(scripts + help);
    }
    if (entry.displayName.empty()) {
        entry.displayName = entry.resolvedFileName;
    }
}

void setDirectories(ManifestFileInfo& entry, const Settings& settings)
{
    const std::string current = "/opt/orvanta/brightgate/";
    const std::string root = settings.isLegacy ? "/opt/orvanta/tessellink/" : current;
    std::string& directory = entry.destinationDirectory;
    if (entry.type == eFileTypeBinary && entry.fileName.find("scripts_") == 0) {
        directory = root + (settings.isLegacy ? "script/" : "vpn/script/");
    } else if (entry.type == eFileTypeBinary && entry.fileName.find("help_") == 0) {
        directory = root + "help/";
    } else if (entry.type == eFileTypeL10n) {
        directory = root + "l10n/" + entry.lang + "/LC_MESSAGES/";
    } else if (entry.type == eFileTypeResource) {
        directory = root + "resources/";
    } else if (entry.type == eFileTypeProfile) {
        const ClientProfileInfo& profile = CManifestInfo::ms_mapClientProfileInfo.at(entry.serviceType);
        directory = current + profile.directory + "/";
        entry.secondaryDirectory = current + profile.secondaryDirectory + "/";
        return;
    }
    entry.secondaryDirectory = directory;
}

void setAction(ManifestFileInfo& entry)
{
    const FileKind* kind = findFileKind(entry.type);
    if (kind != nullptr) {
        const bool isGiven = kind->actionRule == ActionRule::Default && entry.action != eFileActionNone;
        entry.action = isGiven ? entry.action : kind->action;
    }
}

bool isSane(const ManifestFileInfo& entry)
{
    if ((entry.uri.empty() && entry.fileName.empty()) || entry.action == eFileActionNone) {
        return false;
    }
    const FileKind* kind = findFileKind(entry.type);
    if (kind == nullptr) {
        return true;
    }
    const bool hasHash = !entry.hash.empty() && entry.hashType != eHashTypeNone;
    return (kind->demand == Demand::Nothing || hasHash) &&
           (kind->demand != Demand::HashAndLanguage || !entry.lang.empty()) &&
           (kind->fileName.empty() || entry.fileName == kind->fileName);
}

std::optional<ManifestFileInfo> entryOf(const Part& part, const Settings& settings)
{
    ManifestFileInfo entry;
    if (part[0]->getElementName() != "file" || !readAttributes(entry, *part[0]->getElementAttributes(), settings) ||
        !std::all_of(part.begin() + 1, part.end(), [&](XmlElement* child) { return readChild(entry, *child); })) {
        return std::nullopt;
    }
    setNames(entry);
    setDirectories(entry, settings);
    setAction(entry);
    return isSane(entry) ? std::optional(entry) : std::nullopt;
}

/// The entries that the document has; nothing when it is to be rejected.
std::optional<Entries> entriesOf(const std::string& text, const Settings& settings)
{
    XmlIfcMgr document;
    if (XmlParser(&document).parseXml(text, false) != 0) {
        return std::nullopt;
    }
    const std::vector<XmlElement*> elements(document.getElementList().begin(), document.getElementList().end());
    if (elements.size() == 1) {
        return Entries();
    }
    const std::size_t root = settings.skipFirst ? 1 : 0;
    if (elements.size() < 3 || elements[root]->getElementName() != "vpn" ||
        !isKnownRevision(elements[root]->getElementAttributes()->getAttributeValue("rev"))) {
        return std::nullopt;
    }
    Entries entries;
    for (const Part& part : partsOf(elements, root + 1)) {
        const std::optional<ManifestFileInfo> entry = entryOf(part, settings);
        if (!entry) {
            return std::nullopt;
        }
        entries.push_back(*entry);
    }
    return entries;
}

void requireSame(const ManifestFileInfo& entry, const ManifestFileInfo& expected)
{
    require(entry.isCore == expected.isCore && entry.standalone == expected.standalone, "flags");
    require(entry.type == expected.type && entry.action == expected.action, "type and action");
    require(entry.hashType == expected.hashType && entry.hash == expected.hash, "hash");
    require(entry.id == expected.id && entry.version == expected.version, "id and version");
    require(entry.uri == expected.uri && entry.fileName == expected.fileName &&
                entry.resolvedFileName == expected.resolvedFileName,
            "uri and names");
    require(entry.destinationDirectory == expected.destinationDirectory &&
                entry.secondaryDirectory == expected.secondaryDirectory,
            "directories");
    require(entry.displayName == expected.displayName && entry.depends == expected.depends, "children's other texts");
    require(entry.module == expected.module && entry.lang == expected.lang &&
                entry.serviceType == expected.serviceType && entry.platform == expected.platform &&
                entry.os == expected.os && entry.osPkgId == expected.osPkgId && entry.arch == expected.arch,
            "attributes' other texts");
}

/// An entry that was let through is let through again, as it is.
void requireSettled(const ManifestFileInfo& entry)
{
    auto* again = new ManifestFileInfo(entry);
    bool ok = false;
    const CManifestInfo single(ok, again);
    require(ok && single.getFileList().size() == 1, "a complete entry is sane");
    requireSame(*again, entry);
}

std::unique_ptr<CManifestInfo> readFromFile(bool& ok, const std::string& text)
{
    obg::test::writeFile(kFile, text);
    return std::make_unique<CManifestInfo>(ok, std::string(kFile));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    obg::test::enterPrivateMachine();
    obg::test::silenceXml();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::test::Input input(data, size);
    const unsigned char flags = input.byte();
    const bool isFile = (flags & 4) != 0;
    const Settings settings = isFile ? Settings() : Settings{(flags & 1) != 0, (flags & 2) != 0};
    const std::string text = input.rest();

    bool ok = false;
    const auto manifest = isFile ? readFromFile(ok, text)
                                 : std::make_unique<CManifestInfo>(ok, text, settings.skipFirst, settings.isLegacy);
    const std::optional<Entries> expected = entriesOf(text, settings);
    require(ok == expected.has_value(), "the verdict");
    if (!ok) {
        return 0;
    }
    require(manifest->getFileList().size() == expected->size(), "as many entries as the document has");
    auto expectedEntry = expected->begin();
    for (const ManifestFileInfo* entry : manifest->getFileList()) {
        requireSame(*entry, *expectedEntry++);
        if (!settings.isLegacy) {
            requireSettled(*entry);
        }
    }
    return 0;
}
