#include "bench/floors/whole_file.h"

#include <cstdio>
#include <sys/stat.h>

WholeFile readWholeFile(const char* path)
{
    WholeFile file;
    struct stat info = {};
    if (stat(path, &info) != 0 || info.st_size <= 0) {
        return file;
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(path, "rb"), std::fclose);
    if (!stream) {
        return file;
    }
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    file.size = static_cast<std::size_t>(info.st_size);
    file.bytes = std::unique_ptr<char[]>(new char[file.size]);
    if (std::fread(file.bytes.get(), 1, file.size, stream.get()) != file.size) {
        file.bytes.reset();
    }
    return file;
}
