#pragma once

#include "ctl/AtomicFile.h"
#include "ctl/FileLock.h"
#include "ctl/Options.h"
#include "ctl/StoreFile.h"
#include "ctl/SyncState.h"

#include <chrono>
#include <optional>
#include <string>

namespace ctl {

/// The file in which the state of sync stands for one store, in the state folder: current.json and legacy.json for
/// those of the install roots, store-SUM.json for any other, where SUM is the SHA-256 of its path.
///
/// Each step comes with error(), in words, when it fails.
class StateFile
{
public:
    StateFile(const Options& options, const StoreFile& store);

    /// Keeps other runs of sync out until this object goes, and makes the folder for that. Removes what killed ones
    /// have left behind.
    bool lock(std::chrono::milliseconds patience, const std::string& command);

    /// Reads the file.
    bool read();

    /// What SyncState calls so; cheaper than to take the whole state from the file.
    std::string settled() const { return SyncState::settledIn(m_bytes.value_or(std::string()), m_storePath); }

    /// Takes the state from what was read.
    bool parse();

    /// What parse has found.
    const SyncState& state() const { return m_state; }
    SyncState::Reading reading() const { return m_reading; }

    /// Replaces the file, unless it says that already.
    DiskChange write(const SyncState& state);

    /// Puts back what was read, for a run whose store could not be replaced.
    DiskChange restore();

    const std::string& path() const { return m_path; }
    const std::string& error() const { return m_error; }

private:
    DiskChange writeBytes(const std::string& bytes);

    std::string m_folder;
    std::string m_path;
    std::string m_storePath;
    FileLock m_lock;
    /// What stands on the disk.
    std::optional<std::string> m_bytes;
    std::optional<std::string> m_bytesRead;
    SyncState m_state;
    SyncState::Reading m_reading = SyncState::Reading::Absent;
    std::string m_error;
};

} // namespace ctl
