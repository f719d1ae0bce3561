// The manifest parser, for both kinds of root element and both install roots, against a plain reading of the elements
// and against what holds of every entry that is let through.
// Input: FLAGS and the manifest's text, where the byte FLAGS is "0" to "3": 1 when the root is the document's second
// element, plus 2 when the files are for the legacy install root.

#include "fuzz/support/Input.h"
#include "fuzz/support/QuietXml.h"
#include "fuzz/support/Require.h"
#include "vpn/Api/xml/XmlIfcMgr.h"
#include "vpn/Common/Xml/NVAttributes.h"
#include "vpn/Common/Xml/XmlElement.h"
#include "vpn/Common/Xml/XmlParser.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace {

using obg::fuzz::require;

const std::string kCurrentRoot = "/opt/orvanta/brightgate/";
const std::string kLegacyRoot = "/opt/orvanta/tessellink/";

/// An entry of the document as it stands there: the "file" element and the children that follow it.
using Part = std::vector<XmlElement*>;

bool isChild(XmlElement* element)
{
    static const std::vector<std::string> names{"type", "uri", "filename", "name", "hash", "display-name", "depends"};
    return std::find(names.begin(), names.end(), element->getElementName()) != names.end();
}

/// The entries of the document, taken apart without a look at what they say.
std::vector<Part> partsOf(const std::vector<XmlElement*>& elements, bool skipFirst)
{
    std::vector<Part> parts;
    std::size_t i = skipFirst ? 2 : 1;
    // An element with nothing behind it begins no entry.
    while (i + 1 < elements.size()) {
        Part part{elements[i++]};
        while (i < elements.size() && isChild(elements[i])) {
            part.push_back(elements[i++]);
        }
        parts.push_back(part);
    }
    return parts;
}

/// The text of the part's last child of one of two names; nothing when it has none.
std::optional<std::string> childText(const Part& part, const std::string& name, const std::string& otherName)
{
    std::optional<std::string> text;
    for (auto child = part.begin() + 1; child != part.end(); ++child) {
        if ((*child)->getElementName() == name || (*child)->getElementName() == otherName) {
            text = (*child)->getElementValue();
        }
    }
    return text;
}

std::string attribute(const Part& part, const std::string& name)
{
    return part[0]->getElementAttributes()->getAttributeValue(name);
}

