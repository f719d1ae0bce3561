#include "vpn/Common/AppLog.h"
#include "vpn/Common/InstallRoots.h"
#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Common/StdoutLogger.h"
#include "vpn/Downloader/ManifestInfo.h"

#include <csignal>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char* kIdentity = "obg_manifesttool";
constexpr const char* kLogFile = "../main";

/// The statuses that maintainer scripts see. Wrong calls end without a word.
enum ExitStatus
{
    kDone = 0,
    kNoArgumentVector = 1,
    kTooFewArguments = 2,
    kUnknownMode = 3,
    kManifestRejected = 4,
    kStoreNotWritten = 5,
};

/// Leads each standard stream that the caller has closed to /dev/null. Its number would otherwise go to a file that is
/// opened later, and log lines would land in the store.
void holdStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1) {
            // Gets the lowest free number, which is that of the stream.
            static_cast<void>(open("/dev/null", O_RDWR));
        }
    }
}

/// A reader of the log that goes away, and a limit on the size of files, must not end the run between two writes to the
/// store: the call fails instead of the process.
void ignoreSignalsOfWrites()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

eManifestDataPath selectStore(const std::string& installDirectory)
{
    // The text may stand anywhere in the argument, in front of more of a name too: that is how scripts have always
    // picked the legacy store.
    if (installDirectory.find(InstallRoot::Legacy) == std::string::npos) {
        return eCurrentDataPath;
    }
    CAppLog::LogDebugMessage("main", kLogFile, 87, Logging::DI_INFO, "using tessellink VPNManifest.dat");
    return eLegacyDataPath;
}

} // namespace

int main(int argc, char* argv[])
{
    holdStandardStreams();
    ignoreSignalsOfWrites();
    long result = 0;
    const CAppLog log(result, kIdentity, new CStdoutLogger(kIdentity));
    if (argv == nullptr) {
        return kNoArgumentVector;
    }
    if (argc < 4) {
        return kTooFewArguments;
    }
    const std::string mode = argv[1];
    const std::string installDirectory = argv[2];
    const std::string manifestPath = argv[3];
    if (mode != "-i" && mode != "-x") {
        return kUnknownMode;
    }

    // Loaded before the manifest is read, so that a damaged store is reported whatever the manifest is worth.
    CInstalledManifestInfo store(selectStore(installDirectory));
    bool isParsed = false;
    const CManifestInfo manifest(isParsed, manifestPath);
    if (!isParsed) {
        CAppLog::LogDebugMessage("main", kLogFile, 98, Logging::DI_ERROR, "Failed to parse input manifest");
        return kManifestRejected;
    }
    store.Reserve(manifest.getFileList().size());
    for (const ManifestFileInfo* file : manifest.getFileList()) {
        if (file == nullptr) {
            continue;
        }
        if (mode == "-i") {
            store.AddInstalledEntry(file->id, file->type, file->version);
        } else {
            store.RemoveInstalledEntry(file->id);
        }
    }
    result = store.WriteFile();
    if (result != 0) {
        CAppLog::LogReturnCode("main", kLogFile, 128, Logging::DI_ERROR, "CInstalledManifestInfo::WriteFile",
                               static_cast<unsigned>(result), nullptr, nullptr);
        return kStoreNotWritten;
    }
    return kDone;
}
