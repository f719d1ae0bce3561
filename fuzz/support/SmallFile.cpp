#include "fuzz/support/SmallFile.h"

#include "fuzz/support/Require.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace obg::test {

// System calls and not streams: a target spends most of its time here.

void writeFile(const char* path, std::string_view bytes)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    require(file >= 0, "the target's file can be opened");
    require(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "the file can be written");
    close(file);
}

std::optional<std::string> readFile(const char* path)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        require(errno == ENOENT, "a file that is there can be opened");
        return std::nullopt;
    }
    struct stat info
    {};
    require(fstat(file, &info) == 0, "the file can be examined");
    std::string bytes(static_cast<std::size_t>(info.st_size), '\0');
    require(read(file, bytes.data(), bytes.size()) == info.st_size, "the file can be read");
    close(file);
    return bytes;
}

} // namespace obg::test
