#include "ctl/StoreFindings.h"

#include "ctl/StoreDiagnosis.h"
#include "ctl/StoreRules.h"
#include "ctl/Text.h"
#include "vpn/Common/ManifestFileType.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <unordered_map>
#include <utility>

namespace ctl {

namespace {

constexpr const char* kNothingIsLeft = "readers give up and find no entries";
constexpr const char* kStartsEmpty = "the next run starts without any entry and writes over the file";

std::string quoted(std::string_view text)
{
    return std::string(1, '"').append(text).append(1, '"');
}

/// Collects what is wrong with a walk, one kind of fault after the other.
class Findings
{
public:
    explicit Findings(const StoreWalk& walk) : m_walk(walk) {}

    std::vector<Finding> all()
    {
        addHeader();
        if (m_walk.isSupported) {
            addUnknownTypes();
            addRecords();
            addReplaced();
            addStrayBytes();
        }
        if (m_walk.isSupported && !m_walk.isGood()) {
            std::ranges::move(causesOf(m_walk.file), std::back_inserter(m_findings));
        }
        std::ranges::stable_sort(m_findings, {}, &Finding::offset);
        return std::move(m_findings);
    }

private:
    void add(std::size_t offset, std::string_view rule, std::string message)
    {
        m_findings.push_back({offset, rule, std::move(message)});
    }

    void addHeader()
    {
        const std::string version = std::to_string(m_walk.major) + "." + std::to_string(m_walk.minor);
        if (m_walk.isHeaderCut) {
            add(0, kHeaderCut,
                "the file has " + counted(m_walk.file.size(), "byte", "bytes") +
                    ", its header takes 8: readers find no " + "entries, and " + kStartsEmpty);
            add(0, kCauseCut,
                "the end of the file is missing: a full disk, a kill or a power cut while it was written; " +
                    std::string(cureOfDamage()));
        } else if (!m_walk.isSupported) {
            add(0, kUnsupportedVersion,
                "the file says version " + version + ", which is not loaded: readers find no entries, and " +
                    kStartsEmpty + "; a newer release wrote it, or its first bytes were changed");
        } else if (m_walk.major == 0) {
            add(0, kEarlyVersion,
                "the file says version " + version + ", of before the first release: readers load it, and the next " +
                    "run writes 1.0");
        }
    }

    /// One finding for as many as follow one another.
    void addUnknownTypes()
    {
        const auto isUnknown = [](const StoreRecord& record) { return record.fate == Fate::Unknown; };
        const auto end = m_walk.records.end();
        for (auto first = std::find_if(m_walk.records.begin(), end, isUnknown); first != end;) {
            const auto last = std::find_if_not(first, end, isUnknown);
            const std::string more =
                last - first > 1 ? ", nor are the " + std::to_string(last - first - 1) + " that follow" : "";
            add(first->offset, kUnknownType,
                std::to_string(first->type) + " is the type of no kind" + more +
                    ": readers take 4 bytes for each and may be out of step from here on, and the next run leaves "
                    "them out");
            first = std::find_if(last, end, isUnknown);
        }
    }

    void addRecords()
    {
        for (const StoreRecord& record : m_walk.records) {
            if (record.fate == Fate::Unknown) {
                continue;
            }
            if (record.fate == Fate::Dropped) {
                add(record.offset, kSkippedKind,
                    "an entry of kind " + std::string(typeWord(record.type)) +
                        ", which is not kept: readers skip it, and the next run leaves it out");
            }
            addText(record.version, "version");
            if (record.version.isRead()) {
                addText(record.id, "id");
            }
            addEmptyTexts(record);
        }
    }

    void addText(const StoreText& text, const std::string& name)
    {
        if (text.isRead()) {
            addLeniencies(text, name);
        } else {
            addFault(text, name);
        }
    }

