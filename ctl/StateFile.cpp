#include "ctl/StateFile.h"

#include "ctl/Digest.h"
#include "ctl/FileBytes.h"
#include "ctl/Folders.h"
#include "ctl/Paths.h"

#include <cerrno>

namespace ctl {

namespace {

/// Readable for everybody, as the store is.
constexpr mode_t kModeOfNew = 0644;

/// The options for the store of an install root below the same root.
Options ofInstallRoot(const Options& options, bool isLegacy)
{
    Options chosen;
    chosen.root = options.root;
    chosen.isLegacy = isLegacy;
    return chosen;
}

} // namespace

StateFile::StateFile(const Options& options, const StoreFile& store)
    : m_folder(Paths(options).stateFolder().actual), m_storePath(store.path())
{
    std::string name = "store-" + sha256Of(store.path());
    for (const bool isLegacy : {false, true}) {
        if (StoreFile(ofInstallRoot(options, isLegacy)).path() == store.path()) {
            name = isLegacy ? "legacy" : "current";
            // Without the root: it stays the same store when the image becomes a machine.
            m_storePath = Paths(ofInstallRoot({}, isLegacy)).store().shown;
        }
    }
    m_path = m_folder + "/" + name + ".json";
}

bool StateFile::lock(std::chrono::milliseconds patience, const std::string& command)
{
    if (const int error = m_folder.empty() ? ELOOP : makeFolder(m_folder)) {
        m_error = systemError("cannot create", m_folder, error);
        return false;
    }
    return lockToReplace(m_lock, m_path, patience, command, m_error);
}

bool StateFile::read()
{
    FileBytes file = readRegularFile({m_path, m_path, 0});
    if (file.error == ENOENT || file.error == ENOTDIR) {
        return true;
    }
    if (file.error != 0) {
        m_error = systemError("cannot read", m_path, file.error);
        return false;
    }
    m_bytes = std::move(file.bytes);
    m_bytesRead = m_bytes;
    return true;
}

bool StateFile::parse()
{
    m_reading = m_bytes ? m_state.read(*m_bytes, m_storePath) : SyncState::Reading::Absent;
    if (m_reading == SyncState::Reading::Newer) {
        m_error = m_path + " was written by a later version of this program";
        return false;
    }
    return true;
}

DiskChange StateFile::write(const SyncState& state)
{
    return writeBytes(state.written(m_storePath));
}

DiskChange StateFile::restore()
{
    if (m_bytesRead == m_bytes) {
        return DiskChange::Done;
    }
    return m_bytesRead ? writeBytes(*m_bytesRead) : deleteFile(m_path, m_error);
}

DiskChange StateFile::writeBytes(const std::string& bytes)
{
    if (m_bytes == bytes) {
        return DiskChange::Done;
    }
    AtomicFile file(m_path, kModeOfNew);
    const DiskChange change = file.prepare(bytes) ? file.commit() : DiskChange::Failed;
    m_error = file.error();
    if (change != DiskChange::Failed) {
        m_bytes = bytes;
    }
    return change;
}

} // namespace ctl
