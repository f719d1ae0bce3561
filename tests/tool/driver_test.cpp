#include <string>

#include <gmock/gmock.h>

#include "tests/support/Files.h"
#include "tests/support/PrivateMachine.h"
#include "vpn/Common/AppLog.h"

// The driver's own main, under a name that leaves main to the test.
int driver_main(int argc, char** argv);

namespace obg::test {

namespace {

class Driver : public InstallRootsTest
{
protected:
    /** Runs the driver; what it prints is left in m_out. */
    int run(int argc, char** argv)
    {
        ::testing::internal::CaptureStdout();
        const int status = driver_main(argc, argv);
        m_out = ::testing::internal::GetCapturedStdout();
        return status;
    }

    std::string m_out;
};

TEST_F(Driver, aNullArgumentVectorGivesStatus1InSilence)
{
    EXPECT_EQ(run(4, nullptr), 1);
    EXPECT_EQ(m_out, "");
    EXPECT_FALSE(pathExists(currentStore()));
}

TEST_F(Driver, aNullArgumentVectorIsNoticedBeforeTheCount)
{
    EXPECT_EQ(run(0, nullptr), 1);
    EXPECT_EQ(m_out, "");
}

TEST_F(Driver, aCountOfZeroGivesStatus2)
{
    char* argv[] = {nullptr};
    EXPECT_EQ(run(0, argv), 2);
    EXPECT_EQ(m_out, "");
}

TEST_F(Driver, takesTheLogDownOnEveryWayOut)
{
    char tool[] = "obg_manifesttool";
    char install[] = "-i";
    char unknown[] = "-q";
    char root[] = "/opt/orvanta/brightgate";
    char missing[] = "/nonexistent";
    char* withUnknownMode[] = {tool, unknown, root, missing, nullptr};
    char* withMissingManifest[] = {tool, install, root, missing, nullptr};

    EXPECT_EQ(run(4, nullptr), 1);
    EXPECT_FALSE(CAppLog::HasLogger());
    EXPECT_EQ(run(2, withUnknownMode), 2);
    EXPECT_FALSE(CAppLog::HasLogger());
    EXPECT_EQ(run(4, withUnknownMode), 3);
    EXPECT_FALSE(CAppLog::HasLogger());
    EXPECT_EQ(run(4, withMissingManifest), 4);
    EXPECT_FALSE(CAppLog::HasLogger());
    EXPECT_NE(m_out, "");
}

} // namespace

} // namespace obg::test
