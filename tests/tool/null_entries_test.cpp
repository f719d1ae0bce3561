#include <string>

#include <gmock/gmock.h>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/PrivateMachine.h"
#include "vpn/Downloader/ManifestInfo.h"

// The driver's own main, under a name that leaves main to the test.
int driver_main(int argc, char** argv);

// In place of the library's, which makes no such list: null stands at its ends and between its entries.
CManifestInfo::CManifestInfo(bool& ok, const std::string& /*path*/)
{
    ok = true;
    m_fileList.push_back(nullptr);
    for (const char* id : {"a", "b"}) {
        auto* entry = new ManifestFileInfo;
        entry->type = eFileTypeExe;
        entry->version = std::string("1");
        entry->id = std::string(id);
        m_fileList.push_back(entry);
        m_fileList.push_back(nullptr);
    }
}

CManifestInfo::~CManifestInfo()
{
    for (const ManifestFileInfo* entry : m_fileList) {
        delete entry;
    }
}

namespace obg::test {

namespace {

class NullEntries : public InstallRootsTest
{
protected:
    static int run(std::string mode)
    {
        std::string tool = "obg_manifesttool";
        std::string root = "/opt/orvanta/brightgate";
        std::string manifest = "any.xml";
        char* argv[] = {tool.data(), mode.data(), root.data(), manifest.data(), nullptr};
        return driver_main(4, argv);
    }
};

TEST_F(NullEntries, areSkippedByTheDriver)
{
    EXPECT_EQ(run("-i"), 0);
    EXPECT_EQ(readFile(currentStore()), storeHeader() + storeRecord(2, "1", "a") + storeRecord(2, "1", "b"));
    EXPECT_EQ(run("-x"), 0);
    EXPECT_FALSE(pathExists(currentStore()));
}

} // namespace

} // namespace obg::test
