#pragma once

#include <array>
#include <string_view>

namespace ctl {

/// A kind of finding about a store.
struct StoreRule
{
    std::string_view name;
    /// What it means, as `check --explain` prints it and the manual page lists it.
    std::string_view explanation;
};

// What a reader meets.
inline constexpr std::string_view kUnreadable = "unreadable";
inline constexpr std::string_view kHeaderCut = "header-cut";
inline constexpr std::string_view kUnsupportedVersion = "unsupported-version";
inline constexpr std::string_view kEarlyVersion = "early-version";
inline constexpr std::string_view kUnknownType = "unknown-type";
inline constexpr std::string_view kSkippedKind = "skipped-kind";
inline constexpr std::string_view kNoCount = "no-count";
inline constexpr std::string_view kZeroCount = "zero-count";
inline constexpr std::string_view kCountTooLarge = "count-too-large";
inline constexpr std::string_view kNoZeroByte = "no-zero-byte";
inline constexpr std::string_view kBytesBehindZero = "bytes-behind-zero";
inline constexpr std::string_view kEmptyVersion = "empty-version";
inline constexpr std::string_view kEmptyId = "empty-id";
inline constexpr std::string_view kRepeatedId = "repeated-id";
inline constexpr std::string_view kStrayBytes = "stray-bytes";
// What has most likely happened to a damaged store.
inline constexpr std::string_view kCauseCut = "cause-cut";
inline constexpr std::string_view kCauseNoVersion = "cause-no-version";
inline constexpr std::string_view kCauseNoId = "cause-no-id";
inline constexpr std::string_view kCauseWrongCount = "cause-wrong-count";
inline constexpr std::string_view kCauseWrongType = "cause-wrong-type";
inline constexpr std::string_view kCauseUnknown = "cause-unknown";

/// Every rule that there is.
inline constexpr std::array kStoreRules{
    StoreRule{kUnreadable, "The file cannot be opened or read. Readers find no entries."},
    StoreRule{kHeaderCut, "The file is shorter than its header. Readers find no entries."},
    StoreRule{kUnsupportedVersion, "The header is neither major 0 nor 1.0. Readers find no entries."},
    StoreRule{kEarlyVersion, "The header has major 0. Readers accept it with any minor; the next run writes 1.0."},
    StoreRule{kUnknownType, "The number is the type of no kind. Readers take these 4 bytes alone and are out of step "
                            "from there on."},
    StoreRule{kSkippedKind, "The record is of a kind that is not kept. Readers skip it; the next run leaves it out."},
    StoreRule{kNoCount, "The file ends where a count should be. Readers give up and lose all entries."},
    StoreRule{kZeroCount, "A count is 0, which no text has. Readers give up and lose all entries."},
    StoreRule{kCountTooLarge, "A count says more than is left of the file. Readers give up and lose all entries."},
    StoreRule{kNoZeroByte, "The last byte of a text is not zero. Readers take it for the zero byte."},
    StoreRule{kBytesBehindZero, "A text has a zero byte before its last one. Readers pass over what stands behind it."},
    StoreRule{kEmptyVersion, "An entry has an empty version. Readers keep it, but the next run writes its type alone, "
                             "and readers are out of step from there on."},
    StoreRule{kEmptyId, "An entry has an empty id. Readers keep it, but the next run writes its type and version "
                        "alone, and readers are out of step from there on."},
    StoreRule{kRepeatedId, "A later record has the same id. Readers take type and version from that one."},
    StoreRule{kStrayBytes, "Up to 3 bytes follow the last record. Readers pass over them."},
    StoreRule{kCauseCut, "The end of the file is missing: a full disk, a kill or a power cut while it was written."},
    StoreRule{kCauseNoVersion, "Only a type stands here, and records follow: an entry was recorded without a version."},
    StoreRule{kCauseNoId, "Only a type and a version stand here, and records follow: an entry was recorded without an "
                          "id."},
    StoreRule{kCauseWrongCount, "A count does not match its text, and records follow behind the text: the count was "
                                "changed."},
    StoreRule{kCauseWrongType, "A type that is none leads a record that is whole: the type was changed."},
    StoreRule{kCauseUnknown, "These bytes are no record, and nothing tells what they were."},
};

} // namespace ctl
