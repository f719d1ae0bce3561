#include "fuzz/support/PrivateMachine.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace obg::fuzz {

namespace {

void orEnd(bool done, const char* step)
{
    if (!done) {
        std::perror(step);
        std::exit(EXIT_FAILURE);
    }
}

void makeFolder(const char* path)
{
    orEnd(mkdir(path, 0755) == 0, path);
}

void cover(const char* what, const char* with)
{
    orEnd(mount(with, what, nullptr, MS_BIND, nullptr) == 0, what);
}

void write(const char* path, const std::string& text)
{
    std::ofstream file(path);
    orEnd(static_cast<bool>(file << text << std::flush), path);
}

/// An ordinary user may mount only in a user namespace in which he is root.
void enterNamespaces()
{
    const std::string user = std::to_string(getuid());
    const std::string group = std::to_string(getgid());
    if (geteuid() == 0) {
        orEnd(unshare(CLONE_NEWNS) == 0, "private mount namespace");
        return;
    }
    orEnd(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "private user and mount namespaces");
    write("/proc/self/setgroups", "deny");
    write("/proc/self/uid_map", "0 " + user + " 1");
    write("/proc/self/gid_map", "0 " + group + " 1");
}

} // namespace

void enterPrivateMachine()
{
    enterNamespaces();
    orEnd(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    orEnd(mount("tmpfs", "/opt", "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") == 0, "/opt");
    makeFolder("/opt/orvanta");
    makeFolder("/opt/orvanta/brightgate");
    makeFolder("/opt/orvanta/tessellink");
}

void hideReleaseFiles()
{
    makeFolder("/opt/etc");
    cover("/etc", "/opt/etc");
    cover("/proc/version", "/dev/null");
}

} // namespace obg::fuzz
