#include "tests/support/PrivateMounts.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace obg::test {

namespace {

bool writeProcFile(const char* path, const std::string& text)
{
    std::ofstream stream(path);
    stream << text;
    stream.close();
    return stream.good();
}

/** Maps the user to 0 in the new user namespace, so that it may mount there. */
bool becomeRootOfNamespace(uid_t uid, gid_t gid)
{
    return writeProcFile("/proc/self/setgroups", "deny") &&
           writeProcFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") &&
           writeProcFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

bool enterNamespaces()
{
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    if (geteuid() == 0) {
        return unshare(CLONE_NEWNS) == 0;
    }
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && becomeRootOfNamespace(uid, gid);
}

bool makePrivate(const char* mountPoint)
{
    return mount(nullptr, mountPoint, nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/**
 * In a chroot whose root folder is no mount point, the mount that it lies in has no name by which it could be made
 * private. /proc has one, and can carry a copy of the whole tree, which becomes the root.
 */
bool moveToPrivateRoot()
{
    std::error_code failed;
    const auto folder = std::filesystem::current_path(failed);
    return !failed && makePrivate("/proc") && mount("/", "/proc", nullptr, MS_BIND | MS_REC, nullptr) == 0 &&
           makePrivate("/proc") && chroot("/proc") == 0 && chdir(folder.c_str()) == 0;
}

} // namespace

bool enterPrivateMounts()
{
    return enterNamespaces() && (makePrivate("/") || moveToPrivateRoot()) &&
           mount("tmpfs", "/opt", "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") == 0;
}

} // namespace obg::test
