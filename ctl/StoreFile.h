#pragma once

#include "ctl/AtomicFile.h"
#include "ctl/FileLock.h"
#include "ctl/Options.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace ctl {

/// The file of the chosen store for a command that changes it: locked, read once, and replaced as a whole.
///
/// A store that is a link is locked, read and replaced where the link leads to. What is deleted when the last entry
/// goes is the link, as the tool does it.
///
/// Each step comes with error(), in words, when it fails.
class StoreFile
{
public:
    explicit StoreFile(const Options& options);

    /// The path as people know it.
    const std::string& shown() const { return m_shown; }

    /// The path with all links followed, below `--root` without leaving it.
    const std::string& path() const { return m_path; }

    /// Keeps other commands out until this object goes. Removes what killed ones have left behind.
    bool lock(std::chrono::milliseconds patience, const std::string& command);

    /// Whether there is a folder that the store could be in.
    bool hasFolder() const;

    /// Reads the file. An absent one has no bytes.
    bool read();
    const std::optional<std::string>& bytes() const { return m_bytes; }

    /// Why no command can work with what was read, in words; nullopt for a good store, and for none.
    std::optional<std::string> refusal() const;

    /// Brings new bytes to the disk beside the file; no bytes are those of a file that goes. The store is as it was.
    bool prepare(const std::optional<std::string>& bytes);

    /// Lets what was prepared take the place of the file.
    DiskChange commit();

    const std::string& error() const { return m_error; }

private:
    std::string m_shown;
    /// What stands at the store's path: where a link is not followed.
    std::string m_standing;
    std::string m_path;
    FileLock m_lock;
    std::optional<std::string> m_bytes;
    std::unique_ptr<AtomicFile> m_replacement;
    std::string m_error;
};

} // namespace ctl
