#include "vpn/Common/InstalledManifestInfo.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/InstallRoots.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/sysutils.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/InstalledManifestInfo";
constexpr const char* kReader = "CInstalledManifestInfo::readManifestData";
constexpr const char* kWriter = "CInstalledManifestInfo::writeManifestData";

constexpr std::uint32_t kFormatMajor = 1;
constexpr std::uint32_t kFormatMinor = 0;

/// A string's count is only a claim of the file. No more than this is allocated ahead of what the file really holds.
constexpr std::size_t kReadStep = 65536;

std::string storePath(eManifestDataPath dataPath)
{
    return std::string(dataPath == eLegacyDataPath ? InstallRoot::Legacy : InstallRoot::Current) + "/VPNManifest.dat";
}

/// Logs that a call on the store's file failed, with what errno says. The lines are tags that log readers know, but for
/// the one of a failed close.
void logFileFailure(const char* function, unsigned line, const char* call)
{
    CAppLog::LogReturnCode(function, kLogFile, line, Logging::DI_ERROR, call, static_cast<unsigned>(errno),
                           std::strerror(errno), nullptr);
}

/// Logs that a field could not be read or written, by the function that wanted it, and gives its result.
bool logFieldFailure(const char* function, unsigned line, const char* call)
{
    CAppLog::LogReturnCode(function, kLogFile, line, Logging::DI_ERROR, call, StatusCode::MissingArgument, nullptr,
                           nullptr);
    return false;
}

} // namespace

CInstalledManifestInfo::CInstalledManifestInfo(eManifestDataPath dataPath) : m_path(storePath(dataPath))
{
    loadInstalledFileData();
}

void CInstalledManifestInfo::AddInstalledEntry(const std::string& fileId, ManifestFileType type,
                                               const std::string& version)
{
    const auto found = m_index.find(fileId);
    if (found != m_index.end()) {
        found->second->type = type;
        found->second->version = version;
        return;
    }
    m_entries.push_back({fileId, type, version});
    m_index.emplace(m_entries.back().fileId, std::prev(m_entries.end()));
}

void CInstalledManifestInfo::RemoveInstalledEntry(const std::string& fileId)
{
    const auto found = m_index.find(fileId);
    if (found != m_index.end()) {
        const auto entry = found->second;
        m_index.erase(found);
        m_entries.erase(entry);
    }
}

std::string CInstalledManifestInfo::GetInstalledVersion(const std::string& fileId) const
{
    const auto found = m_index.find(fileId);
    return found == m_index.end() ? std::string() : found->second->version;
}

ManifestFileType CInstalledManifestInfo::GetInstalledType(const std::string& fileId) const
{
    const auto found = m_index.find(fileId);
    return found == m_index.end() ? eFileTypeNone : found->second->type;
}

std::list<std::pair<std::string, std::string>> CInstalledManifestInfo::GetInstalledEntries() const
{
    std::list<std::pair<std::string, std::string>> entries;
    for (const InstalledManifestEntry& entry : m_entries) {
        entries.emplace_back(entry.fileId, entry.version);
    }
    return entries;
}

void CInstalledManifestInfo::loadInstalledFileData()
{
    constexpr const char* function = "loadInstalledFileData";
    if (!fileExists(m_path)) {
        return;
    }
    errno = 0;
    std::ifstream file(m_path, std::ios::binary);
    if (!file.is_open()) {
        logFileFailure(function, 267, "fstream::open");
        return;
    }
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    if (!readManifestData(file, major)) {
        logFieldFailure(function, 279, kReader);
        return;
    }
    if (!readManifestData(file, minor)) {
        logFieldFailure(function, 288, kReader);
        return;
    }
    // A major of 0 is read whatever its minor: files from before the first release are still about.
    if (major > kFormatMajor || (major == kFormatMajor && minor != kFormatMinor)) {
        CAppLog::LogDebugMessage(function, kLogFile, 300, Logging::DI_WARNING, "Unsupported manifest version");
        return;
    }
    std::uint32_t type = 0;
    while (readManifestData(file, type)) {
        if (!loadEntry(file, type)) {
            clear();
            return;
        }
    }
    // At the end of the file the entries stand, a few stray bytes behind the last record or not.
    if (!file.eof()) {
        logFieldFailure(function, 320, kReader);
        clear();
    }
}

/// Reads what follows a record's type. False, logged, when that cannot be read.
bool CInstalledManifestInfo::loadEntry(std::istream& file, std::uint32_t type)
{
    constexpr const char* function = "loadInstalledFileData";
    if (findFileKind(type) == nullptr) {
        // Nothing else is skipped: the length of a record of an unknown type is unknown as well.
        CAppLog::LogDebugMessage(function, kLogFile, 393, Logging::DI_WARNING, "Unknown file type %d",
                                 static_cast<int>(type));
        return true;
    }
    const bool isKept = isStored(type);
    std::string version;
    std::string fileId;
    if (!readManifestData(file, version)) {
        return logFieldFailure(function, isKept ? 375 : 347, kReader);
    }
    if (!readManifestData(file, fileId)) {
        return logFieldFailure(function, isKept ? 383 : 355, kReader);
    }
    if (isKept) {
        AddInstalledEntry(fileId, static_cast<ManifestFileType>(type), version);
    }
    return true;
}

