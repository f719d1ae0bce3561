#include "vpn/Common/InstalledManifestReader.h"

#include "vpn/Common/ManifestFileType.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <istream>

namespace {

/// A text's count is only a claim of the file. No more than this is allocated ahead of what the file really holds.
constexpr std::size_t kReadStep = 65536;

} // namespace

bool CInstalledManifestReader::readHeader()
{
    return readManifestData(Failure::Field::Major, m_major) && readManifestData(Failure::Field::Minor, m_minor);
}

bool CInstalledManifestReader::isSupported() const
{
    // A major of 0 is read whatever its minor: files from before the first release are still about.
    return m_major < kFormatMajor || (m_major == kFormatMajor && m_minor == kFormatMinor);
}

CInstalledManifestReader::Step CInstalledManifestReader::next(InstalledManifestRecord& record)
{
    record = {.offset = m_offset, .type = 0, .version = {}, .fileId = {}};
    if (!readManifestData(Failure::Field::Type, record.type)) {
        return m_failure.cause == Failure::Cause::NumberCut ? Step::End : Step::Failed;
    }
    const FileKind* const kind = findFileKind(record.type);
    if (kind == nullptr) {
        // Nothing else is skipped: the length of a record of an unknown type is unknown as well.
        return Step::UnknownType;
    }
    if (!readManifestData(Failure::Field::Version, record.version) ||
        !readManifestData(Failure::Field::FileId, record.fileId)) {
        return Step::Failed;
    }
    return kind->keeping == Keeping::Stored ? Step::Kept : Step::Dropped;
}

bool CInstalledManifestReader::read(char* bytes, std::size_t size)
{
    errno = 0;
    m_file.read(bytes, static_cast<std::streamsize>(size));
    m_offset += static_cast<std::uint64_t>(m_file.gcount());
    // File streams of LLVM's library take a read that fails for the end of the file, and give what came before it:
    // errno alone tells. An interrupted read has not failed.
    if (errno != 0 && errno != EINTR) {
        m_error = errno;
    }
    return m_file.good();
}

bool CInstalledManifestReader::readManifestData(Failure::Field field, std::uint32_t& value)
{
    const std::uint64_t offset = m_offset;
    std::array<char, sizeof value> bytes{};
    if (!read(bytes.data(), bytes.size())) {
        return failRead(field, Failure::Cause::NumberUnreadable, Failure::Cause::NumberCut, offset);
    }
    value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        value = value << 8 | static_cast<unsigned char>(bytes[i - 1]);
    }
    return true;
}

bool CInstalledManifestReader::readManifestData(Failure::Field field, InstalledManifestText& text)
{
    text.value.clear();
    text.offset = m_offset;
    if (!readManifestData(field, text.count)) {
        return false;
    }
    if (text.count == 0) {
        m_failure = {field, Failure::Cause::CountZero, text.offset, 0};
        return false;
    }
    // Made in its size and not grown to it, as a string that grows takes room for twice as much.
    std::string& value = text.value;
    value = std::string(std::min<std::size_t>(text.count, kReadStep), '\0');
    for (std::size_t held = 0; held < text.count;) {
        if (!read(value.data() + held, value.size() - held)) {
            value.clear();
            return failRead(field, Failure::Cause::TextUnreadable, Failure::Cause::TextCut, text.offset);
        }
        held = value.size();
        value.resize(std::min<std::size_t>(text.count, held + kReadStep));
    }
    text.isTerminated = value.back() == '\0';
    value.resize(std::min(value.find('\0'), value.size() - 1));
    return true;
}

/// Notes why a read stopped short.
bool CInstalledManifestReader::failRead(Failure::Field field, Failure::Cause unreadable, Failure::Cause cut,
                                        std::uint64_t offset)
{
    const bool isBroken = m_file.bad() || m_error != 0;
    m_failure = {field, isBroken ? unreadable : cut, offset, m_error};
    return false;
}
