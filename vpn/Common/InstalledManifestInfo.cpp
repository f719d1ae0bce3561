#include "vpn/Common/InstalledManifestInfo.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/InstallRoots.h"
#include "vpn/Common/InstalledManifestReader.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/FileDescriptor.h"
#include "vpn/Common/Utility/sysutils.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr const char* kLogFile = "../../../../vpn/Common/InstalledManifestInfo";
constexpr const char* kReader = "CInstalledManifestInfo::readManifestData";
constexpr const char* kWriter = "CInstalledManifestInfo::writeManifestData";

constexpr std::size_t kHeaderSize = 8;

/// What is written to the file at once, or a little more.
constexpr std::size_t kBlockSize = 65536;

/// Everybody may read and write a new file, as far as the process's umask lets them.
constexpr mode_t kNewFileMode = 0666;

std::string storePath(eManifestDataPath dataPath)
{
    return std::string(dataPath == eLegacyDataPath ? InstallRoot::Legacy : InstallRoot::Current) + "/VPNManifest.dat";
}

/// Logs that a call on the store's file failed with that errno. The lines are tags that log readers know.
void logFileFailure(const char* function, unsigned line, const char* call, int error)
{
    CAppLog::LogReturnCode(function, kLogFile, line, Logging::DI_ERROR, call, static_cast<unsigned>(error),
                           std::strerror(error), nullptr);
}

/// Logs that a field could not be read or written, by the function that wanted it.
void logFieldFailure(const char* function, unsigned line, const char* call)
{
    CAppLog::LogReturnCode(function, kLogFile, line, Logging::DI_ERROR, call, StatusCode::MissingArgument, nullptr,
                           nullptr);
}

/// The line under which a field that could not be loaded is logged.
unsigned lineOf(InstalledManifestFailure::Field field, bool isRecordKept)
{
    using Field = InstalledManifestFailure::Field;
    switch (field) {
    case Field::Major:
        return 279;
    case Field::Minor:
        return 288;
    case Field::Type:
        return 320;
    case Field::Version:
        return isRecordKept ? 375 : 347;
    default:
        return isRecordKept ? 383 : 355;
    }
}

/// Logs what could not be read, unless the file just ended there, and then which field that was.
void logReadFailure(const InstalledManifestFailure& failure, bool isRecordKept)
{
    using Cause = InstalledManifestFailure::Cause;
    using Field = InstalledManifestFailure::Field;
    constexpr const char* function = "readManifestData";
    if (failure.cause == Cause::NumberUnreadable) {
        logFileFailure(function, 529, "fstream::read", failure.error);
        if (failure.field == Field::Version || failure.field == Field::FileId) {
            logFieldFailure(function, 561, kReader);
        }
    } else if (failure.cause == Cause::CountZero) {
        logFieldFailure(function, 571, kReader);
    } else if (failure.cause != Cause::NumberCut) {
        logFileFailure(function, 585, "fstream::read", failure.error);
    }
    logFieldFailure("loadInstalledFileData", lineOf(failure.field, isRecordKept), kReader);
}

InstalledManifestState stateAfter(const InstalledManifestFailure& failure)
{
    return failure.error == 0 ? InstalledManifestState::Damaged : InstalledManifestState::Unreadable;
}

/// Takes the bytes of a file into memory.
struct MemorySink
{
    std::string& bytes;

    bool put(const char* data, std::size_t size)
    {
        bytes.append(data, size);
        return true;
    }
};

/// Takes as many bytes as there is room for and remembers the errno of what did not fit.
struct LimitedSink
{
    std::uint64_t room;
    int error;

    bool put(const char* /*data*/, std::size_t size)
    {
        const bool fits = size <= room;
        room = fits ? room - size : 0;
        if (!fits) {
            errno = error;
        }
        return fits;
    }
};

