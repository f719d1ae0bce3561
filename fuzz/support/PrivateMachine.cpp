#include "fuzz/support/PrivateMachine.h"

#include <cstdio>
#include <cstdlib>

#include <sys/mount.h>
#include <sys/stat.h>

#include "tests/support/PrivateMounts.h"

namespace obg::test {

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

} // namespace

void enterPrivateMachine()
{
    orEnd(test::enterPrivateMounts(), "private mounts");
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

} // namespace obg::test
