#include "ctl/AtomicFile.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/PrivateMachine.h"

namespace fs = std::filesystem;
using namespace obg::test;
using ctl::AtomicFile;
using ctl::DiskChange;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

constexpr const char* kAttribute = "trusted.obg";
constexpr const char* kAccessList = "system.posix_acl_access";
constexpr const char* kDefaultAccessList = "system.posix_acl_default";

/** user::rw-, user:1234:r--, group::r--, mask::r--, other::--- as the kernel keeps it. */
const std::string kList("\x02\0\0\0"
                        "\x01\0\x06\0\xff\xff\xff\xff"
                        "\x02\0\x04\0\xd2\x04\0\0"
                        "\x04\0\x04\0\xff\xff\xff\xff"
                        "\x10\0\x04\0\xff\xff\xff\xff"
                        "\x20\0\0\0\xff\xff\xff\xff",
                        44);

std::string attribute(const std::string& path, const char* name)
{
    std::string value(1000, '\0');
    const ssize_t size = getxattr(path.c_str(), name, value.data(), value.size());
    return size < 0 ? "none" : value.substr(0, static_cast<std::size_t>(size));
}

struct stat statusOf(const std::string& path)
{
    struct stat status
    {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t modeOf(const std::string& path)
{
    return statusOf(path).st_mode & 07777;
}

/** A folder of the private machine with nothing in it but the file "store". */
class AtomicFileTest : public InstallRootsTest
{
protected:
    const std::string m_folder = kCurrentRoot;
    const std::string m_path = m_folder + "/store";

    static DiskChange replace(const std::string& path, const std::string& bytes)
    {
        AtomicFile file(path, 0666);
        return file.prepare(bytes) ? file.commit() : DiskChange::Failed;
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(m_folder)) {
            found.push_back(entry.path().filename());
        }
        return found;
    }
};

TEST_F(AtomicFileTest, replacesTheBytesAndLeavesNothingElse)
{
    writeFile(m_path, "old and longer");
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_THAT(names(), ElementsAre("store"));
}

TEST_F(AtomicFileTest, writesManyBytes)
{
    const std::string bytes(5'000'000, 'x');
    EXPECT_EQ(replace(m_path, bytes), DiskChange::Done);
    EXPECT_EQ(readFile(m_path), bytes);
}

TEST_F(AtomicFileTest, whoHasTheOldFileOpenReadsTheOldBytesToTheEnd)
{
    writeFile(m_path, "old");
    std::ifstream reader(m_path);
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    std::string text;
    reader >> text;
    EXPECT_EQ(text, "old");
}

TEST_F(AtomicFileTest, whatWasNotCommittedIsGone)
{
    writeFile(m_path, "old");
    {
        AtomicFile file(m_path, 0666);
        EXPECT_TRUE(file.prepare("new"));
        EXPECT_EQ(names().size(), 2U);
    }
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_THAT(names(), ElementsAre("store"));
}

TEST_F(AtomicFileTest, keepsTheMode)
{
    writeFile(m_path, "old");
    fs::permissions(m_path, fs::perms(0640));
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    EXPECT_EQ(modeOf(m_path), 0640U);
}

TEST_F(AtomicFileTest, keepsTheOwnerAndWhatTheChangeOfItTakesOffTheMode)
{
    writeFile(m_path, "old");
    // A user namespace that knows one user alone has no other to give the file to.
    const uid_t owner = chown(m_path.c_str(), 1234, 1235) == 0 ? 1234 : getuid();
    fs::permissions(m_path, fs::perms(04755));
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    EXPECT_EQ(statusOf(m_path).st_uid, owner);
    EXPECT_EQ(modeOf(m_path), 04755U);
}

TEST_F(AtomicFileTest, keepsTheExtendedAttributes)
{
    const std::string nulInside("a\0b", 3);
    writeFile(m_path, "old");
    ASSERT_EQ(setxattr(m_path.c_str(), kAttribute, nulInside.data(), nulInside.size(), 0), 0) << errno;
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    EXPECT_EQ(attribute(m_path, kAttribute), nulInside);
}

TEST_F(AtomicFileTest, keepsTheAccessList)
{
    writeFile(m_path, "old");
    ASSERT_EQ(setxattr(m_path.c_str(), kAccessList, kList.data(), kList.size(), 0), 0) << errno;
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    EXPECT_EQ(attribute(m_path, kAccessList), kList);
    EXPECT_EQ(modeOf(m_path), 0640U);
}

TEST_F(AtomicFileTest, takesNoAccessListFromTheFolder)
{
    writeFile(m_path, "old");
    fs::permissions(m_path, fs::perms(0604));
    ASSERT_EQ(setxattr(m_folder.c_str(), kDefaultAccessList, kList.data(), kList.size(), 0), 0) << errno;
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    EXPECT_EQ(attribute(m_path, kAccessList), "none");
    EXPECT_EQ(modeOf(m_path), 0604U);
}

TEST_F(AtomicFileTest, aNewFileHasItsModeLessTheUmask)
{
    const mode_t before = umask(027);
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    umask(before);
    EXPECT_EQ(modeOf(m_path), 0640U);
}

TEST_F(AtomicFileTest, refusesALinkAndLeavesWhatItLeadsTo)
{
    writeFile(m_folder + "/target", "old");
    fs::create_symlink("target", m_path);
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Failed);
    EXPECT_TRUE(fs::is_symlink(m_path));
    EXPECT_EQ(readFile(m_folder + "/target"), "old");
}

