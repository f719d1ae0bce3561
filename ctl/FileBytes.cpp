#include "ctl/FileBytes.h"

#include "vpn/Common/Utility/FileDescriptor.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace ctl {

namespace {

constexpr std::size_t kReadStep = 65536;

/// Reads up to the end. Returns 0 or the reason why that failed. A size that the file claims is believed up to a limit;
/// the byte behind it is for finding the end.
int readAll(const FileDescriptor& file, off_t claimedSize, std::string& bytes)
{
    constexpr off_t believed = off_t{16} << 20;
    bytes.resize(static_cast<std::size_t>(std::clamp<off_t>(claimedSize, 0, believed)) + 1);
    std::size_t held = 0;
    for (;;) {
        if (held == bytes.size()) {
            bytes.resize(held + held / 2 + kReadStep);
        }
        const long count = file.read(bytes.data() + held, bytes.size() - held);
        held += count > 0 ? static_cast<std::size_t>(count) : 0;
        if (count <= 0) {
            bytes.resize(held);
            return count == 0 ? 0 : errno;
        }
    }
}

/// Not waiting while it is opened: a pipe without a writer would hold the program up.
FileBytes readPlace(const Place& place, bool mustBeRegular)
{
    if (place.error != 0) {
        return {{}, place.error};
    }
    const FileDescriptor file(
        open(place.actual.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | (mustBeRegular ? O_NONBLOCK : 0)));
    struct stat status
    {};
    if (!file.isOpen() || fstat(file.number(), &status) != 0) {
        return {{}, errno};
    }
    if (mustBeRegular && !S_ISREG(status.st_mode)) {
        return {{}, S_ISDIR(status.st_mode) ? EISDIR : EINVAL};
    }
    FileBytes read;
    read.error = readAll(file, status.st_size, read.bytes);
    return read;
}

} // namespace

FileBytes readFile(const Place& place)
{
    return readPlace(place, false);
}

FileBytes readRegularFile(const Place& place)
{
    return readPlace(place, true);
}

} // namespace ctl
