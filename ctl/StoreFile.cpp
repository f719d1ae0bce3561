#include "ctl/StoreFile.h"

#include "ctl/FileBytes.h"
#include "ctl/Folders.h"
#include "ctl/LoadedStore.h"
#include "ctl/Paths.h"
#include "ctl/Resolve.h"
#include "ctl/StoreBytes.h"
#include "vpn/Common/InstallRoots.h"

#include <cerrno>
#include <string_view>

namespace ctl {

namespace {

/// What the tool gives a new store, less the umask.
constexpr mode_t kModeOfNew = 0666;

/// The path of the store below `--root` with the links in its folders followed, but not that of the store itself.
std::string standingPath(const Options& options, const Place& store)
{
    if (options.root.empty() || !options.store.empty()) {
        return store.actual;
    }
    const std::string_view folder = options.isLegacy ? InstallRoot::Legacy : InstallRoot::Current;
    return Paths(options).at(folder).actual + store.shown.substr(store.shown.rfind('/'));
}

} // namespace

StoreFile::StoreFile(const Options& options)
{
    const Place place = Paths(options).store();
    m_shown = place.shown;
    m_standing = standingPath(options, place);
    if (place.error == 0) {
        m_path = resolvedBelow("", absolutePath(place.actual));
    }
}

bool StoreFile::lock(std::chrono::milliseconds patience, const std::string& command)
{
    if (m_path.empty()) {
        m_error = systemError("cannot open", m_shown, ELOOP);
        return false;
    }
    return lockToReplace(m_lock, m_path, patience, command, m_error);
}

bool StoreFile::hasFolder() const
{
    return m_path.empty() || !isMissing(m_path.substr(0, m_path.rfind('/') + 1));
}

bool StoreFile::read()
{
    FileBytes file = readRegularFile({m_shown, m_path, 0});
    if (file.error != 0 && file.error != ENOENT) {
        m_error = systemError("cannot read", m_shown, file.error);
        return false;
    }
    m_bytes = file.error == 0 ? std::optional(std::move(file.bytes)) : std::nullopt;
    return true;
}

std::optional<std::string> StoreFile::refusal() const
{
    const auto state = m_bytes ? loadStore(*m_bytes).GetState() : InstalledManifestState::Good;
    return state == InstalledManifestState::Good ? std::nullopt : std::optional(refusalOf(m_shown, state, 0));
}

bool StoreFile::prepare(const std::optional<std::string>& bytes)
{
    m_replacement.reset();
    if (!bytes) {
        return true;
    }
    m_replacement = std::make_unique<AtomicFile>(m_path, kModeOfNew);
    if (!m_replacement->prepare(*bytes)) {
        m_error = m_replacement->error();
        return false;
    }
    return true;
}

DiskChange StoreFile::commit()
{
    if (!m_replacement) {
        return deleteFile(m_standing, m_error);
    }
    const DiskChange change = m_replacement->commit();
    m_error = m_replacement->error();
    return change;
}

} // namespace ctl