TEST_F(AtomicFileTest, refusesAFolder)
{
    fs::create_directory(m_path);
    AtomicFile file(m_path, 0666);
    EXPECT_FALSE(file.prepare("new"));
    EXPECT_EQ(file.error(), "cannot replace " + m_path + ": not a regular file");
}

TEST_F(AtomicFileTest, refusesAPipeWithoutWaitingForItsWriter)
{
    ASSERT_EQ(mkfifo(m_path.c_str(), 0666), 0);
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Failed);
    EXPECT_TRUE(fs::is_fifo(m_path));
}

TEST_F(AtomicFileTest, aFolderThatIsMissingIsSaidInWords)
{
    AtomicFile file(m_folder + "/missing/store", 0666);
    EXPECT_FALSE(file.prepare("new"));
    EXPECT_EQ(file.error(), "cannot open " + m_folder + "/missing: No such file or directory");
}

TEST_F(AtomicFileTest, aSecondHardLinkKeepsTheOldBytes)
{
    writeFile(m_path, "old");
    fs::create_hard_link(m_path, m_folder + "/second");
    EXPECT_EQ(replace(m_path, "new"), DiskChange::Done);
    EXPECT_EQ(readFile(m_folder + "/second"), "old");
}

TEST_F(AtomicFileTest, worksOnANameWithoutFolder)
{
    fs::current_path(m_folder);
    EXPECT_EQ(replace("store", "new"), DiskChange::Done);
    fs::current_path("/");
    EXPECT_EQ(readFile(m_path), "new");
}

TEST_F(AtomicFileTest, deletesAFile)
{
    std::string error;
    writeFile(m_path, "old");
    EXPECT_EQ(ctl::deleteFile(m_path, error), DiskChange::Done);
    EXPECT_THAT(names(), ElementsAre());
}

TEST_F(AtomicFileTest, deletesALinkAndNotWhatItLeadsTo)
{
    std::string error;
    writeFile(m_folder + "/target", "old");
    fs::create_symlink("target", m_path);
    EXPECT_EQ(ctl::deleteFile(m_path, error), DiskChange::Done);
    EXPECT_THAT(names(), ElementsAre("target"));
}

TEST_F(AtomicFileTest, nothingToDeleteIsDone)
{
    std::string error;
    EXPECT_EQ(ctl::deleteFile(m_path, error), DiskChange::Done);
    EXPECT_EQ(ctl::deleteFile(m_folder + "/missing/store", error), DiskChange::Done);
}

TEST_F(AtomicFileTest, aFolderIsNotDeleted)
{
    std::string error;
    fs::create_directory(m_path);
    EXPECT_EQ(ctl::deleteFile(m_path, error), DiskChange::Failed);
    EXPECT_THAT(error, HasSubstr("cannot delete " + m_path + ": Is a directory"));
    EXPECT_TRUE(fs::is_directory(m_path));
}

TEST_F(AtomicFileTest, removesTheLeftoversOfThatFileAlone)
{
    const std::string digits = "0123456789abcdef0123456789abcdef";
    for (const std::string& name :
         {".store.obg-" + digits, ".other.obg-" + digits, ".store.obg-" + digits + "0",
          ".store.obg-" + digits.substr(1) + "g", "store.obg-" + digits, std::string("store")}) {
        writeFile(m_folder + "/" + name, "");
    }
    ctl::removeLeftovers(m_path);
    EXPECT_THAT(names(), ::testing::UnorderedElementsAre(".other.obg-" + digits, ".store.obg-" + digits + "0",
                                                         ".store.obg-" + digits.substr(1) + "g", "store.obg-" + digits,
                                                         "store"));
}

} // namespace
