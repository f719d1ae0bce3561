#pragma once

#include <string>
#include <string_view>

namespace obg::test {

/** All bytes of the file. A file that cannot be read fails the test and gives an empty text. */
std::string readFile(const std::string& path);

/** Makes the file hold exactly these bytes. Failure fails the test. */
void writeFile(const std::string& path, std::string_view bytes);

/** Whether anything at all, a dangling link included, stands at the path. */
bool pathExists(const std::string& path);

/** A new, empty folder under /tmp that is removed, with all it holds, at the end of the scope. */
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return m_path; }

    /** The path of NAME in the folder; nothing is created. */
    std::string path(const std::string& name) const { return m_path + "/" + name; }

    /** Writes NAME into the folder and gives its path. */
    std::string write(const std::string& name, std::string_view bytes) const;

private:
    std::string m_path;
};

} // namespace obg::test
