#include "ctl/EntryLint.h"

#include "vpn/Common/Xml/NVAttributes.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace ctl {

namespace {

/// An entry while it is read. What the tool would refuse is reported and left out.
struct Draft
{
    const OutlineElement& file;
    LintReport& report;
    ManifestFileInfo info{};
    /// The word that was given last for the kind is none.
    bool hasUnknownType = false;

    void add(Rule rule, std::string message) const { report.add(rule, file.place, std::move(message)); }
};

using ReadAttribute = void (*)(Draft& draft, std::string_view value);
using ReadChild = void (*)(Draft& draft, const OutlineElement& child);

void readType(Draft& draft, TextPlace place, std::string_view word)
{
    const FileKind* kind = findFileKind(word);
    draft.hasUnknownType = kind == nullptr;
    if (kind == nullptr) {
        draft.report.add(Rule::UnknownType, place, "unknown type " + quoted(word));
    } else {
        draft.info.type = kind->type;
    }
}

void readTypeAttribute(Draft& draft, std::string_view value)
{
    readType(draft, draft.file.place, value);
}

void readAction(Draft& draft, std::string_view value)
{
    if (value == "copy") {
        draft.info.action = eFileActionCopy;
    } else if (value == "install") {
        draft.info.action = eFileActionInstall;
    } else {
        draft.add(Rule::UnknownAction, "unknown action " + quoted(value) + " counts as none");
    }
}

void readIsCore(Draft& draft, std::string_view value)
{
    if (value != "yes" && value != "no") {
        draft.add(Rule::UnknownIsCore, "is_core " + quoted(value) + " counts as \"no\"");
    }
}

void readStandalone(Draft& draft, std::string_view value)
{
    if (value != "true" && value != "false") {
        draft.add(Rule::UnknownStandalone, "standalone " + quoted(value) + " counts as \"false\"");
    }
}

template <std::string ManifestFileInfo::*Field> void readText(Draft& draft, std::string_view value)
{
    draft.info.*Field = value;
}

struct AttributeReader
{
    std::string_view name;
    ReadAttribute read;
};

constexpr std::array kFileAttributes{
    AttributeReader{"is_core", readIsCore},
    AttributeReader{"version", readText<&ManifestFileInfo::version>},
    AttributeReader{"module", readText<&ManifestFileInfo::module>},
    AttributeReader{"id", readText<&ManifestFileInfo::id>},
    AttributeReader{"lang", readText<&ManifestFileInfo::lang>},
    AttributeReader{"action", readAction},
    AttributeReader{"platform", readText<&ManifestFileInfo::platform>},
    AttributeReader{"type", readTypeAttribute},
    AttributeReader{"service-type", readText<&ManifestFileInfo::serviceType>},
    AttributeReader{"os", readText<&ManifestFileInfo::os>},
    AttributeReader{"os_pkg_id", readText<&ManifestFileInfo::osPkgId>},
    AttributeReader{"arch", readText<&ManifestFileInfo::arch>},
    AttributeReader{"standalone", readStandalone},
};

void readAttributes(Draft& draft)
{
    for (const NVAttributes::Attribute& attribute : *draft.file.content->getElementAttributes()) {
        const auto* reader = std::find_if(kFileAttributes.begin(), kFileAttributes.end(),
                                          [&](const AttributeReader& row) { return row.name == attribute.name; });
        if (reader == kFileAttributes.end()) {
            draft.add(Rule::UnknownAttribute, "unknown attribute " + quoted(attribute.name) + " is ignored");
        } else {
            reader->read(draft, attribute.value);
        }
    }
}

bool isHexDigit(char byte)
{
    return std::string_view("0123456789abcdefABCDEF").find(byte) != std::string_view::npos;
}

/// How many digits a sum of that type has; 0 for a type that is none.
std::size_t digitsOf(std::string_view hashType)
{
    if (hashType == "sha1") {
        return 40;
    }
    return hashType == "sha256" ? 64 : 0;
}

void checkSum(Draft& draft, TextPlace place, std::string_view hashType)
{
    const std::string& sum = draft.info.hash;
    const std::size_t digits = digitsOf(hashType);
    if (digits != 0 && sum.size() != digits) {
        draft.report.add(Rule::HashLength, place,
                         "a sum by " + std::string(hashType) + " has " + std::to_string(digits) + " digits, not " +
                             std::to_string(sum.size()));
    }
    if (!std::all_of(sum.begin(), sum.end(), isHexDigit)) {
        draft.report.add(Rule::HashDigits, place, quoted(sum) + " has other than hexadecimal digits");
    }
}

void readHash(Draft& draft, const OutlineElement& child)
{
    const NVAttributes& attributes = *child.content->getElementAttributes();
    const std::string type = attributes.getAttributeValue("type");
    if (digitsOf(type) != 0) {
        draft.info.hashType = type == "sha1" ? eHashTypeSha1 : eHashTypeSha256;
    } else if (attributes.hasAttribute("type")) {
        draft.report.add(Rule::UnknownHashType, child.place, "unknown hash type " + quoted(type) + " counts as none");
    }
    draft.info.hash = child.content->getElementValue();
    checkSum(draft, child.place, type);
}

void readTypeChild(Draft& draft, const OutlineElement& child)
{
    readType(draft, child.place, child.content->getElementValue());
}

template <std::string ManifestFileInfo::*Field> void readTextChild(Draft& draft, const OutlineElement& child)
{
    draft.info.*Field = child.content->getElementValue();
}

struct ChildReader
{
    std::string_view name;
    /// What the child says; two children that say the same replace each other.
    std::string_view fact;
    ReadChild read;
};

constexpr std::array kChildren{
    ChildReader{"type", "type", readTypeChild},
    ChildReader{"uri", "uri", readTextChild<&ManifestFileInfo::uri>},
    ChildReader{"filename", "name", readTextChild<&ManifestFileInfo::fileName>},
    ChildReader{"name", "name", readTextChild<&ManifestFileInfo::fileName>},
    ChildReader{"hash", "hash", readHash},
    ChildReader{"display-name", "display-name", readTextChild<&ManifestFileInfo::displayName>},
    ChildReader{"depends", "depends", readTextChild<&ManifestFileInfo::depends>},
};

const ChildReader* childReader(std::string_view name)
{
    const auto* found =
        std::find_if(kChildren.begin(), kChildren.end(), [name](const ChildReader& row) { return row.name == name; });
    return found == kChildren.end() ? nullptr : found;
}

void checkChildAttributes(const Draft& draft, const OutlineElement& child)
{
    for (const NVAttributes::Attribute& attribute : *child.content->getElementAttributes()) {
        if (child.content->name() != "hash" || attribute.name != "type") {
            draft.report.add(Rule::UnknownAttribute, child.place,
                             "unknown attribute " + quoted(attribute.name) + " is ignored");
        }
    }
}

void readChildren(Draft& draft, std::span<const OutlineElement* const> children)
{
    std::vector<std::string_view> facts;
    if (draft.file.content->getElementAttributes()->hasAttribute("type")) {
        facts.emplace_back("type");
    }
    for (const OutlineElement* child : children) {
        const ChildReader& reader = *childReader(child->content->name());
        if (std::find(facts.begin(), facts.end(), reader.fact) == facts.end()) {
            facts.push_back(reader.fact);
        } else {
            draft.report.add(Rule::RepeatedChild, child->place,
                             quoted(reader.name) + " replaces what was given before");
        }
        if (child->parent != &draft.file) {
            draft.report.add(Rule::Nesting, child->place, quoted(reader.name) + " does not stand in its \"file\"");
        }
        checkChildAttributes(draft, *child);
        reader.read(draft, *child);
    }
}

Demand demandOf(ManifestFileType type)
{
    const FileKind* kind = findFileKind(type);
    return kind == nullptr ? Demand::Nothing : kind->demand;
}

std::string_view fixedNameOf(ManifestFileType type)
{
    const FileKind* kind = findFileKind(type);
    return kind == nullptr ? std::string_view() : kind->fileName;
}

/// What an entry is, for a message.
std::string nameOf(ManifestFileType type)
{
    return type == eFileTypeNone ? "a file without a type" : "a file of the type " + quoted(typeWord(type));
}

/// The rules that reject an entry by what it says as a whole.
void checkSanity(const Draft& draft)
{
    const ManifestFileInfo& info = draft.info;
    if (info.uri.empty() && info.fileName.empty()) {
        draft.add(Rule::NoSource, "neither a uri nor a filename");
    }
    if (draft.hasUnknownType) {
        return;
    }
    const Demand demand = demandOf(info.type);
    if (demand != Demand::Nothing && info.hash.empty()) {
        draft.add(Rule::NoHash, nameOf(info.type) + " needs a hash");
    } else if (demand != Demand::Nothing && info.hashType == eHashTypeNone) {
        draft.add(Rule::NoHashType, nameOf(info.type) + " needs the type of its hash");
    }
    if (demand == Demand::HashAndLanguage && info.lang.empty()) {
        draft.add(Rule::NoLang, nameOf(info.type) + " needs a lang");
    }
    const std::string_view fixedName = fixedNameOf(info.type);
    if (!fixedName.empty() && info.fileName != fixedName) {
        draft.add(Rule::L10nName,
                  nameOf(info.type) + " is called " + quoted(fixedName) + ", not " + quoted(info.fileName));
    }
    if (info.action == eFileActionNone) {
        draft.add(Rule::NoAction, "neither a type nor an action");
    }
}

bool isOtherDirectory(std::string_view name)
{
    return name == "." || name == "..";
}

void checkNames(const Draft& draft)
{
    const ManifestFileInfo& info = draft.info;
    if (info.fileName.empty() && !info.uri.empty()) {
        draft.add(Rule::NoFileName, "nothing is left of a name that ends in \"/\"");
    }
    if (isOtherDirectory(info.resolvedFileName)) {
        draft.add(Rule::UnsafeName, quoted(info.resolvedFileName) + " is no file name");
    }
    if (info.type == eFileTypeL10n && (isOtherDirectory(info.lang) || info.lang.find('/') != std::string::npos)) {
        draft.add(Rule::UnsafeName, "the lang " + quoted(info.lang) + " is no directory name");
    }
}

void checkServiceType(const Draft& draft)
{
    const std::string& key = draft.info.serviceType;
    if (draft.hasUnknownType || !draft.file.content->getElementAttributes()->hasAttribute("service-type")) {
        return;
    }
    if (draft.info.type != eFileTypeProfile) {
        draft.add(Rule::IgnoredServiceType, nameOf(draft.info.type) + " has no service-type");
    } else if (!CManifestInfo::ms_mapClientProfileInfo.contains(key)) {
        draft.add(Rule::UnknownServiceType, "unknown service-type " + quoted(key));
    }
}

/// Numbers with points between them, with whatever a revision is written with behind.
bool isVersion(std::string_view text)
{
    constexpr std::string_view digits = "0123456789";
    constexpr std::string_view revision = "0123456789.-+~^_:abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    return digits.find(text.front()) != std::string_view::npos &&
           text.find_first_not_of(revision) == std::string_view::npos;
}

/// What becomes of the entry in the store.
void checkRecord(const Draft& draft)
{
    const ManifestFileInfo& info = draft.info;
    NVAttributes& attributes = *draft.file.content->getElementAttributes();
    const bool lacksNeededId = attributes.hasAttribute("version") && !attributes.hasAttribute("id");
    if (lacksNeededId) {
        draft.add(Rule::VersionWithoutId, "a version without an id");
    }
    if (!info.version.empty() && !isVersion(info.version)) {
        draft.add(Rule::VersionForm,
                  "the version " + quoted(info.version) + " is not numbers with points between them");
    }
    if (draft.hasUnknownType) {
        return;
    }
    if (!isStored(info.type)) {
        if (!info.id.empty()) {
            draft.add(Rule::UnrecordedId,
                      nameOf(info.type) + " is not recorded: the id " + quoted(info.id) + " has no use");
        }
        return;
    }
    if (info.id.empty() && !lacksNeededId) {
        draft.add(Rule::NoId, nameOf(info.type) + " is recorded and needs an id");
    }
    if (info.version.empty()) {
        draft.add(Rule::NoVersion, nameOf(info.type) + " is recorded and needs a version");
    }
}

} // namespace

bool isEntryChild(std::string_view name)
{
    return childReader(name) != nullptr;
}

void EntryLint::check(const OutlineElement& file, std::span<const OutlineElement* const> children)
{
    Draft draft{file, m_report};
    readAttributes(draft);
    readChildren(draft, children);
    const FileAction given = draft.info.action;
    m_manifest.resolveFileNames(draft.info);
    m_manifest.setFileAction(draft.info);
    if (given != eFileActionNone && draft.info.action != given) {
        draft.add(Rule::IgnoredAction, "the action of " + nameOf(draft.info.type) + " is fixed");
    }
    checkSanity(draft);
    checkNames(draft);
    checkServiceType(draft);
    checkRecord(draft);
    checkRepeatedId(draft.info.id, file.place);
}

void EntryLint::checkRepeatedId(const std::string& id, TextPlace place)
{
    if (id.empty()) {
        return;
    }
    const auto [before, isNew] = m_lineOfId.try_emplace(id, place.line);
    if (!isNew) {
        m_report.add(Rule::RepeatedId, place,
                     "the id " + quoted(id) + " hides the entry in line " + std::to_string(before->second));
        before->second = place.line;
    }
}

} // namespace ctl
