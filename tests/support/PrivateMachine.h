#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

// Every test binary runs in a machine of its own: its main() enters a private mount namespace (in a user namespace
// when it is not root), lays an empty file system over /opt and creates the two install roots there. Tests and the
// programs that they start see the real paths, and nothing they do to them reaches the machine. The time zone is UTC.

namespace obg::test {

inline constexpr const char* kCurrentRoot = "/opt/orvanta/brightgate";
inline constexpr const char* kLegacyRoot = "/opt/orvanta/tessellink";

/** The store file of the current root. */
std::string currentStore();

/** The store file of the legacy root. */
std::string legacyStore();

/** Empties /opt and creates the two install roots again. Ends the process where /opt is not the private one. */
void resetInstallRoots();

/** For tests that touch the install roots: each starts with two empty ones. */
class InstallRootsTest : public ::testing::Test
{
protected:
    void SetUp() override { resetInstallRoots(); }
};

/**
 * Changes what files such as /etc/os-release, /etc/issue, /proc/version and /proc/nduid hold, or whether they exist,
 * until the end of the scope. The folder of each file is replaced by a private one in which every other name still
 * leads to the original, so that any name may be added, replaced or taken away, by these calls or by a plain mkdir,
 * chmod or symlink of the test. Only one object at a time.
 */
class SystemFiles
{
public:
    SystemFiles();
    ~SystemFiles();
    SystemFiles(const SystemFiles&) = delete;
    SystemFiles& operator=(const SystemFiles&) = delete;

    /** The file holds these bytes, whether it existed or not. */
    void overlayFile(const std::string& path, std::string_view bytes);

    /** Nothing stands at the path. */
    void hideFile(const std::string& path);

    /** A machine without /etc/os-release, /etc/issue, /proc/version and /proc/nduid. */
    void hideReleaseFiles();

private:
    class ShadowedFolder;

    void shadowFolderOf(const std::string& path);

    std::map<std::string, std::unique_ptr<ShadowedFolder>> m_folders;
};

} // namespace obg::test
