#include "vpn/Downloader/ManifestInfo.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/FileDescriptor.h"
#include "vpn/Common/Utility/SecureString.h"
#include "vpn/Common/Xml/XmlParser.h"
#include "vpn/Downloader/ManifestReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Downloader/ManifestInfo";

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

/// Reads that many bytes, by way of a small block that is wiped: a string made in its size would be zeroed first.
/// False when fewer came.
bool readText(const FileDescriptor& file, std::size_t size, std::string& text)
{
    std::array<char, 2048> block; // NOLINT(cppcoreguidelines-pro-type-member-init): read before it is looked at
    text.reserve(size);
    while (text.size() < size) {
        const long count = file.read(block.data(), std::min(block.size(), size - text.size()));
        if (count <= 0) {
            break;
        }
        text.append(block.data(), static_cast<std::size_t>(count));
    }
    ::explicit_bzero(block.data(), block.size());
    return text.size() == size;
}

/// Gives the text of the manifest back at the first element, when libxml2 has its own copy, so that a large one does
/// not stand in memory twice.
class ReleasingReader : public ManifestReader
{
public:
    ReleasingReader(std::string& text, bool skipFirstElement, bool honourServiceType)
        : ManifestReader(skipFirstElement, honourServiceType), m_text(text)
    {}

    void addElement(const std::string& name) override
    {
        if (!m_text.empty()) {
            wipeString(m_text);
            std::string().swap(m_text);
        }
        ManifestReader::addElement(name);
    }

private:
    std::string& m_text;
};

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
        ReleasingReader reader(text, m_skipFirstElement, m_honourServiceType);
        ok = readEntries(text, reader);
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
    errno = 0;
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        return logUnreadable(__LINE__, "fstream::open", static_cast<unsigned>(errno), std::strerror(errno));
    }
    std::string text;
    errno = 0;
    if (!readText(file, static_cast<std::size_t>(size), text)) {
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
    ManifestReader reader(m_skipFirstElement, m_honourServiceType);
    return readEntries(text, reader);
}

/// Has the document read, judges its entries and lists them up to the first that is rejected.
bool CManifestInfo::readEntries(const std::string& text, ManifestReader& reader)
{
    const std::uint32_t status = XmlParser(&reader).parseXml(text, false);
    if (status != StatusCode::Success) {
        CAppLog::LogReturnCode("parseManifestFile", kLogFile, __LINE__, Logging::DI_ERROR, "XmlParser::parseXml",
                               status, nullptr, nullptr);
        return false;
    }
    // One element is an empty manifest, whatever it is; two cannot be a root with a complete entry.
    if (reader.elementCount() == 1) {
        return true;
    }
    if (reader.elementCount() == 0 || reader.elementCount() == 2) {
        return rejectCount(__LINE__, static_cast<int>(reader.elementCount()));
    }
    for (std::unique_ptr<ManifestFileInfo>& entry : reader.finish()) {
        if (!completeEntry(*entry)) {
            return false;
        }
        m_fileList.push_back(entry.get());
        static_cast<void>(entry.release());
    }
    return !reader.logFault();
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