template <class Sink> bool writeManifestData(Sink& sink, std::uint32_t value)
{
    const std::array<char, sizeof value> bytes{static_cast<char>(value), static_cast<char>(value >> 8),
                                               static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
    if (!sink.put(bytes.data(), bytes.size())) {
        logFileFailure("writeManifestData", 613, "fstream::write", errno);
        return false;
    }
    return true;
}

template <class Sink> bool writeManifestData(Sink& sink, const std::string& text)
{
    // Nothing is written for an empty text, not even its count: readers of the file have always found it so.
    if (text.empty()) {
        return false;
    }
    if (!writeManifestData(sink, static_cast<std::uint32_t>(text.size() + 1))) {
        logFieldFailure("writeManifestData", 646, kWriter);
        return false;
    }
    if (!sink.put(text.c_str(), text.size() + 1)) {
        logFileFailure("writeManifestData", 657, "fstream::write", errno);
        return false;
    }
    return true;
}

/// Writes an entry as far as it can be written. True when that is all of it, or when the file keeps none of its type.
template <class Sink> bool writeEntry(Sink& sink, const CInstalledManifestInfo::InstalledManifestEntry& entry)
{
    return !isStored(entry.type) || (writeManifestData(sink, entry.type) && writeManifestData(sink, entry.version) &&
                                     writeManifestData(sink, entry.fileId));
}

std::string headerBytes()
{
    std::string bytes;
    MemorySink sink{bytes};
    writeManifestData(sink, CInstalledManifestReader::kFormatMajor);
    writeManifestData(sink, CInstalledManifestReader::kFormatMinor);
    return bytes;
}

std::size_t largestRecord(const std::list<InstalledManifestEntry>& entries)
{
    constexpr std::size_t numbersAndNuls = 3 * sizeof(std::uint32_t) + 2;
    std::size_t largest = 0;
    for (const InstalledManifestEntry& entry : entries) {
        largest = std::max(largest, numbersAndNuls + entry.version.size() + entry.fileId.size());
    }
    return largest;
}

/// How many bytes of a file that is being written have got there; none when that cannot be told.
std::uint64_t reachedSize(const std::string& path)
{
    struct stat info
    {};
    return stat(path.c_str(), &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

} // namespace

CInstalledManifestInfo::CInstalledManifestInfo(eManifestDataPath dataPath) : m_path(storePath(dataPath))
{
    loadInstalledFileData();
}

CInstalledManifestInfo CInstalledManifestInfo::AtPath(const std::string& path)
{
    return CInstalledManifestInfo(path, nullptr);
}

CInstalledManifestInfo CInstalledManifestInfo::FromStream(std::istream& file, const std::string& path)
{
    return CInstalledManifestInfo(path, &file);
}

CInstalledManifestInfo::CInstalledManifestInfo(const std::string& path, std::istream* file) : m_path(path)
{
    if (file == nullptr) {
        loadInstalledFileData();
    } else {
        m_state = load(*file);
    }
}

void CInstalledManifestInfo::AddInstalledEntry(const std::string& fileId, ManifestFileType type,
                                               const std::string& version)
{
    Entries::iterator& entry = m_index.place(fileId);
    if (entry == m_entries.end()) {
        entry = m_entries.insert(m_entries.end(), {fileId, type, version});
    } else {
        entry->type = type;
        entry->version = version;
    }
}

void CInstalledManifestInfo::RemoveInstalledEntry(const std::string& fileId)
{
    const auto entry = m_index.take(fileId);
    if (entry != m_entries.end()) {
        m_entries.erase(entry);
    }
}

std::string CInstalledManifestInfo::GetInstalledVersion(const std::string& fileId) const
{
    const auto entry = m_index.find(fileId);
    return entry == m_entries.end() ? std::string() : entry->version;
}

ManifestFileType CInstalledManifestInfo::GetInstalledType(const std::string& fileId) const
{
    const auto entry = m_index.find(fileId);
    return entry == m_entries.end() ? eFileTypeNone : entry->type;
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
    errno = 0;
    if (!fileExists(m_path)) {
        m_state = errno == ENOENT ? InstalledManifestState::Absent : InstalledManifestState::Unreadable;
        return;
    }
    std::ifstream file(m_path, std::ios::binary);
    if (!file) {
        logFileFailure("loadInstalledFileData", 267, "fstream::open", errno);
        m_state = InstalledManifestState::Unreadable;
        return;
    }
    m_state = load(file);
}

InstalledManifestState CInstalledManifestInfo::load(std::istream& file)
{
    CInstalledManifestReader reader(file);
    if (!reader.readHeader()) {
        logReadFailure(reader.failure(), false);
        return stateAfter(reader.failure());
    }
    if (!reader.isSupported()) {
        CAppLog::LogDebugMessage("loadInstalledFileData", kLogFile, 300, Logging::DI_WARNING,
                                 "Unsupported manifest version");
        return InstalledManifestState::Unsupported;
    }
    const InstalledManifestState state = loadRecords(reader);
    indexEntries();
    return state;
}

/// Loads the entries as they stand in the file, all of them or, when the file cannot be read to its end, none.
InstalledManifestState CInstalledManifestInfo::loadRecords(CInstalledManifestReader& reader)
{
    using Step = CInstalledManifestReader::Step;
    InstalledManifestState state = InstalledManifestState::Good;
    InstalledManifestRecord record;
    for (Step step = reader.next(record); step != Step::End; step = reader.next(record)) {
        if (step == Step::Failed) {
            logReadFailure(reader.failure(), isStored(record.type));
            m_entries.clear();
            return stateAfter(reader.failure());
        }
        if (step == Step::UnknownType) {
            CAppLog::LogDebugMessage("loadInstalledFileData", kLogFile, 393, Logging::DI_WARNING,
                                     "Unknown file type %d", static_cast<int>(record.type));
            state = InstalledManifestState::Damaged;
        }
        if (step == Step::Kept) {
            m_entries.push_back({std::move(record.fileId.value), static_cast<ManifestFileType>(record.type),
                                 std::move(record.version.value)});
        }
    }
    return state;
}

/// Indexes the loaded entries, of which a later one of the same file id updates the earlier one, as if each had been
/// recorded after the other.
void CInstalledManifestInfo::indexEntries()
{
    m_index.reserve(m_entries.size());
    for (auto next = m_entries.begin(); next != m_entries.end();) {
        const auto entry = next++;
        Entries::iterator& known = m_index.place(entry->fileId);
        if (known == m_entries.end()) {
            known = entry;
        } else {
            known->type = entry->type;
            known->version = std::move(entry->version);
            m_entries.erase(entry);
        }
    }
}

std::string CInstalledManifestInfo::GetFileBytes() const
{
    std::string bytes = headerBytes();
    MemorySink sink{bytes};
    for (const InstalledManifestEntry& entry : m_entries) {
        static_cast<void>(writeEntry(sink, entry));
    }
    return bytes;
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
    // All that is needed, before the old file is opened and emptied: memory that runs out has not cost it anything.
    std::string block;
    block.reserve(kBlockSize + largestRecord(m_entries));
    const std::string header = headerBytes();
    const FileDescriptor file(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode));
    if (!file.isOpen()) {
        logFileFailure(function, 445, "fstream::open", errno);
        return StatusCode::OperationFailed;
    }
    // The header goes through first: a disk that is full or gone already shows there.
    if (!file.write(header)) {
        logFileFailure("writeManifestData", 613, "fstream::write", errno);
        logFieldFailure(function, 459, kWriter);
        return StatusCode::OperationFailed;
    }
    if (writeEntries(file, block)) {
        logUnwritten(std::numeric_limits<std::uint64_t>::max(), 0);
    } else {
        const int error = errno;
        logUnwritten(reachedSize(m_path), error);
    }
    return StatusCode::Success;
}

/// Writes the entries in few large blocks. False, with errno, when the file does not take one of them.
bool CInstalledManifestInfo::writeEntries(const FileDescriptor& file, std::string& block) const
{
    MemorySink sink{block};
    for (const InstalledManifestEntry& entry : m_entries) {
        static_cast<void>(writeEntry(sink, entry));
        if (block.size() >= kBlockSize) {
            if (!file.write(block)) {
                return false;
            }
            block.clear();
        }
    }
    return file.write(block);
}

/// Logs, in order, the entries that are not in the file as a whole: those that the format cannot hold and, when the
/// file has come to its end at `reached` bytes with `error`, those that are not there any more.
void CInstalledManifestInfo::logUnwritten(std::uint64_t reached, int error) const
{
    LimitedSink sink{reached - std::min<std::uint64_t>(reached, kHeaderSize), error};
    for (const InstalledManifestEntry& entry : m_entries) {
        if (!writeEntry(sink, entry)) {
            logFieldFailure("WriteFile", 494, kWriter);
        }
    }
}
