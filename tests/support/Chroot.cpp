#include "tests/support/Chroot.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/Files.h"

namespace obg::test {

namespace fs = std::filesystem;

Chroot::Chroot() : m_mount("/tmp/obg-chroot-XXXXXX")
{
    if (mkdtemp(m_mount.data()) == nullptr || !make()) {
        ADD_FAILURE() << "cannot make a chroot: " << std::strerror(errno);
    }
    m_path = m_mount + "/root";
}

Chroot::~Chroot()
{
    // Never a recursive removal: had the unmount failed, it would reach the machine's own files.
    umount2(m_mount.c_str(), MNT_DETACH);
    rmdir(m_mount.c_str());
}

std::string Chroot::mounts() const
{
    return readFile("/proc/self/mountinfo");
}

bool Chroot::make() const
{
    if (mount("tmpfs", m_mount.c_str(), "tmpfs", 0, "mode=755") != 0 ||
        mount(nullptr, m_mount.c_str(), nullptr, MS_SHARED, nullptr) != 0) {
        return false;
    }
    fs::create_directories(m_mount + "/root/opt");
    fs::create_directories(m_mount + "/root/run");
    for (const auto& entry : fs::directory_iterator("/")) {
        const std::string name = entry.path().filename();
        if (name != "opt" && name != "run" && !show(name)) {
            return false;
        }
    }
    return true;
}

bool Chroot::show(const std::string& name) const
{
    const fs::path original = "/" + name;
    const fs::path shown = m_mount + "/root/" + name;
    if (fs::is_symlink(original)) {
        fs::copy_symlink(original, shown);
        return true;
    }
    return !fs::is_directory(original) ||
           (fs::create_directory(shown) &&
            mount(original.c_str(), shown.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0);
}

} // namespace obg::test
