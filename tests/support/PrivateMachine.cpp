#include "tests/support/PrivateMachine.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/Files.h"
#include "tests/support/PrivateMounts.h"

namespace obg::test {

namespace fs = std::filesystem;

static bool s_entered = false;

std::string currentStore()
{
    return std::string(kCurrentRoot) + "/VPNManifest.dat";
}

std::string legacyStore()
{
    return std::string(kLegacyRoot) + "/VPNManifest.dat";
}

void resetInstallRoots()
{
    if (!s_entered) {
        std::fputs("refused to empty /opt: it is not a private one\n", stderr);
        std::abort();
    }
    for (const auto& entry : fs::directory_iterator("/opt")) {
        fs::remove_all(entry.path());
    }
    fs::create_directories(kCurrentRoot);
    fs::create_directories(kLegacyRoot);
}

/**
 * A folder covered by a private file system in which every name is a link into the original. The original stays
 * reachable, read-only, under a mount point in /tmp.
 */
class SystemFiles::ShadowedFolder
{
public:
    explicit ShadowedFolder(const std::string& folder) : m_folder(folder), m_original("/tmp/obg-original-XXXXXX")
    {
        m_covered = s_entered && mkdtemp(m_original.data()) != nullptr && keepOriginal() && cover();
        if (!m_covered) {
            ADD_FAILURE() << "cannot cover " << m_folder << ": " << std::strerror(errno);
        }
    }

    ~ShadowedFolder()
    {
        if (m_covered) {
            umount2(m_folder.c_str(), MNT_DETACH);
        }
        umount2(m_original.c_str(), MNT_DETACH);
        // Never a recursive removal: had the unmount failed, it would reach the machine's own files.
        rmdir(m_original.c_str());
    }

    ShadowedFolder(const ShadowedFolder&) = delete;
    ShadowedFolder& operator=(const ShadowedFolder&) = delete;

    bool covered() const { return m_covered; }

private:
    bool keepOriginal() const
    {
        struct statvfs was
        {};
        // In a user namespace the flags that the mount already has may not be dropped.
        return mount(m_folder.c_str(), m_original.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0 &&
               statvfs(m_original.c_str(), &was) == 0 &&
               mount(nullptr, m_original.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | was.f_flag, nullptr) == 0;
    }

    bool cover() const
    {
        std::error_code failed;
        if (mount("tmpfs", m_folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") != 0) {
            return false;
        }
        for (const auto& entry : fs::directory_iterator(m_original)) {
            const auto name = entry.path().filename();
            fs::create_symlink(linkTarget(entry), fs::path(m_folder) / name, failed);
        }
        return !failed;
    }

    /** A relative link of the original would lead astray from its new place; it is resolved from the old one. */
    fs::path linkTarget(const fs::directory_entry& entry) const
    {
        std::error_code failed;
        if (m_folder == "/proc" || !entry.is_symlink(failed)) {
            return entry.path();
        }
        const fs::path target = fs::read_symlink(entry.path(), failed);
        return target.is_absolute() ? target : (fs::path(m_folder) / target).lexically_normal();
    }

    std::string m_folder;
    std::string m_original;
    bool m_covered = false;
};

SystemFiles::SystemFiles() = default;
SystemFiles::~SystemFiles() = default;

void SystemFiles::shadowFolderOf(const std::string& path)
{
    const std::string folder = fs::path(path).parent_path();
    auto& shadow = m_folders[folder];
    if (!shadow) {
        shadow = std::make_unique<ShadowedFolder>(folder);
    }
    if (!shadow->covered()) {
        std::fprintf(stderr, "refused to change %s: it is the machine's own\n", path.c_str());
        std::abort();
    }
}

void SystemFiles::overlayFile(const std::string& path, std::string_view bytes)
{
    hideFile(path);
    writeFile(path, bytes);
}

void SystemFiles::hideFile(const std::string& path)
{
    shadowFolderOf(path);
    fs::remove_all(path);
}

void SystemFiles::hideReleaseFiles()
{
    for (const char* path : {"/etc/os-release", "/etc/issue", "/proc/version", "/proc/nduid"}) {
        hideFile(path);
    }
}

} // namespace obg::test

int main(int argc, char** argv)
{
    ::testing::InitGoogleMock(&argc, argv);
    setenv("TZ", "UTC", 1);
    tzset();
    if (GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    obg::test::s_entered = obg::test::enterPrivateMounts();
    if (!obg::test::s_entered) {
        std::fprintf(stderr, "the tests need a private mount namespace, and the kernel refuses it: %s\n",
                     std::strerror(errno));
        return EXIT_FAILURE;
    }
    obg::test::resetInstallRoots();
    return RUN_ALL_TESTS();
}
