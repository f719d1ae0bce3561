#pragma once

#include "vpn/Common/Utility/FileDescriptor.h"

#include <string>
#include <string_view>

#include <sys/stat.h>
#include <sys/types.h>

namespace ctl {

/// What became of a change to the disk.
enum class DiskChange
{
    /// Made, and there after a power cut too.
    Done,
    /// Made, but a power cut may take it back: the folder could not be brought to the disk.
    NotSafe,
    /// Not made; what stood on the disk stands there still.
    Failed,
};

/// Replaces the bytes of a file as a whole, so that it holds the old ones or the new ones at every moment: for every
/// reader, after a kill at any point and after a power cut.
///
/// The new bytes go to a file of another name in the same folder (a rename does not leave a file system), which is
/// brought to the disk before it takes the place of the old one: a rename that reaches the disk before the bytes would
/// leave an empty file. The folder follows, as the new name is its content.
///
/// The other name is random and made with O_EXCL, so that in a folder where others may write nobody can lay a file or a
/// link in its way; it is closed to everybody else until it has the owner and the mode of the old file. Whoever is
/// killed leaves it behind: removeLeftovers() of the next run takes it away.
///
/// A link at PATH is replaced, not followed: resolvedBelow() goes first. A second hard link keeps the old bytes.
class AtomicFile
{
public:
    /// Nothing happens yet. A file that is not there yet gets the bits of MODE less the umask.
    AtomicFile(std::string path, mode_t mode);

    /// Removes what was prepared and never committed.
    ~AtomicFile();

    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Brings the new bytes to the disk beside the file, with its owner, mode and extended attributes. False, with
    /// error(), when they cannot all be had there, or when something other than a file stands at the path.
    bool prepare(std::string_view bytes);

    /// Puts what was prepared in the place of the file. Other than Done comes with error().
    DiskChange commit();

    /// What failed, in words, with the path.
    const std::string& error() const { return m_error; }

private:
    bool openFolder();
    bool openOld();
    bool create();
    bool write(std::string_view bytes);
    bool keepOwner();
    bool keepAttributes();
    bool keepMode();
    bool keepAll();
    bool bringToDisk();
    bool fail(std::string_view what, const std::string& path);
    std::string temporaryPath() const;

    std::string m_path;
    mode_t m_mode;
    std::string m_folderPath;
    std::string m_name;
    std::string m_temporary;
    FileDescriptor m_folder;
    FileDescriptor m_old;
    FileDescriptor m_new;
    struct stat m_was
    {};
    std::string m_error;
};

/// Deletes what stands at PATH, a link itself and not what it leads to, and brings the folder to the disk. Nothing
/// there is Done too, and leaves the disk alone.
DiskChange deleteFile(const std::string& path, std::string& error);

/// Removes what runs that were killed have left beside PATH. Only for the holder of the lock of PATH: the file of
/// another run at work looks the same. What cannot be removed stays.
void removeLeftovers(const std::string& path);

/// "WHAT PATH: " and what errno means.
std::string systemError(std::string_view what, const std::string& path, int error);

} // namespace ctl