std::string lastComponent(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

/// What the document says must be what the entry says.
void requireRead(const ManifestFileInfo& entry, const Part& part, bool skipFirst)
{
    const NVAttributes& attributes = *part[0]->getElementAttributes();
    require(part[0]->getElementName() == "file", "an entry begins with its element");
    require(entry.id == attribute(part, "id") && entry.version == attribute(part, "version") &&
                entry.lang == attribute(part, "lang") && entry.platform == attribute(part, "platform") &&
                entry.os == attribute(part, "os") && entry.osPkgId == attribute(part, "os_pkg_id") &&
                entry.arch == attribute(part, "arch"),
            "texts of attributes");
    require(entry.module == attribute(part, "module") || (entry.type == eFileTypeTransform && entry.module == "all"),
            "the module, or all");
    require(entry.isCore == (attribute(part, "is_core") == "yes"), "core");
    require(entry.standalone == (attribute(part, "standalone") == "true"), "standalone");
    require(attributes.hasAttribute("id") || !attributes.hasAttribute("version"), "no version without an id");

    require(entry.uri == childText(part, "uri", "").value_or(""), "uri");
    require(entry.hash == childText(part, "hash", "").value_or(""), "hash");
    require(entry.depends == childText(part, "depends", "").value_or(""), "depends");
    const std::string type = childText(part, "type", "").value_or(attribute(part, "type"));
    const auto known = CManifestInfo::ms_mapStringToType.find(type);
    require(known == CManifestInfo::ms_mapStringToType.end()
                ? type.empty() && !attributes.hasAttribute("type") && entry.type == eFileTypeNone
                : entry.type == known->second,
            "a known type, or none");
    const bool isProfile = skipFirst && attribute(part, "type") == "profile";
    const std::string service =
        isProfile && attributes.hasAttribute("service-type") ? attribute(part, "service-type") : "user";
    require(entry.serviceType == service, "the service type of profiles alone");
    const auto profile = CManifestInfo::ms_mapClientProfileInfo.find(service);
    require(profile != CManifestInfo::ms_mapClientProfileInfo.end(), "a known service type");

    std::string name = childText(part, "filename", "name").value_or(isProfile ? profile->second.fileName : "");
    require(entry.fileName == lastComponent(name.empty() ? entry.uri : name), "the last component of the name");
    const std::string display =
        childText(part, "display-name", "").value_or(isProfile ? profile->second.displayName : "");
    require(entry.displayName == (display.empty() ? entry.resolvedFileName : display), "the display name");
}

bool isOneOf(ManifestFileType type, std::initializer_list<ManifestFileType> types)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

/// What holds of every entry that is let through.
void requireSane(const ManifestFileInfo& entry)
{
    require(!entry.uri.empty() || !entry.fileName.empty(), "a uri or a name");
    require(entry.action >= eFileActionInstall && entry.action <= eFileActionApply, "an action");
    const bool hasHash = !entry.hash.empty() && entry.hashType != eHashTypeNone;
    const bool needsHash = isOneOf(entry.type, {eFileTypeL10n, eFileTypeMst, eFileTypeTransform, eFileTypeBinary,
                                                eFileTypeResource, eFileTypeProfile});
    require(hasHash || !needsHash, "a hash where one is needed");
    require(!entry.lang.empty() || !isOneOf(entry.type, {eFileTypeL10n, eFileTypeMst}), "a language");
    require(entry.fileName == "Tessellink.mo" || entry.type != eFileTypeL10n, "the catalogue's name");
    require(entry.action == eFileActionCopy ||
                !isOneOf(entry.type, {eFileTypeL10n, eFileTypeProfile, eFileTypeBinary, eFileTypeResource}),
            "what is copied");
    require(entry.action == eFileActionApply || !isOneOf(entry.type, {eFileTypeMst, eFileTypeTransform}),
            "what is applied");
    require(entry.resolvedFileName.find('/') == std::string::npos, "no folder in a file's name");
    require(entry.type != eFileTypeTransform || entry.resolvedFileName.find(".xml") != std::string::npos,
            "transforms are XML files");
}

void requireDirectories(const ManifestFileInfo& entry, bool isLegacy)
{
    const bool hasOne = isOneOf(entry.type, {eFileTypeL10n, eFileTypeProfile, eFileTypeResource}) ||
                        (entry.type == eFileTypeBinary &&
                         (entry.fileName.starts_with("scripts_") || entry.fileName.starts_with("help_")));
    require(entry.destinationDirectory.empty() == !hasOne, "a directory for the kinds that have one");
    require(entry.secondaryDirectory.empty() == !hasOne, "a second directory likewise");
    if (hasOne) {
        const std::string& root = isLegacy && entry.type != eFileTypeProfile ? kLegacyRoot : kCurrentRoot;
        require(entry.destinationDirectory.starts_with(root) && entry.destinationDirectory.ends_with('/'),
                "a directory below the root");
        require(entry.secondaryDirectory.starts_with(root) && entry.secondaryDirectory.ends_with('/'),
                "a second directory below the root");
    }
}

/// The directory under the legacy root that stands for one under the current root.
std::string legacyDirectory(const ManifestFileInfo& entry, const std::string& directory)
{
    if (directory.empty() || entry.type == eFileTypeProfile) {
        return directory;
    }
    const std::string below = directory.substr(kCurrentRoot.size());
    return kLegacyRoot + (entry.type == eFileTypeBinary && below == "vpn/script/" ? "script/" : below);
}

void requireSameButRoot(const ManifestFileInfo& current, const ManifestFileInfo& legacy)
{
    require(legacy.destinationDirectory == legacyDirectory(current, current.destinationDirectory) &&
                legacy.secondaryDirectory == legacyDirectory(current, current.secondaryDirectory),
            "the same directories under another root");
    require(legacy.id == current.id && legacy.type == current.type && legacy.action == current.action &&
                legacy.hashType == current.hashType && legacy.resolvedFileName == current.resolvedFileName &&
                legacy.displayName == current.displayName && legacy.serviceType == current.serviceType,
            "the root changes nothing else");
}

/// An entry that was let through is let through again, as it is.
void requireSettled(const ManifestFileInfo& entry)
{
    auto copy = std::make_unique<ManifestFileInfo>(entry);
    bool ok = false;
    ManifestFileInfo* again = copy.release();
    const CManifestInfo single(ok, again);
    require(ok && single.getFileList().size() == 1, "a complete entry is sane");
    require(again->fileName == entry.fileName && again->resolvedFileName == entry.resolvedFileName &&
                again->module == entry.module && again->action == entry.action &&
                again->displayName == entry.displayName && again->destinationDirectory == entry.destinationDirectory &&
                again->secondaryDirectory == entry.secondaryDirectory,
            "a complete entry stays as it is");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    obg::fuzz::silenceXml();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::fuzz::Input input(data, size);
    const unsigned char flags = input.byte();
    const bool skipFirst = (flags & 1) != 0;
    const bool isLegacy = (flags & 2) != 0;
    const std::string text = input.rest();
    bool ok = false;
    const CManifestInfo manifest(ok, text, skipFirst, isLegacy);
    if (!ok) {
        return 0;
    }
    bool otherOk = false;
    const CManifestInfo other(otherOk, text, skipFirst, !isLegacy);
    require(otherOk, "the root does not matter to the verdict");
    require(manifest.getFileList().size() == other.getFileList().size(), "nor to the number of entries");
    const CManifestInfo& legacy = isLegacy ? manifest : other;
    const CManifestInfo& current = isLegacy ? other : manifest;

    XmlIfcMgr document;
    require(XmlParser(&document).parseXml(text, false) == 0, "an accepted manifest is well-formed");
    const std::vector<XmlElement*> elements(document.getElementList().begin(), document.getElementList().end());
    const std::vector<Part> parts = partsOf(elements, skipFirst);
    require(elements.size() != 2, "two elements are too few");
    require(current.getFileList().size() == (elements.size() == 1 ? 0 : parts.size()), "an entry for every part");

    auto part = parts.begin();
    auto legacyEntry = legacy.getFileList().begin();
    for (const ManifestFileInfo* entry : current.getFileList()) {
        requireRead(*entry, *part++, skipFirst);
        requireSane(*entry);
        requireDirectories(*entry, false);
        requireDirectories(**legacyEntry, true);
        requireSameButRoot(*entry, **legacyEntry++);
        requireSettled(*entry);
    }
    return 0;
}