    void addFault(const StoreText& text, const std::string& name)
    {
        const std::size_t left = m_walk.file.size() - text.offset;
        const std::string outcome = std::string(": ") + kNothingIsLeft + lostEntries() + ", and " + kStartsEmpty;
        if (text.fault == TextFault::NoCount) {
            // At the end of the file the place of the count is behind it.
            add(std::min(text.offset, m_walk.file.size() - 1), kNoCount,
                "the file ends where the count of the " + name + " should be" + outcome);
        } else if (text.fault == TextFault::ZeroCount) {
            add(text.offset, kZeroCount, "the count of the " + name + " is 0, which no text has" + outcome);
        } else {
            add(text.offset, kCountTooLarge,
                "the count of the " + name + " is " + std::to_string(text.count) + ", and " +
                    counted(left - sizeof text.count, "byte is", "bytes are") + " left" + outcome);
        }
    }

    std::string lostEntries() const
    {
        const auto lost = std::ranges::count(m_walk.records, Fate::Lost, &StoreRecord::fate);
        return lost == 0 ? ""
                         : ", also not the " + counted(static_cast<std::size_t>(lost), "record", "records") +
                               " before this one";
    }

    void addLeniencies(const StoreText& text, const std::string& name)
    {
        const std::size_t first = text.offset + sizeof text.count;
        if (text.bytes.back() != '\0') {
            add(first + text.bytes.size() - 1, kNoZeroByte,
                "the last byte of the " + name +
                    " is not zero: readers take it for the zero byte, and the next run "
                    "writes it so");
        }
        const std::size_t hidden = text.bytes.size() - 1 - text.text().size();
        if (hidden > 0) {
            add(first + text.text().size(), kBytesBehindZero,
                "a zero byte within the " + name + ": readers pass over " + counted(hidden, "byte", "bytes") +
                    " behind it, and the next run leaves them out");
        }
    }

    void addEmptyTexts(const StoreRecord& record)
    {
        if (record.fate != Fate::Kept) {
            return;
        }
        const std::string outcome = ", and readers are out of step from there on; strike the entry, or record it with ";
        if (record.version.text().empty()) {
            add(record.version.offset, kEmptyVersion,
                "the entry " + quoted(record.id.text()) +
                    " has an empty version: readers keep it, but the next run writes its type alone" + outcome +
                    "a version");
        }
        if (record.id.text().empty()) {
            add(record.id.offset, kEmptyId,
                "an entry has an empty id: readers keep it, but the next run writes its type and version alone" +
                    outcome + "an id");
        }
    }

    void addReplaced()
    {
        std::unordered_map<std::string_view, std::size_t> later;
        for (auto record = m_walk.records.rbegin(); record != m_walk.records.rend(); ++record) {
            if (record->fate != Fate::Kept && record->fate != Fate::Replaced) {
                continue;
            }
            const auto [place, isLast] = later.try_emplace(record->id.text(), record->offset);
            if (!isLast) {
                add(record->offset, kRepeatedId,
                    "the record at " + hexNumber(place->second) + " has the same id " + quoted(record->id.text()) +
                        ": readers take kind and version from that one, and the next run writes one record");
                place->second = record->offset;
            }
        }
    }

    void addStrayBytes()
    {
        const std::size_t count = m_walk.file.size() - m_walk.strayOffset;
        if (!m_walk.isGivenUp && count > 0) {
            add(m_walk.strayOffset, kStrayBytes,
                counted(count, "byte", "bytes") + " behind the last record, too few for a type: readers pass over " +
                    "them, and the next run leaves them out");
        }
    }

    const StoreWalk& m_walk;
    std::vector<Finding> m_findings;
};

} // namespace

std::vector<Finding> findingsOf(const StoreWalk& walk)
{
    return Findings(walk).all();
}

std::vector<Finding> findingsOf(const LoadedStore& store)
{
    switch (store.state()) {
    case InstalledManifestState::Absent:
        return {};
    case InstalledManifestState::Unreadable:
        return {{0, kUnreadable, std::string("the file cannot be read: ") + std::strerror(store.error())}};
    default:
        return findingsOf(store.walk());
    }
}

} // namespace ctl
