#include "ctl/Folders.h"

#include "vpn/Common/Utility/FileDescriptor.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr mode_t kFolderMode = 0755;

int syncFolder(const std::string& path)
{
    const FileDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.isOpen() && fsync(folder.number()) == 0 ? 0 : errno;
}

} // namespace

int makeFolder(const std::string& path)
{
    if (path.empty() || !isMissing(path)) {
        return 0;
    }
    const std::string above = std::filesystem::path(path).parent_path();
    if (const int error = makeFolder(above)) {
        return error;
    }
    if (mkdir(path.c_str(), kFolderMode) != 0 && errno != EEXIST) {
        return errno;
    }
    return syncFolder(above.empty() ? "." : above);
}

bool isMissing(const std::string& path)
{
    struct stat is
    {};
    return stat(path.c_str(), &is) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

std::string absolutePath(const std::string& path)
{
    if (path.starts_with('/')) {
        return path;
    }
    std::error_code failed;
    return std::filesystem::current_path(failed).string() + "/" + path;
}

} // namespace ctl
