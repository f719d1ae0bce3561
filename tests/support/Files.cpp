#include "tests/support/Files.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <gtest/gtest.h>

namespace obg::test {

namespace fs = std::filesystem;

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream.is_open()) {
        ADD_FAILURE() << "cannot read " << path << ": " << std::strerror(errno);
        return {};
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, std::string_view bytes)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    EXPECT_TRUE(stream.good()) << "cannot write " << path << ": " << std::strerror(errno);
}

bool pathExists(const std::string& path)
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

ScratchFolder::ScratchFolder() : m_path("/tmp/obg-test-XXXXXX")
{
    if (mkdtemp(m_path.data()) == nullptr) {
        ADD_FAILURE() << "cannot make a folder under /tmp: " << std::strerror(errno);
    }
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

std::string ScratchFolder::write(const std::string& name, std::string_view bytes) const
{
    const std::string file = path(name);
    writeFile(file, bytes);
    return file;
}

} // namespace obg::test
