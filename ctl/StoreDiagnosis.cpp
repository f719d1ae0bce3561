#include "ctl/StoreDiagnosis.h"

#include "ctl/StoreRules.h"
#include "ctl/Text.h"
#include "vpn/Common/ManifestFileType.h"

#include <array>
#include <optional>

namespace ctl {

namespace {

constexpr std::size_t kNumberSize = 4;
constexpr std::size_t kHeaderSize = 2 * kNumberSize;

/// A place that is explained, and where the records go on.
struct Cause
{
    Finding finding;
    std::size_t next = 0;
};

bool isWellFormed(const StoreText& text)
{
    return text.isRead() && text.bytes.find('\0') == text.bytes.size() - 1;
}

/// Where the texts of a record end that begin at the offset, if they are as the tool writes them.
std::optional<std::size_t> endOfTexts(std::string_view file, std::size_t offset)
{
    const StoreText version = textAt(file, offset);
    if (!isWellFormed(version)) {
        return std::nullopt;
    }
    const StoreText id = textAt(file, version.end());
    return isWellFormed(id) ? std::optional(id.end()) : std::nullopt;
}

bool hasKnownType(std::string_view file, std::size_t offset)
{
    return file.size() - offset >= kNumberSize && findFileKind(numberAt(file, offset)) != nullptr;
}

std::optional<std::size_t> endOfRecord(std::string_view file, std::size_t offset)
{
    return hasKnownType(file, offset) ? endOfTexts(file, offset + kNumberSize) : std::nullopt;
}

/// Another record, or the end of the file, stands at the offset.
bool isInStepAt(std::string_view file, std::size_t offset)
{
    return offset == file.size() || endOfRecord(file, offset).has_value();
}

std::string goesOnAt(std::string_view file, std::size_t offset)
{
    return offset == file.size() ? "the file ends there; or it was cut exactly there"
                                 : "the next record stands at " + hexNumber(offset);
}

std::string kindAt(std::string_view file, std::size_t offset)
{
    return std::string(typeWord(numberAt(file, offset)));
}

/// The tool writes nothing for an empty text: the type alone is left of such an entry.
std::optional<Cause> missingVersion(std::string_view file, std::size_t offset)
{
    const std::size_t next = offset + kNumberSize;
    if (!hasKnownType(file, offset) || !isInStepAt(file, next)) {
        return std::nullopt;
    }
    return Cause{{offset, kCauseNoVersion,
                  "an entry of kind " + kindAt(file, offset) +
                      " was recorded without a version: only its type is here, " + goesOnAt(file, next)},
                 next};
}

std::optional<Cause> missingId(std::string_view file, std::size_t offset)
{
    const StoreText version = hasKnownType(file, offset) ? textAt(file, offset + kNumberSize) : StoreText{};
    if (!isWellFormed(version) || !isInStepAt(file, version.end())) {
        return std::nullopt;
    }
    return Cause{{offset, kCauseNoId,
                  "an entry of kind " + kindAt(file, offset) + ", version \"" + std::string(version.text()) +
                      "\", was recorded without an id: " + goesOnAt(file, version.end())},
                 version.end()};
}

/// Where a text ends if its count is wrong and its first zero byte is its last.
std::optional<std::size_t> endByZeroByte(std::string_view file, std::size_t offset)
{
    const std::size_t zero = file.find('\0', offset + kNumberSize);
    return zero == std::string_view::npos ? std::nullopt : std::optional(zero + 1);
}

Cause wrongCountAt(std::string_view file, std::size_t offset, std::size_t end, std::size_t next, const char* name)
{
    return {{offset, kCauseWrongCount,
             "the count of the " + std::string(name) + " was changed: it says " +
                 std::to_string(numberAt(file, offset)) + ", its text has " +
                 counted(end - offset - kNumberSize, "byte", "bytes") + ", and " +
                 (next == file.size() ? "the file ends behind the record"
                                      : "the next record stands at " + hexNumber(next))},
            next};
}

std::optional<Cause> wrongVersionCount(std::string_view file, std::size_t offset)
{
    const std::size_t count = offset + kNumberSize;
    const std::optional<std::size_t> end = hasKnownType(file, offset) ? endByZeroByte(file, count) : std::nullopt;
    const StoreText id = end ? textAt(file, *end) : StoreText{};
    if (!isWellFormed(id) || !isInStepAt(file, id.end())) {
        return std::nullopt;
    }
    return wrongCountAt(file, count, *end, id.end(), "version");
}

std::optional<Cause> wrongIdCount(std::string_view file, std::size_t offset)
{
    const StoreText version = hasKnownType(file, offset) ? textAt(file, offset + kNumberSize) : StoreText{};
    if (!isWellFormed(version) || file.size() - version.end() < kNumberSize) {
        return std::nullopt;
    }
    const std::optional<std::size_t> end = endByZeroByte(file, version.end());
    if (!end || !isInStepAt(file, *end)) {
        return std::nullopt;
    }
    return wrongCountAt(file, version.end(), *end, *end, "id");
}

std::optional<Cause> wrongType(std::string_view file, std::size_t offset)
{
    const bool isUnknown = file.size() - offset >= kNumberSize && !hasKnownType(file, offset);
    const std::optional<std::size_t> end = isUnknown ? endOfTexts(file, offset + kNumberSize) : std::nullopt;
    if (!end || !isInStepAt(file, *end)) {
        return std::nullopt;
    }
    return Cause{{offset, kCauseWrongType,
                  "the type of a record that is whole was changed to " + std::to_string(numberAt(file, offset))},
                 *end};
}

/// The file ends within the record, as far as its counts tell.
std::optional<Cause> cutOff(std::string_view file, std::size_t offset)
{
    if (file.size() - offset >= kNumberSize) {
        const StoreText version = hasKnownType(file, offset) ? textAt(file, offset + kNumberSize) : StoreText{};
        const StoreText last = isWellFormed(version) ? textAt(file, version.end()) : version;
        const bool isShort = last.fault == TextFault::NoCount ||
                             (last.fault == TextFault::CountTooLarge && !endByZeroByte(file, last.offset));
        if (!hasKnownType(file, offset) || !isShort) {
            return std::nullopt;
        }
    }
    return Cause{{offset, kCauseCut,
                  "the file ends within the record that begins here: a full disk, a kill or a power cut while it was "
                  "written"},
                 file.size()};
}

Cause unknownCause(std::string_view file, std::size_t offset)
{
    return {{offset, kCauseUnknown, "what stands from here on is no record, and nothing tells what it was"},
            file.size()};
}

Cause causeAt(std::string_view file, std::size_t offset)
{
    // A count that is wrong explains the last record better than one that is missing, so it is asked first.
    constexpr std::array explanations{wrongVersionCount, wrongIdCount, wrongType, missingVersion, missingId, cutOff};
    for (const auto explain : explanations) {
        if (std::optional<Cause> cause = explain(file, offset)) {
            return *cause;
        }
    }
    return unknownCause(file, offset);
}

} // namespace

std::string_view cureOfDamage()
{
    return "to mend it, make the store again from the installed manifests: obg_manifestctl sync --rebuild; "
           "VPNManifest.dat(5) tells more";
}

std::vector<Finding> causesOf(std::string_view file)
{
    std::vector<Finding> causes;
    std::size_t offset = kHeaderSize;
    while (offset < file.size()) {
        if (const std::optional<std::size_t> end = endOfRecord(file, offset)) {
            offset = *end;
            continue;
        }
        Cause cause = causeAt(file, offset);
        cause.finding.message += "; " + std::string(cureOfDamage());
        causes.push_back(std::move(cause.finding));
        offset = cause.next;
    }
    return causes;
}

} // namespace ctl
