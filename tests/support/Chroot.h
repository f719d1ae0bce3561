#pragma once

#include <string>

namespace obg::test {

/**
 * A folder that shows this machine, for a program to be started with it as its root: every folder of the root is bound
 * into it, but /opt and /run are empty and no file lies beside them. The folder is no mount point, as in the chroots
 * that packages are built in, and lies in a shared mount, so that what is mounted in it spreads unless it is kept back.
 */
class Chroot
{
public:
    Chroot();
    ~Chroot();
    Chroot(const Chroot&) = delete;
    Chroot& operator=(const Chroot&) = delete;

    const std::string& path() const { return m_path; }

    /** Everything that is mounted in this process's own namespace. */
    std::string mounts() const;

private:
    bool make() const;
    bool show(const std::string& name) const;

    std::string m_mount;
    std::string m_path;
};

} // namespace obg::test