void CInstalledManifestInfo::clear()
{
    m_index.clear();
    m_entries.clear();
}

long CInstalledManifestInfo::WriteFile() const
{
    constexpr const char* function = "WriteFile";
    if (m_entries.empty()) {
        if (std::remove(m_path.c_str()) != 0) {
            CAppLog::LogReturnCode(function, kLogFile, 432, Logging::DI_ERROR, "remove", static_cast<unsigned>(errno),
                                   nullptr, nullptr);
        }
        return StatusCode::Success;
    }
    errno = 0;
    std::ofstream file(m_path, std::ios::trunc | std::ios::binary);
    if (!file.is_open()) {
        logFileFailure(function, 445, "fstream::open");
        return StatusCode::OperationFailed;
    }
    const long status = writeHeader(file);
    if (status == StatusCode::Success) {
        writeEntries(file);
    }
    const bool wasGood = file.good();
    errno = 0;
    file.close();
    // Small records reach the disk only now. One that failed before has been logged where it did.
    if (wasGood && file.fail()) {
        logFileFailure(function, __LINE__, "fstream::close");
    }
    return status;
}

/// Writes the header through to the file: a disk that is full or gone already shows here.
long CInstalledManifestInfo::writeHeader(std::ostream& file) const
{
    constexpr const char* function = "WriteFile";
    if (!writeManifestData(file, kFormatMajor)) {
        logFieldFailure(function, 452, kWriter);
        return StatusCode::OperationFailed;
    }
    bool isWritten = writeManifestData(file, kFormatMinor);
    errno = 0;
    if (isWritten && !file.flush()) {
        logFileFailure("writeManifestData", 613, "fstream::write");
        isWritten = false;
    }
    if (!isWritten) {
        logFieldFailure(function, 459, kWriter);
        return StatusCode::OperationFailed;
    }
    return StatusCode::Success;
}

void CInstalledManifestInfo::writeEntries(std::ostream& file) const
{
    for (const InstalledManifestEntry& entry : m_entries) {
        if (!isStored(entry.type)) {
            continue;
        }
        if (!writeManifestData(file, entry.type) || !writeManifestData(file, entry.version) ||
            !writeManifestData(file, entry.fileId)) {
            logFieldFailure("WriteFile", 494, kWriter);
        }
    }
}

bool CInstalledManifestInfo::readManifestData(std::istream& file, std::uint32_t& value)
{
    std::array<unsigned char, sizeof value> bytes{};
    errno = 0;
    if (!file.read(reinterpret_cast<char*>(bytes.data()), bytes.size())) {
        if (!file.eof()) {
            logFileFailure("readManifestData", 529, "fstream::read");
        }
        return false;
    }
    value = bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
    return true;
}

bool CInstalledManifestInfo::readManifestData(std::istream& file, std::string& text)
{
    constexpr const char* function = "readManifestData";
    std::uint32_t count = 0;
    if (!readManifestData(file, count)) {
        if (!file.eof()) {
            logFieldFailure(function, 561, kReader);
        }
        return false;
    }
    if (count == 0) {
        return logFieldFailure(function, 571, kReader);
    }
    text.clear();
    while (text.size() < count) {
        const std::size_t held = text.size();
        const std::size_t step = std::min<std::size_t>(count - held, kReadStep);
        text.resize(held + step);
        if (!file.read(text.data() + held, static_cast<std::streamsize>(step))) {
            // At the end of the file no call has failed, whatever an interrupted one has left behind.
            errno = file.eof() ? 0 : errno;
            logFileFailure(function, 585, "fstream::read");
            return false;
        }
    }
    text.back() = '\0';
    text.resize(text.find('\0'));
    return true;
}

bool CInstalledManifestInfo::writeManifestData(std::ostream& file, std::uint32_t value)
{
    const std::array<char, sizeof value> bytes{static_cast<char>(value), static_cast<char>(value >> 8),
                                               static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
    errno = 0;
    if (!file.write(bytes.data(), bytes.size())) {
        logFileFailure("writeManifestData", 613, "fstream::write");
        return false;
    }
    return true;
}

bool CInstalledManifestInfo::writeManifestData(std::ostream& file, const std::string& text)
{
    // Nothing is written for an empty text, not even its count: readers of the file have always found it so.
    if (text.empty()) {
        return false;
    }
    if (!writeManifestData(file, static_cast<std::uint32_t>(text.size() + 1))) {
        return logFieldFailure("writeManifestData", 646, kWriter);
    }
    errno = 0;
    if (!file.write(text.c_str(), static_cast<std::streamsize>(text.size() + 1))) {
        logFileFailure("writeManifestData", 657, "fstream::write");
        return false;
    }
    return true;
}
